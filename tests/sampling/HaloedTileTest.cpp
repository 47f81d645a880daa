#include <skelvar/sampling/HaloedTile.h>
#include <skelvar/sampling/HaloedVoxelLayoutNodeVisitorHelper.h>

#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/sampling/Field.h>
#include <tests/sampling/SlowSampler.h>

#include <gtest/gtest.h>

namespace Skelvar {
namespace {

using namespace Test;

/// The value at a place counted from 0 to 6.
template <typename Tile>
auto at(const Tile& in_tile, int in_x, int in_y, int in_z)
{
    return in_tile(in_x - 1, in_y - 1, in_z - 1);
}

/// The parent holds x + 10 y + 100 z, the tile in its middle 300.
struct MiddleTile {
    MiddleTile()
    {
        for (int n = 0; n < 343; ++n) {
            parent(n) = static_cast<float>(n % 7 + 10 * (n / 7 % 7) + 100 * (n / 49));
        }
        block[13] = &own;
    }
    VoxelTile<float, 1, 5> halo(int in_offset) const
    {
        VoxelTile<float, 1, 5> h;
        evalContinuousHaloedTile<float, 5>(static_cast<VoxelOffsetType>(in_offset), parent, 2, 2, 2,
                                           block, &h);
        return h;
    }

    VoxelTile<float, 1, 5> parent;
    VoxelTile<float, 0, 5> own{300.0f};
    TileBlock<float> block{};
};

struct HaloValue {
    int offset;
    int x, y, z;
    float value;
};

TEST(HaloedTile, TakesWorkedValuesFromTheParentWithoutNeighbours)
{
    const HaloValue values[] = {
        // Centred: the parent's two planes at the boundary, minus the voxels inside.
        {0, 0, 3, 3, 365.0f},  // 5 + 20 * 3 + 200 * 3 - 300
        {0, 6, 3, 3, 367.0f},
        {0, 3, 0, 3, 356.0f},  // 2 * 3 + 10 * 5 + 200 * 3 - 300
        {0, 3, 6, 3, 376.0f},
        {0, 3, 3, 0, 266.0f},  // 2 * 3 + 20 * 3 + 100 * 5 - 300
        {0, 3, 3, 6, 466.0f},
        {0, 0, 1, 3, 357.0f},  // at y = 2.6
        {0, 0, 0, 3, 297.8f},  // 4 * 327.5 - 357 - 355.2 - 300
        {0, 6, 0, 3, 298.2f},  // 4 * 328.5 - 359 - 356.8 - 300
        // 8 * 277.5 - 300 - 277 - 275.2 - 297.8 - 257.2 - 279.8 - 278
        {0, 0, 0, 0, 255.0f},
        // All staggered: the low planes are the parent's own, the high ones its upper.
        {7, 6, 1, 1, 334.0f},
        {7, 1, 1, 1, 333.0f},
        {7, 1, 3, 3, 377.0f},  // at (3, 3.4, 3.4)
        {7, 0, 3, 3, 454.0f},  // 2 * 377 - 300
        {7, 6, 6, 1, 344.0f},
        {7, 6, 6, 5, 424.0f},
        {7, 0, 6, 1, 342.8f},  // 2 * 341 - 339.2
        {7, 6, 6, 6, 444.0f},
        {7, 0, 0, 0, 366.0f},  // 2 * 333 - 300
        {7, 6, 6, 0, 383.6f},  // 2 * 341.8 - 300
        // Staggered on x alone.
        {1, 6, 3, 3, 334.0f},
        {1, 1, 3, 3, 333.0f},
        {1, 0, 3, 3, 366.0f},
        {1, 1, 0, 3, 327.0f},  // 656 - 329
        {1, 5, 0, 3, 357.6f},
        {1, 6, 0, 3, 328.0f},  // 658 - 330
        {1, 0, 0, 3, 358.0f},  // 2 * 329 - 300
        {1, 1, 0, 0, 267.0f},
        {1, 6, 0, 0, 268.0f},
        // The parts of the tile that are not rewritten.
        {1, 2, 1, 1, 300.0f},
        {0, 1, 1, 1, 300.0f},
    };
    const MiddleTile tile;
    for (const HaloValue& v : values) {
        EXPECT_NEAR(v.value, at(tile.halo(v.offset), v.x, v.y, v.z), 1e-3f)
            << "offset " << v.offset << " at " << v.x << v.y << v.z;
    }
}

TEST(HaloedTile, ARootReflectsAboutTheBackgroundOrTakesIt)
{
    VoxelTile<float, 0, 5> tile;
    for (int n = 0; n < 125; ++n) {
        tile(n) = static_cast<float>(n);
    }
    VoxelTile<float, 1, 5> h;

    evalContinuousHaloedRootTile<float, 5>(eOffsetCentre, 10.0f, tile, &h);
    EXPECT_EQ(20.0f - 60.0f, at(h, 0, 3, 3));  // cell (0, 2, 2)
    EXPECT_EQ(20.0f - 64.0f, at(h, 6, 3, 3));
    EXPECT_EQ(20.0f - 122.0f, at(h, 3, 5, 6));
    EXPECT_EQ(50.0f, at(h, 0, 0, 3));  // edges keep the voxel inside
    EXPECT_EQ(24.0f + 3 * 25.0f, at(h, 6, 6, 4));
    EXPECT_EQ(20.0f, at(h, 0, 0, 0));
    EXPECT_EQ(20.0f - 124.0f, at(h, 6, 6, 6));

    evalContinuousHaloedRootTile<float, 5>(eOffsetFaceX, 10.0f, tile, &h);
    EXPECT_EQ(10.0f, at(h, 0, 3, 3));
    EXPECT_EQ(10.0f, at(h, 1, 3, 3));
    EXPECT_EQ(10.0f, at(h, 6, 3, 3));
    EXPECT_EQ(64.0f, at(h, 5, 3, 3));
    EXPECT_EQ(10.0f, at(h, 1, 0, 3));  // reflected from the plane that was rewritten
    EXPECT_EQ(20.0f - 51.0f, at(h, 2, 0, 3));
    EXPECT_EQ(10.0f, at(h, 0, 0, 3));
    EXPECT_EQ(1.0f, at(h, 2, 0, 0));  // the edge along x: both its axes are centred
    EXPECT_EQ(10.0f, at(h, 6, 0, 0));
}

template <typename T>
class HaloedTileOf : public ::testing::Test {
};
TYPED_TEST_SUITE(HaloedTileOf, VoxelTypes);

TYPED_TEST(HaloedTileOf, EqualsTheSlowOneOnRandomTrees)
{
    using T = TypeParam;
    Testing::Random random(4711);
    SCOPED_TRACE(random.seed());
    for (int offset = 0; offset < 8; ++offset) {
        const Field<T> field = anyField<T>(random, static_cast<VoxelOffsetType>(offset));
        const auto& layout = field.layout;
        auto accessor = std::as_const(*layout).accessor();
        auto cache = makeHaloCache<T>();
        const auto slow_members = slowMembers(*field.channel, *layout);
        for (int round = 0; round < 20; ++round) {
            int depth = random.integer(0, 7);
            while (layout->numNodes(depth) == 0) {
                depth = (depth + 1) % 8;
            }
            const int index = random.integer(0, layout->numNodes(depth) - 1);

            const int slot = HaloedVoxelLayoutNodeVisitorHelper::updateHaloCache<T>(
                index, depth, &cache, *layout, accessor, *field.channel);

            ASSERT_EQ(depth, slot);
            const int member = round % MemberOf<T>::kCount;
            const auto& slow = slow_members[member].halo({index, depth});
            for (int n = 0; n < 343; ++n) {
                ASSERT_EQ(slow.values[n % 7][n / 7 % 7][n / 49],
                          MemberOf<T>::get(cache[slot].second(n), member))
                    << "offset " << offset << " tile " << index << " of depth " << depth
                    << " place " << n;
            }
        }
    }
}

TEST(PlainHalo, HoldsNeighboursOfTheSameDepthAndTheBackground)
{
    const auto layout = LayoutBuilder().tile({2, 2, 2}, 7).tile({7, 2, 2}, 7).build();
    Field<float> field(layout, -1.0f);
    field.fill([](const vec3f& in_place) { return in_place[0] + 100.0f * in_place[1]; });
    auto accessor = std::as_const(*layout).accessor();
    const TileIndex tile = layout->nodeIndex<true>(2, 2, 2, 7);
    VoxelTile<float, 1, 5> h;

    const unsigned existing = HaloedVoxelLayoutNodeVisitorHelper::updateHaloTile<float>(
        tile.first, tile.second, h, *layout, accessor, *field.channel);

    EXPECT_EQ(1u << 13 | 1u << 14, existing);
    const vec3i corner = layout->node(tile).corner();
    const float x = static_cast<float>(corner[0]) + 0.5f;
    const float y = static_cast<float>(corner[1]) + 0.5f;
    EXPECT_EQ(x + 100.0f * y, h(0, 0, 0));
    EXPECT_EQ(x + 5.0f + 100.0f * (y + 4.0f), h(5, 4, 2));
    EXPECT_EQ(-1.0f, h(-1, 2, 2));
    EXPECT_EQ(-1.0f, h(5, 5, 2));
}

}  // namespace
}  // namespace Skelvar
