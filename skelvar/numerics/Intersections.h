#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

using vec2d = orvel::Math::vec<2, double>;
using vec4d = orvel::Math::vec<4, double>;

// Crossing tests between points, edges, triangles and tetrahedra whose answers are exact and fit
// together: each point comes with an id, and touching is decided as if every point were moved by an
// infinitely small amount that its id names (`unsorted_sos_orient3d`). So a point on the common
// edge of two triangles lies in exactly one of them, and a closed curve passes through a closed
// surface an even number of times, however the corners coincide. The ids of one call must differ;
// give a point the same id in every call.
//
// The weights of a crossing multiply the corners in the order in which they are handed in and sum
// to 1. They are rounded, and all equal where the exact volumes behind them vanish. They are
// written only where the answer is true. The functions are pure: any thread may call them.
//
// Source: signs of tetrahedra; P. J. Schneider, D. H. Eberly, "Geometric Tools for Computer
// Graphics" (2002), perturbed as Edelsbrunner and Mücke (1990) tell.

/// Whether x0 lies in the triangle x1 x2 x3 of the plane, whichever way it turns. The least int is
/// no id here.
SKELVAR_API bool point_in_triangle(int in_i0, const vec2d& in_x0, int in_i1, const vec2d& in_x1,
                                   int in_i2, const vec2d& in_x2, int in_i3, const vec2d& in_x3,
                                   vec3d& out_bc);

/// Whether x0 lies in the tetrahedron x1 x2 x3 x4, whichever way it turns.
SKELVAR_API bool point_in_tetrahedron(int in_i0, const vec3d& in_x0, int in_i1, const vec3d& in_x1,
                                      int in_i2, const vec3d& in_x2, int in_i3, const vec3d& in_x3,
                                      int in_i4, const vec3d& in_x4, vec4d& out_bc);

/// Whether the edge x0 x1 passes through the triangle x2 x3 x4.
SKELVAR_API bool edge_triangle_intersection(int in_i0, const vec3d& in_x0, int in_i1,
                                            const vec3d& in_x1, int in_i2, const vec3d& in_x2,
                                            int in_i3, const vec3d& in_x3, int in_i4,
                                            const vec3d& in_x4, vec2d& out_edge_bc,
                                            vec3d& out_triangle_bc);

/// Whether one straight line through the eye x4 meets both edges, x0 x1 and x2 x3: they cross as
/// seen from there, ahead or behind. (Perturbed edges never meet in space itself.)
SKELVAR_API bool edge_edge_3d(int in_i0, const vec3d& in_x0, int in_i1, const vec3d& in_x1,
                              int in_i2, const vec3d& in_x2, int in_i3, const vec3d& in_x3,
                              int in_i4, const vec3d& in_x4, vec2d& out_first_bc,
                              vec2d& out_second_bc);

}  // namespace Skelvar
