#include <skelvar/tree/VoxelLayoutNode.h>

#include "tests/support/MemoryStream.h"

#include <gtest/gtest.h>

#include <limits>

namespace Skelvar::Test {
namespace {

VoxelLayoutNode nodeAt(int in_x, int in_y, int in_z, int in_depth)
{
    VoxelLayoutNode node;
    node.init(3, tileCoordsToId(in_x, in_y, in_z, in_depth), 9, 125, true);
    return node;
}

TEST(VoxelLayoutNode, FindsItsCornerAndItsChildren)
{
    VoxelLayoutNode node = nodeAt(100, -7, 31, 4);
    node.child(1 + 5 * (2 + 5 * 3)) = 42;

    EXPECT_EQ((vec3i{-312, -312, -312}), node.corner());
    EXPECT_EQ((TileIndex{9, 4}), node.tileIndex());
    EXPECT_TRUE(node.childExists(1, 2, 3));
    EXPECT_EQ((TileIndex{42, 5}), node.childTileIndex(1, 2, 3));
    EXPECT_EQ((TileIndex{-2, 5}), node.childTileIndex(0));
    EXPECT_EQ(1, node.numChildren());

    int ci = 0;
    int cj = 0;
    int ck = 0;
    node.childIJK(nodeAt(-312 + 125, -312 + 250, -312 + 375, 5), ci, cj, ck);
    EXPECT_EQ((vec3i{1, 2, 3}), (vec3i{ci, cj, ck}));
}

TEST(VoxelLayoutNode, CountsATouchAsIntersection)
{
    const VoxelLayoutNode node = nodeAt(0, 0, 0, 7);  // [-2, 3)

    EXPECT_TRUE(node.intersects({3, 0, 0}, {9, 1, 1}));
    EXPECT_FALSE(node.intersects({4, 0, 0}, {9, 1, 1}));
    EXPECT_TRUE(node.intersects({-9, -9, -9}, {-2, -2, -2}));
    EXPECT_FALSE(node.intersects({-9, -9, -9}, {-2, -3, -2}));
    EXPECT_TRUE(node.isContainedWithin({-2, -2, -2}, {3, 3, 3}));
    EXPECT_FALSE(node.isContainedWithin({-2, -2, -2}, {3, 2, 3}));
}

TEST(VoxelLayoutNode, SharesSlotsByAssignmentAndDuplicatesThemByCopyInto)
{
    VoxelLayoutNode node = nodeAt(0, 0, 0, 6);
    VoxelLayoutNode assigned = node;
    VoxelLayoutNode copied = nodeAt(0, 0, 0, 1);
    node.copyInto(copied);

    node.child(5) = 17;

    EXPECT_EQ(17, assigned.child(5));
    EXPECT_EQ(-2, copied.child(5));
    EXPECT_EQ(node.id(), copied.id());
    node.invalidate();
    EXPECT_EQ(17, assigned.child(5));

    nodeAt(0, 0, 0, 7).copyInto(copied);
    EXPECT_FALSE(copied.hasChildSlots());
}

TEST(VoxelLayoutNode, RefusesOtherSlotSizes)
{
    MemoryWriter stream;
    ASSERT_TRUE(nodeAt(0, 0, 0, 6).save(stream));
    const auto loads = [&](int in_count) {
        MemoryWriter count;
        count.write(in_count);
        MemoryReader reader(std::string(stream.bytes()).replace(43, 4, count.bytes()));
        VoxelLayoutNode node;
        return node.load(reader);
    };
    for (const int count : {500, 0, -1}) {
        EXPECT_TRUE(loads(count)) << count;
    }
    for (const int count : {1, 499, 501, std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(loads(count)) << count;
    }
}

}  // namespace
}  // namespace Skelvar::Test
