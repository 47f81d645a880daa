#include <tools/kvf/geometry/TriangleBvh.h>

#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace Skelvar::Tool::Test {

namespace {

/// Triangles of all sizes, slivers and single points among them.
TriangleMesh makeSoup(std::mt19937& io_random, int in_count)
{
    std::uniform_real_distribution<float> place(-1.0f, 1.0f);
    std::uniform_real_distribution<float> size(0.0f, 0.3f);
    TriangleMesh mesh;
    const auto addVertex = [&](const vec3f& in_p) {
        mesh.vertices.push_back(in_p);
        return static_cast<int>(mesh.vertices.size()) - 1;
    };
    for (int t = 0; t < in_count; ++t) {
        const vec3f base{place(io_random), place(io_random), place(io_random)};
        const float reach = t % 10 == 0 ? 0.0f : size(io_random);
        const auto near = [&] {
            return base + vec3f{place(io_random), place(io_random), place(io_random)} * reach;
        };
        const int a = addVertex(base), b = addVertex(near());
        const int c =
            t % 7 == 0 ? addVertex(mesh.vertices[b] * 0.5f + base * 0.5f) : addVertex(near());
        mesh.triangles.push_back({a, b, c});
    }
    return mesh;
}

}  // namespace

TEST(TriangleBvh, FindsTheClosestPointThatAskingEachTriangleFinds)
{
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> place(-1.6f, 1.6f);
    for (const int count : {1, 4, 5, 8, 9, 100, 5000}) {
        const TriangleMesh mesh = makeSoup(random, count);
        const TriangleBvh tree(mesh);
        std::uniform_int_distribution<int> any(-1, count - 1);
        for (int n = 0; n < 200; ++n) {
            const vec3f p{place(random), place(random), place(random)};

            const TriangleBvh::Closest found = tree.closest(p, any(random));

            ASSERT_NEAR(bruteDistance(mesh, p), found.distance, 1e-6) << count << " triangles";
            vec3f point{};
            for (int c = 0; c < 3; ++c) {
                point += tree.triangle(found.triangle).corner[c] * found.weights[c];
            }
            const vec3f away = p - point;
            ASSERT_NEAR(std::sqrt(dot(away, away)), found.distance, 1e-5);
        }
    }
}

TEST(TriangleBvh, WindsAsOftenAsTheSumOfSolidAngles)
{
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> place(-1.5f, 1.5f);
    for (const TriangleMesh& mesh : {makeBall(24, true), makeBall(24, false), makeTorusKnot()}) {
        const TriangleBvh tree(mesh);
        for (int n = 0; n < 500; ++n) {
            const vec3f p{place(random), place(random), place(random)};

            ASSERT_NEAR(bruteWinding(mesh, p), tree.windingNumber(p), 0.1);
        }
    }
}

TEST(TriangleBvh, OfNoTrianglesFindsNothing)
{
    const TriangleBvh tree(TriangleMesh{});

    EXPECT_EQ(-1, tree.closest({0.0f, 0.0f, 0.0f}).triangle);
    EXPECT_EQ(0.0, tree.windingNumber({0.0f, 0.0f, 0.0f}));
}

}  // namespace Skelvar::Tool::Test
