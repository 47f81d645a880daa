#include <skelvar/voxel/VoxelChannelFactory.h>

#include <skelvar/voxel/ChannelOfTypeName.h>
#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar {

bool VoxelChannelFactory::create(const std::string& in_type_name,
                                 std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    return Detail::createChannelOfTypeName<VoxelChannel>(in_type_name, out_channel);
}

}  // namespace Skelvar
