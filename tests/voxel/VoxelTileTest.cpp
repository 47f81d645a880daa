#include <skelvar/voxel/VoxelTile.h>

#include <tests/support/MemoryStream.h>
#include <tests/support/VoxelTypes.h>

#include <limits>

namespace Skelvar::Test {
namespace {

template <typename Tile>
int countValue(const Tile& in_tile, const typename Tile::value_type& in_value)
{
    int count = 0;
    for (int n = 0; n < Tile::size(); ++n) {
        count += in_tile(n) == in_value ? 1 : 0;
    }
    return count;
}

/// Element n holds the value of number n.
template <typename Tile>
void number(Tile& io_tile)
{
    for (int n = 0; n < Tile::size(); ++n) {
        io_tile(n) = valueOf<typename Tile::value_type>(n);
    }
}

TEST(VoxelTile, ElementsStandXFastestFromTheShellsLowCorner)
{
    VoxelTile<float, 0, 5> stored;
    VoxelTile<float, 1, 5> haloed;
    VoxelTile<float, 2, 5> wide;

    EXPECT_EQ(125, stored.size());
    EXPECT_EQ(1 + 5 * 2 + 25 * 3, &stored(1, 2, 3) - stored.data());
    EXPECT_EQ(343, haloed.size());
    EXPECT_EQ(0, &haloed(-1, -1, -1) - haloed.data());
    EXPECT_EQ(57, &haloed(0, 0, 0) - haloed.data());
    EXPECT_EQ(342, &haloed(5, 5, 5) - haloed.data());
    EXPECT_EQ(9 * 9 * 9, wide.size());
    EXPECT_EQ(81, wide.strideK());
    EXPECT_EQ(2 * (1 + 9 + 81), &wide(0, 0, 0) - wide.data());
}

TEST(VoxelTile, SetHaloLeavesTheCore)
{
    VoxelTile<float, 1, 5> tile(3.0f);

    tile.setHalo(4.0f);

    EXPECT_EQ(218, countValue(tile, 4.0f));
    EXPECT_EQ(125, countValue(tile, 3.0f));
    EXPECT_EQ(3.0f, tile(0, 0, 0));
    EXPECT_EQ(3.0f, tile(4, 4, 4));
}

TEST(VoxelTile, FillHaloEdgesWritesEdgesAndCornersAndLeavesFaces)
{
    VoxelTile<float, 1, 5> tile(0.0f);

    tile.fillHaloEdges(7.0f);

    EXPECT_EQ(68, countValue(tile, 7.0f));
    EXPECT_EQ(7.0f, tile(-1, -1, 2));
    EXPECT_EQ(7.0f, tile(5, 2, -1));
    EXPECT_EQ(0.0f, tile(-1, 2, 2));
    EXPECT_EQ(0.0f, tile(2, 2, 2));
}

TEST(VoxelTile, FillCoreTakesTheStoredCellsAndLeavesTheShell)
{
    VoxelTile<float, 0, 5> stored;
    number(stored);
    VoxelTile<float, 1, 5> haloed(-1.0f);

    haloed.fillCore(stored);

    EXPECT_EQ(218, countValue(haloed, -1.0f));
    EXPECT_EQ(0.0f, haloed(0, 0, 0));
    EXPECT_EQ(4.0f + 5 * 3 + 25 * 2, haloed(4, 3, 2));
}

TEST(VoxelTile, FillHaloReadsAroundTheSourceByItsStrides)
{
    VoxelTile<float, 0, 5> sources[3];
    for (int n = 0; n < 3 * 125; ++n) {
        sources[n / 125](n % 125) = static_cast<float>(n - 125);
    }
    VoxelTile<float, 1, 5> haloed(1000.0f);

    haloed.fillHalo(sources[1]);

    EXPECT_EQ(125, countValue(haloed, 1000.0f));
    EXPECT_EQ(-31.0f, haloed(-1, -1, -1));
    EXPECT_EQ(-1.0f + 5 * 2 + 25 * 3, haloed(-1, 2, 3));
    EXPECT_EQ(155.0f, haloed(5, 5, 5));
}

TEST(VoxelTile, HaloOperationsOfAStoredTileTouchNothing)
{
    VoxelTile<float, 0, 5> tile(1.0f);

    tile.setHalo(2.0f);
    tile.fillHaloEdges(2.0f);
    tile.fillHalo(VoxelTile<float, 0, 5>(2.0f));

    EXPECT_EQ(125, countValue(tile, 1.0f));
}

TEST(TileAverage, IntegersTruncateTowardZero)
{
    VoxelTile<int, 0, 5> tile(0);
    tile(0) = 249;
    EXPECT_EQ(1, tile.computeTileAverage());
    tile(0) = -249;
    EXPECT_EQ(-1, tile.computeTileAverage());

    VoxelTile<vec2i, 0, 5> vectors(vec2i{0, 0});
    vectors(7) = {250, -374};
    EXPECT_EQ((vec2i{2, -2}), vectors.computeTileAverage());
}

TEST(TileAverage, SumsWrapInTheWidthOfTheType)
{
    EXPECT_EQ(0, (VoxelTile<unsigned char, 0, 5>(3).computeTileAverage()));
    EXPECT_EQ(1, (VoxelTile<unsigned char, 0, 5>(200).computeTileAverage()));  // 25000 is 168
}

TEST(TileAverage, OfIntsWrapsAsTwosComplement)
{
    constexpr int kLargest = std::numeric_limits<int>::max();

    // 125 (2^31 - 1) = 125 2^31 - 125 = 2^31 - 125 modulo 2^32, which reads as -2^31 - 125 + 2^32
    // wrapped into the signed range: 2147483523.
    EXPECT_EQ(2147483523 / 125, (VoxelTile<int, 0, 5>(kLargest).computeTileAverage()));
    EXPECT_EQ(2147483523 / 125,
              (VoxelTile<vec2i, 0, 5>(vec2i{kLargest, 0}).computeTileAverage()[0]));
}

TEST(TileAverage, OfAHaloedTileLooksAtTheCoreOnly)
{
    VoxelTile<float, 1, 5> tile(2.5f);
    tile.setHalo(1000.0f);

    EXPECT_EQ(2.5f, tile.computeTileAverage());
}

TEST(TileAverage, OfFlagsIsFalse)
{
    EXPECT_FALSE((VoxelTile<bool, 0, 5>(true).computeTileAverage()));
}

TEST(TileAverage, OfFloatsSumsInSinglePrecisionInOrder)
{
    VoxelTile<vec2f, 0, 5> tile(vec2f{1.0f, 0.0f});
    tile(0) = {16777216.0f, 125.0f};  // 2^24: adding 1 changes nothing any more

    EXPECT_EQ((vec2f{16777216.0f / 125.0f, 1.0f}), tile.computeTileAverage());
}

template <typename T>
class VoxelTileStream : public ::testing::Test {
};
TYPED_TEST_SUITE(VoxelTileStream, VoxelTypes);

TYPED_TEST(VoxelTileStream, RoundTripKeepsEveryValue)
{
    VoxelTile<TypeParam, 0, 5> tile;
    number(tile);
    MemoryWriter writer;
    ASSERT_TRUE(tile.save(writer));
    EXPECT_EQ(6 + sizeof(tile), writer.bytes().size());
    EXPECT_EQ(tile.memUsage(MemUsage::eMemUsed), writer.bytes().size() - 6);

    VoxelTile<TypeParam, 0, 5> loaded(valueOf<TypeParam>(1));
    MemoryReader reader(writer.bytes());

    EXPECT_TRUE(loaded.load(reader));
    EXPECT_TRUE(reader.atEnd());
    for (int n = 0; n < 125; ++n) {
        EXPECT_EQ(tile(n), loaded(n)) << "element " << n;
    }
}

/// A tile's bytes with a count of our own, followed by one byte of something else.
std::string tileBytes(int in_count, int in_bytes)
{
    MemoryWriter writer;
    writer.write(static_cast<unsigned short>(2));
    writer.write(in_count);
    const std::string values(in_bytes, '\x05');
    writer.writebytes(values.size(), values.data());
    writer.write(static_cast<unsigned char>(99));
    return writer.bytes();
}

TEST(VoxelTileStream, AnotherCountIsConsumedWhole)
{
    for (const int count : {0, 3, 125, 126, 1000}) {
        VoxelTile<unsigned char, 0, 5> tile(9);
        MemoryReader reader(tileBytes(count, count));

        EXPECT_TRUE(tile.load(reader)) << count;

        EXPECT_EQ(std::min(count, 125), countValue(tile, 5)) << count;
        EXPECT_EQ(125 - std::min(count, 125), countValue(tile, 0)) << count;
        unsigned char behind = 0;
        EXPECT_TRUE(reader.read(behind)) << count;
        EXPECT_EQ(99, behind) << count;
    }
}

TEST(VoxelTileStream, BadCountsFail)
{
    for (const int count : {-1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        VoxelTile<unsigned char, 0, 5> tile(9);
        MemoryReader reader(tileBytes(count, 125));

        EXPECT_FALSE(tile.load(reader)) << count;
    }
}

TEST(VoxelTileStream, StreamsOfVersionOneHaveNoVersionField)
{
    MemoryReader reader(tileBytes(125, 125).substr(2));
    reader.setVersion(1);
    VoxelTile<unsigned char, 0, 5> tile(9);

    EXPECT_TRUE(tile.load(reader));

    EXPECT_EQ(125, countValue(tile, 5));
}

TEST(VoxelTileStream, AnyNonZeroByteLoadsAsTrue)
{
    MemoryReader reader(tileBytes(125, 125));
    VoxelTile<bool, 0, 5> tile(false);

    EXPECT_TRUE(tile.load(reader));

    EXPECT_EQ(1, static_cast<int>(reinterpret_cast<const unsigned char*>(tile.data())[0]));
}

TEST(VoxelTileStream, DumpWritesTheCoreInOrder)
{
    VoxelTile<float, 1, 5> tile(-1.0f);
    VoxelTile<float, 0, 5> stored;
    number(stored);
    tile.fillCore(stored);
    MemoryWriter writer;

    EXPECT_TRUE(tile.dump(writer));

    MemoryReader reader(writer.bytes());
    for (int n = 0; n < 125; ++n) {
        float value = -1.0f;
        EXPECT_TRUE(reader.read(value));
        EXPECT_EQ(static_cast<float>(n), value);
    }
    EXPECT_TRUE(reader.atEnd());
}

}  // namespace
}  // namespace Skelvar::Test
