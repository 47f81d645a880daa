#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include "LayoutModel.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>

namespace Skelvar::Test {
namespace {

TEST(VoxelLayoutAccessor, StartsAtTheFirstRootOrAtTheEmptyNode)
{
    const VoxelLayout empty;
    VoxelLayout::ConstAccessor nowhere(empty);
    EXPECT_FALSE(nowhere.node().valid());
    EXPECT_EQ(-100, VoxelLayout::ConstAccessor::emptyAccessorNode.depth());
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

/// Trees whose lookups start at several roots, at a root, and at tiles below it.
std::vector<std::shared_ptr<VoxelLayout>> randomLayouts(Wanderer& io_wanderer)
{
    std::vector<std::shared_ptr<VoxelLayout>> layouts{
        LayoutBuilder().tile({0, 0, 0}, 5).tile({130, 0, 0}, 4).build(),
        LayoutBuilder().tile({0, 0, 0}, 0).build(),
        LayoutBuilder().tile({0, 0, 0}, 0).tile({100, 0, 0}, 3).tile({5000, 0, 0}, 3).build(),
        LayoutBuilder().tile({0, 0, 0}, 6).build(),
    };
    for (const auto& layout : layouts) {
        for (int n = 0; n < 150; ++n) {
            const vec3i p = io_wanderer.next();
            layout->addNode(p[0], p[1], p[2], io_wanderer.pick(5, 7));
        }
    }
    return layouts;
}

TEST(VoxelLayoutAccessor, FindsWhatTheLayoutFinds)
{
    const unsigned seed = 4711;
    SCOPED_TRACE(seed);
    Wanderer wanderer(seed);
    for (const auto& layout : randomLayouts(wanderer)) {
        const VoxelLayout& tree = *layout;
        auto accessor = tree.accessor();
        for (int n = 0; n < 8000; ++n) {
            const auto [x, y, z] = wanderer.next().e;
            const int depth = wanderer.pick(-1, 8);
            const TileIndex inexact = tree.nodeIndex<false>(tileCoordsToFinestId(x, y, z, depth));
            ASSERT_EQ(inexact, tree.nodeIndex<false>(x, y, z, depth));
            ASSERT_EQ(inexact, accessor.nodeIndex<false>(x, y, z, depth));
            const TileIndex exact = tree.nodeIndex<true>(tileCoordsToId(x, y, z, depth));
            const TileIndex by_accessor = accessor.nodeIndex<true>(x, y, z, depth);
            ASSERT_EQ(exact.first < 0, by_accessor.first < 0);
            if (exact.first >= 0) {
                ASSERT_EQ(exact, by_accessor);
                ASSERT_EQ(exact, tree.nodeIndex<true>(x, y, z, depth));
                ASSERT_EQ(exact, accessor.nodeIndex<true>(tileCoordsToId(x, y, z, depth)));
                ASSERT_EQ(tree.node(exact).id(), accessor.node().id());
            }
        }
    }
}

/// Place in its tile of the cell that holds a point.
int cellOf(const vec3i& in_point, const VoxelLayoutNode& in_node)
{
    const vec3i place = in_point - in_node.corner();
    const int side = VoxelLayout::cellWidth(in_node.depth());
    return place[0] / side + 5 * (place[1] / side) + 25 * (place[2] / side);
}

TEST(VoxelLayoutAccessor, FindsTheCellsOfPointsOneByOneAndAtOnce)
{
    const unsigned seed = 815;
    SCOPED_TRACE(seed);
    Wanderer wanderer(seed);
    for (const auto& layout : randomLayouts(wanderer)) {
        const VoxelLayout& tree = *layout;
        for (int depth = -1; depth <= 8; ++depth) {
            std::vector<vec3i> points(500);
            std::generate(points.begin(), points.end(), [&] { return wanderer.next(); });
            points[7] = {195313, 0, 0};
            points[8] = {std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 0};
            std::vector<CellIndex> cells(points.size());
            auto one_by_one = tree.accessor();
            tree.accessor().cellIndices<false>(points.data(), 500, depth, cells.data());
            for (std::size_t n = 0; n < points.size(); ++n) {
                const auto [x, y, z] = points[n].e;
                const TileIndex tile = tree.nodeIndex<false>(x, y, z, depth);
                const int cell = tile.first < 0 ? 0 : cellOf(points[n], tree.node(tile));
                ASSERT_EQ((CellIndex{tile, cell}), cells[n]);
                ASSERT_EQ(cells[n], one_by_one.cellIndex<false>(x, y, z, depth));
                ASSERT_EQ(cells[n], tree.cellIndex<false>(x, y, z, depth));
            }
        }
    }
}

bool touch(const VoxelLayoutNode& in_a, const VoxelLayoutNode& in_b)
{
    vec3i lo;
    vec3i hi;
    in_b.bounds(lo, hi);
    return in_a.intersects(lo, hi);
}

/// What touches a node, by a look at all nodes.
std::set<TileIndex> neighboursByAll(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node)
{
    std::set<TileIndex> found;
    for (int side = 0; side < 27; ++side) {
        const vec3i step{side % 3 - 1, side / 3 % 3 - 1, side / 9 - 1};
        const vec3i p = in_node.corner() + step * kTileSideLUT[in_node.depth()];
        const TileIndex index = in_layout.nodeIndex<false>(p[0], p[1], p[2], in_node.depth());
        if (index.first >= 0) {
            found.insert(index);
        }
    }
    for (int depth = in_node.depth() + 1; depth < kNumDepths; ++depth) {
        for (const VoxelLayoutNode& node : in_layout.nodes(depth)) {
            const TileId beside = ancestorTile(node.id(), in_node.depth());
            if (touch(node, in_node) && beside != in_node.id() && in_layout.nodeExists(beside)) {
                found.insert(node.tileIndex());
            }
        }
    }
    return found;
}

TEST(VoxelLayoutAccessor, ListsNeighboursOnceOverAllDepths)
{
    const unsigned seed = 99;
    SCOPED_TRACE(seed);
    Wanderer wanderer(seed);
    for (const auto& layout : randomLayouts(wanderer)) {
        auto accessor = layout->accessor();
        for (int n = 0; n < 60; ++n) {
            const int depth = wanderer.pick(4, 7);
            const TileIndex index{wanderer.pick(0, layout->numNodes(depth)), depth};
            std::vector<TileIndex> listed;
            accessor.nodeNeighbourIndices(index, listed);
            if (!layout->isLive(index)) {
                ASSERT_TRUE(listed.empty());
                continue;
            }
            const std::set<TileIndex> expected = neighboursByAll(*layout, layout->node(index));
            ASSERT_EQ(expected.size(), listed.size());
            ASSERT_EQ(expected, std::set<TileIndex>(listed.begin(), listed.end()));

            std::vector<TileIndex> of_depths;
            accessor.nodeNeighbourIndices2(index, 5, 6, of_depths);
            std::erase_if(listed, [](const TileIndex& i) { return i.second < 5 || i.second > 6; });
            ASSERT_EQ(listed, of_depths);

            std::set<TileIndex> visited;
            std::vector<TileIndex> by_side;
            for (int side = 0; side < 27; ++side) {
                accessor.nodeNeighbourIndices(side % 3 - 1, side / 3 % 3 - 1, side / 9 - 1, index,
                                              by_side, layout->node(index), visited);
            }
            ASSERT_EQ(expected.size(), by_side.size());
            ASSERT_EQ(expected, visited);
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
            // near the node, which may have got its first child just now
            const vec3i q{p[0] + wanderer.pick(-9, 9), p[1], p[2]};
            ASSERT_EQ(plain.cellIndex<true>(q[0], q[1], q[2], 7),
                      accessor.cellIndex<true>(q[0], q[1], q[2], 7));
        }
        EXPECT_EQ(added[0], added[1]);
        EXPECT_EQ(roots[0], roots[1]);
        EXPECT_EQ(0, checkLayout(by_accessor).total());
    }
}

}  // namespace
}  // namespace Skelvar::Test
