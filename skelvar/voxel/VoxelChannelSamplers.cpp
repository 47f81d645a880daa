// The kinds of samplers that a voxel channel makes.

#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar {

template <typename T>
void VoxelChannel<T>::createSampler(const std::string& in_kind, SamplerSpace in_space,
                                    std::shared_ptr<BaseSampler>& out_sampler) const
{
    if (in_kind == kVoxelSamplerLinearType) {
        out_sampler = std::make_shared<VoxelSamplerLinear<T, 1>>(in_space, this);
    }
}

#define SKELVAR_INSTANTIATE(T)                                                     \
    template void VoxelChannel<T>::createSampler(const std::string&, SamplerSpace, \
                                                 std::shared_ptr<BaseSampler>&) const;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
