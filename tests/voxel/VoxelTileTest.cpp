#include <skelvar/voxel/VoxelTile.h>

#include <tests/support/MemoryStream.h>
#include <tests/support/VoxelTypes.h>

#include <algorithm>
#include <limits>

namespace Skelvar::Test {
namespace {

template <typename Tile>
int countValue(const Tile& in_tile, const typename Tile::value_type& in_value)
{
    return static_cast<int>(std::count(in_tile.data(), in_tile.data() + Tile::size(), in_value));
}

TEST(VoxelTile, ElementsStandXFastestFromTheShellsLowCorner)
{
    VoxelTile<float, 0, 5> stored;
    VoxelTile<float, 1, 5> haloed;
    VoxelTile<float, 2, 5> wide;

    EXPECT_EQ(1 + 5 * 2 + 25 * 3, &stored(1, 2, 3) - stored.data());
    EXPECT_EQ(0, &haloed(-1, -1, -1) - haloed.data());
    EXPECT_EQ(57, &haloed(0, 0, 0) - haloed.data());
    EXPECT_EQ(342, &haloed(5, 5, 5) - haloed.data());
    EXPECT_EQ(2 * (1 + 9 + 81), &wide(0, 0, 0) - wide.data());
}

TEST(VoxelTile, HaloWritesLeaveTheCore)
{
    VoxelTile<float, 1, 5> tile(2.5f);

    tile.setHalo(1000.0f);
    EXPECT_EQ(218, countValue(tile, 1000.0f));
    EXPECT_EQ(125, countValue(tile, 2.5f));
    EXPECT_EQ(2.5f, tile.computeTileAverage());

    tile.fillHaloEdges(7.0f);
    EXPECT_EQ(68, countValue(tile, 7.0f));
    EXPECT_EQ(7.0f, tile(-1, -1, 2));
    EXPECT_EQ(7.0f, tile(5, 2, -1));
    EXPECT_EQ(1000.0f, tile(-1, 2, 2));
    EXPECT_EQ(2.5f, tile(2, 2, 2));
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

TEST(VoxelTile, HaloWritesToAStoredTileTouchNothing)
{
    VoxelTile<float, 0, 5> tile(1.0f);

    tile.setHalo(2.0f);
    tile.fillHaloEdges(2.0f);
    tile.fillHalo(VoxelTile<float, 0, 5>(2.0f));

    EXPECT_EQ(125, countValue(tile, 1.0f));
}

TEST(VoxelTile, FillCoreAndDumpGoOverTheCoreInOrder)
{
    VoxelTile<float, 0, 5> stored;
    for (int n = 0; n < 125; ++n) {
        stored(n) = static_cast<float>(n);
    }
    VoxelTile<float, 1, 5> tile(-1.0f);
    MemoryWriter writer;

    tile.fillCore(stored);
    EXPECT_TRUE(tile.dump(writer));

    EXPECT_EQ(218, countValue(tile, -1.0f));
    EXPECT_EQ(4.0f + 5 * 3 + 25 * 2, tile(4, 3, 2));
    MemoryReader reader(writer.bytes());
    for (int n = 0; n < 125; ++n) {
        float value = -1.0f;
        EXPECT_TRUE(reader.read(value));
        EXPECT_EQ(static_cast<float>(n), value);
    }
    EXPECT_TRUE(reader.atEnd());
}

TEST(TileAverage, OfIntegersTruncatesTowardZeroAndWrapsInTheWidthOfTheType)
{
    constexpr int kLargest = std::numeric_limits<int>::max();
    VoxelTile<vec2i, 0, 5> vectors(vec2i{0, 0});
    vectors(7) = {249, -249};

    EXPECT_EQ((vec2i{1, -1}), vectors.computeTileAverage());
    EXPECT_EQ(1, (VoxelTile<unsigned char, 0, 5>(200).computeTileAverage()));  // 25000 is 168
    // 125 (2^31 - 1) is 2^31 - 125 modulo 2^32, or -2^31 - 125 + 2^32 = 2147483523 as an int.
    EXPECT_EQ(2147483523 / 125, (VoxelTile<int, 0, 5>(kLargest).computeTileAverage()));
    EXPECT_EQ(2147483523 / 125,
              (VoxelTile<vec2i, 0, 5>(vec2i{kLargest, 0}).computeTileAverage()[0]));
    EXPECT_FALSE((VoxelTile<bool, 0, 5>(true).computeTileAverage()));
}

TEST(TileAverage, OfFloatsSumsInSinglePrecisionInOrder)
{
    VoxelTile<vec2f, 0, 5> tile(vec2f{1.0f, 0.0f});
    tile(0) = {16777216.0f, 125.0f};  // 2^24: adding 1 changes nothing any more

    EXPECT_EQ((vec2f{16777216.0f / 125.0f, 1.0f}), tile.computeTileAverage());
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

TEST(VoxelTileStream, AnotherCountIsConsumedWholeAndABadOneFails)
{
    VoxelTile<unsigned char, 0, 5> tile(9);
    for (const int count : {0, 3, 125, 126, 1000}) {
        MemoryReader reader(tileBytes(count, count));

        EXPECT_TRUE(tile.load(reader)) << count;

        EXPECT_EQ(std::min(count, 125), countValue(tile, 5)) << count;
        EXPECT_EQ(125 - std::min(count, 125), countValue(tile, 0)) << count;
        unsigned char behind = 0;
        EXPECT_TRUE(reader.read(behind)) << count;
        EXPECT_EQ(99, behind) << count;
    }
    for (const int count : {-1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        MemoryReader reader(tileBytes(count, 125));
        EXPECT_FALSE(tile.load(reader)) << count;
    }
}

TEST(VoxelTileStream, AnyNonZeroByteLoadsAsTrue)
{
    MemoryReader reader(tileBytes(125, 125));
    VoxelTile<bool, 0, 5> tile(false);

    EXPECT_TRUE(tile.load(reader));

    EXPECT_EQ(1, static_cast<int>(reinterpret_cast<const unsigned char*>(tile.data())[0]));
}

}  // namespace
}  // namespace Skelvar::Test
