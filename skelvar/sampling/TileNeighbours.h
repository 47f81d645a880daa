#pragma once

#include <skelvar/sampling/TileCache.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelTile.h>

#include <array>
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
[[gnu::always_inline]] inline void fetchTile(const VoxelTile<T, 0, 5>& in_tile)
{
    if constexpr (sizeof(in_tile) <= 512) {
        for (std::size_t n = 0; n < sizeof(in_tile); n += 64) {
            __builtin_prefetch(reinterpret_cast<const char*>(&in_tile) + n);
        }
    }
}

/// One tile and those around it, each looked up when it is first asked for. A tile without parent
/// counts as having no neighbours. Stale after an edit of the layout. Belongs to one thread.
class TileNeighbours {
public:
    /// Index of the tile, -1 before the first `enter`.
    int index() const { return m_index; }
    int depth() const { return m_depth; }
    /// The tile's minimum corner, in coordinate units.
    const vec3i& corner() const { return m_corner; }
    bool covers(const vec3i& in_point) const
    {
        return static_cast<unsigned>(in_point[0]) - static_cast<unsigned>(m_corner[0]) < m_side &&
               static_cast<unsigned>(in_point[1]) - static_cast<unsigned>(m_corner[1]) < m_side &&
               static_cast<unsigned>(in_point[2]) - static_cast<unsigned>(m_corner[2]) < m_side;
    }
    bool hasParent() const { return m_parent >= 0; }
    int parentIndex() const { return m_parent; }
    int slotInParent() const { return m_slot; }
    /// The tile's place in its parent, 0 to 4 on each axis.
    vec3i placeInParent() const { return {m_slot % 5, m_slot / 5 % 5, m_slot / 25}; }

    /// Takes up a tile.
    void enter(const TileIndex& in_tile, const VoxelLayout& in_layout);
    /// The same without a look at its node: the tile in a slot of a parent, with a point in it.
    void enterChild(const TileIndex& in_tile, int in_parent, int in_slot, const vec3i& in_point,
                    const VoxelLayout& in_layout);

    /// True if all these tiles exist.
    bool hasAll(TileSet in_tiles, const VoxelLayout& in_layout)
    {
        const TileSet unknown = in_tiles & ~m_known;
        if (unknown != 0) {
            lookUp(unknown, in_layout);
        }
        return (m_present & in_tiles) == in_tiles;
    }
    /// Those that are known to exist.
    TileSet present() const { return m_present; }
    /// Index of the tile at a place, valid where `hasAll` said so.
    const int& neighbour(int in_place) const { return m_neighbours[in_place]; }

private:
    void lookUp(TileSet in_tiles, const VoxelLayout& in_layout);
    /// The child slots of the parent or of a tile around it, null if that does not exist. The point
    /// is in it.
    const int* slotsAround(int in_place, const vec3i& in_point, const VoxelLayout& in_layout);

    int m_index = -1;
    int m_depth = -1;
    int m_parent = -1;  ///< -1 for a tile without parent
    unsigned m_side = 0;
    vec3i m_corner{};
    int m_slot = 0;  ///< in the parent
    TileSet m_known = 0;
    TileSet m_present = 0;
    TileSet m_known_slots = 0;
    int m_neighbours[27];
    const int* m_slots[27];  ///< of the parent and the tiles around it, as far as known
};

/// Where an axis of a stencil reads: on which side of the tile, and which cell of the tile there.
struct AxisTap {
    int side;  ///< -1, 0 or 1
    int cell;  ///< 0 to 4
};

/// The tap of a cell counted from the tile, -2 to 6. Without a branch, which nobody could predict.
constexpr AxisTap axisTap(int in_cell)
{
    constexpr AxisTap kTaps[9] = {{-1, 3}, {-1, 4}, {0, 0}, {0, 1}, {0, 2},
                                  {0, 3},  {0, 4},  {1, 0}, {1, 1}};
    return kTaps[in_cell + 2];
}

}  // namespace Skelvar::Detail
