#include <skelvar/sampling/VoxelSamplerQBSpline.h>
#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/sampling/SlowQBSpline.h>

#include <gtest/gtest.h>

#include <cmath>

namespace Skelvar::Test {

using Testing::Random;

template <typename T>
class QBSpline : public ::testing::Test {
};
TYPED_TEST_SUITE(QBSpline, VoxelTypes);

TYPED_TEST(QBSpline, HaloedTilesAreThoseOfThePlainMethod)
{
    using T = TypeParam;
    Random random(41);
    SCOPED_TRACE(random.seed());
    for (int round = 0; round < 60; ++round) {
        VoxelTile<T, 1, 5> parent;
        VoxelTile<T, 0, 5> tiles[27];
        for (int n = 0; n < parent.size(); ++n) {
            parent(n) = anyValue<T>(random);
        }
        TileBlock<T> block{};
        const int missing = random.integer(0, 6);  // of ten
        for (int n = 0; n < 27; ++n) {
            for (int cell = 0; cell < kTileSize; ++cell) {
                tiles[n](cell) = anyValue<T>(random);
            }
            block[n] = n == 13 || random.integer(0, 9) >= missing ? &tiles[n] : nullptr;
        }
        const vec3i place{random.integer(0, 4), random.integer(0, 4), random.integer(0, 4)};

        VoxelTile<T, 1, 5> fast;
        evalQBSplineHaloedTile(parent, place[0], place[1], place[2], block, &fast);

        VoxelTile<T, 1, 5> slow;
        slowQBSplineTile(parent, place, block, slow);
        for (int n = 0; n < fast.size(); ++n) {
            ASSERT_EQ(slow(n), fast(n)) << "round " << round << ", value " << n;
        }
    }
}

TYPED_TEST(QBSpline, SamplesAreThoseOfThePlainMethodWhateverWasSampledBefore)
{
    using T = TypeParam;
    Random random(42);
    SCOPED_TRACE(random.seed());
    for (int round = 0; round < 6; ++round) {
        const Field<T> field = anyField<T>(random, static_cast<VoxelOffsetType>(round));
        const VoxelSamplerQBSpline<T> sampler(eTreeSpace, field.channel.get());
        SlowQBSpline<T> slow(*field.layout, *field.channel);
        vec3f position{};
        for (int n = 0; n < 1500; ++n) {
            // Now and then somewhere else, mostly a short step on.
            position = random.integer(0, 4) == 0 ? anyPosition(random)
                                                 : position + 0.1f * anyPosition(random);
            if (random.integer(0, 1) == 0) {
                const int depth = random.integer(-1, 8);
                ASSERT_EQ(slow.sample(position, depth), sampler.sample(position, depth))
                    << "round " << round << ", sample " << n;
            } else {
                typename Sampler3D<T>::Gradient gradient, slow_gradient;
                const T value = sampler.sampleGradient(position, &gradient);
                ASSERT_EQ(slow.sample(position, 7, &slow_gradient), value)
                    << "round " << round << ", sample " << n;
                ASSERT_EQ(slow_gradient, gradient) << "round " << round << ", sample " << n;
            }
        }
    }
}

namespace {

/// A depth-5 tile from -62 to 63 of which only the middle cell is refined, and of that only the
/// middle cell again: each of the deeper tiles stands without neighbours.
std::shared_ptr<VoxelLayout> nestedTiles()
{
    return LayoutBuilder().tile({0, 0, 0}, 5).tile({0, 0, 0}, 7).build();
}

}  // namespace

TEST(QBSplineKernels, ReadAndWriteWorkedNumbers)
{
    // Across an x face 0 and 1, constant along y and z: a tenth to each side of the mean.
    float face[18];
    for (int n = 0; n < 18; ++n) {
        face[n] = static_cast<float>(n % 2);
    }
    VoxelTile<float, 1, 5> tile(-1.0f);
    interpolateQBSplineFace<float, 5, 7, 49>(face, &tile(-1, 0, 0), &tile(0, 0, 0));
    EXPECT_NEAR(0.4, tile(-1, 0, 0), 1e-6);
    EXPECT_NEAR(0.6, tile(0, 4, 4), 1e-6);
    EXPECT_EQ(-1.0f, tile(1, 0, 0));

    // One of four lines is 1: 0.25 + 0.75 / 5 on its side, 0.25 - 0.25 / 5 on all others.
    const float edge[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    float out[4][5];
    interpolateQBSplineEdge<float, 5, 1>(edge, out[0], out[1], out[2], out[3]);
    EXPECT_NEAR(0.4, out[0][2], 1e-6);
    EXPECT_NEAR(0.2, out[1][2], 1e-6);
    EXPECT_NEAR(0.2, out[3][2], 1e-6);
}

TEST(QBSplineKernels, RoundIntegersStageByStage)
{
    // Along the edge at t = 0.5, of three 7: 0.125 7 + 0.75 7 + 0.125 7 = 7. The mean of
    // (7, 0, 0, -10), -3 / 4, is rounded down to -1; the fifths of 8, 1 and -9 toward zero.
    const int edge[12] = {7, 0, 0, -10, 7, 0, 0, -10, 7, 0, 0, -10};
    int out[4][5];
    interpolateQBSplineEdge<int, 5, 1>(edge, out[0], out[1], out[2], out[3]);
    EXPECT_EQ(0, out[0][2]);
    EXPECT_EQ(-1, out[1][2]);
    EXPECT_EQ(-2, out[3][2]);

    // A tenth of a difference of 25 is 2, the mean of 0 and 25 is 12.
    int face[18];
    for (int n = 0; n < 18; ++n) {
        face[n] = n % 2 * 25;
    }
    VoxelTile<int, 1, 5> tile(0);
    interpolateQBSplineFace<int, 5, 7, 49>(face, &tile(-1, 0, 0), &tile(0, 0, 0));
    EXPECT_EQ(10, tile(-1, 2, 2));
    EXPECT_EQ(14, tile(0, 2, 2));

    // Any true value of a block makes all of it true.
    const bool flags[12] = {true,  false, false, false, true,  false,
                            false, false, true,  false, false, false};
    bool flag[4][5];
    interpolateQBSplineEdge<bool, 5, 1>(flags, flag[0], flag[1], flag[2], flag[3]);
    EXPECT_TRUE(flag[0][2] && flag[3][2]);

    // Small integers are averaged without wrapping.
    const unsigned char bytes[12] = {200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 200};
    unsigned char byte[4][5];
    interpolateQBSplineEdge<unsigned char, 5, 1>(bytes, byte[0], byte[1], byte[2], byte[3]);
    EXPECT_EQ(200, byte[0][2]);
}

TEST(VoxelSamplerQBSpline, DependsOnWhatWasSampledBefore)
{
    Field<float> field(nestedTiles());
    field.channel->set(8.0f, 5, 5);
    field.channel->set(0.0f, 6, 6);
    field.channel->set(1.0f, 7, 7);
    const VoxelSamplerQBSpline<float> fresh(eTreeSpace, field.channel.get());
    const VoxelSamplerQBSpline<float> used(eTreeSpace, field.channel.get());
    const vec3f centre_of_cell_1{-0.5f, 0.5f, 0.5f};
    const vec3f centre_of_cell_0{-1.5f, 0.5f, 0.5f};

    // The tile's own cells are all 1. Its haloed form holds in cell 0 what the parent says, 0.
    EXPECT_EQ(1.0f, fresh.sample(centre_of_cell_1));
    EXPECT_EQ(0.125f, used.sample(centre_of_cell_0));
    EXPECT_EQ(0.875f, used.sample(centre_of_cell_1));
    // Its parent is held with it: the same at the parent's depth, with 0 and 8.
    EXPECT_EQ(0.0f, fresh.sample({-4.5f, 0.5f, 0.5f}, 6));
    EXPECT_EQ(1.0f, used.sample({-4.5f, 0.5f, 0.5f}, 6));

    // A tile may be held between two samples of one cell.
    const VoxelSamplerQBSpline<float> many(eTreeSpace, field.channel.get());
    float value = 0.0f;
    many.sample(&centre_of_cell_1, 1, &value);
    EXPECT_EQ(1.0f, value);
    EXPECT_EQ(1.0f, fresh.sample(centre_of_cell_1));
    fresh.updateCache(0, 7);
    many.updateCache(0, 7);
    EXPECT_EQ(0.875f, fresh.sample(centre_of_cell_1));
    many.sample(&centre_of_cell_1, 1, &value);
    EXPECT_EQ(0.875f, value);
}

TEST(VoxelSamplerQBSpline, FallsToTheBackgroundInTheOuterCellsOfARoot)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 7).build(), 3.0f);
    field.channel->set(1.0f, 7, 7);
    const VoxelSamplerQBSpline<float> sampler(eTreeSpace, field.channel.get());

    EXPECT_EQ(1.0f, sampler.sample({0.5f, 0.5f, 0.5f}));
    // Cells -1 and 0 hold 3 there, cell 1 holds 1: 3 (0.125 + 0.75) + 0.125.
    EXPECT_EQ(2.75f, sampler.sample({-1.5f, 0.5f, 0.5f}));
    // Of the cell's 27 values only one is 1, with a weight of 0.125^3.
    EXPECT_EQ(2.99609375f, sampler.sample({-1.5f, -1.5f, -1.5f}));
}

TEST(VoxelSamplerQBSpline, IsExactOnARampAcrossDepths)
{
    Field<float> field(nestedTiles());
    field.fill([](const vec3f& p) { return 2.0f * p[0] - p[1] + 0.5f * p[2]; });
    const VoxelSamplerQBSpline<float> sampler(eTreeSpace, field.channel.get());
    Random random(7);
    SCOPED_TRACE(random.seed());

    for (int n = 0; n < 2000; ++n) {
        const auto any = [&] { return static_cast<float>(random.real(-12.0, 13.0)); };
        const vec3f at{any(), any(), any()};
        const Prepared place = prepared(sampler, at, 7);
        ASSERT_TRUE(place.found);
        const float scale = place.scale;
        vec3f gradient;
        const float value = sampler.sampleGradient(at, &gradient);
        ASSERT_NEAR(2.0f * at[0] - at[1] + 0.5f * at[2], value, 2e-4f);
        ASSERT_NEAR(2.0f * scale, gradient[0], 2e-3f) << "per cell of the tile";
        ASSERT_NEAR(-scale, gradient[1], 2e-3f);
        ASSERT_NEAR(0.5f * scale, gradient[2], 2e-3f);
    }
}

}  // namespace Skelvar::Test
