#include <skelvar/numerics/Intersections.h>

#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace Skelvar {
namespace {

using Testing::Random;

#ifdef SKELVAR_CHECKED_BUILD
constexpr int kTrials = 200;
#else
constexpr int kTrials = 5000;
#endif

/// A corner on a coarse grid, so that corners, edges and faces meet all the time.
vec3d gridPoint(Random& io_random)
{
    return {1.0 * io_random.integer(0, 3), 1.0 * io_random.integer(0, 3),
            1.0 * io_random.integer(0, 3)};
}

std::vector<vec3d> gridPoints(Random& io_random, int in_count)
{
    std::vector<vec3d> points;
    for (int n = 0; n < in_count; ++n) {
        points.push_back(gridPoint(io_random));
    }
    return points;
}

TEST(PointInTriangle, EveryPointOfASquareLiesInOneOfItsTriangles)
{
    constexpr int kSide = 4;
    vec3d bc{};
    for (int half_y = 1; half_y < 2 * kSide; ++half_y) {
        for (int half_x = 1; half_x < 2 * kSide; ++half_x) {
            const vec2d p{half_x * 0.5, half_y * 0.5};
            int hits = 0;
            for (int cell = 0; cell < kSide * kSide; ++cell) {
                const int i = cell % kSide;
                const int j = cell / kSide;
                const auto id = [&](int in_i, int in_j) { return 1 + in_i + in_j * (kSide + 1); };
                const vec2d a{1.0 * i, 1.0 * j};
                const vec2d b{i + 1.0, 1.0 * j};
                const vec2d c{1.0 * i, j + 1.0};
                const vec2d d{i + 1.0, j + 1.0};
                hits += point_in_triangle(0, p, id(i, j), a, id(i + 1, j), b, id(i, j + 1), c, bc);
                hits += point_in_triangle(0, p, id(i, j + 1), c, id(i + 1, j), b, id(i + 1, j + 1),
                                          d, bc);
            }
            EXPECT_EQ(1, hits) << p[0] << ", " << p[1];
        }
    }
}

TEST(PointInTriangle, WeightsGiveThePointBack)
{
    vec3d bc{};

    ASSERT_TRUE(point_in_triangle(1, {1, 1}, 2, {0, 0}, 3, {0, 4}, 4, {8, 0}, bc));

    EXPECT_EQ((vec3d{0.625, 0.25, 0.125}), bc);
    EXPECT_FALSE(point_in_triangle(1, {5, 3}, 2, {0, 0}, 3, {0, 4}, 4, {8, 0}, bc));
}

TEST(PointInTriangle, WeightsAreEqualWhereItHasNoArea)
{
    std::array<int, 4> ids = {1, 2, 3, 4};
    int hits = 0;
    do {
        vec3d bc{};
        if (point_in_triangle(ids[0], {1, 0}, ids[1], {0, 0}, ids[2], {2, 0}, ids[3], {1, 0}, bc)) {
            ++hits;
            EXPECT_EQ((vec3d{1.0 / 3, 1.0 / 3, 1.0 / 3}), bc);
        }
    } while (std::next_permutation(ids.begin(), ids.end()));
    EXPECT_GT(hits, 0);
}

TEST(PointInTetrahedron, WeightsGiveThePointBack)
{
    vec4d bc{};

    ASSERT_TRUE(point_in_tetrahedron(0, {1, 1, 0.25}, 1, {0, 0, 0}, 2, {8, 0, 0}, 3, {0, 4, 0}, 4,
                                     {0, 0, 2}, bc));

    EXPECT_EQ((vec4d{0.5, 0.125, 0.25, 0.125}), bc);
}

TEST(PointInTetrahedron, EveryPointOfATetrahedronLiesInOneOfItsParts)
{
    Random random(3);
    SCOPED_TRACE(random.seed());
    vec4d bc{};
    for (int trial = 0; trial < kTrials; ++trial) {
        // 0 is the point; 1 to 4 the whole; 5 splits it into four parts, with signs
        const std::vector<vec3d> p = gridPoints(random, 6);
        const auto contains = [&](int a, int b, int c, int d) {
            return point_in_tetrahedron(0, p[0], a, p[a], b, p[b], c, p[c], d, p[d], bc);
        };
        int parts = 0;
        parts += contains(5, 2, 3, 4);
        parts += contains(1, 5, 3, 4);
        parts += contains(1, 2, 5, 4);
        parts += contains(1, 2, 3, 5);
        EXPECT_EQ(contains(1, 2, 3, 4) ? 1 : 0, parts % 2) << "trial " << trial;
    }
}

TEST(EdgeTriangleIntersection, AClosedCurvePassesThroughAClosedSurfaceAnEvenNumberOfTimes)
{
    Random random(8);
    SCOPED_TRACE(random.seed());
    int crossings = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        const std::vector<vec3d> p = gridPoints(random, 8);  // 0 to 3 a tetrahedron, 4 to 7 a loop
        int passes = 0;
        for (int n = 0; n < 4; ++n) {
            const int e = 4 + n;
            const int f = 4 + (n + 1) % 4;
            for (int left_out = 0; left_out < 4; ++left_out) {
                const int a = left_out == 0 ? 1 : 0;
                const int b = left_out <= 1 ? 2 : 1;
                const int c = left_out <= 2 ? 3 : 2;
                vec2d edge{};
                vec3d triangle{};
                if (edge_triangle_intersection(e, p[e], f, p[f], a, p[a], b, p[b], c, p[c], edge,
                                               triangle)) {
                    ++passes;
                    EXPECT_NEAR(1.0, edge[0] + edge[1], 1e-12);
                    EXPECT_NEAR(1.0, triangle[0] + triangle[1] + triangle[2], 1e-12);
                }
            }
        }
        EXPECT_EQ(0, passes % 2) << "trial " << trial;
        crossings += passes;
    }
    EXPECT_GT(crossings, kTrials / 10);
}

