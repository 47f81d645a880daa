#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/RefineLayout.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include "FollowingArrays.h"
#include "LayoutModel.h"
#include "RandomForest.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar::Test {
namespace {

using Testing::Random;

/// What is left of all these tiles; a tile between two of one branch where one lies above the other
/// is there as well, which adding to the model tile by tile sees to.
std::set<Tile> unionOf(const std::vector<std::set<Tile>>& in_sets)
{
    LayoutModel model;
    for (const std::set<Tile>& tiles : in_sets) {
        for (const Tile& tile : tiles) {
            model.add(tile);
        }
    }
    return model.tiles();
}

std::set<TileId> idsOf(const VoxelLayout& in_layout)
{
    std::vector<TileId> ids;
    in_layout.tileIds(&ids, 0, 7);
    return {ids.begin(), ids.end()};
}

TEST(Refine, GivesTheUnionWithOneEvent)
{
    for (unsigned seed = 1; seed <= 12; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const int size = seed <= 4 ? 3 : 30 * static_cast<int>(seed);
        const auto layout = randomForest(random, size, false);
        const auto other = randomForest(random, size, seed % 2 == 0);
        const auto third = randomForest(random, 20, false);
        std::vector<const VoxelLayout*> others{other.get()};
        std::vector<std::set<Tile>> sets{tilesOf(*layout), tilesOf(*other)};
        if (seed % 3 == 0) {
            others.push_back(third.get());
            sets.push_back(tilesOf(*third));
        }
        const std::set<TileId> before = idsOf(*layout);
        FollowingArrays arrays(*layout);
        std::vector<TileId> added;

        layout->refine(others, &added);

        EXPECT_TRUE(isLayoutConsistent(*layout));
        EXPECT_EQ(unionOf(sets), tilesOf(*layout));
        arrays.expectInStep();
        const std::vector<std::string> log = arrays.takeLog();
        EXPECT_EQ(1, std::count(log.begin(), log.end(), "nodesAdded"));
        EXPECT_EQ("nodesAdded", log.back());
        std::set<TileId> after = before;
        after.insert(added.begin(), added.end());
        EXPECT_EQ(idsOf(*layout), after);
        EXPECT_EQ(before.size() + added.size(), after.size());

        const auto shallow = std::static_pointer_cast<VoxelLayout>(layout->copy(false));
        added.clear();
        layout->refine({shallow.get(), layout.get()}, &added);
        EXPECT_TRUE(added.empty());
    }
}

TEST(Refine, GivesChildSlotsToParentsWithoutAny)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).build();
    VoxelLayoutNode& node = layout->node(0, 6);
    node.initWithoutChildren(node.parent(), node.id(), node.i(), node.j(), node.k(), 6, 0);
    layout->nodes(6).noteChildSlots(0, 1);

    layout->refine(*LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).build());

    EXPECT_EQ(2, layout->numNodes());
    EXPECT_TRUE(isLayoutConsistent(*layout));
}

/// Notes the branch size of the first tile of depth 6 when nodes are told.
class SizeAtEvent : public FollowingArrays {
public:
    explicit SizeAtEvent(VoxelLayout& io_layout) : FollowingArrays(io_layout), m_seen(io_layout) {}
    void nodesAdded(const std::vector<int>*) override { m_size = m_seen.node(0, 6).branchSize(); }

    VoxelLayout& m_seen;
    long long m_size = 0;
};

TEST(Refine, SetsBranchSizesAheadOfTheEvent)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).build();
    SizeAtEvent event(*layout);

    layout->refine(*LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).build());

    EXPECT_EQ(250, event.m_size);
}

TEST(Refine, LeavesTheEventToTheCallerWhoAsksForTheLists)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).build();
    const auto other = LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).build();
    FollowingArrays arrays(*layout);
    std::vector<int> lists[8];

    layout->refine(*other, lists, false, nullptr);

    EXPECT_TRUE(arrays.takeLog().empty());
    EXPECT_EQ((std::vector<int>{0}), lists[7]);
    layout->setBranchSizes();
    layout->nodesAdded(lists);
    EXPECT_TRUE(isLayoutConsistent(*layout));
    arrays.expectInStep();
}

