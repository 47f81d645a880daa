#pragma once

#include <skelvar/sampling/TileCache.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <array>
#include <bit>
#include <cstddef>

namespace Skelvar::Detail {

/// A set of places of a `TileBlock`, one bit each.
using TileSet = unsigned int;

/// The place of a direction, each of -1, 0 and 1, in a `TileBlock`.
constexpr int tilePlace(int in_dx, int in_dy, int in_dz)
{
    return 13 + in_dx + 3 * in_dy + 9 * in_dz;
}

/// For each direction the places that remain of it as any of its axes are set to 0: of a corner the
/// corner itself, three edges, three faces and the middle.
inline constexpr std::array<TileSet, 27> kTilesToward = [] {
    std::array<TileSet, 27> sets{};
    for (int n = 0; n < 27; ++n) {
        const int d[3] = {n % 3 - 1, n / 3 % 3 - 1, n / 9 - 1};
        for (int kept = 0; kept < 8; ++kept) {
            sets[n] |=
                1U << tilePlace(kept & 1 ? d[0] : 0, kept & 2 ? d[1] : 0, kept & 4 ? d[2] : 0);
        }
    }
    return sets;
}();

/// Has the values of a small tile on their way while its neighbours are looked up: for stencils
/// that read most of its lines.
template <typename T>
inline void fetchTile(const VoxelTile<T, 0, 5>& in_tile)
{
    if constexpr (sizeof(in_tile) <= 512) {
        for (std::size_t n = 0; n < sizeof(in_tile); n += 64) {
            __builtin_prefetch(reinterpret_cast<const char*>(&in_tile) + n);
        }
    }
}

/// One tile and those around it, each looked up when it is first asked for. A tile without parent
/// counts as having no neighbours. Stale after an edit of the layout. Belongs to one thread.
template <typename T>
class TileNeighbours {
public:
    /// Index of the tile, -1 before the first `enter`.
    int index() const { return m_index; }
    int depth() const { return m_depth; }
    /// The tile's minimum corner, in coordinate units.
    const vec3i& corner() const { return m_corner; }
    bool hasParent() const { return m_parent != nullptr; }
    int parentIndex() const { return m_parent->index(); }
    /// The tile's place in its parent, 0 to 4 on each axis.
    const vec3i& placeInParent() const { return m_place; }

    /// Takes up a tile of the channel's layout.
    void enter(const TileIndex& in_tile, const VoxelLayout& in_layout,
               const VoxelChannel<T>& in_channel)
    {
        const VoxelLayoutNode& node = in_layout.node(in_tile);
        m_index = in_tile.first;
        m_depth = in_tile.second;
        m_corner = node.corner();
        m_parent = nullptr;
        m_present = m_known = kMiddle;
        m_block[13] = &in_channel.tile(in_tile);
        if (m_depth == 0 || node.isRoot()) {
            m_known = ~0U;
            return;
        }
        m_parent = &in_layout.node(node.parent(), m_depth - 1);
        const int slot = tileDigit(node.id(), m_depth) - 1;
        m_place = {slot % 5, slot / 5 % 5, slot / 25};
    }

    const VoxelTile<T, 0, 5>& tile() const { return *m_block[13]; }
    /// True if all these tiles exist. `in_near` stands somewhere near them.
    bool hasAll(TileSet in_tiles, const VoxelLayout::ConstAccessor& in_near,
                const VoxelChannel<T>& in_channel)
    {
        for (TileSet unknown = in_tiles & ~m_known; unknown != 0; unknown &= unknown - 1) {
            lookUp(std::countr_zero(unknown), in_near, in_channel);
        }
        return (m_present & in_tiles) == in_tiles;
    }
    /// Valid where `hasAll` said so.
    const TileBlock<T>& block() const { return m_block; }

private:
    static constexpr TileSet kMiddle = 1U << 13;

    void lookUp(int in_place, const VoxelLayout::ConstAccessor& in_near,
                const VoxelChannel<T>& in_channel)
    {
        const int d[3] = {in_place % 3 - 1, in_place / 3 % 3 - 1, in_place / 9 - 1};
        const vec3i place = m_place + vec3i{d[0], d[1], d[2]};
        const auto is_inside = [](int in_cell) { return in_cell >= 0 && in_cell < kTileWidth; };
        int found;
        if (is_inside(place[0]) && is_inside(place[1]) && is_inside(place[2])) {
            found = m_parent->child(place[0] + 5 * (place[1] + 5 * place[2]));
        } else {
            const int side = kTileSideLUT[m_depth];
            VoxelLayout::ConstAccessor accessor = in_near;
            found = accessor
                        .nodeIndex<true>(m_corner[0] + d[0] * side, m_corner[1] + d[1] * side,
                                         m_corner[2] + d[2] * side, m_depth)
                        .first;
        }
        m_known |= 1U << in_place;
        m_block[in_place] = nullptr;
        if (found >= 0) {
            m_present |= 1U << in_place;
            m_block[in_place] = &in_channel.tile(found, m_depth);
        }
    }

    int m_index = -1;
    int m_depth = -1;
    vec3i m_corner{};
    vec3i m_place{};
    const VoxelLayoutNode* m_parent = nullptr;  ///< null for a tile without parent
    TileSet m_known = 0;
    TileSet m_present = 0;
    TileBlock<T> m_block;
};

/// Where an axis of a stencil reads: on which side of the tile, and which cell of the tile there.
struct AxisTap {
    int side;  ///< -1, 0 or 1
    int cell;  ///< 0 to 4
};

/// The tap of a cell counted from the tile, -2 to 6.
constexpr AxisTap axisTap(int in_cell)
{
    return in_cell < 0    ? AxisTap{-1, in_cell + 5}
           : in_cell >= 5 ? AxisTap{1, in_cell - 5}
                          : AxisTap{0, in_cell};
}

}  // namespace Skelvar::Detail
