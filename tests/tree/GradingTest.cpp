#include <skelvar/tree/Grading.h>
#include <skelvar/tree/LayoutConsistency.h>

#include "LayoutModel.h"
#include "RandomForest.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace Skelvar::Test {
namespace {

using Testing::Random;

/// Places around tiles of depth 2 and more, but of roots, that no tile covers which is at most one
/// depth above: by the definition, with a set of tiles.
int violations(const std::set<Tile>& in_tiles, int in_first_depth)
{
    int count = 0;
    for (const Tile& tile : in_tiles) {
        if (tile.depth < in_first_depth || in_tiles.count(tile.above(tile.depth - 1)) == 0) {
            continue;
        }
        for (int n = 0; n < 27; ++n) {
            const vec3i place{tile.i + (n % 3 - 1) * tile.side(),
                              tile.j + (n / 3 % 3 - 1) * tile.side(),
                              tile.k + (n / 9 - 1) * tile.side()};
            const bool inside = std::abs(place[0]) <= 195312 && std::abs(place[1]) <= 195312 &&
                                std::abs(place[2]) <= 195312;
            count += n != 13 && (!inside || in_tiles.count(Tile::at(place, tile.depth - 1)) == 0);
        }
    }
    return count;
}

TEST(Grading, GradesRandomTreesAndOnlyAddsToThem)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        VoxelLayout layout;
        layout.addNode(0);
        for (int n = 0; n < 30 * static_cast<int>(seed); ++n) {
            const int reach = n % 3 == 0 ? 30000 : 150;
            layout.addNode(random.integer(-reach, reach), random.integer(-reach, reach),
                           random.integer(-reach, reach), random.integer(3, 7));
        }
        const std::set<Tile> before = tilesOf(layout);
        EXPECT_EQ(violations(before, 2) == 0, isTreeGraded(&layout));
        std::vector<TileId> added;

        computeGradedTree(&layout, &added);

        EXPECT_TRUE(isLayoutConsistent(layout));
        const std::set<Tile> after = tilesOf(layout);
        EXPECT_EQ(0, violations(after, 3));  // no pass covers depth 1
        EXPECT_TRUE(std::includes(after.begin(), after.end(), before.begin(), before.end()));
        EXPECT_EQ(before.size() + added.size(), after.size());
        EXPECT_EQ(violations(after, 2) == 0, isTreeGraded(&layout));
        added.clear();
        computeGradedTree(&layout, &added);
        EXPECT_TRUE(added.empty());
    }
}

TEST(Grading, AddsNoMoreThanChildrenDemand)
{
    // The tile at the origin is the centre child all the way up, and demands nothing.
    const auto centre = LayoutBuilder().tile({0, 0, 0}, 1).tile({0, 0, 0}, 7).build();
    computeGradedTree(centre.get());
    EXPECT_EQ(7, centre->numNodes());

    // Position (4, 2, 2) in its parent: the face neighbour of the parent, and nothing above, since
    // both parents lie inside theirs.
    const auto face = LayoutBuilder().tile({0, 0, 0}, 1).tile({12, 0, 0}, 7).build();
    std::vector<TileId> added;
    computeGradedTree(face.get(), &added);
    EXPECT_EQ((std::vector<TileId>{tileCoordsToId(13, 0, 0, 6)}), added);

    // Position (4, 4, 4): seven neighbours of the parent.
    const auto corner = LayoutBuilder().tile({0, 0, 0}, 1).tile({12, 12, 12}, 7).build();
    added.clear();
    computeGradedTree(corner.get(), &added);
    EXPECT_EQ(7u, added.size());
    EXPECT_TRUE(std::is_sorted(added.begin(), added.end()));

    const auto root = LayoutBuilder().tile({0, 0, 0}, 3).build();
    computeGradedTree(root.get());
    EXPECT_EQ(1, root->numNodes());
    EXPECT_TRUE(isTreeGraded(root.get()));
    VoxelLayout empty;
    computeGradedTree(&empty);
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(isTreeGraded(&empty));
}

TEST(Grading, AnyEntryAboveTheEmptyOneDemandsNeighbours)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 5).tile({0, 0, 0}, 6).build();
    layout->node(0, 6).child(0) = -1;

    computeGradedTree(layout.get());

    EXPECT_EQ(1 + 7, layout->numNodes(6));
}

TEST(Grading, TellsNewRoots)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 5).tile({-62, 0, 0}, 6).tile({-62, 0, 0}, 7).build();
    std::vector<TileId> added;
    std::vector<TileId> roots;

    computeGradedTree(layout.get(), &added, &roots);

    const std::vector<TileId> beyond = {tileCoordsToId(-63, 0, 0, 6), tileCoordsToId(-63, 0, 0, 5)};
    EXPECT_EQ(beyond, added);
    EXPECT_FALSE(roots.empty());
}

TEST(Grading, StopsAtTheFacesOfTheDomain)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 0).tile({-195312, -195312, -195312}, 7).build();
    const int before = layout->numNodes();

    computeGradedTree(layout.get());

    EXPECT_EQ(before, layout->numNodes());
    EXPECT_FALSE(isTreeGraded(layout.get()));
}

TEST(Grading, ReportsEachViolation)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 5).tile({12, 0, 0}, 7).build();
    std::ostringstream report;

    EXPECT_FALSE(isTreeGraded(layout.get(), &report));

    // The tile at (8, -2, -2) is the child (4, 2, 2) of a tile with no neighbours of depth 6, and
    // those are covered by the root of depth 5.
    const std::string tile = std::to_string(tileCoordsToId(12, 0, 0, 7));
    const std::string root = std::to_string(tileCoordsToId(0, 0, 0, 5));
    const std::string line =
        "non-graded at tile " + tile + " (depth 7) and neighbor " + root + " (depth 5)\n";
    std::string expected;
    for (int n = 0; n < 9; ++n) {
        expected += line;
    }
    EXPECT_EQ(expected + "num_non_graded_nodes = 9", report.str());

    const auto hole = LayoutBuilder().tile({0, 0, 0}, 6).tile({10, 0, 0}, 7).build();
    report.str("");
    EXPECT_FALSE(isTreeGraded(hole.get(), &report));
    const std::string start = "non-graded at tile  " + std::to_string(tileCoordsToId(10, 0, 0, 7)) +
                              " (depth 7) - neighbor does not exist (1,-1,-1)\n";
    EXPECT_EQ(start, report.str().substr(0, start.size()));
}

}  // namespace
}  // namespace Skelvar::Test
