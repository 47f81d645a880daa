#pragma once

#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/sampling/TileNeighbours.h>

#include <memory>
#include <optional>

namespace Skelvar {

/// Reads a voxel channel by trilinear interpolation of the eight values around a position,
/// continuous across depths. As `BaseSampler`; the gradient is per coordinate unit of the tree,
/// whatever the space of the positions. Integers are interpolated axis by axis, each of the seven
/// steps truncated to the element type. HALO is 1.
template <typename T, int HALO>
class SKELVAR_API VoxelSamplerLinear final : public Sampler3D<T> {
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

    const TreeChannel3DBase* channel() const override;
    const std::string& type() const override { return kVoxelSamplerLinearType; }

    T sample(const vec3f& in_position) const override { return sample(in_position, kMaxTileDepth); }
    /// The value, read from tiles not deeper than `in_depth`.
    T sample(const vec3f& in_position, int in_depth) const;
    T sampleGradient(const vec3f& in_position, Gradient* out_gradient) const override;

    /// The deepest tile not deeper than `in_depth` at a position, the cell (-1 to 4 on each axis)
    /// of the stencil's low corner in it, the fractions from there, and the cells in a coordinate
    /// unit of the tree. False, with nothing delivered, outside the tree and for NaN.
    bool prepareToSample(const vec3f& in_position, int in_depth, float* out_scale, int* out_i,
                         int* out_j, int* out_k, float* out_fx, float* out_fy, float* out_fz,
                         int* out_tile_index, int* out_tile_depth) const;
    /// Makes the cache hold the haloed form of a tile, under the number of its depth, which is
    /// given back.
    int updateCache(int in_tile_index, int in_depth) const;

private:
    struct Cache;
    struct Stencil {
        int cell[3];        ///< of the low corner, in the tile
        float fraction[3];  ///< from there
    };

    /// What stands for values outside the tree.
    T outside() const;
    /// Goes to the tile at a position and finds the stencil there.
    bool findStencil(const vec3f& in_position, int in_depth, Stencil& out_stencil) const;
    /// The eight values of a stencil in the current tile, x fastest.
    void readCorners(const Stencil& in_stencil, T (&out_corners)[8]) const;
    /// Reads them from the tiles around the current one. False if one of those is missing that the
    /// haloed form of the tile would be copied from.
    bool readAcrossTiles(const Stencil& in_stencil, T (&out_corners)[8]) const;

    const VoxelChannel<T>* m_channel;
    mat4f m_to_tree;
    bool m_is_uniform_scale = false;
    mutable std::optional<VoxelLayout::ConstAccessor> m_accessor;  ///< none without a layout
    mutable Detail::TileNeighbours<T> m_neighbours;  ///< of the tile that a position fell into last
    mutable vec3i m_corner{};                        ///< of that tile
    mutable std::unique_ptr<Cache> m_cache;          ///< made on first use
};

#define SKELVAR_EXTERN(T) extern template class VoxelSamplerLinear<T, 1>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
