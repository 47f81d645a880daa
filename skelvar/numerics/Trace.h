#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/sampling/Sampler3D.h>

namespace Skelvar {

/// Where what is at a position now was `in_dt` ago: one step back along a velocity field. Positions
/// in the sampler's units, velocities in these by the unit of `in_dt`. A negative `in_dt` goes
/// forward. As the sampler at its edges and as to threads.
/// Source: the midpoint rule, p - dt v(p - dt / 2 v(p)); its error falls with the cube of dt.
inline vec3f trace(const vec3f& in_position, float in_dt, const Sampler3D<vec3f>& in_velocity)
{
    const vec3f middle = in_position - (0.5f * in_dt) * in_velocity.sample(in_position);
    return in_position - in_dt * in_velocity.sample(middle);
}

}  // namespace Skelvar
