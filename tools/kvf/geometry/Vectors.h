#pragma once

#include <orvel/Math/Vec.h>

#include <cmath>

namespace Skelvar::Tool {

inline vec3d widen(const vec3f& in_v)
{
    return {in_v[0], in_v[1], in_v[2]};
}

inline double length(const vec3d& in_v)
{
    return std::sqrt(dot(in_v, in_v));
}

/// The vector at length 1; (0, 1, 0) for one without length.
inline vec3f unit(const vec3f& in_v)
{
    const float length = std::sqrt(dot(in_v, in_v));
    return length > 0.0f ? in_v / length : vec3f{0.0f, 1.0f, 0.0f};
}

inline vec3d unit(const vec3d& in_v)
{
    const double size = length(in_v);
    return size > 0.0 ? in_v / size : vec3d{0.0, 1.0, 0.0};
}

}  // namespace Skelvar::Tool
