#pragma once

#include <skelvar/sampling/VoxelSampler.h>

#include <memory>

namespace Skelvar {

/// Reads a voxel channel by trilinear interpolation of the eight values around a position,
/// continuous across depths. As `BaseSampler`; the gradient is per coordinate unit of the tree,
/// whatever the space of the positions. `prepareToSample` gives the cell (-1 to 4 on each axis) of
/// the stencil's low corner and, as the scale, the cells in a coordinate unit. Integers are
/// interpolated axis by axis, each of the seven steps truncated to the element type. HALO is 1.
template <typename T, int HALO>
class SKELVAR_API VoxelSamplerLinear final : public VoxelSampler<T> {
    static_assert(HALO == 1, "the stencil reaches one value beyond its tile");

public:
    using Gradient = typename Sampler3D<T>::Gradient;
    using Sampler3D<T>::sample;
    using Sampler3D<T>::sampleGradient;

    /// Reads positions of world space only through a channel of a live shape; else they count as
    /// positions of the tree. A channel without a live shape gives the background value everywhere
    /// (and is an assertion in debug builds).
    VoxelSamplerLinear(SamplerSpace in_space, const VoxelChannel<T>* in_channel);
    ~VoxelSamplerLinear() override;

    const std::string& type() const override { return kVoxelSamplerLinearType; }

    T sample(const vec3f& in_position) const override { return sample(in_position, kMaxTileDepth); }
    /// The value, read from tiles not deeper than `in_depth`.
    T sample(const vec3f& in_position, int in_depth) const;
    /// Samples the 125 values of a tile one deeper than `in_depth`, x fastest, at five places on
    /// each axis: what `sample` gives one by one. For a sampler of tree space.
    void sampleTile(const float (&in_places)[3][kTileWidth], int in_depth, T* out_values) const;
    T sampleGradient(const vec3f& in_position, Gradient* out_gradient) const override;
    void sample(const vec3f* in_positions, long long in_count, T* out_values) const override;
    void sampleGradient(const vec3f* in_positions, long long in_count, T* out_values,
                        Gradient* out_gradients) const override;

    /// Makes the cache hold the haloed form of a tile, under the number of its depth, which is
    /// given back.
    int updateCache(int in_tile_index, int in_depth) const;

private:
    using Stencil = typename VoxelSampler<T>::Stencil;
    friend VoxelSampler<T>;
    template <typename, typename, int>
    friend class Detail::SampleGroup;
    static constexpr int kReach = 2;
    static constexpr int kBefore = 0;
    static constexpr bool kTakesParts = false;
    struct Cache;
    /// What is read for a value.
    struct Reading {
        T low[4];     ///< the values at the lower x, of each other axis the lower first, y fastest
        T high[4];    ///< those at the upper x
        float scale;  ///< cells in a coordinate unit

        template <typename Values>
        void take(const Values& in_values);
        T value(Detail::AxisFloats in_fraction) const;
        Gradient gradient(Detail::AxisFloats in_fraction) const;
    };

    vec3f toTree(const vec3f& in_position) const
    {
        return m_is_uniform_scale ? in_position * m_to_tree(0, 0)
                                  : orvel::Math::transformPoint(in_position, m_to_tree);
    }
    bool findStencil(const vec3f& in_position, int in_depth, Stencil& out_stencil) const override;
    Detail::StencilReach reach() const;
    void noteFine(const Detail::StencilPlace&) const {}
    Reading& reading() const { return m_reading; }
    bool readAny(const vec3f& in_position, int in_depth, Reading& out_reading,
                 Detail::AxisFloats& out_fraction) const;
    /// The cell and the fraction of a coordinate on an axis of a tile.
    int cellOnAxis(const Detail::TileNeighbours& in_tile, float in_scale, int in_axis,
                   float in_place, float& out_fraction) const;
    /// As `sampleTile`; false, with nothing stored, where the tiles that are read may differ.
    bool sampleInsideTile(const float (&in_places)[3][kTileWidth], int in_depth,
                          T* out_values) const;
    void read(const Stencil& in_stencil, Reading& out_reading) const;
    /// Reads from the tile and those around it. False if one of those is missing that the haloed
    /// form of the tile would be copied from.
    bool readAcrossTiles(const Stencil& in_stencil, Reading& out_reading) const;

    mat4f m_to_tree;
    bool m_is_uniform_scale = false;
    mutable Reading m_reading;
    mutable std::unique_ptr<Cache> m_cache;  ///< made on first use
};

#define SKELVAR_EXTERN(T) extern template class VoxelSamplerLinear<T, 1>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
