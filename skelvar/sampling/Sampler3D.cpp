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

template <typename T>
void Sampler3D<T>::sample(const vec3f* in_positions, long long in_count, T* out_values) const
{
    for (long long n = 0; n < in_count; ++n) {
        out_values[n] = sample(in_positions[n]);
    }
}

template <typename T>
void Sampler3D<T>::sampleGradient(const vec3f* in_positions, long long in_count, T* out_values,
                                  Gradient* out_gradients) const
{
    for (long long n = 0; n < in_count; ++n) {
        out_values[n] = sampleGradient(in_positions[n], out_gradients + n);
    }
}

#define SKELVAR_INSTANTIATE(T) template class Sampler3D<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
