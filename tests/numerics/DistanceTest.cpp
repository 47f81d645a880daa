#include <skelvar/numerics/Distance.h>

#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Skelvar {
namespace {

using Testing::Random;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

double length(const vec3d& in_vector)
{
    return std::sqrt(orvel::Math::dot(in_vector, in_vector));
}

vec3d toDouble(const vec3f& in_point)
{
    return {in_point[0], in_point[1], in_point[2]};
}

/// The least value of a convex function on [0, 1], by ternary search.
template <typename Function>
double least(const Function& in_function)
{
    double low = 0;
    double high = 1;
    for (int step = 0; step < 60; ++step) {
        const double a = low + (high - low) / 3;
        const double b = high - (high - low) / 3;
        if (in_function(a) < in_function(b)) {
            high = b;
        } else {
            low = a;
        }
    }
    return in_function((low + high) / 2);
}

// Distances by search, without any of the formulas under test: over a convex set of places, the
// distance to the nearest place with one of the weights fixed is a convex function of that weight.

double slowPointEdge(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2)
{
    return least([&](double s) { return length(in_x0 - (s * in_x1 + (1 - s) * in_x2)); });
}

double slowEdgeEdge(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2, const vec3d& in_x3)
{
    return least(
        [&](double s) { return slowPointEdge(s * in_x0 + (1 - s) * in_x1, in_x2, in_x3); });
}

double slowPointTriangle(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2,
                         const vec3d& in_x3)
{
    return least([&](double t) {
        return slowPointEdge(in_x0, t * in_x3 + (1 - t) * in_x1, t * in_x3 + (1 - t) * in_x2);
    });
}

/// Four random points in a box of side 20. Every other set is made special: points on a line, in a
/// plane, equal, on integer places.
struct FourPoints {
    vec3f x[4];

