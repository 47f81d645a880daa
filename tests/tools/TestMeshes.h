#pragma once

#include <tools/kvf/geometry/TriangleBvh.h>
#include <tools/kvf/geometry/TriangleMesh.h>

#include <vector>

namespace Skelvar::Tool::Test {

/// A cube from -1 to 1 as the text of an OBJ file, and the same without its last side.
inline constexpr const char* kCubeObj =
    "v -1 -1 -1\nv 1 -1 -1\nv -1 1 -1\nv 1 1 -1\nv -1 -1 1\nv 1 -1 1\nv -1 1 1\nv 1 1 1\n"
    "f 1 3 4 2\nf 5 6 8 7\nf 1 2 6 5\nf 3 7 8 4\nf 1 5 7 3\nf 2 4 8 6\n";
inline constexpr const char* kOpenCubeObj =
    "v -1 -1 -1\nv 1 -1 -1\nv -1 1 -1\nv 1 1 -1\nv -1 -1 1\nv 1 -1 1\nv -1 1 1\nv 1 1 1\n"
    "f 1 3 4 2\nf 5 6 8 7\nf 1 2 6 5\nf 3 7 8 4\nf 1 5 7 3\n";

/// A cube from -in_half to +in_half, twelve triangles that look outwards.
TriangleMesh makeCube(float in_half = 1.0f);

/// A ball of radius 1 cut into `in_rings` bands of `in_rings * 2` parts, with the vertices on the
/// sphere. Without `in_closed` the uppermost two bands of the axis z are left out: a round hole.
TriangleMesh makeBall(int in_rings = 24, bool in_closed = true);

/// Distance by asking each triangle, in double precision.
double bruteDistance(const TriangleMesh& in_mesh, const vec3f& in_point);

/// Winding number by the solid angle of each triangle.
double bruteWinding(const TriangleMesh& in_mesh, const vec3f& in_point);

/// Number of parts of one sign that a cubic block of values falls into, counted over faces.
int countParts(const std::vector<char>& in_inside, int in_side);

}  // namespace Skelvar::Tool::Test
