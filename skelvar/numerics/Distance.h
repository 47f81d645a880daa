#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

// Closest points between points, edges and triangles. All distances are in the units of the points
// and never negative; NaN in gives NaN out. The functions are pure: any thread may call them.
//
// The weights of a closest point sum to 1 and multiply the corners in the order in which the
// corners are handed in. A zero-length edge counts as its second point. A triangle whose squared
// area, or a pair of edges whose squared sine, is at or below 1e-8 in proportion to the squared
// lengths is degenerate, and its edges and end points decide. That test, and the solution of the
// Gram system behind the weights, are in double; in the float forms the differences ahead of it
// and the closest points after it are in float.
//
// Source: normal equations of the least-squares problem, with the clamped cases taken edge by edge.

/// Distance from x0 to the edge x1 x2.
SKELVAR_API float point_edge_distance(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2);
SKELVAR_API double point_edge_distance(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2);

/// The same with the weights of x1 and x2.
SKELVAR_API float point_edge_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                                vec2f& out_bc);

/// Distance from x0 to the triangle x1 x2 x3.
SKELVAR_API float point_triangle_distance(const vec3f& in_x0, const vec3f& in_x1,
                                          const vec3f& in_x2, const vec3f& in_x3);
SKELVAR_API double point_triangle_distance(const vec3d& in_x0, const vec3d& in_x1,
                                           const vec3d& in_x2, const vec3d& in_x3);

/// The same with the weights of x1, x2 and x3.
SKELVAR_API float point_triangle_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                                    const vec3f& in_x3, vec3f& out_bc);

/// Distance between the edges x0 x1 and x2 x3.
SKELVAR_API float edge_edge_distance(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                                     const vec3f& in_x3);
SKELVAR_API double edge_edge_distance(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2,
                                      const vec3d& in_x3);

/// The same with the weights of x0 and x1 (`out_a`), x2 and x3 (`out_b`). Where several pairs of
/// points are as near, that with x0 goes ahead of x1, x2 and x3.
SKELVAR_API float edge_edge_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                               const vec3f& in_x3, vec2f& out_a, vec2f& out_b);

/// Whether the closest points of the edges x0 x1 and x2 x3 lie strictly inside both. If so,
/// `out_distance` is the distance; else it stays as it was. False for near-parallel edges.
SKELVAR_API bool edge_edge_distance_interior(const vec3f& in_x0, const vec3f& in_x1,
                                             const vec3f& in_x2, const vec3f& in_x3,
                                             float& out_distance);

}  // namespace Skelvar
