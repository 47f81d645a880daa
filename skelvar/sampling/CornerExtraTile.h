#pragma once

#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelTile.h>

namespace Skelvar {

template <typename T>
class SKELVAR_API_FORWARD VoxelChannel;

/// The values of a tile at cell corners, six on each axis: the tile's own at positions 0 to 4, and
/// at position 5 those of the high side, for reconstruction in each of its cells. The channel holds
/// values at the cells' low corners. What no neighbour of the same depth holds is interpolated
/// between the values one depth up at the eight corners of the tile's box; those are the background
/// value for a tile without parent and where a tile one depth up is missing. Each thread brings an
/// accessor of its own.
SKELVAR_API void evalCornerExtraTile(int in_tile_index, int in_depth, const VoxelLayout& in_layout,
                                     VoxelLayout::ConstAccessor* io_accessor,
                                     const VoxelChannel<float>& in_channel,
                                     VoxelTile<float, 0, 6>* out_tile);

}  // namespace Skelvar
