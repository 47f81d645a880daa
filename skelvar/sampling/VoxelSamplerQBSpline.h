#pragma once

#include <skelvar/sampling/VoxelSampler.h>

#include <memory>

namespace Skelvar {

namespace Detail {
template <typename T, int N>
class StencilAcross;
}

/// Reads a voxel channel by a quadratic B-spline over 27 values: smooth, and not through the values
/// themselves. As `BaseSampler`. The values count as standing at cell centres, whatever the
/// channel's offset. The gradient is per cell of the tile that is read. `prepareToSample` gives the
/// cell of the position (0 to 4 on each axis) and, as the scale, its side in coordinate units.
///
/// Where a tile borders on a coarser region or on the edge of the domain, its haloed form holds
/// other values in the tile's own outermost layer (`evalQBSplineHaloedTile`). A position in the
/// cells 1 to 3 of a tile reads the haloed form if the sampler holds the tile, and the tile itself
/// if not. So near such borders the value depends on what was sampled before. Held is, for each
/// depth, the tile last read in its outermost cells, or the ancestor of such a tile.
///
/// Integers are weighted axis by axis, each step truncated to the element type.
template <typename T>
class SKELVAR_API VoxelSamplerQBSpline final : public VoxelSampler<T> {
public:
    using Gradient = typename Sampler3D<T>::Gradient;
    using Sampler3D<T>::sample;
    using Sampler3D<T>::sampleGradient;

    /// A channel without a live shape gives the background value everywhere (and is an assertion in
    /// debug builds).
    VoxelSamplerQBSpline(SamplerSpace in_space, const VoxelChannel<T>* in_channel);
    ~VoxelSamplerQBSpline() override;

    const std::string& type() const override { return kVoxelSamplerQBSplineType; }

    T sample(const vec3f& in_position) const override { return sample(in_position, kMaxTileDepth); }
    /// The value, read from tiles not deeper than `in_depth`.
    T sample(const vec3f& in_position, int in_depth) const;
    T sampleGradient(const vec3f& in_position, Gradient* out_gradient) const override;
    void sample(const vec3f* in_positions, long long in_count, T* out_values) const override;
    void sampleGradient(const vec3f* in_positions, long long in_count, T* out_values,
                        Gradient* out_gradients) const override;

    /// Makes the sampler hold a tile, with the ancestors that it does not hold yet; gives the
    /// depth.
    int updateCache(int in_tile_index, int in_depth) const;

private:
    using Stencil = typename VoxelSampler<T>::Stencil;
    friend VoxelSampler<T>;
    template <typename, typename, int>
    friend class Detail::SampleGroup;
    static constexpr int kReach = 3;
    static constexpr int kBefore = 1;
    static constexpr bool kTakesParts = true;
    struct Cache;
    /// What is read for a value.
    struct Reading;

    bool findStencil(const vec3f& in_position, int in_depth, Stencil& out_stencil) const override;
    Detail::StencilReach reach() const;
    void holdWithAncestors(const TileIndex& in_tile) const;
    /// The same without a look at the tile's node, which lies far from all else.
    void hold(const TileIndex& in_tile, int in_parent) const;
    void noteFine(const Detail::StencilPlace& in_place) const;
    void takePart(const Detail::StencilPlace& in_place,
                  const Detail::StencilAcross<T, 3>& in_values, Reading& out_reading) const;
    Reading& reading() const;
    bool readAny(const vec3f& in_position, int in_depth, Reading& out_reading,
                 Detail::AxisFloats& out_fraction) const;

    std::unique_ptr<Cache> m_cache;  ///< null without a layout
};

#define SKELVAR_EXTERN(T) extern template class VoxelSamplerQBSpline<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
