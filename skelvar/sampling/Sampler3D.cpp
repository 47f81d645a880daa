#include <skelvar/sampling/Sampler3D.h>

#include <stdexcept>

namespace Skelvar {

template <typename T>
void Sampler3D<T>::sample(const vec3f& in_position, void* out_value) const
{
    *static_cast<T*>(out_value) = sample(in_position);
}

template <typename T>
void Sampler3D<T>::sampleGradient(const vec3f& in_position, void* out_value,
                                  void* out_gradient) const
{
    *static_cast<T*>(out_value) = sampleGradient(in_position, static_cast<Gradient*>(out_gradient));
}

template <typename T>
T Sampler3D<T>::sampleGradient(const vec3f&, Gradient*) const
{
    throw std::runtime_error("Method not implemented in subclass!");
}

#define SKELVAR_INSTANTIATE(T) template class Sampler3D<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
