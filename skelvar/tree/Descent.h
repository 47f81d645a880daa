#pragma once

#include <skelvar/tree/NodeArray.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/tree/TileIndex.h>

#include <array>

namespace Skelvar::Detail {

/// The nodes by depth.
using NodeArrays = NodeArray[kNumDepths];

/// The slot that holds a point in its tile of each depth 1 to 7, and the cell in the tile of depth
/// 7 in place of depth 8. One byte each, so that the weights 1, 5 and 25 of the axes act on all of
/// them at once, and no digit waits for another.
class PointPath {
public:
    static constexpr int kHalfDepth = 4;  ///< the lower half starts below this depth
    static constexpr unsigned kHalfSide = kTileSideLUT[kHalfDepth];

    PointPath() = default;
    /// The lower half of a point, from its place in its tile of `kHalfDepth`.
    PointPath(unsigned in_x, unsigned in_y, unsigned in_z) : m_lower(slots(in_x, in_y, in_z)) {}
    /// Of a point whose coordinates are in range.
    static PointPath ofPoint(int in_i, int in_j, int in_k)
    {
        const unsigned x = in_i + kTileOrigin;
        const unsigned y = in_j + kTileOrigin;
        const unsigned z = in_k + kTileOrigin;
        PointPath path(x % kHalfSide, y % kHalfSide, z % kHalfSide);
        path.m_upper = slots(x / kHalfSide, y / kHalfSide, z / kHalfSide);
        return path;
    }

    template <int Depth>
    int slot() const
    {
        if constexpr (Depth > kHalfDepth) {
            return static_cast<int>(m_lower >> 8 * (Depth - kHalfDepth - 1) & 0xFF);
        } else {
            return static_cast<int>(m_upper >> 8 * (Depth - 1) & 0xFF);
        }
    }

private:
    /// The four digits of numbers to the base 5, the highest in the lowest byte.
    static constexpr std::array<unsigned, kHalfSide> kDigits = [] {
        std::array<unsigned, kHalfSide> digits{};
        for (unsigned n = 0; n < kHalfSide; ++n) {
            digits[n] = n / 125 | n / 25 % 5 << 8 | n / 5 % 5 << 16 | n % 5 << 24;
        }
        return digits;
    }();

    static unsigned slots(unsigned in_x, unsigned in_y, unsigned in_z)
    {
        return kDigits[in_x] + 5 * (kDigits[in_y] + 5 * kDigits[in_z]);
    }

    unsigned m_upper = 0;
    unsigned m_lower = 0;
};

template <bool exact, int Depth>
inline CellIndex descendFrom(const NodeArrays& in_nodes, int in_index, const PointPath& in_path,
                             int in_depth);

/// One step of the walk below, from a node of depth `Depth`, less than `in_depth`, and its child
/// slots.
template <bool exact, int Depth>
inline CellIndex descendInto(const NodeArrays& in_nodes, int in_index, const int* in_slots,
                             const PointPath& in_path, int in_depth)
{
    const int slot = in_path.slot<Depth + 1>();
    const int child = in_slots[slot];
    if (child >= 0) [[likely]] {
        return descendFrom<exact, Depth + 1>(in_nodes, child, in_path, in_depth);
    }
    return exact ? CellIndex{{child, -1}, 0} : CellIndex{{in_index, Depth}, slot};
}

/// The walk of every lookup of a point: from a node of depth `Depth` that holds it down to its tile
/// of `in_depth`, which is no less, and its cell there. A step is two indexed loads.
template <bool exact, int Depth>
inline CellIndex descendFrom(const NodeArrays& in_nodes, int in_index, const PointPath& in_path,
                             int in_depth)
{
    if constexpr (Depth < kMaxTileDepth) {
        if (Depth < in_depth) {
            return descendInto<exact, Depth>(
                in_nodes, in_index, in_nodes[Depth].childSlots(in_index), in_path, in_depth);
        }
    }
    return exact && Depth != in_depth ? CellIndex{}
                                      : CellIndex{{in_index, Depth}, in_path.slot<Depth + 1>()};
}

/// The last step alone, from a tile of depth 6 and its child slots to a cell of the tile in a slot.
template <bool exact>
inline CellIndex finestCell(const int* in_slots, int in_index, int in_slot, int in_cell)
{
    const int tile = in_slots[in_slot];
    if (tile >= 0) [[likely]] {
        return {{tile, kMaxTileDepth}, in_cell};
    }
    return exact ? CellIndex{{tile, -1}, 0} : CellIndex{{in_index, kMaxTileDepth - 1}, in_slot};
}

/// What an exact lookup found out of sight of the compiler, with the depth that a found tile is
/// known to have: a caller who asks for a constant depth then indexes with a constant.
template <bool exact>
inline CellIndex atAskedDepth(CellIndex in_found, int in_depth)
{
    if (exact && in_found.tile.first >= 0) {
        in_found.tile.second = in_depth;
    }
    return in_found;
}

/// The walk by the digits of an id, from a node that is the tile or an ancestor of it.
template <bool exact>
inline TileIndex descend(const NodeArrays& in_nodes, const TileIndex& in_start, TileId in_id)
{
    const int tile_depth = depthFromId(in_id);
    int index = in_start.first;
    for (int depth = in_start.second; depth < tile_depth; ++depth) {
        const int slot = tileDigit(in_id, depth + 1) - 1;
        if (slot < 0 || slot >= kTileSize) {
            return exact ? kNoTileIndex : TileIndex{index, depth};
        }
        const int child = in_nodes[depth].childSlots(index)[slot];
        if (child < 0) {
            return exact ? TileIndex{child, -1} : TileIndex{index, depth};
        }
        index = child;
    }
    return {index, tile_depth};
}

}  // namespace Skelvar::Detail
