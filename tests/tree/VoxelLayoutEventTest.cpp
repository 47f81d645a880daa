#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include "FollowingArrays.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

namespace Skelvar::Test {
namespace {

using Log = std::vector<std::string>;

TEST(LayoutEvents, SayOnceWhatHappened)
{
    VoxelLayout layout;
    FollowingArrays follower(layout);

    layout.addNode(0, 0, 0, 5);
    EXPECT_EQ(Log{"nodeAdded"}, follower.takeLog());
    layout.addNode(0, 0, 0, 5);
    EXPECT_EQ(Log{}, follower.takeLog());
    layout.addNode(0, 0, 0, 7);
    EXPECT_EQ((Log{"nodeAdded", "nodeAdded"}), follower.takeLog());
    layout.addNodes(std::vector<vec3i>{{5, 0, 0}, {10, 0, 0}}, 7);
    EXPECT_EQ(Log{"nodesAdded"}, follower.takeLog());
    layout.deleteNode(TileIndex{0, 7});
    EXPECT_EQ(Log{"nodesDeleted indices"}, follower.takeLog());
    layout.deleteNodes(std::vector<TileId>{tileCoordsToId(5, 0, 0, 7), 0});
    EXPECT_EQ(Log{"nodesDeleted indices"}, follower.takeLog());
    std::vector<std::vector<int>> lists(8);
    lists[7] = {0};
    layout.deleteNodes(lists);
    EXPECT_EQ(Log{"nodesDeleted moves"}, follower.takeLog());
    layout.dxChanged(2.0f);
    EXPECT_EQ(Log{"dx 2.000000"}, follower.takeLog());
    follower.expectInStep();
    layout.clear();
    EXPECT_EQ(Log{"nodesCleared"}, follower.takeLog());
    follower.expectInStep();
}

TEST(LayoutEvents, ReachEachEntryOfTheListAndNoneThatLeft)
{
    VoxelLayout layout;
    FollowingArrays first(layout);
    FollowingArrays second(layout);
    layout.addObserver(&first);

    layout.dxChanged(1.0f);
    EXPECT_EQ(2u, first.takeLog().size());
    EXPECT_EQ(1u, second.takeLog().size());
    layout.removeObserver(&first);
    layout.addNode(0, 0, 0, 7);

    EXPECT_EQ(Log{}, first.takeLog());
    EXPECT_EQ(Log{"nodeAdded"}, second.takeLog());
}

/// Sees what the layout shows at the moment of the event.
class MomentOfEvent : public FollowingArrays {
public:
    explicit MomentOfEvent(VoxelLayout& io_layout) : FollowingArrays(io_layout), m_seen(io_layout)
    {
    }
    void nodeAdded(const TileIndex& in_node) override
    {
        m_parents.push_back(m_seen.node(in_node).parent());
        m_found.push_back(m_seen.nodeExists(m_seen.node(in_node).id()));
    }
    VoxelLayout& m_seen;
    std::vector<int> m_parents;
    std::vector<bool> m_found;
};

TEST(LayoutEvents, ComeBeforeTheNewNodeIsLinked)
{
    VoxelLayout layout;
    MomentOfEvent moment(layout);

    layout.addNode(TileId{0});
    layout.addNode(0, 0, 0, 2);

    // the root, the target, and what is made between them after it
    EXPECT_EQ((std::vector<int>{-2, -2, 0}), moment.m_parents);
    EXPECT_EQ((std::vector<bool>{false, false, false}), moment.m_found);
}

class VisitLog : public VoxelLayoutNodeVisitor {
public:
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override
    {
        EXPECT_EQ(in_node->tileIndex(), in_index);
        m_depths.push_back(in_index.second);
    }
    std::vector<int> m_depths;
};

TEST(LayoutVisitor, MeetsNewNodesAndTheWayToThem)
{
    VoxelLayout layout;
    VisitLog visitor;
    layout.addNode(0, 0, 0, 4, nullptr, nullptr, &visitor);
    EXPECT_EQ(std::vector<int>{4}, visitor.m_depths);
    visitor.m_depths.clear();

    layout.addNode(0, 0, 0, 7, nullptr, nullptr, &visitor);

    // the target; the ancestor; each node between when made and when passed
    EXPECT_EQ((std::vector<int>{7, 4, 5, 5, 6, 6}), visitor.m_depths);
}

}  // namespace
}  // namespace Skelvar::Test
