#include <skelvar/numerics/CellFractions.h>
#include <skelvar/numerics/Eikonal.h>
#include <skelvar/numerics/Trace.h>

#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Skelvar::Testing {

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// A solid rotation about the z axis, one radian a second.
class Rotation : public Sampler3D<vec3f> {
public:
    using Sampler3D<vec3f>::sample;
    vec3f sample(const vec3f& in_p) const override { return {-in_p[1], in_p[0], 0.0f}; }
    const TreeChannel3DBase* channel() const override { return nullptr; }
    const std::string& type() const override { return m_type; }

private:
    std::string m_type = "Rotation";
};

}  // namespace

TEST(LineFraction, IsTheNegativeShare)
{
    EXPECT_EQ(0.25f, lineFraction(-1.0f, 3.0f));
    EXPECT_EQ(0.25f, lineFraction(3.0f, -1.0f));
    EXPECT_EQ(1.0f, lineFraction(-1.0f, -3.0f));
    EXPECT_EQ(0.0f, lineFraction(1.0f, 0.0f));
    EXPECT_EQ(1.0f, lineFraction(-1.0f, 0.0f));
    for (const float other : {1.0f, -1.0f}) {
        EXPECT_EQ(0.0f, lineFraction(std::nanf(""), other));
        EXPECT_EQ(0.0f, lineFraction(other, std::nanf("")));
    }
    EXPECT_EQ(1.0f, lineFraction(-kInfinity, 1.0f));
    EXPECT_EQ(0.0f, lineFraction(kInfinity, -1.0f));
    EXPECT_EQ(0.5f, lineFraction(-kInfinity, kInfinity));
    EXPECT_FLOAT_EQ(0.75f, lineFraction(1e38f, -3e38f)) << "their difference overflows";
}

TEST(FaceFraction, IsTheNegativeShare)
{
    EXPECT_EQ(1.0f, faceFraction(-1.0f, -1.0f, -2.0f, -1.0f));
    EXPECT_EQ(0.0f, faceFraction(1.0f, 0.0f, 2.0f, 1.0f));
    // One corner alone: a quarter of each edge is cut off, in one triangle or across both.
    EXPECT_FLOAT_EQ(0.5f * 0.25f * 0.25f, faceFraction(3.0f, -1.0f, 3.0f, 3.0f));
    EXPECT_FLOAT_EQ(0.25f * 0.25f, faceFraction(-1.0f, 3.0f, 3.0f, 3.0f));
    // The half below the diagonal.
    EXPECT_FLOAT_EQ(0.5f, faceFraction(0.0f, -1.0f, 0.0f, 1.0f));
    EXPECT_EQ(0.5f, faceFraction(0.0f, -kInfinity, 0.0f, kInfinity));
    EXPECT_EQ(0.25f, faceFraction(-kInfinity, kInfinity, kInfinity, kInfinity));

    Random random(3);
    SCOPED_TRACE(random.seed());
    for (int n = 0; n < 1000; ++n) {  // a straight cut through opposite sides: a trapezoid
        const float left = float(random.real(0.0, 1.0));
        const float right = float(random.real(0.0, 1.0));
        const float found = faceFraction(-left, -right, 1.0f - right, 1.0f - left);
        ASSERT_NEAR(0.5 * (left + right), found, 1e-5);
        ASSERT_NEAR(1.0, found + faceFraction(left, right, right - 1.0f, left - 1.0f), 1e-5);
    }
}

TEST(SolveEikonal, TakesAsManyAxesAsMatter)
{
    EXPECT_EQ(kInfinity, solveEikonal(kInfinity, kInfinity, kInfinity, 1.0f));
    EXPECT_EQ(2.5f, solveEikonal(kInfinity, 2.0f, kInfinity, 0.5f));
    EXPECT_FLOAT_EQ(std::sqrt(0.5f), solveEikonal(0.0f, kInfinity, 0.0f, 1.0f));
    EXPECT_FLOAT_EQ(2.0f / std::sqrt(3.0f), solveEikonal(0.0f, 0.0f, 0.0f, 2.0f));
    EXPECT_EQ(1.0f, solveEikonal(0.0f, 1.0f, 5.0f, 1.0f));
    // (d - 1)^2 + (d - 1.5)^2 = 1
    EXPECT_FLOAT_EQ(1.25f + std::sqrt(7.0f) / 4.0f, solveEikonal(1.5f, 9.0f, 1.0f, 1.0f));

    // The distance from a plane is exact, whatever the direction.
    Random random(4);
    SCOPED_TRACE(random.seed());
    for (int n = 0; n < 1000; ++n) {
        vec3f normal{float(random.real(0.01, 1)), float(random.real(0.01, 1)),
                     float(random.real(0.01, 1))};
        normal = normal * (1.0f / std::sqrt(orvel::Math::dot(normal, normal)));
        ASSERT_NEAR(3.0f,
                    solveEikonal(3.0f - 0.1f * normal[0], 3.0f - 0.1f * normal[1],
                                 3.0f - 0.1f * normal[2], 0.1f),
                    2e-6f);
    }
}

TEST(Trace, GoesBackByTheMidpointRule)
{
    const Rotation rotation;

    const vec3f back = trace({1.0f, 0.0f, 7.0f}, 0.5f, rotation);

    // v = (0, 1); the middle is (1, -0.25), whose velocity is (0.25, 1).
    EXPECT_EQ((vec3f{0.875f, -0.5f, 7.0f}), back);
    EXPECT_NEAR(std::cos(-0.01f), trace({1.0f, 0.0f, 0.0f}, 0.01f, rotation)[0], 1e-6f);
    EXPECT_NEAR(std::sin(0.01f), trace({1.0f, 0.0f, 0.0f}, -0.01f, rotation)[1], 1e-6f);
}

}  // namespace Skelvar::Testing
