#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelChannelImpl.h>
#include <skelvar/voxel/VoxelChannelStreamImpl.h>

namespace Skelvar {

#define SKELVAR_INSTANTIATE(T) template class VoxelChannel<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
