#pragma once

#include <skelvar/sampling/FineTiles.h>
#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/sampling/TileFinder.h>

namespace Skelvar {

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
    /// Samples positions of a kind, `Group` of them at a time: their slots and then their values
    /// are on their way before any of them is waited for. Positions one after another with one
    /// stencil read it once. Of the kind are used:
    /// - `Reading`, what is read for a value, with `take(values)`, `value()` and, if it has
    ///   any, `gradient()`; `reading()` gives the sampler's own. Instead of `value()` it may have
    ///   `begin()`, which gives a `Half`, and `finish(half)`, called for a group of positions;
    /// - `kReach`, the values of a stencil on an axis, and `kBefore`, how far its first lies below
    ///   its cell;
    /// - `toTree(position)` and `reach()`, the `Detail::StencilReach`;
    /// - `noteFine(place)`, called for each `Detail::StencilPlace` that is read, in order;
    /// - `takePart(place, values)`, if the kind has it: as `take`, where not all eight tiles exist,
    ///   but that of the cell does;
    /// - `readAny(position, depth, out)`, which reads tiles of all depths and gives false outside.
    /// No gradients are stored at null.
    template <int Group, typename Kind>
    void sampleGroups(const Kind& in_kind, const vec3f* in_positions, long long in_count,
                      int in_depth, T* out_values,
                      typename Sampler3D<T>::Gradient* out_gradients) const;

    const VoxelChannel<T>* m_channel;
    const VoxelShape* m_shape = nullptr;  ///< gives the way from the world; null for the tree
    mutable Detail::TileFinder m_finder;
    mutable Detail::FineTiles m_fine;
    /// True if the kind's reading holds the values of the stencil that `m_fine` found last.
    mutable bool m_holds_last = false;

private:
    vec3f fromWorld(const vec3f& in_position) const;
};

#define SKELVAR_EXTERN(T) extern template class VoxelSampler<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