/// The tiles around points, point by point and cell by cell.
std::set<Tile> tilesAround(const std::vector<vec3f>& in_points, float in_radius,
                           const vec3f& in_offset, int in_depth)
{
    std::set<Tile> tiles;
    for (const vec3f& p : in_points) {
        int lo[3], hi[3];
        bool wanted = true;
        for (int axis = 0; axis < 3; ++axis) {
            const float low = p[axis] - in_radius - in_offset[axis];
            const float high = p[axis] + in_radius - in_offset[axis];
            wanted = wanted && std::isfinite(low) && std::isfinite(high) && low < 195313.0f &&
                     high >= -195312.0f;
            lo[axis] = wanted ? std::max(-195312, static_cast<int>(std::floor(low))) : 0;
            hi[axis] = wanted ? std::min(195312, static_cast<int>(std::floor(high))) : 0;
        }
        for (int i = lo[0]; i <= hi[0] && wanted; ++i) {
            for (int j = lo[1]; j <= hi[1]; ++j) {
                for (int k = lo[2]; k <= hi[2]; ++k) {
                    const bool is_new = tiles.insert(Tile::at({i, j, k}, in_depth)).second;
                    for (int depth = 0; depth < in_depth && is_new; ++depth) {
                        tiles.insert(Tile::at({i, j, k}, depth));
                    }
                }
            }
        }
    }
    return tiles;
}

TEST(RefineLayout, MakesTheTilesAroundPoints)
{
    for (unsigned seed = 41; seed <= 60; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        std::vector<vec3f> points;
        const int count = seed % 2 == 0 ? 20 : 3000;
        for (int n = 0; n < count; ++n) {
            const vec3i near = randomPoint(random, seed % 3 == 0 ? 1300 : 60);
            points.push_back({static_cast<float>(near[0] + random.real(0, 1)),
                              static_cast<float>(near[1] + random.real(0, 1)),
                              static_cast<float>(near[2] + random.real(0, 1))});
        }
        const int depth = seed % 4 == 0 ? random.integer(0, 7) : 7;
        const float radius =
            seed % 5 == 0 ? 0.0f : static_cast<float>(random.real(0, count < 100 ? 8 : 1));
        const auto offset = static_cast<VoxelOffsetType>(random.integer(0, 7));
        VoxelLayout layout;
        FollowingArrays arrays(layout);
        std::vector<TileId> added;

        refineLayout(&layout, static_cast<VoxelShape*>(nullptr), points.begin(), points.end(),
                     radius, offset, depth, &added);

        EXPECT_TRUE(isLayoutConsistent(layout));
        EXPECT_EQ(tilesAround(points, radius, kVoxelOffset[offset], depth), tilesOf(layout));
        EXPECT_EQ((std::vector<std::string>{"nodesAdded"}), arrays.takeLog());
        arrays.expectInStep();
        EXPECT_EQ(added.size(), idsOf(layout).size());
    }
}

TEST(RefineLayout, KeepsAllOfManyPointsFarApart)
{
    std::vector<vec3f> points;
    for (int n = 0; n < 40000; ++n) {
        points.push_back(
            {static_cast<float>(n % 200 * 125), static_cast<float>(n / 200 * 125), 0.0f});
    }
    VoxelLayout layout;

    refineLayout(&layout, static_cast<VoxelShape*>(nullptr), points.begin(), points.end(), 0.0f,
                 eOffsetCorner);

    EXPECT_EQ(40000, layout.numNodes(7));
}

