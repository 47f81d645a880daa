#pragma once

#include <skelvar/sampling/FineTiles.h>
#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/sampling/TileFinder.h>

namespace Skelvar {

namespace Detail {
template <typename T, typename Kind, int Size>
class SampleGroup;
}
template <typename T>
class SKELVAR_API_FORWARD VoxelChannel;
class VoxelShape;

/// What the samplers of voxel channels share: the way from a position to its tile, and the place of
/// the stencil there. As `BaseSampler`.
template <typename T>
class SKELVAR_API VoxelSampler : public Sampler3D<T> {
public:
    const TreeChannel3DBase* channel() const override;

    /// The deepest tile not deeper than `in_depth` at a position, the cell of the stencil in it,
    /// the fractions from there, and the scale, which each kind states. False, with nothing
    /// delivered, outside the tree and for NaN.
    bool prepareToSample(const vec3f& in_position, int in_depth, float* out_scale, int* out_i,
                         int* out_j, int* out_k, float* out_fx, float* out_fy, float* out_fz,
                         int* out_tile_index, int* out_tile_depth) const;

protected:
    template <typename, typename, int>
    friend class Detail::SampleGroup;
    using Gradient = typename Sampler3D<T>::Gradient;
    struct Stencil {
        Detail::TileNeighbours* tile;
        float scale;
        int cell[3];
        float fraction[3];
    };
    VoxelSampler(SamplerSpace in_space, const VoxelChannel<T>* in_channel);

    /// Goes to the tile at a position of the tree and gives it to the stencil. False outside the
    /// tree and for NaN.
    bool enterTile(const vec3f& in_position, int in_depth, Stencil& out_stencil) const
    {
        if (!Detail::isInDomain(in_position) || in_depth < 0) {
            return false;
        }
        out_stencil.tile = m_finder.find(Detail::cellCoordinates(in_position),
                                         in_depth < kMaxTileDepth ? in_depth : kMaxTileDepth);
        return out_stencil.tile != nullptr;
    }
    /// Goes to the tile at a position of the sampler's space; false likewise.
    virtual bool findStencil(const vec3f& in_position, int in_depth,
                             Stencil& out_stencil) const = 0;
    /// A position of the sampler's space in coordinate units of the tree, by the shape's map as it
    /// stands now.
    vec3f toTree(const vec3f& in_position) const
    {
        return m_shape == nullptr ? in_position : fromWorld(in_position);
    }
    /// What stands for values outside the tree.
    T outside() const;
    /// Samples positions of a kind, `Size` of them at a time (see `Detail::SampleGroup`): as many
    /// as stand with their stencils in the cache next to the processor. Of the kind are used:
    /// - `Reading`, what is read for a value, with `take(values)`, `value(fraction)` and, if it has
    ///   any, `gradient(fraction)`; `reading()` gives the sampler's own, which stays from call to
    ///   call. It may have `begin(fraction)`, which gives a `Half`, and `finish(half)`, called for
    ///   a group of positions one after the other instead of `value`;
    /// - `kReach`, the values of a stencil on an axis, and `kBefore`, how far its first lies below
    ///   its cell;
    /// - `toTree(position)` and `reach()`, the `Detail::StencilReach`;
    /// - `noteFine(place)`, called for each `Detail::StencilPlace` that is read, in order;
    /// - `kTakesParts`, and where that is true `takePart(place, values, out)`: as `take`, where not
    ///   all eight tiles exist, but that of the cell does;
    /// - `readAny(position, depth, out, out_fraction)`, which reads tiles of all depths and gives
    ///   false outside.
    /// No gradients are stored at null.
    template <int Size, typename Kind>
    void sampleGroups(const Kind& in_kind, const vec3f* in_positions, long long in_count,
                      T* out_values, Gradient* out_gradients) const;
    /// Samples one position, from tiles not deeper than `in_depth`.
    template <typename Kind>
    T sampleOne(const Kind& in_kind, const vec3f& in_position, int in_depth,
                Gradient* out_gradient) const;

    const VoxelChannel<T>* m_channel;
    const VoxelShape* m_shape = nullptr;  ///< gives the way from the world; null for the tree
    mutable Detail::TileFinder m_finder;
    mutable Detail::FineTiles m_fine;
    mutable Detail::FineCell m_last =
        Detail::kNoFineCell;  ///< whose values the kind's reading holds

private:
    vec3f fromWorld(const vec3f& in_position) const;
    /// The tiles of depth 7, null if there are none or they are too deep; then no stencil counts as
    /// read.
    const VoxelTile<T, 0, 5>* fineTiles(int in_depth) const;
    /// Reads a stencil from tiles of depth 7; false if that cannot be done.
    template <typename Kind, typename Values, typename Reading>
    bool readPlace(const Kind& in_kind, const Detail::StencilPlace& in_place,
                   const Values& in_values, Reading& out_reading) const;
    /// Samples positions one after the other by the kind's `readAny`.
    template <typename Kind>
    void sampleAny(const Kind& in_kind, const vec3f* in_positions, long long in_count, int in_depth,
                   T* out_values, Gradient* out_gradients) const;
};

#define SKELVAR_EXTERN(T) extern template class VoxelSampler<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
