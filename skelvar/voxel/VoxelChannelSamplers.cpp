// The kinds of samplers that a voxel channel makes.

#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/sampling/VoxelSamplerQBSpline.h>
#include <skelvar/sampling/VoxelSamplerWENO.h>
#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar {

template <typename T>
void VoxelChannel<T>::createSampler(const std::string& in_kind, SamplerSpace in_space,
                                    std::shared_ptr<BaseSampler>& out_sampler) const
{
    if (in_kind == kVoxelSamplerLinearType) {
        out_sampler = std::make_shared<VoxelSamplerLinear<T, 1>>(in_space, this);
    } else if (in_kind == kVoxelSamplerQBSplineType) {
        out_sampler = std::make_shared<VoxelSamplerQBSpline<T>>(in_space, this);
    }
    if constexpr (std::is_same_v<T, float>) {
        if (in_kind == kVoxelSamplerWENOType) {
            out_sampler = std::make_shared<VoxelSamplerWENO<T>>(in_space, this);
        }
    }
}

#define SKELVAR_INSTANTIATE(T)                                                     \
    template void VoxelChannel<T>::createSampler(const std::string&, SamplerSpace, \
                                                 std::shared_ptr<BaseSampler>&) const;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
