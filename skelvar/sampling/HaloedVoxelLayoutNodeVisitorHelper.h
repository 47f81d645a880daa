#pragma once

#include <skelvar/sampling/ContinuousHalo.h>

/// What kernels over tiles need to see around a tile. `Layout` is a `VoxelLayout` and `Channel` a
/// `VoxelChannel<T>` over it. Each thread brings an accessor and an output of its own.
namespace Skelvar::HaloedVoxelLayoutNodeVisitorHelper {

/// Makes `io_cache`, a `HaloCache<T>`, hold the haloed form of a tile by which the field stays
/// continuous across depths (`evalContinuousHaloedTile`); gives its place there, the depth. A cache
/// is stale after an edit of the layout or of the values.
template <typename T, typename Channel, typename Layout, typename Cache>
int updateHaloCache(int in_tile_index, int in_depth, Cache* io_cache, const Layout& in_layout,
                    typename Layout::ConstAccessor& io_accessor, const Channel& in_channel)
{
    return Detail::updateTileCache<Detail::ContinuousHalo<T>, T>(
        in_tile_index, in_depth, in_layout, io_accessor, in_channel, *io_cache);
}

/// The tile with a halo copied from its neighbours of the same depth; of the channel's background
/// value where there is none. Gives the neighbours that exist, as bits n = (dx + 1) + 3 (dy + 1) +
/// 9 (dz + 1), with bit 13 for the tile itself.
template <typename T, typename Channel, typename Layout>
unsigned updateHaloTile(int in_tile_index, int in_depth, VoxelTile<T, 1, 5>& out_tile,
                        const Layout& in_layout, typename Layout::ConstAccessor& io_accessor,
                        const Channel& in_channel)
{
    out_tile.setHalo(in_channel.backgroundValue());
    out_tile.fillCore(in_channel.tile(in_tile_index, in_depth));
    unsigned existing = 1u << 13;
    const auto copy_neighbour = [&](int in_n, const TileIndex& in_index) {
        existing |= 1u << in_n;
        const auto& neighbour = in_channel.tile(in_index.first, in_index.second);
        int begin[3];
        int end[3];
        for (int a = 0, rest = in_n; a < 3; ++a, rest /= 3) {
            const int step = rest % 3 - 1;
            begin[a] = step < 0 ? -1 : 5 * step;
            end[a] = step == 0 ? 5 : begin[a] + 1;
        }
        for (int k = begin[2]; k < end[2]; ++k) {
            for (int j = begin[1]; j < end[1]; ++j) {
                for (int i = begin[0]; i < end[0]; ++i) {
                    out_tile(i, j, k) = neighbour((i + 5) % 5, (j + 5) % 5, (k + 5) % 5);
                }
            }
        }
    };
    Detail::forEachNeighbour(in_layout.node(in_tile_index, in_depth), in_layout, io_accessor,
                             copy_neighbour);
    return existing;
}

}  // namespace Skelvar::HaloedVoxelLayoutNodeVisitorHelper
