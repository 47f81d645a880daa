#pragma once

#include <tools/kvf/geometry/TriangleMesh.h>

#include <vector>

namespace Skelvar::Tool {

/// A tree of boxes around the triangles of a mesh, in one flat array, for two questions: which
/// point of the mesh is closest, and how often does the mesh wind round a point. Keeps its own copy
/// of the corners. Immutable, so any number of threads may ask at once.
class TriangleBvh {
public:
    /// Builds in parallel. A mesh without triangles gives a tree that finds nothing.
    explicit TriangleBvh(const TriangleMesh& in_mesh);

    struct Triangle {
        vec3f corner[3];
    };
    int numTriangles() const { return static_cast<int>(m_triangles.size()); }
    /// By the tree's own numbers, which are those of `Closest`.
    const Triangle& triangle(int in_number) const { return m_triangles[in_number]; }

    struct Closest {
        int triangle = -1;  ///< the tree's number, -1 for an empty tree
        float distance = 0.0f;
        vec3f weights{};  ///< of the triangle's corners at the closest point
    };
    /// The closest point of the mesh; of several triangles at the very same distance that with the
    /// lowest number. `in_guess` is a triangle thought to be near, or -1: a good one, as the answer
    /// for a point beside this one, saves most of the search and changes nothing else.
    Closest closest(const vec3f& in_point, int in_guess = -1) const;

    /// How often the mesh winds round the point: 1 inside of a closed mesh and 0 outside, any
    /// number between for a mesh with holes. Groups of triangles further away than twice their
    /// radius count as one dipole, which is off by some hundredths; near ones are exact.
    /// Source: Jacobson, Kavan, Sorkine-Hornung, "Robust Inside-Outside Segmentation using
    /// Generalized Winding Numbers" (2013); Barill, Dickson, Schmidt, Levin, Jacobson, "Fast
    /// Winding Numbers for Soups and Clouds" (2018), first order.
    double windingNumber(const vec3f& in_point) const;

private:
    /// The left child of an inner node follows it at once.
    struct Node {
        vec3f min;
        vec3f max;
        int right = 0;  ///< inner: number of the right child; leaf: number of the first triangle
        int count = 0;  ///< inner: 0; leaf: triangles
    };
    /// What the triangles below a node look like from afar.
    struct Dipole {
        vec3d centre{};  ///< middle of the triangles, weighted by area
        vec3d moment{};  ///< sum of area times unit normal
        double radius = 0.0;
    };

    void build(int in_node, int in_first, int in_last, std::vector<int>& io_order,
               const TriangleMesh& in_mesh, const std::vector<vec3f>& in_middles);
    void summarise(int in_node, int in_first, int in_last);

    std::vector<Node> m_nodes;
    std::vector<Dipole> m_dipoles;  ///< by node
    std::vector<Triangle> m_triangles;
    float m_rounding = 0.0f;  ///< more than what a distance near the mesh is off by
};

}  // namespace Skelvar::Tool
