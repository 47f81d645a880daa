#include <skelvar/tree/LayoutConsistency.h>

#include "RandomForest.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace Skelvar::Test {
namespace {

TEST(LayoutConsistency, FindsEachPlantedViolation)
{
    // The first node of depth 6 has a parent and children.
    const auto make = [] {
        auto layout = std::make_shared<VoxelLayout>();
        layout->addNode(0, 0, 0, 5);
        layout->addNode(0, 0, 0, 7);
        layout->addNode(5, 0, 0, 7);
        layout->addNode(50000, 0, 0, 4);
        return layout;
    };
    struct Case {
        const char* report;
        std::function<void(VoxelLayout&)> plant;
    };
    const int slot = tileDigit(tileCoordsToId(0, 0, 0, 7), 7) - 1;
    const Case cases[] = {
        {"1 misplaced nodes\nnum_violations = 1\n",
         [](VoxelLayout& io) { io.node(1, 7).setIndex(0); }},
        {"1 wrong branch sizes\nnum_violations = 1\n",
         [](VoxelLayout& io) { io.node(0, 4).setBranchSize(126); }},
        {"1 entries of the root map without a root\nnum_violations = 1\n",
         [](VoxelLayout& io) { io.addRoot(tileCoordsToId(-50000, 0, 0, 3), 0, 3); }},
        {"1 roots that the root map lacks\nnum_violations = 1\n",
         [](VoxelLayout& io) { io.removeRoot(io.node(0, 4).id()); }},
        {"1 ids that are not those of their tile\nnum_violations = 1\n",
         [](VoxelLayout& io) {
             VoxelLayoutNode& node = io.node(1, 7);
             node.init(node.parent(), node.id(), node.i() + 1, node.j(), node.k(), 7, 1, 125, true);
         }},
        {"1 broken links to parents\n1 broken links to children\n1 wrong branch sizes\n"
         "num_violations = 3\n",
         [](VoxelLayout& io) { io.node(1, 7).setParent(5); }},
        {"1 broken links to parents\n1 broken links to children\n1 wrong branch sizes\n"
         "num_violations = 3\n",
         [=](VoxelLayout& io) { std::swap(io.node(0, 6).child(slot), io.node(0, 6).child(0)); }},
        {"1 broken links to children\nnum_violations = 1\n",
         [](VoxelLayout& io) { io.node(0, 6).child(0) = 99; }},
        {"1 misplaced nodes\n1 nodes more or less than counted\nnum_violations = 2\n",
         [](VoxelLayout& io) { io.nodes(7).push_back(io.node(0, 7)); }},
        {"1 broken links to children\n1 wrong branch sizes\n1 nodes more or less than counted\n"
         "num_violations = 3\n",
         [](VoxelLayout& io) { io.node(1, 7).invalidate(); }},
    };
    std::ostringstream sound;
    EXPECT_TRUE(isLayoutConsistent(*make(), &sound));
    EXPECT_EQ("num_violations = 0\n", sound.str());
    for (const Case& c : cases) {
        const auto layout = make();
        c.plant(*layout);
        std::ostringstream report;

        const bool consistent = isLayoutConsistent(*layout, &report);

        EXPECT_FALSE(consistent) << c.report;
        EXPECT_EQ(c.report, report.str());
    }
}

}  // namespace
}  // namespace Skelvar::Test
