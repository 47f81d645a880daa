#include <skelvar/particles/ParticleChannelFactory.h>

#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/voxel/ChannelOfTypeName.h>

namespace Skelvar {

bool ParticleChannelFactory::create(const std::string& in_type_name,
                                    std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    return Detail::createChannelOfTypeName<ParticleChannel>(in_type_name, out_channel);
}

}  // namespace Skelvar
