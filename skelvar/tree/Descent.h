#pragma once

#include <skelvar/tree/VoxelLayout.h>

namespace Skelvar::Detail {

/// The walk of every lookup: from a node of depth `Depth` down to the tile of `in_depth` that holds
/// a point. The coordinates count from the node's corner and lie inside it. The divisors are
/// constants, and a step is one indexed load.
template <bool exact, int Depth>
inline TileIndex descendFrom(const VoxelLayout::NodeData& in_nodes, int in_index, unsigned in_x,
                             unsigned in_y, unsigned in_z, int in_depth)
{
    if (Depth == in_depth) {
        return {in_index, Depth};
    }
    if constexpr (Depth < kMaxTileDepth) {
        const VoxelLayoutNode& node = in_nodes.depths[Depth][in_index];
        if (node.hasChildSlots()) {
            constexpr unsigned side = kTileSideLUT[Depth + 1];
            const unsigned ci = in_x / side;
            const unsigned cj = in_y / side;
            const unsigned ck = in_z / side;
            const int child = node.child(static_cast<int>(ci + 5 * (cj + 5 * ck)));
            if (child >= 0) {
                return descendFrom<exact, Depth + 1>(in_nodes, child, in_x - ci * side,
                                                     in_y - cj * side, in_z - ck * side, in_depth);
            }
            if (exact) {
                return {child, -1};
            }
        }
    }
    return exact ? kNoTileIndex : TileIndex{in_index, Depth};
}

/// The walk from a node that holds the point, at a depth of at most `in_depth`.
template <bool exact>
inline TileIndex descend(const VoxelLayout::NodeData& in_nodes, const TileIndex& in_start, int in_i,
                         int in_j, int in_k, int in_depth)
{
    const VoxelLayoutNode& start = in_nodes.depths[in_start.second][in_start.first];
    const unsigned x = in_i - start.i();
    const unsigned y = in_j - start.j();
    const unsigned z = in_k - start.k();
    switch (in_start.second) {
        case 0:
            return descendFrom<exact, 0>(in_nodes, in_start.first, x, y, z, in_depth);
        case 1:
            return descendFrom<exact, 1>(in_nodes, in_start.first, x, y, z, in_depth);
        case 2:
            return descendFrom<exact, 2>(in_nodes, in_start.first, x, y, z, in_depth);
        case 3:
            return descendFrom<exact, 3>(in_nodes, in_start.first, x, y, z, in_depth);
        case 4:
            return descendFrom<exact, 4>(in_nodes, in_start.first, x, y, z, in_depth);
        case 5:
            return descendFrom<exact, 5>(in_nodes, in_start.first, x, y, z, in_depth);
        case 6:
            return descendFrom<exact, 6>(in_nodes, in_start.first, x, y, z, in_depth);
        default:
            return descendFrom<exact, 7>(in_nodes, in_start.first, x, y, z, in_depth);
    }
}

/// The walk by the digits of an id, from a node that is the tile or an ancestor of it.
template <bool exact>
inline TileIndex descend(const VoxelLayout::NodeData& in_nodes, const TileIndex& in_start,
                         TileId in_id)
{
    const int tile_depth = depthFromId(in_id);
    int index = in_start.first;
    for (int depth = in_start.second; depth < tile_depth; ++depth) {
        const VoxelLayoutNode& node = in_nodes.depths[depth][index];
        const int slot = tileDigit(in_id, depth + 1) - 1;
        if (!node.hasChildSlots() || slot < 0 || slot >= kTileSize) {
            return exact ? kNoTileIndex : TileIndex{index, depth};
        }
        const int child = node.child(slot);
        if (child < 0) {
            return exact ? TileIndex{child, -1} : TileIndex{index, depth};
        }
        index = child;
    }
    return {index, tile_depth};
}

}  // namespace Skelvar::Detail