    explicit FourPoints(Random& io_random)
    {
        const int kind = io_random.integer(0, 9);
        for (vec3f& point : x) {
            for (int axis = 0; axis < 3; ++axis) {
                point[axis] = kind < 7 ? static_cast<float>(io_random.real(-10, 10))
                                       : static_cast<float>(io_random.integer(-2, 2));
            }
        }
        if (kind == 1) {
            x[3] = x[1] + 3.0f * (x[2] - x[1]);
        } else if (kind == 2) {
            x[io_random.integer(1, 3)] = x[io_random.integer(0, 3)];
        } else if (kind == 3) {
            x[3] = x[2] + 0.5f * (x[1] - x[0]);
        } else if (kind == 4) {
            for (vec3f& point : x) {
                point[2] = 0;
            }
        }
    }
    vec3d d(int in_index) const { return toDouble(x[in_index]); }
};

constexpr double kTolerance = 2e-5;  ///< some roundings of a float of 20

/// What the float forms may be off: some roundings, and for two edges in nearly one direction the
/// breadth that a degenerate shape neglects, 1e-4 of its length.
double tolerance(const vec3d& in_e1, const vec3d& in_e2)
{
    const vec3d normal = orvel::Math::cross(in_e1, in_e2);
    return length(normal) < 1e-2 * length(in_e1) * length(in_e2) ? 4e-3 : kTolerance;
}

TEST(Distance, AgreesWithASearchOnRandomPoints)
{
    Random random(3);
    SCOPED_TRACE(random.seed());
    for (int step = 0; step < 1500; ++step) {
        const FourPoints p(random);
        const double edge = slowPointEdge(p.d(0), p.d(1), p.d(2));
        const double triangle = slowPointTriangle(p.d(0), p.d(1), p.d(2), p.d(3));
        const double edges = slowEdgeEdge(p.d(0), p.d(1), p.d(2), p.d(3));
        const double at_triangle = tolerance(p.d(1) - p.d(3), p.d(2) - p.d(3));
        const double at_edges = tolerance(p.d(0) - p.d(1), p.d(2) - p.d(3));
        SCOPED_TRACE(step);

        ASSERT_NEAR(edge, point_edge_distance(p.x[0], p.x[1], p.x[2]), kTolerance);
        ASSERT_NEAR(edge, point_edge_distance(p.d(0), p.d(1), p.d(2)), 1e-6);
        ASSERT_NEAR(triangle, point_triangle_distance(p.x[0], p.x[1], p.x[2], p.x[3]), at_triangle);
        ASSERT_NEAR(triangle, point_triangle_distance(p.d(0), p.d(1), p.d(2), p.d(3)), at_triangle);
        ASSERT_NEAR(edges, edge_edge_distance(p.x[0], p.x[1], p.x[2], p.x[3]), at_edges);
        ASSERT_NEAR(edges, edge_edge_distance(p.d(0), p.d(1), p.d(2), p.d(3)), at_edges);
    }
}

/// The weights sum to 1, none is negative, and the point that they give is as far as told.
TEST(Distance, WeightsGiveThePointAtThatDistance)
{
    Random random(4);
    SCOPED_TRACE(random.seed());
    for (int step = 0; step < 100000; ++step) {
        const FourPoints p(random);
        SCOPED_TRACE(step);
        vec2f a;
        vec2f b;
        vec3f c;

        const float edge = point_edge_bc(p.x[0], p.x[1], p.x[2], a);
        const vec3d on_edge = double(a[0]) * p.d(1) + double(a[1]) * p.d(2);
        ASSERT_NEAR(edge, length(p.d(0) - on_edge), kTolerance);
        ASSERT_TRUE(a[0] >= 0 && a[1] >= 0 && a[0] + a[1] == 1);

        const float triangle = point_triangle_bc(p.x[0], p.x[1], p.x[2], p.x[3], c);
        const vec3d inside = double(c[0]) * p.d(1) + double(c[1]) * p.d(2) + double(c[2]) * p.d(3);
        ASSERT_NEAR(triangle, length(p.d(0) - inside), kTolerance);
        ASSERT_NEAR(triangle, point_triangle_distance(p.x[0], p.x[1], p.x[2], p.x[3]), kTolerance);
        ASSERT_TRUE(c[0] >= 0 && c[1] >= 0 && c[2] >= 0);
        ASSERT_NEAR(1, c[0] + c[1] + c[2], 1e-6);

        const float edges = edge_edge_bc(p.x[0], p.x[1], p.x[2], p.x[3], a, b);
        const vec3d on_first = double(a[0]) * p.d(0) + double(a[1]) * p.d(1);
        const vec3d on_second = double(b[0]) * p.d(2) + double(b[1]) * p.d(3);
        ASSERT_NEAR(edges, length(on_first - on_second), kTolerance);
        ASSERT_NEAR(edges, edge_edge_distance(p.x[0], p.x[1], p.x[2], p.x[3]), kTolerance);
        ASSERT_TRUE(a[0] >= 0 && a[1] >= 0 && b[0] >= 0 && b[1] >= 0);

        float interior = -1;
        const bool crosses = edge_edge_distance_interior(p.x[0], p.x[1], p.x[2], p.x[3], interior);
        ASSERT_NEAR(crosses ? edges : -1, interior, 0);
    }
}

TEST(Distance, ShapesOfOnePointAreThatPoint)
{
    vec2f a;
    vec3f c;

    EXPECT_EQ(5.0f, point_edge_distance(vec3f{3, 4, 0}, vec3f{}, vec3f{}));
    EXPECT_EQ(5.0, point_edge_distance(vec3d{3, 4, 0}, vec3d{}, vec3d{}));
    EXPECT_EQ(5.0f, point_edge_bc({3, 4, 0}, {}, {}, a));
    EXPECT_TRUE((vec2f{0, 1}) == a);
    EXPECT_EQ(5.0f, point_triangle_distance(vec3f{3, 4, 0}, vec3f{}, vec3f{}, vec3f{}));
    EXPECT_EQ(5.0f, point_triangle_bc({3, 4, 0}, {}, {}, {}, c));
    EXPECT_TRUE((vec3f{1, 0, 0}) == c);  // the edge x3 x1, of which x1 is the second point
}

/// Height 1e-5 of the sides: over its inside the point is held against the edges.
TEST(Distance, ASliverFallsBackOnItsEdges)
{
    const vec3f x1 = {0, 0, 0};
    const vec3f x2 = {100, 0, 0};
    const vec3f x3 = {50, 1e-3f, 0};
    vec3f bc;

    EXPECT_EQ(2.0f, point_triangle_bc({60, 4e-4f, 2}, x1, x2, x3, bc));
    EXPECT_EQ(1, (bc[0] == 0) + (bc[1] == 0) + (bc[2] == 0));
}

TEST(Distance, AThinTriangleIsStillOne)
{
    vec3f bc;
    point_triangle_bc({2.0f / 3, 1e-4f, 0.5f}, {1, 0, 0}, {1, 3e-4f, 0}, {0, 0, 0}, bc);

    for (int n = 0; n < 3; ++n) {
        EXPECT_NEAR(1.0 / 3, bc[n], 1e-3);
    }
    EXPECT_EQ(0.0f, point_edge_distance(vec3f{1e-5f, 0, 0}, vec3f{1e-5f, 0, 0}, vec3f{}));
}

TEST(Distance, TriangleRegionsHaveTheirPoints)
{
    const vec3f x1 = {0, 0, 0};
    const vec3f x2 = {4, 0, 0};
    const vec3f x3 = {0, 4, 0};
    const struct {
        vec3f x0;
        float distance;
        vec3f bc;
    } rows[] = {
        {{0, 0, 0}, 0, {1, 0, 0}},                      // at x1
        {{4, 0, 0}, 0, {0, 1, 0}},                      // at x2
        {{0, 4, 0}, 0, {0, 0, 1}},                      // at x3
        {{1, 1, 3}, 3, {0.5f, 0.25f, 0.25f}},           // over the inside
        {{1, -2, 0}, 2, {0.75f, 0.25f, 0}},             // beside x1 x2
        {{-2, 1, 0}, 2, {0.75f, 0, 0.25f}},             // beside x1 x3
        {{-3, -4, 0}, 5, {1, 0, 0}},                    // behind x1
        {{7, -4, 0}, 5, {0, 1, 0}},                     // behind x2
        {{-3, 8, 0}, 5, {0, 0, 1}},                     // behind x3
        {{3, 3, 1}, std::sqrt(3.0f), {0, 0.5f, 0.5f}},  // beside x2 x3
    };
    for (const auto& row : rows) {
        vec3f bc;
        SCOPED_TRACE(&row - rows);

        EXPECT_FLOAT_EQ(row.distance, point_triangle_bc(row.x0, x1, x2, x3, bc));
        EXPECT_FLOAT_EQ(row.distance, point_triangle_distance(row.x0, x1, x2, x3));
        EXPECT_TRUE(row.bc == bc) << bc[0] << ' ' << bc[1] << ' ' << bc[2];
    }
}

TEST(Distance, CrossingAndParallelEdges)
{
    float distance = -1;
    vec2f a;
    vec2f b;

    EXPECT_TRUE(edge_edge_distance_interior({0, 0, 0}, {4, 0, 0}, {1, -1, 0}, {1, 3, 0}, distance));
    EXPECT_EQ(0.0f, distance);
    EXPECT_EQ(0.0f, edge_edge_bc({0, 0, 0}, {4, 0, 0}, {1, -1, 0}, {1, 3, 0}, a, b));
    EXPECT_TRUE((vec2f{0.75f, 0.25f}) == a && (vec2f{0.75f, 0.25f}) == b);

    distance = -1;
    EXPECT_FALSE(edge_edge_distance_interior({0, 0, 0}, {4, 0, 0}, {1, 2, 0}, {9, 2, 0}, distance));
    EXPECT_FALSE(edge_edge_distance_interior({0, 0, 0}, {4, 0, 0}, {0, 0, 0}, {0, 4, 0}, distance));
    EXPECT_FALSE(
        edge_edge_distance_interior({4, 0, 0}, {0, 0, 0}, {0, -1, 0}, {0, 3, 0}, distance));
    EXPECT_EQ(-1.0f, distance);
    EXPECT_EQ(0.0f, edge_edge_distance(vec3f{0, 0, 0}, vec3f{3e6f, 0, 0}, vec3f{1e6f, -1, 0},
                                       vec3f{1e6f, 1, 0}));  // by weights in double
    EXPECT_EQ(2.0f,
              edge_edge_distance(vec3f{0, 0, 0}, vec3f{4, 0, 0}, vec3f{1, 2, 0}, vec3f{9, 2, 0}));
    EXPECT_EQ(2.0f, edge_edge_bc({0, 0, 0}, {4, 0, 0}, {1, 2, 0}, {9, 2, 0}, a, b));
    EXPECT_TRUE((vec2f{0, 1}) == a);  // x1 goes ahead of x2, which is as near
}

TEST(Distance, NanGoesThrough)
{
    const vec3f good[4] = {{1, 1, 2}, {0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    for (int bad = 0; bad < 4; ++bad) {
        vec3f x[4] = {good[0], good[1], good[2], good[3]};
        x[bad][1] = kNan;
        SCOPED_TRACE(bad);
        vec2f a;
        vec2f b;
        vec3f c;

        EXPECT_TRUE(bad == 3 || std::isnan(point_edge_distance(x[0], x[1], x[2])));
        EXPECT_TRUE(bad == 3 || std::isnan(point_edge_bc(x[0], x[1], x[2], a)));
        EXPECT_TRUE(bad == 3 || (std::isnan(a[0]) && std::isnan(a[1])));
        EXPECT_TRUE(std::isnan(point_triangle_distance(x[0], x[1], x[2], x[3])));
        EXPECT_TRUE(std::isnan(point_triangle_bc(x[0], x[1], x[2], x[3], c)));
        EXPECT_TRUE(std::isnan(edge_edge_distance(x[0], x[1], x[2], x[3])));
        EXPECT_TRUE(std::isnan(edge_edge_bc(x[0], x[1], x[2], x[3], a, b)));
    }
}

}  // namespace
}  // namespace Skelvar
