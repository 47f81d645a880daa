#include <skelvar/sampling/CornerExtraTile.h>
#include <skelvar/sampling/FineToCoarseKernels.h>
#include <skelvar/sampling/Resampling.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/sampling/Field.h>
#include <tests/sampling/SlowSampler.h>
#include <tests/support/ErrorOf.h>

#include <gtest/gtest.h>

namespace Skelvar {
namespace {

using namespace Test;

void walkBottomUp(const VoxelLayout& in_layout, VoxelLayoutNodeVisitor& io_kernel)
{
    in_layout.accept(&io_kernel, VoxelLayout::ParallelByDepthBottomUp);
}

/// Two tiles of depth 7 side by side in a tile of depth 6, of 1 and 4; the cells above hold 100.
template <typename T>
struct TwoTiles : Field<T> {
    TwoTiles() : Field<T>(LayoutBuilder().tile({0, 0, 0}, 6).build())
    {
        this->layout->addNode(0, 0, 0, 7);
        this->layout->addNode(3, 0, 0, 7);
        this->channel->tile(0, 6).set(valueOf<T>(100));
        this->channel->tile(0, 7).set(valueOf<T>(1));
        this->channel->tile(1, 7).set(valueOf<T>(4));
    }
};

TEST(FineToCoarse, NeighboursThatExistCountToo)
{
    TwoTiles<float> floats;
    VoxelChannelNeighborAverageFineToCoarseKernel<float> average(floats.channel.get());
    walkBottomUp(*floats.layout, average);
    // 125 values of the tile and 25 of its only neighbour.
    EXPECT_FLOAT_EQ((125.0f * 1 + 25.0f * 4) / 150.0f, floats.channel->tile(0, 6)(2, 2, 2));
    EXPECT_FLOAT_EQ((125.0f * 4 + 25.0f * 1) / 150.0f, floats.channel->tile(0, 6)(3, 2, 2));
    EXPECT_EQ(100.0f, floats.channel->tile(0, 6)(2, 3, 2));

    TwoTiles<vec3f> vectors;
    vectors.channel->tile(1, 7)(0, 2, 2) = vec3f{9.0f, -9.0f, 3.5f};
    VoxelChannelNeighborMaxFineToCoarseKernel<vec3f> maximum(vectors.channel.get());
    walkBottomUp(*vectors.layout, maximum);
    // The tiles hold (1, 2, 3) and (4, 5, 6).
    EXPECT_EQ((vec3f{9.0f, 5.0f, 6.0f}), vectors.channel->tile(0, 6)(2, 2, 2));
}

TEST(FineToCoarse, TheMaximumOfNegativeValuesIsNegative)
{
    TwoTiles<float> field;
    field.channel->set(-2.0f, 0, 7);
    VoxelChannelNeighborMaxFineToCoarseKernel<float> kernel(field.channel.get());

    walkBottomUp(*field.layout, kernel);

    EXPECT_EQ(-2.0f, field.channel->tile(0, 6)(2, 2, 2));
}

TEST(FineToCoarse, AFlagIsTrueIfAnyIs)
{
    TwoTiles<bool> field;
    field.channel->tile(0, 6).set(true);
    field.channel->tile(0, 7).set(false);
    field.channel->tile(1, 7).set(false);
    field.channel->tile(1, 7)(4, 0, 0) = true;
    VoxelChannelNeighborAverageFineToCoarseKernel<bool> kernel(field.channel.get());

    walkBottomUp(*field.layout, kernel);

    EXPECT_FALSE(field.channel->tile(0, 6)(2, 2, 2));
    EXPECT_TRUE(field.channel->tile(0, 6)(3, 2, 2));
}

TEST(FineToCoarse, DeepTilesReachEveryTileAbove)
{
    Field<vec3f> field(LayoutBuilder().tile({0, 0, 0}, 0).tile({0, 0, 0}, 7).build());
    field.channel->tile(0, 7).set(vec3f{8.0f, 0.0f, -8.0f});
    VoxelChannelAverageFineToCoarseKernel<vec3f> kernel(field.channel.get());

    walkBottomUp(*field.layout, kernel);

    EXPECT_FLOAT_EQ(8.0f / 125.0f / 125.0f, field.channel->tile(0, 4)(2, 2, 2)[0]);
    EXPECT_FLOAT_EQ(8.0f / std::pow(125.0f, 6.0f), field.channel->tile(0, 0)(2, 2, 2)[0]);
}

/// Calls `in_check(tile, i, j, k)` for some cells of every tile.
template <typename Check>
void forSomeCells(const VoxelLayout& in_layout, const Check& in_check)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int index = 0; index < in_layout.numNodes(depth); ++index) {
            for (int n = index % 4; n < 125; n += 4) {
                in_check(TileIndex{index, depth}, n % 5, n / 5 % 5, n / 25);
            }
        }
    }
}

