#include <tools/kvf/geometry/SignedDistance.h>

#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Skelvar::Tool::Test {

namespace {

/// Signed distance to the cube from -1 to 1.
double cubeDistance(const vec3f& in_p)
{
    double outside = 0.0, inside = -1e9;
    for (int a = 0; a < 3; ++a) {
        const double q = std::abs(double(in_p[a])) - 1.0;
        outside += std::pow(std::max(q, 0.0), 2.0);
        inside = std::max(inside, q);
    }
    return std::sqrt(outside) + std::min(inside, 0.0);
}

}  // namespace

TEST(SignedDistance, OfACubeIsExactNextToFacesEdgesAndCorners)
{
    const TriangleBvh tree(makeCube());
    const SignedDistance distance(tree, true);
    SignedDistance::Walker walker(distance);
    for (const float off : {0.0f, 1e-5f, 1e-3f, 0.1f, 0.7f, 30.0f}) {
        for (int n = 0; n < 125; ++n) {
            // Every mix of: in the middle, a step inside of a side, a step outside of it. There are
            // many ties, and the way there must not decide them.
            const float places[5] = {-1.0f - off, -1.0f + off, 0.0f, 1.0f - off, 1.0f + off};
            const vec3f p{places[n % 5], places[n / 5 % 5], places[n / 25]};
            const double expected = cubeDistance(p);
            SCOPED_TRACE(::testing::Message() << p[0] << " " << p[1] << " " << p[2]);

            const SignedDistance::Value value = walker.at(p);
            const SignedDistance::Value asked = SignedDistance::Walker(distance).at(p);

            ASSERT_NEAR(expected, value.distance, 1e-6 * (1.0 + std::abs(expected)));
            ASSERT_NEAR(1.0, dot(value.normal, value.normal), 1e-5);
            // A step against the normal by the distance ends on the surface.
            const vec3f foot = p - value.normal * value.distance;
            ASSERT_NEAR(0.0, cubeDistance(foot), 2e-6 * (1.0 + std::abs(expected)));
            ASSERT_EQ(asked.distance, value.distance);
            ASSERT_EQ(asked.normal, value.normal);
        }
    }
}

TEST(SignedDistance, OfATorusKnotHasTheSignOfTheWindingNumberHoweverOneWalks)
{
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const TriangleMesh mesh = makeTorusKnot();
    const TriangleBvh tree(mesh);
    const SignedDistance distance(tree, true);
    SignedDistance::Walker walker(distance);
    std::normal_distribution<float> step(0.0f, 0.05f);
    vec3f p = mesh.vertices[0];
    for (int n = 0; n < 1000; ++n) {
        for (int a = 0; a < 3; ++a) {
            p[a] = std::clamp(p[a] + step(random), -1.3f, 1.3f);
        }

        const SignedDistance::Value value = walker.at(p);

        ASSERT_EQ(bruteWinding(mesh, p) > 0.5, value.distance < 0.0f);
        ASSERT_NEAR(bruteDistance(mesh, p), std::abs(value.distance), 1e-6);
    }
}

TEST(SignedDistance, OfABallWithAHoleIsOneInsideAndOneOutside)
{
    constexpr int kSide = 60;
    const TriangleBvh tree(makeBall(24, false));
    const SignedDistance distance(tree, false);
    SignedDistance::Walker walker(distance);
    std::vector<char> inside;
    for (int n = 0; n < kSide * kSide * kSide; ++n) {
        const auto world = [](int in_cell) {
            return (float(in_cell) + 0.5f) * 3.0f / kSide - 1.5f;
        };
        inside.push_back(static_cast<char>(
            walker.at({world(n % kSide), world(n / kSide % kSide), world(n / kSide / kSide)})
                .distance < 0.0f));
    }

    EXPECT_EQ(2, countParts(inside, kSide));
    // The lid over the hole takes little from the ball's volume.
    const double volume =
        double(std::count(inside.begin(), inside.end(), 1)) * std::pow(3.0 / kSide, 3.0);
    EXPECT_NEAR(4.19, volume, 0.1);
}

}  // namespace Skelvar::Tool::Test