TEST(RefineLayout, ReachesIntoALayoutThatIsThere)
{
    Random random(61);
    const auto layout = randomForest(random, 200, false);
    const std::vector<vec3f> points = {{-200.0f, -200.0f, -200.0f}, {9.0f, 9.0f, 9.0f}};
    const std::set<Tile> expected =
        unionOf({tilesOf(*layout), tilesAround(points, 2.0f, kVoxelOffset[0], 7)});
    FollowingArrays arrays(*layout);

    refineLayout(layout.get(), static_cast<VoxelShape*>(nullptr), points.data(),
                 points.data() + points.size(), 2.0f, eOffsetCentre);

    EXPECT_TRUE(isLayoutConsistent(*layout));
    EXPECT_EQ(expected, tilesOf(*layout));
    arrays.expectInStep();
    const std::vector<std::string> log = arrays.takeLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), "nodesAdded"));
}

TEST(RefineLayout, SkipsWhatIsNoPlaceInTheDomain)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const auto refine = [](const std::vector<vec3f>& in_points, float in_radius, int in_depth) {
        VoxelLayout layout;
        refineLayout(&layout, static_cast<VoxelShape*>(nullptr), in_points.begin(), in_points.end(),
                     in_radius, eOffsetCorner, in_depth);
        EXPECT_TRUE(isLayoutConsistent(layout));
        return layout.numNodes();
    };
    const vec3f inside{0.0f, 0.0f, 0.0f};

    EXPECT_EQ(8, refine({inside}, 0.0f, 7));
    EXPECT_EQ(0, refine({}, 1.0f, 7));
    EXPECT_EQ(0, refine({{kNan, 0, 0}, {0, kInfinity, 0}, {0, 0, -kInfinity}}, 1.0f, 7));
    EXPECT_EQ(0, refine({{3e38f, 0, 0}, {0, -3e9f, 0}, {0, 0, 195314.0f}}, 0.5f, 7));
    for (const float radius : {-1.0f, kNan, kInfinity}) {
        EXPECT_EQ(0, refine({inside}, radius, 7));
    }
    for (const int depth : {-1, 8}) {
        EXPECT_EQ(0, refine({inside}, 1.0f, depth));
    }
    // The last tiles of the domain, and a box as large as the domain.
    EXPECT_EQ(8, refine({{195312.5f, 195312.5f, 195312.5f}}, 0.0f, 7));
    EXPECT_EQ(8, refine({{-195313.0f, -195312.0f, 0.0f}}, 1.0f, 7));
    EXPECT_EQ(1 + 125 + 15625, refine({inside}, 1e30f, 2));
}

TEST(RefineLayout, CarriesTheTilesOfAnotherShapeOver)
{
    const auto source = LayoutBuilder().tile({0, 0, 0}, 7).tile({100, 7, -3}, 7).build();
    const auto target = std::make_shared<VoxelLayout>();
    VoxelShape from("object-from");
    VoxelShape to("object-to");

    refineLayout(target.get(), std::as_const(source).get(), &to, &from);
    const std::set<TileId> same_place = idsOf(*target);
    target->clear();
    Similarity shift;
    shift.toWorld(3, 0) = 10.0f;
    shift.fromWorld(3, 0) = -10.0f;
    from.setToWorld(shift);
    refineLayout(target.get(), std::as_const(source).get(), &to, &from);

    std::set<TileId> expected;
    for (const TileId id : idsOf(*source)) {
        for (TileId above = id; above != kNoTile; above = parentTile(above)) {
            expected.insert(above);
        }
    }
    EXPECT_EQ(expected, same_place);
    EXPECT_EQ(2, target->numNodes(7));
    EXPECT_TRUE(target->nodeExists(tileCoordsToId(10, 0, 0, 7)));
    EXPECT_TRUE(target->nodeExists(tileCoordsToId(110, 7, -3, 7)));

    refineLayout(target.get(), std::as_const(source).get(), &to, &to, 1.0f);
    EXPECT_EQ(2 + 54, target->numNodes(7));

    source->setCompactOnDelete(false);
    source->deleteNode(TileIndex{1, 7});
    target->clear();
    refineLayout(target.get(), std::as_const(source).get(), &to, &to);
    EXPECT_EQ(1, target->numNodes(7));
}

}  // namespace
}  // namespace Skelvar::Test
