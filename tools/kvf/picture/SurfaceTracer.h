#pragma once

#include <skelvar/sampling/Sampler3D.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <memory>
#include <string>

namespace Skelvar {

class VoxelShape;

namespace Tool {

/// Finds where rays meet the zero surface of a channel of signed distances. Positions are in tree
/// space, distances in finest cells. Borrows the shape and the channel. Belongs to one thread.
class SurfaceTracer {
public:
    /// `in_world_per_cell`: side of a finest cell in world units, the unit of the channel's values.
    SurfaceTracer(const VoxelShape& in_shape, const VoxelChannel<float>& in_channel,
                  const std::string& in_kind, float in_world_per_cell);

    /// The first point of the ray, from inside the box of the finest tiles on, where the distance
    /// falls to zero. `in_direction` is a unit vector.
    bool trace(const vec3f& in_origin, const vec3f& in_direction, vec3f& out_hit);
    /// Unit vector in which the distance grows: the sampler's gradient, or differences over a cell
    /// for a kind that has none.
    vec3f normal(const vec3f& in_position) const;
    /// How open the space is before a point of the surface: 1 in the open, toward 0 in a cleft.
    float openness(const vec3f& in_position, const vec3f& in_normal) const;

private:
    float distance(const vec3f& in_position) const;
    /// The part of the ray inside of the box of the finest tiles.
    bool clip(const vec3f& in_origin, const vec3f& in_direction, float& out_begin,
              float& out_end) const;
    /// How far a ray may go on without passing over a change of the sign.
    float stepAt(const vec3f& in_position, const vec3f& in_direction, float in_distance);

    VoxelLayout::ConstAccessor m_accessor;
    std::shared_ptr<BaseSampler> m_sampler;
    bool m_has_gradient;  ///< the sampler
    float m_cells_per_world;
    vec3f m_lo;  ///< of the box of the finest tiles
    vec3f m_hi;
};

}  // namespace Tool
}  // namespace Skelvar
