#pragma once

#include <skelvar/base/ValueTypes.h>

#include <vector>

namespace Skelvar::Tool {

/// A plain indexed triangle mesh. The front of a triangle is the side from which its corners run
/// counter-clockwise; on a closed mesh that side looks outwards.
struct TriangleMesh {
    std::vector<vec3f> vertices;
    std::vector<vec3i> triangles;
};

/// How the triangles of a mesh meet along their edges.
struct MeshTopology {
    long long boundary_edges = 0;      ///< edges with an odd number of triangles: holes and rims
    long long inconsistent_edges = 0;  ///< edges whose triangles disagree on which side is out

    /// True if each edge is run through as often one way as the other. Then the mesh bounds a
    /// volume, and each point off the surface has a whole winding number.
    bool isClosed() const { return boundary_edges == 0 && inconsistent_edges == 0; }
};

MeshTopology findTopology(const TriangleMesh& in_mesh);

/// What `orientOutward` had to do.
struct OrientationRepair {
    long long turned_triangles = 0;  ///< of parts whose triangles disagreed
    bool was_inside_out = false;     ///< the whole mesh has been turned round after that
};

/// Turns triangles so that they agree along shared edges and look outwards. A connected part is
/// touched only if its triangles disagree; it then agrees with itself and holds a positive volume.
/// A mesh that agrees but holds a clearly negative volume is turned as a whole. A surface with only
/// one side stays in disagreement along a seam.
OrientationRepair orientOutward(TriangleMesh& io_mesh);

/// The box around all vertices. The mesh must have one.
void findBounds(const TriangleMesh& in_mesh, vec3f& out_min, vec3f& out_max);
/// The longest side of that box.
float longestSide(const TriangleMesh& in_mesh);

/// A closed tube wound `in_turns` times round the axis z and `in_twists` times round its ring: the
/// torus knot of these numbers, a trefoil for 2 and 3. About 2.4 units wide. `in_segments` rings of
/// `in_sides` vertices along the tube. The two numbers of turns must have no common divisor.
TriangleMesh makeTorusKnot(int in_turns = 2, int in_twists = 3, int in_segments = 240,
                           int in_sides = 24);

}  // namespace Skelvar::Tool
