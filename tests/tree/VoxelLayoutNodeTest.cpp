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

TEST(VoxelLayoutNode, WritesTheStatedBytes)
{
    VoxelLayoutNode leaf = nodeAt(3, 0, 0, 7);
    MemoryWriter stream;

    EXPECT_TRUE(leaf.save(stream));

    const unsigned char expected[] = {
        0,    2,                                         // version
        0x7E, 0xFD, 0xFB, 0xF7, 0xEF, 0xE0, 0,    0,     // id
        0,    0,    0,    3,    0xFF, 0xFF, 0xFF, 0xFE,  // i, j
        0xFF, 0xFF, 0xFF, 0xFE, 0,    0,    0,    7,     // k, depth
        0,    0,    0,    9,    0,    0,    0,    3,     // index, parent
        0,    0,    0,    0,    0,    0,    0,    125,   // branch size
        1,    0,    0,    0,    0,                       // valid, no slots
    };
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(expected), sizeof(expected)),
              stream.bytes());
}

TEST(VoxelLayoutNode, ReadsBothVersionsOfItsBytes)
{
    VoxelLayoutNode node = nodeAt(100, -7, 31, 6);
    node.child(124) = 0x01020304;
    MemoryWriter stream;
    ASSERT_TRUE(node.save(stream));
    ASSERT_EQ(2u + 45u + 500u, stream.bytes().size());
    EXPECT_EQ(std::string("\x04\x03\x02\x01"), stream.bytes().substr(2 + 45 + 496));

    for (const int version : {1, 2, 4}) {
        MemoryReader reader(stream.bytes().substr(version == 1 ? 2 : 0));
        reader.setVersion(version);
        VoxelLayoutNode loaded;
        ASSERT_TRUE(loaded.load(reader));
        EXPECT_TRUE(reader.atEnd());
        EXPECT_EQ(node.id(), loaded.id());
        EXPECT_EQ(node.corner(), loaded.corner());
        EXPECT_EQ((TileIndex{9, 6}), loaded.tileIndex());
        EXPECT_EQ(3, loaded.parent());
        EXPECT_TRUE(loaded.valid());
        EXPECT_EQ(0x01020304, loaded.child(124));
        EXPECT_EQ(-2, loaded.child(0));
    }
}

TEST(VoxelLayoutNode, RefusesShortBytesAndOtherSlotSizes)
{
    MemoryWriter stream;
    ASSERT_TRUE(nodeAt(0, 0, 0, 6).save(stream));
    for (std::size_t size = 0; size < stream.bytes().size(); ++size) {
        MemoryReader reader(stream.bytes().substr(0, size));
        VoxelLayoutNode node;
        EXPECT_FALSE(node.load(reader)) << size;
    }
    const auto loads = [&](int in_count) {
        MemoryWriter count;
        count.write(in_count);
        std::string bytes = stream.bytes();
        bytes.replace(43, 4, count.bytes());
        MemoryReader reader(bytes);
        VoxelLayoutNode node;
        return node.load(reader);
    };
    EXPECT_TRUE(loads(500));
    EXPECT_TRUE(loads(0));
    EXPECT_TRUE(loads(-1));
    for (const int count : {1, 499, 501, std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(loads(count)) << count;
    }
}

}  // namespace
}  // namespace Skelvar::Test
