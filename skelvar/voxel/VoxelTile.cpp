#include <skelvar/voxel/VoxelTile.h>

namespace Skelvar {

#define SKELVAR_INSTANTIATE(T) template class VoxelTile<T, 0, 5>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE
template class VoxelTile<bool, 1, 5>;
template class VoxelTile<float, 1, 5>;

}  // namespace Skelvar
