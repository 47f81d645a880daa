#include <tools/kvf/geometry/SignedDistance.h>

#include <skelvar/numerics/Distance.h>

#include <tools/kvf/geometry/Vectors.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

/// Unit normal of the triangle's front, (0, 1, 0) without area.
vec3d faceNormal(const TriangleBvh::Triangle& in_triangle)
{
    const vec3d base = widen(in_triangle.corner[0]);
    return unit(cross(widen(in_triangle.corner[1]) - base, widen(in_triangle.corner[2]) - base));
}

/// The closest point to `in_point` on an edge, in double precision. An edge without length counts
/// as its second end.
vec3d closestOnEdge(const vec3d& in_point, const vec3d& in_from, const vec3d& in_to)
{
    const vec3d along = in_from - in_to;
    const double squared = dot(along, along);
    const double part = squared > 0.0 ? dot(in_point - in_to, along) / squared : 0.0;
    return in_to + along * std::clamp(part, 0.0, 1.0);
}

/// Unit vector from the closest point of the triangle to `in_point`; on the surface itself, where
/// there is none, the front of the triangle. The weights only tell the corners that take part.
vec3d awayFromSurface(const TriangleBvh::Triangle& in_triangle, const vec3f& in_weights,
                      const vec3f& in_point)
{
    const vec3d p = widen(in_point);
    int corner[3];
    int corners = 0;
    for (int c = 0; c < 3; ++c) {
        if (in_weights[c] > 0.0f) {
            corner[corners++] = c;
        }
    }
    if (corners == 3) {
        // Above the inside of a triangle the direction is its normal, whatever the distance.
        const vec3d normal = faceNormal(in_triangle);
        return dot(p - widen(in_triangle.corner[0]), normal) < 0.0 ? -normal : normal;
    }
    const vec3d first = widen(in_triangle.corner[corners > 0 ? corner[0] : 0]);
    const vec3d away =
        p - (corners == 2 ? closestOnEdge(p, first, widen(in_triangle.corner[corner[1]])) : first);
    const double distance = length(away);
    return distance > 0.0 ? away / distance : faceNormal(in_triangle);
}

/// False within rounding of the surface, where a side means little.
bool isOffSurface(const vec3f& in_point, float in_distance)
{
    const float reach =
        std::max({std::abs(in_point[0]), std::abs(in_point[1]), std::abs(in_point[2])});
    return in_distance > 1e-7f * reach;
}

}  // namespace

bool SignedDistance::Walker::isInside(const vec3f& in_point, float in_distance) const
{
    if (in_distance == 0.0f) {
        return false;
    }
    if (m_of->m_closed && isOffSurface(m_point, m_distance) &&
        isOffSurface(in_point, in_distance)) {
        // A step shorter than the way to the surface cannot have crossed a closed one.
        const double step = length(widen(in_point) - widen(m_point));
        if (step < 0.99999 * std::max(m_distance, in_distance)) {
            return m_inside;
        }
    }
    return m_of->m_tree->windingNumber(in_point) > 0.5;
}

SignedDistance::Value SignedDistance::Walker::at(const vec3f& in_point)
{
    const TriangleBvh& tree = *m_of->m_tree;
    const TriangleBvh::Closest hit = tree.closest(in_point, m_triangle);
    const TriangleBvh::Triangle& triangle = tree.triangle(hit.triangle);
    const float distance = static_cast<float>(
        point_triangle_distance(widen(in_point), widen(triangle.corner[0]),
                                widen(triangle.corner[1]), widen(triangle.corner[2])));

    m_inside = isInside(in_point, distance);
    m_triangle = hit.triangle;
    m_point = in_point;
    m_distance = distance;

    const vec3d away = awayFromSurface(triangle, hit.weights, in_point);
    const vec3d normal = m_inside ? -away : away;
    return {m_inside ? -distance : distance,
            {float(normal[0]), float(normal[1]), float(normal[2])}};
}

}  // namespace Skelvar::Tool
