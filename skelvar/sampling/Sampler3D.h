#pragma once

#include <skelvar/sampling/BaseSampler.h>

namespace Skelvar {

/// A sampler with its element type. As `BaseSampler`.
template <typename T>
class SKELVAR_API Sampler3D : public BaseSampler {
public:
    using value_type = T;
    using Gradient = orvel::Math::vec<3, T>;

    void sample(const vec3f& in_position, void* out_value) const override;
    void sampleGradient(const vec3f& in_position, void* out_value,
                        void* out_gradient) const override;
    unsigned long dataType() const override { return m_data_type; }
    void setDataType(unsigned long in_type) override { m_data_type = in_type; }

    /// The value at a position, read at the finest depth there; the background value outside the
    /// tree and for NaN.
    virtual T sample(const vec3f& in_position) const = 0;
    /// The value, and the gradient, which each kind states in units of its own; zero outside the
    /// tree. A kind without gradients throws `std::runtime_error` with "Method not implemented in
    /// subclass!".
    virtual T sampleGradient(const vec3f& in_position, Gradient* out_gradient) const;

    /// The values at many positions, bit for bit as one after another, and several times as fast
    /// where the positions lie apart: the memory of many is waited for at a time. A hundred
    /// positions a call do.
    virtual void sample(const vec3f* in_positions, long long in_count, T* out_values) const;
    /// The same with the gradients. Throws likewise.
    virtual void sampleGradient(const vec3f* in_positions, long long in_count, T* out_values,
                                Gradient* out_gradients) const;

private:
    unsigned long m_data_type = 0;
};

#define SKELVAR_EXTERN(T) extern template class Sampler3D<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
