#pragma once

#include <skelvar/sampling/VoxelSampler.h>

#include <memory>
#include <type_traits>

namespace Skelvar {

/// Reads a voxel channel of `float` through 64 values by third-order steps that do not oscillate:
/// each blends two parabolas, weighted by how smooth they are, so that a sharp front is not
/// overshot. As `BaseSampler`; it has no gradient. Constants come out exactly up to a magnitude of
/// about 1e8, beyond which the weights overflow. `prepareToSample` gives the cell (-1 to 4 on each
/// axis) of the value below the position and, as the scale, its side in coordinate units.
template <typename T>
class SKELVAR_API VoxelSamplerWENO final : public VoxelSampler<T> {
    static_assert(std::is_same_v<T, float>, "only channels of float have this sampler");

public:
    using Sampler3D<T>::sample;

    /// A channel without a live shape gives the background value everywhere (and is an assertion in
    /// debug builds).
    VoxelSamplerWENO(SamplerSpace in_space, const VoxelChannel<T>* in_channel);
    ~VoxelSamplerWENO() override;

    const std::string& type() const override { return kVoxelSamplerWENOType; }

    T sample(const vec3f& in_position) const override { return sample(in_position, kMaxTileDepth); }
    /// The value, read from tiles not deeper than `in_depth`.
    T sample(const vec3f& in_position, int in_depth) const;
    void sample(const vec3f* in_positions, long long in_count, T* out_values) const override;

    /// Makes the cache hold a tile, under the number of its depth, which is given back.
    int updateCache(int in_tile_index, int in_depth) const;

private:
    using Stencil = typename VoxelSampler<T>::Stencil;
    friend VoxelSampler<T>;
    template <typename, typename, int>
    friend class Detail::SampleGroup;
    static constexpr int kReach = 4;
    static constexpr int kBefore = 1;
    static constexpr bool kTakesParts = false;
    struct Cache;
    /// What is read for a value.
    struct Reading;

    bool findStencil(const vec3f& in_position, int in_depth, Stencil& out_stencil) const override;
    Detail::StencilReach reach() const;
    void noteFine(const Detail::StencilPlace&) const {}
    Reading& reading() const;
    bool readAny(const vec3f& in_position, int in_depth, Reading& out_reading,
                 Detail::AxisFloats& out_fraction) const;

    std::unique_ptr<Cache> m_cache;  ///< null without a layout
};

extern template class VoxelSamplerWENO<float>;

}  // namespace Skelvar
