#include <skelvar/sampling/LevelTransfer.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Skelvar {
namespace {

TEST(LevelTransfer, EdgesOfThreeSamplesMoveFromTheLowerOverTheOwnToTheUpper)
{
    float line[5];

    interpolateContinuousEdge3<float, 5, 1>({0.0f, 10.0f, 100.0f}, line);

    const float expected[5] = {6.0f, 8.0f, 10.0f, 28.0f, 46.0f};
    for (int c = 0; c < 5; ++c) {
        EXPECT_FLOAT_EQ(expected[c], line[c]) << c;
    }
    EXPECT_EQ(10.0f, line[2]);
}

TEST(LevelTransfer, EdgesOfTwoSamplesStartAtTheOwnOne)
{
    float line[5 * 7];

    interpolateContinuousEdge2<float, 5, 7>({10.0f, 20.0f}, line);

    const float expected[5] = {10.0f, 12.0f, 14.0f, 16.0f, 18.0f};
    for (int c = 0; c < 5; ++c) {
        EXPECT_FLOAT_EQ(expected[c], line[7 * c]) << c;
    }
    EXPECT_EQ(10.0f, line[0]);
}

TEST(LevelTransfer, TheSampleThatIsLeftHasTheComplementOfTheRoundedWeight)
{
    float line[5];

    interpolateContinuousEdge3<float, 5, 1>({1.0f, 0.0f, 0.0f}, line);
    EXPECT_EQ(0x3ECCCCCCu, std::bit_cast<unsigned>(line[0]));
    EXPECT_EQ(0x3E4CCCCCu, std::bit_cast<unsigned>(line[1]));
    interpolateContinuousEdge3<float, 5, 1>({0.0f, 0.0f, 1.0f}, line);
    EXPECT_EQ(0x3E4CCCCDu, std::bit_cast<unsigned>(line[3]));
    EXPECT_EQ(0x3ECCCCCDu, std::bit_cast<unsigned>(line[4]));
    interpolateContinuousEdge2<float, 5, 1>({1.0f, 0.0f}, line);
    EXPECT_EQ(0x3ECCCCCCu, std::bit_cast<unsigned>(line[3]));
    EXPECT_EQ(0x3E4CCCCCu, std::bit_cast<unsigned>(line[4]));
}

TEST(LevelTransfer, AnExtrapolatedEdgeSubtractsItsInnerLinesInTurn)
{
    const float inner[3][5] = {{1, 1, 1, 1, 1}, {2, 2, 2, 2, 2}, {4, 4, 4, 4, 8}};
    float line[5];

    extrapolateContinuousEdge2<float, 5, 1>({100.0f, 100.0f}, inner[0], inner[1], inner[2], line);
    EXPECT_FLOAT_EQ(93.0f, line[0]);
    EXPECT_FLOAT_EQ(89.0f, line[4]);
    extrapolateContinuousEdge3<float, 5, 1>({50.0f, 50.0f, 60.0f}, inner[2], line);
    EXPECT_FLOAT_EQ(46.0f, line[0]);
    EXPECT_FLOAT_EQ(46.0f, line[4]);
}

TEST(LevelTransfer, FacesHoldTheLowerStrideAxisFastest)
{
    // 3 samples on the axis of stride 1, 2 on that of stride 7: 1 a sample, 100 a row.
    float plane[5 * 7];
    interpolateContinuousFace3x2<float, 5, 1, 7>({1, 2, 3, 101, 102, 103}, plane);
    EXPECT_FLOAT_EQ(1.6f, plane[0]);
    EXPECT_FLOAT_EQ(2.4f, plane[4]);
    EXPECT_FLOAT_EQ(82.0f, plane[2 + 4 * 7]);

    interpolateContinuousFace2x3<float, 5, 1, 7>({1, 2, 101, 102, 201, 202}, plane);
    EXPECT_FLOAT_EQ(61.0f, plane[0]);
    EXPECT_FLOAT_EQ(1.8f + 140.0f, plane[4 + 4 * 7]);

    float inner[5 * 7] = {};
    inner[2 + 2 * 7] = 5.0f;
    extrapolateContinuousFace3x3<float, 5, 1, 7>({1, 1, 1, 2, 8, 2, 3, 3, 3}, inner, plane);
    EXPECT_EQ(3.0f, plane[2 + 2 * 7]);
}

TEST(LevelTransfer, IntegersAreTruncatedAfterEachStage)
{
    int line[5];
    interpolateContinuousEdge2<int, 5, 1>({10, 11}, line);
    EXPECT_EQ(10, line[3]);
    interpolateContinuousEdge2<int, 5, 1>({-10, -11}, line);
    EXPECT_EQ(-10, line[3]);

    // In one stage the value at (1, 1) would be 6.2. The first stage gives 3 and 15, of 3.8 and
    // 15.8, and the second 5 of 5.4.
    int plane[25];
    interpolateContinuousFace2x2<int, 5, 1, 5>({3, 7, 15, 19}, plane);
    EXPECT_EQ(5, plane[1 + 5]);

    bool flags[5];
    interpolateContinuousEdge3<bool, 5, 1>({false, false, true}, flags);
    EXPECT_FALSE(flags[2]);
    EXPECT_TRUE(flags[3]);
}

TEST(LevelTransfer, NanSpreadsFromASampleOfWeightZero)
{
    float line[5];

    interpolateContinuousEdge3<float, 5, 1>({1.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()},
                                            line);

    EXPECT_TRUE(std::isnan(line[0]));
}

TEST(ValueArithmetic, TruncationIsDefinedForEveryFloat)
{
    using Detail::truncateTo;
    EXPECT_EQ(-3, truncateTo<int>(-3.9f));
    EXPECT_EQ(44, truncateTo<unsigned char>(300.7f));
    EXPECT_EQ(4294967293u, truncateTo<unsigned int>(-3.9f));
    EXPECT_EQ(0xFFFFFF0000000000ULL, truncateTo<unsigned long long>(0x1.fffffep63f));
    EXPECT_EQ(-0x7FFFFF8000000000LL, truncateTo<long long>(-0x1.fffffep62f));
    EXPECT_EQ(0, truncateTo<int>(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(0, truncateTo<long long>(std::numeric_limits<float>::infinity()));
    EXPECT_EQ(0ULL, truncateTo<unsigned long long>(0x1p64f));
    EXPECT_TRUE(truncateTo<bool>(std::numeric_limits<float>::quiet_NaN()));
}

TEST(ValueArithmetic, IntegersWrapAndFlagsCombine)
{
    using namespace Detail;
    EXPECT_EQ(44, sum<unsigned char>(200, 100));
    EXPECT_EQ(std::numeric_limits<int>::min(), sum(std::numeric_limits<int>::max(), 1));
    EXPECT_EQ(156, difference<unsigned char>(100, 200));
    EXPECT_TRUE(difference(false, true));
    EXPECT_TRUE(sum(true, true));
    EXPECT_FALSE(reflection(true, true));
    // 5 to 3 in steps of one wraps the difference to 254.
    EXPECT_EQ(132, lerp<unsigned char>(5, 3, 0.5f));
    EXPECT_EQ(4, lerp(5, 3, 0.5f));
    EXPECT_TRUE(lerp(true, false, 0.999f));
    EXPECT_FALSE(lerp(true, false, 1.0f));
}

}  // namespace
}  // namespace Skelvar
