#include <skelvar/tree/RootMapLT.h>
#include <skelvar/tree/TileId.h>

#include "LayoutModel.h"

#include <gtest/gtest.h>

#include <random>

namespace Skelvar::Test {
namespace {

struct WorkedTile {
    vec3i point;
    int depth;
    TileId id;
    vec3i corner;
};

const WorkedTile kWorkedTiles[] = {
    {{0, 0, 0}, 0, 0, {-195312, -195312, -195312}},
    {{0, 0, 0}, 1, 0x7E00000000000000, {-39062, -39062, -39062}},
    {{0, 0, 0}, 2, 0x7EFC000000000000, {-7812, -7812, -7812}},
    {{0, 0, 0}, 7, 0x7EFDFBF7EFDF8000, {-2, -2, -2}},
    {{2, 2, 2}, 7, 0x7EFDFBF7EFDF8000, {-2, -2, -2}},
    {{-2, -2, -2}, 7, 0x7EFDFBF7EFDF8000, {-2, -2, -2}},
    {{3, 0, 0}, 7, 0x7EFDFBF7EFE00000, {3, -2, -2}},
    {{100, -7, 31}, 4, 0x7EFDFBF000000000, {-312, -312, -312}},
    {{100, -7, 31}, 7, 0x7EFDFBF815E98000, {98, -7, 28}},
    {{-195312, -195312, -195312}, 1, 0x0200000000000000, {-195312, -195312, -195312}},
    {{-195312, -195312, -195312}, 7, 0x0204081020408000, {-195312, -195312, -195312}},
    {{195312, 195312, 195312}, 7, 0xFBF7EFDFBF7E8000, {195308, 195308, 195308}},
};

TEST(TileId, NamesThePublishedTiles)
{
    for (const WorkedTile& tile : kWorkedTiles) {
        SCOPED_TRACE(::testing::Message() << std::hex << tile.id);
        const auto [x, y, z] = tile.point.e;
        EXPECT_EQ(tile.id, tileCoordsToId(x, y, z, tile.depth));
        EXPECT_EQ(tile.id, tileCoordsToFinestId(x, y, z, tile.depth));
        vec3i corner;
        int depth = -1;
        idToTileCoords(tile.id, corner[0], corner[1], corner[2], depth);
        EXPECT_EQ(tile.corner, corner);
        EXPECT_EQ(tile.depth, depth);
        EXPECT_EQ(tile.depth, depthFromId(tile.id));
        EXPECT_TRUE(isTileId(tile.id));
    }
}

TEST(TileId, IsNoTileOutsideTheCubeAndTheDepths)
{
    for (int depth = 0; depth <= 7; ++depth) {
        for (int axis = 0; axis < 3; ++axis) {
            for (const int sign : {-1, 1}) {
                vec3i p{0, 0, 0};
                p[axis] = sign * 195312;
                EXPECT_NE(kNoTile, tileCoordsToId(p[0], p[1], p[2], depth));
                p[axis] = sign * 195313;
                EXPECT_EQ(kNoTile, tileCoordsToId(p[0], p[1], p[2], depth));
                EXPECT_EQ(kNoTile, tileCoordsToFinestId(p[0], p[1], p[2], depth));
            }
        }
    }
    EXPECT_EQ(kNoTile, tileCoordsToId(0, 0, 0, 8));
    EXPECT_EQ(kNoTile, tileCoordsToId(0, 0, 0, -1));
    EXPECT_EQ(kNoTile, tileCoordsToFinestId(0, 0, 0, -1));
}

TEST(TileId, FollowsTheTreeOnRandomTiles)
{
    const unsigned seed = 20250811;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> coordinate(-195312, 195312);
    for (int n = 0; n < 2000; ++n) {
        const vec3i p{coordinate(random), coordinate(random), coordinate(random)};
        TileId path = 0;
        for (int depth = 0; depth <= 7; ++depth) {
            const Tile tile = Tile::at(p, depth);
            const TileId id = tileCoordsToId(p[0], p[1], p[2], depth);
            int i = 0;
            int j = 0;
            int k = 0;
            int d = 0;
            idToTileCoords(id, i, j, k, d);
            ASSERT_EQ(tile, (Tile{d, i, j, k}));
            if (depth > 0) {
                const Tile above = tile.above(depth - 1);
                const int ci = (tile.i - above.i) / tile.side();
                const int cj = (tile.j - above.j) / tile.side();
                const int ck = (tile.k - above.k) / tile.side();
                ASSERT_EQ(path, parentTile(id));
                ASSERT_EQ(id, selectChild(path, ci, cj, ck));
                ASSERT_EQ(id, selectChild(path, ci + 5 * cj + 25 * ck));
                ASSERT_LT(path, id);
            }
            path = id;
        }
    }
}

TEST(TileId, KnowsAncestorsAtAnyDistance)
{
    const TileId leaf = tileCoordsToId(100, -7, 31, 7);
    const TileId beside = tileCoordsToId(110, -7, 31, 7);
    TileId above = leaf;
    for (int depth = 6; depth >= 0; --depth) {
        above = parentTile(above);
        EXPECT_TRUE(isParentTile(above, leaf));
        EXPECT_FALSE(isParentTile(leaf, above));
        EXPECT_FALSE(isParentTile(above, above));
        EXPECT_EQ(above, ancestorTile(leaf, depth));
    }
    EXPECT_EQ(0u, above);
    EXPECT_FALSE(isParentTile(leaf, leaf));
    EXPECT_FALSE(isParentTile(leaf, beside));
    EXPECT_FALSE(isParentTile(tileCoordsToId(0, 0, 0, 6), leaf));
}

TEST(TileId, TellsWordsThatNameNoTile)
{
    EXPECT_FALSE(isTileId(kNoTile));
    EXPECT_FALSE(isTileId(kNoTile & ~kTileIdLowBits));        // digits of 127
    EXPECT_FALSE(isTileId(0x0200000000000001));               // low bits
    EXPECT_FALSE(isTileId(126ULL << 57));                     // a digit of 126
    EXPECT_FALSE(isTileId(0x0200000000000000 >> 7));          // a gap at depth 1
    EXPECT_FALSE(isTileId(0x0200000000000000 | 1ULL << 15));  // a gap in between
    EXPECT_TRUE(isTileId(125ULL << 57));
}

TEST(RootMapLT, CountsATileEqualToItsAncestorsAndOrdersTheRest)
{
    const RootMapLT less;
    const TileId a = tileCoordsToId(0, 0, 0, 3);
    const TileId below = tileCoordsToId(0, 0, 0, 7);
    const TileId b = tileCoordsToId(10000, 0, 0, 3);

    EXPECT_FALSE(less(a, below) || less(below, a));
    EXPECT_FALSE(less(a, a));
    EXPECT_TRUE(less(a, b) != less(b, a));
    EXPECT_TRUE(less(below, b) != less(b, below));
}

}  // namespace
}  // namespace Skelvar::Test
