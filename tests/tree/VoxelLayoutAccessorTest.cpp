#include <skelvar/tree/VoxelLayoutAccessor.h>

#include "LayoutFaults.h"
#include "LayoutModel.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <random>

namespace Skelvar::Test {
namespace {

TEST(VoxelLayoutAccessor, StartsAtTheFirstRootOrAtTheEmptyNode)
{
    const VoxelLayout empty;
    VoxelLayout::ConstAccessor nowhere(empty);
    EXPECT_FALSE(nowhere.node().valid());
    EXPECT_EQ(kNoTileIndex, nowhere.nodeIndex<false>(0, 0, 0, 7));
    EXPECT_EQ(kNoTileIndex, nowhere.nodeIndex<false>(0, 0, 0, -1));

    const auto layout = LayoutBuilder().tile({0, 0, 0}, 3).build();
    EXPECT_EQ((TileIndex{0, 3}), layout->accessor().tileIndex());
}

/// Points near those before, so that the remembered node matters, with jumps.
class Wanderer {
public:
    explicit Wanderer(unsigned in_seed) : m_random(in_seed) {}
    vec3i next()
    {
        if (m_random() % 16 == 0) {
            m_at = {pick(-150, 150), pick(-150, 150), pick(-150, 150)};
        }
        for (int axis = 0; axis < 3; ++axis) {
            m_at[axis] += pick(-3, 3);
        }
        return m_at;
    }
    int pick(int in_lo, int in_hi)
    {
        return std::uniform_int_distribution<int>(in_lo, in_hi)(m_random);
    }

private:
    std::mt19937 m_random;
    vec3i m_at{0, 0, 0};
};

TEST(VoxelLayoutAccessor, FindsWhatTheLayoutFinds)
{
    const unsigned seed = 4711;
    SCOPED_TRACE(seed);
    Wanderer wanderer(seed);
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 5).tile({130, 0, 0}, 5).build();
    for (int n = 0; n < 150; ++n) {
        const vec3i p = wanderer.next();
        layout->addNode(p[0], p[1], p[2], wanderer.pick(5, 7));
    }
    ASSERT_GT(layout->numRoots(), 2);
    const VoxelLayout& tree = *layout;
    auto accessor = tree.accessor();

    for (int n = 0; n < 20000; ++n) {
        const auto [x, y, z] = wanderer.next().e;
        const int depth = wanderer.pick(-1, 8);
        const TileIndex inexact = tree.nodeIndex<false>(x, y, z, depth);
        ASSERT_EQ(inexact, accessor.nodeIndex<false>(x, y, z, depth));
        const TileIndex exact = tree.nodeIndex<true>(x, y, z, depth);
        const TileIndex by_accessor = accessor.nodeIndex<true>(x, y, z, depth);
        ASSERT_EQ(exact.first < 0, by_accessor.first < 0);
        if (exact.first >= 0) {
            ASSERT_EQ(exact, by_accessor);
            ASSERT_EQ(exact, accessor.nodeIndex<true>(tileCoordsToId(x, y, z, depth)));
            ASSERT_EQ(tree.node(exact).id(), accessor.node().id());
        }
    }
}

TEST(VoxelLayoutAccessor, InsertsAsTheLayoutDoes)
{
    for (unsigned seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE(seed);
        Wanderer wanderer(seed);
        VoxelLayout by_accessor;
        VoxelLayout plain;
        std::vector<TileId> added[2];
        std::vector<TileId> roots[2];
        auto accessor = by_accessor.accessor();
        for (int n = 0; n < 400; ++n) {
            const vec3i p = wanderer.next();
            const int depth = n % 60 == 59 ? wanderer.pick(2, 8) : wanderer.pick(5, 7);
            ASSERT_EQ(plain.addNode(p[0], p[1], p[2], depth, &added[0], &roots[0]),
                      accessor.addNode(p[0], p[1], p[2], depth, &added[1], &roots[1]));
        }
        EXPECT_EQ(added[0], added[1]);
        EXPECT_EQ(roots[0], roots[1]);
        EXPECT_EQ("", layoutFaults(by_accessor));
    }
}

}  // namespace
}  // namespace Skelvar::Test
