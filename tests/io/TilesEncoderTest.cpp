#include <tests/support/Bytes.h>
#include <tests/support/MemoryStream.h>

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/TileEncoder.h>
#include <skelvar/io/TilesEncoder.h>

#include <gtest/gtest.h>

#include <bit>
#include <random>

namespace Skelvar {
namespace {

using Test::MemoryReader;
using Test::MemoryWriter;

using Tile = VoxelTile<float, 0, 5>;
using Encoder = TilesEncoder<VoxelChannel<float>>;

/// Records as a file may hold them: of this byte count each, in the form of a stream's version.
std::string recordBytes(const std::vector<int>& in_counts, int in_version)
{
    std::mt19937 random(8);
    MemoryWriter writer;
    for (const int count : in_counts) {
        if (in_version >= 2) {
            writer.write(static_cast<unsigned short>(2));
        }
        writer.write(count);
        for (int n = 0; n < count; ++n) {
            writer.write(static_cast<unsigned char>(random()));
        }
    }
    return writer.bytes();
}

/// The bits of one tile after the other.
std::string bitsOf(const array1<Tile>& in_tiles)
{
    return {reinterpret_cast<const char*>(in_tiles.data()), in_tiles.size() * sizeof(Tile)};
}

/// Decodes bytes of 200 tiles that must be refused, which leaves zeros.
void expectRefused(const std::string& in_bytes, decltype(Encoder::decode)& in_decode)
{
    KvfCompressor memory;
    memory.writebytes(in_bytes.size(), in_bytes.data());
    KvfStreaming::StreamReader stream(&memory.stream());
    array1<Tile> tiles(200);
    for (Tile& tile : tiles) {
        tile.set(1.0f);
    }

    EXPECT_FALSE(in_decode(200, tiles, stream));

    EXPECT_TRUE(bitsOf(tiles) == std::string(200 * sizeof(Tile), '\0'));
}

TEST(PlainTiles, CutShortAreRefusedAndZero)
{
    const std::string bytes = recordBytes(std::vector<int>(200, 500), 4);
    for (const std::size_t length : {0ul, 5ul, 505ul, 506ul * 150 + 3, bytes.size() - 1}) {
        SCOPED_TRACE(length);
        expectRefused(bytes.substr(0, length), Encoder::decode);
    }
}

TEST(BytePlanes, OfAnotherLengthAreRefusedAndZero)
{
    MemoryWriter writer;
    ASSERT_TRUE(Encoder::encodef(200, array1<Tile>(200), writer));
    for (const unsigned long long length : {0ull, 124ull, 126ull, ~0ull}) {
        for (const std::size_t tile : {0ul, 150ul, 199ul}) {
            SCOPED_TRACE(testing::Message() << length << " in tile " << tile);
            std::string bytes = writer.bytes();
            bytes.replace(tile * 508, 8, Testing::number(length, 8));
            expectRefused(bytes, Encoder::decodef);
        }
    }
}

TEST(PlainTiles, OfOddSizesAreReadAsTileByTile)
{
    std::vector<int> counts(400, 500);
    counts[0] = 0;
    counts[7] = 3;
    counts[150] = 1200;
    counts[151] = 499;
    counts[399] = 501;
    for (const int version : {1, 2, 4}) {
        const std::string bytes = recordBytes(counts, version);
        MemoryReader one_by_one(bytes);
        one_by_one.setVersion(version);
        array1<Tile> expected(400);
        for (Tile& tile : expected) {
            ASSERT_TRUE(tile.load(one_by_one));
        }
        KvfCompressor memory;
        memory.writebytes(bytes.size(), bytes.data());
        KvfStreaming::StreamReader stream(&memory.stream());
        stream.setVersion(static_cast<KvfVersion>(version));
        array1<Tile> tiles(400);

        EXPECT_TRUE(Encoder::decode(400, tiles, stream));

        EXPECT_TRUE(bitsOf(expected) == bitsOf(tiles)) << version;
        EXPECT_EQ(0u, stream.length());
    }
}

TEST(BytePlanes, OfOneTileAreThoseOfManyAndComeBack)
{
    array1<Tile> tiles(1);
    for (int n = 0; n < 125; ++n) {
        tiles[0](n) = std::bit_cast<float>(0x3f200100u + 257u * static_cast<unsigned int>(n));
    }
    MemoryWriter writer;
    ASSERT_TRUE(Encoder::encodef(1, tiles, writer));

    std::vector<unsigned char> planes[4];
    TileEncoder<Tile>::encodef(125, tiles[0], planes[0], planes[1], planes[2], planes[3]);

    std::string joined("\0\0\0\0\0\0\0\x7d", 8);
    for (const auto& plane : planes) {
        joined.append(plane.begin(), plane.end());
    }
    EXPECT_EQ(writer.bytes(), joined);
    array1<Tile> decoded(1);
    TileEncoder<Tile>::decodef(125, decoded[0], planes[0], planes[1], planes[2], planes[3]);
    EXPECT_TRUE(bitsOf(tiles) == bitsOf(decoded));
}

}  // namespace
}  // namespace Skelvar