TEST(Resampling, StaggeredComponentsMeetInTheMiddle)
{
    Testing::Random random(31);
    SCOPED_TRACE(random.seed());
    Field<float> x = anyField<float>(random, eOffsetFaceX);
    const auto z = x.add("z", 2.0f, eOffsetFaceZ);
    const auto centres = x.add<vec3f>("centres", {}, eOffsetCorner);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int index = 0; index < z->numTiles(depth); ++index) {
            z->tile(index, depth) = x.channel->tile(index, depth);
        }
    }

    averageToVec3f(*x.channel, *x.channel, *z, *centres);

    EXPECT_EQ(eOffsetCentre, centres->offsetType());
    SlowMember<float> slow_x(*x.channel, *x.layout, 0);
    SlowMember<float> slow_z(*z, *x.layout, 0);
    forSomeCells(*x.layout, [&](const TileIndex& in_tile, int i, int j, int k) {
        const vec3f value = centres->tile(in_tile)(i, j, k);
        const auto& hx = slow_x.halo(in_tile).values;
        const auto& hz = slow_z.halo(in_tile).values;
        ASSERT_EQ(0.5f * (hx[i + 1][j + 1][k + 1] + hx[i + 2][j + 1][k + 1]), value[0]);
        // The x faces taken for the component y are not staggered on y.
        ASSERT_EQ(x.channel->tile(in_tile)(i, j, k), value[1]);
        ASSERT_EQ(0.5f * (hz[i + 1][j + 1][k + 1] + hz[i + 1][j + 1][k + 2]), value[2]);
    });
}

TEST(Resampling, CentresGoToFacesAndCorners)
{
    Testing::Random random(32);
    SCOPED_TRACE(random.seed());
    Field<vec3f> field = anyField<vec3f>(random);
    const auto corners = field.add<vec3f>("corners");
    std::shared_ptr<VoxelChannel<float>> faces[3];
    for (int a = 0; a < 3; ++a) {
        faces[a] = field.add<float>("face" + std::to_string(a));
    }

    averageVec3fToStaggered(*field.channel, *faces[0], *faces[1], *faces[2]);
    resampleCentresToCorners(*field.channel, *corners);

    EXPECT_EQ(eOffsetFaceY, faces[1]->offsetType());
    EXPECT_EQ(eOffsetCorner, corners->offsetType());
    const auto slow = slowMembers(*field.channel, *field.layout);
    forSomeCells(*field.layout, [&](const TileIndex& in_tile, int i, int j, int k) {
        for (int a = 0; a < 3; ++a) {
            const auto& h = slow[a].halo(in_tile).values;
            const float below =
                h[i + 1 - (a == 0 ? 1 : 0)][j + 1 - (a == 1 ? 1 : 0)][k + 1 - (a == 2 ? 1 : 0)];
            ASSERT_EQ(0.5f * (below + h[i + 1][j + 1][k + 1]), faces[a]->tile(in_tile)(i, j, k));
            float sum = 0.0f;
            for (int n = 0; n < 8; ++n) {
                sum += h[i + (n & 1)][j + (n >> 1 & 1)][k + (n >> 2)];
            }
            ASSERT_FLOAT_EQ(sum / 8.0f, corners->tile(in_tile)(i, j, k)[a]);
        }
    });
}