TEST(EdgeTriangleIntersection, WeightsMeetInOnePoint)
{
    vec2d edge{};
    vec3d triangle{};

    ASSERT_TRUE(edge_triangle_intersection(0, {1, 1, -1}, 1, {1, 1, 3}, 2, {0, 0, 0}, 3, {4, 0, 0},
                                           4, {0, 8, 0}, edge, triangle));

    EXPECT_EQ((vec2d{0.75, 0.25}), edge);
    EXPECT_EQ((vec3d{0.625, 0.25, 0.125}), triangle);
}

TEST(EdgeEdge3d, ClosedCurvesCrossAnEvenNumberOfTimesFromAnywhere)
{
    Random random(21);
    SCOPED_TRACE(random.seed());
    int crossings = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        const std::vector<vec3d> p = gridPoints(random, 7);  // two triangles and an eye
        int crossed = 0;
        for (int n = 0; n < 9; ++n) {
            const int a = n % 3;
            const int b = (n + 1) % 3;
            const int c = 3 + n / 3;
            const int d = 3 + (n / 3 + 1) % 3;
            vec2d first{};
            vec2d second{};
            crossed += edge_edge_3d(a, p[a], b, p[b], c, p[c], d, p[d], 6, p[6], first, second);
        }
        EXPECT_EQ(0, crossed % 2) << "trial " << trial;
        crossings += crossed;
    }
    EXPECT_GT(crossings, kTrials / 10);
}

TEST(EdgeEdge3d, WeightsLieOnOneLineThroughTheEye)
{
    vec2d first{};
    vec2d second{};

    // x axis from -1 to 3; an edge along y at twice the height; the eye below
    ASSERT_TRUE(edge_edge_3d(0, {-1, 0, 1}, 1, {3, 0, 1}, 2, {0, -2, 2}, 3, {0, 2, 2}, 4, {0, 0, 0},
                             first, second));

    EXPECT_EQ((vec2d{0.75, 0.25}), first);
    EXPECT_EQ((vec2d{0.5, 0.5}), second);
}

}  // namespace
}  // namespace Skelvar
