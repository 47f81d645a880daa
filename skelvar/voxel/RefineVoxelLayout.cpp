// `refineLayout` around the tiles of another voxel shape.

#include <skelvar/tree/RefineLayoutImpl.h>
#include <skelvar/voxel/VoxelShape.h>

namespace Skelvar {

template SKELVAR_API void refineLayout<VoxelLayout, VoxelShape>(VoxelLayout*, const VoxelLayout*,
                                                                VoxelShape*, VoxelShape*, float,
                                                                int, std::vector<TileId>*);

}  // namespace Skelvar