TEST(Resampling, SharpeningMovesAwayFromTheMeanOfTheFaces)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 6).build(), 1.0f, eOffsetFaceY);
    const auto sharp = field.add<float>("sharp");
    field.channel->tile(0, 6).set(1.0f);
    field.channel->tile(0, 6)(2, 2, 2) = 7.0f;

    SharpenVoxels{0.5f}(*field.channel, *sharp);

    EXPECT_EQ(10.0f, sharp->tile(0, 6)(2, 2, 2));  // 7 + 0.5 (7 - 1)
    EXPECT_EQ(0.5f, sharp->tile(0, 6)(2, 1, 2));   // 1 + 0.5 (1 - 12 / 6)
    EXPECT_EQ(1.0f, sharp->tile(0, 6)(0, 0, 0));
    EXPECT_EQ(eOffsetFaceY, sharp->offsetType());
}

TEST(Resampling, RefusesChannelsOfAnotherLayout)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 6).build());
    Field<float> other(LayoutBuilder().tile({0, 0, 0}, 6).build());

    EXPECT_EQ("SharpenVoxels: no layout, or another one, below the channel c",
              errorOf([&] { SharpenVoxels{1.0f}(*field.channel, *other.channel); }));
}

TEST(CornerExtraTile, TakesNeighboursAndInterpolatesBetweenTheParentsCorners)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).tile({3, 0, 0}, 7).build();
    Field<float> field(layout, -1.0f, eOffsetCorner);
    field.fill([](const vec3f& in_place) { return in_place[0] + 100.0f * in_place[1]; });
    auto accessor = std::as_const(*layout).accessor();
    const TileIndex tile = layout->nodeIndex<true>(0, 0, 0, 7);
    VoxelTile<float, 0, 6> out;

    evalCornerExtraTile(tile.first, tile.second, *layout, &accessor, *field.channel, &out);

    // The tile begins at (-2, -2, -2), cell (2, 2, 2) of the parent.
    EXPECT_EQ(-2.0f - 200.0f, out(0, 0, 0));
    EXPECT_EQ(3.0f + 100.0f, out(5, 3, 0));            // the neighbour's first plane
    EXPECT_EQ(3.0f + 300.0f, out(5, 5, 0));            // a corner of the box
    EXPECT_FLOAT_EQ(0.0f + 300.0f, out(2, 5, 0));      // on an edge
    EXPECT_NEAR(-1.0f - 100.0f, out(1, 1, 5), 1e-3f);  // on a plane
    EXPECT_FLOAT_EQ(3.0f + 300.0f, out(5, 5, 5));

    // Cell (4, 2, 2) of the parent is its last on x: what lies beyond is not there.
    layout->addNode(8, 0, 0, 7);
    const TileIndex last = layout->nodeIndex<true>(8, 0, 0, 7);
    field.fill([](const vec3f&) { return 4.0f; });
    auto fresh = std::as_const(*layout).accessor();
    evalCornerExtraTile(last.first, last.second, *layout, &fresh, *field.channel, &out);
    EXPECT_EQ(-1.0f, out(5, 0, 0));
    EXPECT_FLOAT_EQ(4.0f, out(4, 5, 0) + 4.0f);  // (1 * 4 + 4 * -1) / 5

    // Now it is, and its first cells give the corners of the box.
    layout->addNode(13, 0, 0, 6);
    field.fill([](const vec3f& in_place) { return in_place[0]; });
    auto beside = std::as_const(*layout).accessor();
    evalCornerExtraTile(last.first, last.second, *layout, &beside, *field.channel, &out);
    EXPECT_EQ(13.0f, out(5, 0, 0));
    EXPECT_FLOAT_EQ(12.0f, out(4, 5, 0));
}

}  // namespace
}  // namespace Skelvar
