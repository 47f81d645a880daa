#pragma once

#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/sampling/TileCache.h>

namespace Skelvar {

// Notation: H is `out_tile`, P the parent's haloed tile, both counted from 0 to 6 on each axis, so
// that the tile's own cells are H(1..5, 1..5, 1..5) and the parent's cell above the tile is
// P(ci + 1, cj + 1, ck + 1). An axis is staggered if its bit of the offset type is set, else
// centred.

/// A tile without parent with a halo that takes the field to the background value at the tile's
/// boundary. A centred axis is reflected, odd about the background; on a staggered axis planes 0, 1
/// and 6 become the background, so the tile's first plane is lost. Edges keep the inner voxel if
/// both axes are centred, corners are odd reflections if all three are; else they become the
/// background. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalContinuousHaloedRootTile(VoxelOffsetType in_offset, const T& in_background,
                                              const VoxelTile<T, 0, WIDTH>& in_tile,
                                              VoxelTile<T, 1, WIDTH>* out_tile);

/// A tile with a halo of copied voxels where a neighbour of its depth exists, and elsewhere of
/// values by which the field stays continuous across the step in resolution: on a centred axis the
/// mean of a halo value and the voxel inside, of the four voxels around an edge and of the eight
/// around a corner equals the parent's field there. On a staggered axis the high side takes the
/// parent's field; on the low side the tile's own first plane does, and the halo is extrapolated
/// from it. An edge is copied only if its tile and both face neighbours beside it exist, a corner
/// only if all seven tiles around it do.
///
/// Bit for bit the same on every machine: all stages are fixed sums of `float`, truncated to `T`
/// after each. Sums of parent values, in `T`, run over the axes with x fastest. If all 26
/// neighbours exist, the parent is not read. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalContinuousHaloedTile(VoxelOffsetType in_offset,
                                          const VoxelTile<T, 1, WIDTH>& in_parent, int in_ci,
                                          int in_cj, int in_ck, const TileBlock<T>& in_block,
                                          VoxelTile<T, 1, WIDTH>* out_tile);

#define SKELVAR_EXTERN(T)                                                                         \
    extern template void evalContinuousHaloedRootTile<T, 5>(                                      \
        VoxelOffsetType, const T&, const VoxelTile<T, 0, 5>&, VoxelTile<T, 1, 5>*);               \
    extern template void evalContinuousHaloedTile<T, 5>(VoxelOffsetType,                          \
                                                        const VoxelTile<T, 1, 5>&, int, int, int, \
                                                        const TileBlock<T>&, VoxelTile<T, 1, 5>*);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
