#include <tools/kvf/geometry/TriangleMesh.h>

#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <random>

namespace Skelvar::Tool::Test {

TEST(TriangleMesh, KnowsHolesFromDisagreement)
{
    EXPECT_TRUE(findTopology(makeCube()).isClosed());
    EXPECT_TRUE(findTopology(makeTorusKnot()).isClosed());
    EXPECT_EQ(48, findTopology(makeBall(24, false)).boundary_edges);
    EXPECT_EQ(0, findTopology(makeBall(24, false)).inconsistent_edges);

    TriangleMesh turned = makeBall(24);
    std::swap(turned.triangles[200][0], turned.triangles[200][1]);
    EXPECT_EQ(3, findTopology(turned).inconsistent_edges);
    EXPECT_EQ(0, findTopology(turned).boundary_edges);
}

TEST(TriangleMesh, TurnsScatteredTrianglesBackOutwards)
{
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const TriangleMesh& right : {makeBall(24), makeTorusKnot()}) {
        TriangleMesh mesh = right;
        for (vec3i& triangle : mesh.triangles) {
            if (random() % 3 == 0) {
                std::swap(triangle[0], triangle[1]);
            }
        }

        const OrientationRepair repair = orientOutward(mesh);

        EXPECT_GT(repair.turned_triangles, 0);
        EXPECT_TRUE(findTopology(mesh).isClosed());
        const vec3f inside = right.vertices[0] * 0.999f;
        EXPECT_NEAR(bruteWinding(right, inside), bruteWinding(mesh, inside), 1e-6);
    }
}

TEST(TriangleMesh, TurnsAnInsideOutMeshAndLeavesACavityAlone)
{
    TriangleMesh inside_out = makeCube();
    for (vec3i& triangle : inside_out.triangles) {
        std::swap(triangle[0], triangle[1]);
    }
    TriangleMesh hollow = makeCube(2.0f);
    for (const vec3i& triangle : inside_out.triangles) {
        hollow.triangles.push_back(triangle + vec3i{8, 8, 8});
    }
    const TriangleMesh cavity = makeCube(1.0f);
    hollow.vertices.insert(hollow.vertices.end(), cavity.vertices.begin(), cavity.vertices.end());

    EXPECT_TRUE(orientOutward(inside_out).was_inside_out);
    EXPECT_NEAR(1.0, bruteWinding(inside_out, {0.0f, 0.0f, 0.0f}), 1e-9);
    EXPECT_FALSE(orientOutward(hollow).was_inside_out);
    EXPECT_NEAR(0.0, bruteWinding(hollow, {0.0f, 0.0f, 0.0f}), 1e-9);
    EXPECT_NEAR(1.0, bruteWinding(hollow, {1.5f, 0.0f, 0.0f}), 1e-9);
}

}  // namespace Skelvar::Tool::Test
