#pragma once

#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelTile.h>

#include <algorithm>
#include <array>

namespace Skelvar {

/// A tile in the middle, entry 13, and the 26 around it, by (dx, dy, dz) from -1 to 1 with x
/// fastest. Null where no tile of its depth exists.
template <typename T>
using TileBlock = std::array<const VoxelTile<T, 0, 5>*, 27>;

namespace Detail {

/// Calls `in_visit(n, tile index)` for each of the 26 tiles around a node that exists at the node's
/// depth, n its place in a `TileBlock`, by rising n.
template <typename Layout, typename Accessor, typename Visit>
void forEachNeighbour(const VoxelLayoutNode& in_node, const Layout& in_layout,
                      Accessor& io_accessor, const Visit& in_visit)
{
    const int depth = in_node.depth();
    const int side = kTileSideLUT[depth];
    const bool has_parent = depth > 0 && !in_node.isRoot();
    const VoxelLayoutNode* const parent =
        has_parent ? &in_layout.node(in_node.parent(), depth - 1) : nullptr;
    int cell[3] = {-2, -2, -2};  // no step from here is inside the parent
    if (has_parent) {
        parent->childIJK(in_node, cell[0], cell[1], cell[2]);
    }
    const auto is_inside = [](int in_cell) { return in_cell >= 0 && in_cell < kTileWidth; };
    int n = 0;
    for (int dz = -1; dz <= 1; ++dz) {
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx, ++n) {
                if (n == 13) {
                    continue;
                }
                const int ci = cell[0] + dx;
                const int cj = cell[1] + dy;
                const int ck = cell[2] + dz;
                const TileIndex found = is_inside(ci) && is_inside(cj) && is_inside(ck)
                                            ? parent->childTileIndex(ci, cj, ck)
                                            : io_accessor.template nodeIndex<false>(
                                                  in_node.i() + dx * side, in_node.j() + dy * side,
                                                  in_node.k() + dz * side, depth);
                if (found.first >= 0 && found.second == depth) {
                    in_visit(n, found);
                }
            }
        }
    }
}

template <typename T, typename Channel, typename Layout, typename Accessor>
TileBlock<T> gatherTileBlock(const VoxelLayoutNode& in_node, const Layout& in_layout,
                             Accessor& io_accessor, const Channel& in_channel)
{
    TileBlock<T> block{};
    block[13] = &in_channel.tile(in_node.index(), in_node.depth());
    forEachNeighbour(in_node, in_layout, io_accessor, [&](int in_n, const TileIndex& in_index) {
        block[in_n] = &in_channel.tile(in_index.first, in_index.second);
    });
    return block;
}

/// Makes the entry of a depth hold the haloed form of a tile; gives the depth. `io_entries` is
/// indexed by depth; an entry is a pair of the index of the tile that it holds, -1 if none, and its
/// haloed form. What the entries of the ancestors hold is replaced on the way.
///
/// `Evaluator` makes the haloed form:
/// - `static constexpr bool kReadsParentAlways`: if false, ancestors are left alone where all
///   neighbours exist;
/// - `static void root(offset type, background value, tile, out)`, for a tile without parent;
/// - `static void tile(offset type, parent's haloed form, ci, cj, ck, block, out)`, for any other,
///   (ci, cj, ck) its place in the parent and `block` its `TileBlock`.
template <typename Evaluator, typename T, typename Channel, typename Layout, typename Accessor,
          typename Entries>
int updateTileCache(int in_index, int in_depth, const Layout& in_layout, Accessor& io_accessor,
                    const Channel& in_channel, Entries& io_entries)
{
    auto& entry = io_entries[in_depth];
    if (entry.first == in_index) {
        return in_depth;
    }
    const VoxelLayoutNode& node = in_layout.node(in_index, in_depth);
    if (in_depth == 0 || node.isRoot()) {
        Evaluator::root(in_channel.offsetType(), in_channel.backgroundValue(),
                        in_channel.tile(in_index, in_depth), &entry.second);
    } else {
        const TileBlock<T> block = gatherTileBlock<T>(node, in_layout, io_accessor, in_channel);
        if (Evaluator::kReadsParentAlways ||
            std::find(block.begin(), block.end(), nullptr) != block.end()) {
            updateTileCache<Evaluator, T>(node.parent(), in_depth - 1, in_layout, io_accessor,
                                          in_channel, io_entries);
        }
        int ci = 0;
        int cj = 0;
        int ck = 0;
        in_layout.node(node.parent(), in_depth - 1).childIJK(node, ci, cj, ck);
        Evaluator::tile(in_channel.offsetType(), io_entries[in_depth - 1].second, ci, cj, ck, block,
                        &entry.second);
    }
    entry.first = in_index;
    return in_depth;
}

}  // namespace Detail

}  // namespace Skelvar
