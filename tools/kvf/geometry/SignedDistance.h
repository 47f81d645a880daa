#pragma once

#include <tools/kvf/geometry/TriangleBvh.h>

namespace Skelvar::Tool {

/// The signed distance to a mesh: negative inside, positive outside, exact in length everywhere.
/// A point is inside where the mesh winds round it more than half a time. For a closed mesh that is
/// the exact answer, at corners and edges too; a hole is closed by a smooth lid, without speckles.
/// Borrows the tree, which must outlive it.
class SignedDistance {
public:
    /// `in_closed` promises that the mesh is closed (`MeshTopology::isClosed`).
    SignedDistance(const TriangleBvh& in_tree, bool in_closed)
        : m_tree(&in_tree), m_closed(in_closed)
    {
    }

    struct Value {
        float distance;
        /// The way in which the distance grows, which near a closed surface is its outward normal.
        /// Unit length; (0, 1, 0) on a triangle without area.
        vec3f normal;
    };

    /// Asks for one point after another. Remembers the last answer, so that a walk in small steps
    /// is many times quicker than single questions; the values do not depend on the walk. Belongs
    /// to one thread.
    class Walker {
    public:
        explicit Walker(const SignedDistance& in_distance) : m_of(&in_distance) {}
        Value at(const vec3f& in_point);

    private:
        bool isInside(const vec3f& in_point, float in_distance) const;

        const SignedDistance* m_of;
        int m_triangle = -1;  ///< closest to the last point, -1 before the first
        vec3f m_point{};
        float m_distance = 0.0f;  ///< of the last point, never negative; 0 before the first
        bool m_inside = false;
    };

private:
    const TriangleBvh* m_tree;
    bool m_closed;
};

}  // namespace Skelvar::Tool
