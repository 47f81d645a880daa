#include <tests/support/MemoryStream.h>
#include <tests/support/VoxelTypes.h>

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/TileEncoder.h>
#include <skelvar/io/TilesEncoder.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <random>

namespace Skelvar {
namespace {

using namespace Test;

template <typename T>
using Tiles = array1<VoxelTile<T, 0, 5>>;

/// Tiles of any bits; of bool, of true and false.
template <typename T>
Tiles<T> randomTiles(long long in_count, unsigned int in_seed)
{
    std::mt19937 random(in_seed);
    Tiles<T> tiles(in_count);
    unsigned char* const bytes = reinterpret_cast<unsigned char*>(tiles.data());
    for (std::size_t n = 0; n < in_count * sizeof(VoxelTile<T, 0, 5>); ++n) {
        bytes[n] = static_cast<unsigned char>(std::is_same_v<T, bool> ? random() % 2 : random());
    }
    return tiles;
}

template <typename T>
::testing::AssertionResult sameBits(const Tiles<T>& in_a, const Tiles<T>& in_b)
{
    const bool same =
        in_a.size() == in_b.size() &&
        std::memcmp(in_a.data(), in_b.data(), in_a.size() * sizeof(VoxelTile<T, 0, 5>)) == 0;
    return same ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "bits differ";
}

template <typename T>
class PlainTiles : public ::testing::Test {
};
TYPED_TEST_SUITE(PlainTiles, VoxelTypes);

TYPED_TEST(PlainTiles, AreTheBytesOfTileAfterTile)
{
    for (const unsigned long count : {0, 1, 99, 100, 333}) {
        const auto tiles = randomTiles<TypeParam>(count, 5);
        MemoryWriter one_by_one;
        MemoryWriter in_bulk;
        for (const auto& tile : tiles) {
            tile.save(one_by_one);
        }

        EXPECT_TRUE(TilesEncoder<VoxelChannel<TypeParam>>::encode(count, tiles, in_bulk));

        EXPECT_EQ(one_by_one.bytes(), in_bulk.bytes()) << count;
    }
}

TYPED_TEST(PlainTiles, ComeBackFromAnyStream)
{
    const auto tiles = randomTiles<TypeParam>(333, 6);
    KvfCompressor memory;
    TilesEncoder<VoxelChannel<TypeParam>>::encode(333, tiles, memory);
    const std::string bytes(memory.memory().data(), memory.memory().size());

    KvfStreaming::StreamReader ours(&memory.stream());
    Tiles<TypeParam> loaded(333);
    EXPECT_TRUE(TilesEncoder<VoxelChannel<TypeParam>>::decode(333, loaded, ours));
    EXPECT_TRUE(sameBits(tiles, loaded));
    EXPECT_EQ(0u, ours.length());

    MemoryReader foreign(bytes);
    Tiles<TypeParam> loaded_foreign(333);
    EXPECT_TRUE(TilesEncoder<VoxelChannel<TypeParam>>::decode(333, loaded_foreign, foreign));
    EXPECT_TRUE(sameBits(tiles, loaded_foreign));
}

/// Records as a file may hold them: of this byte count each, in the form of a stream's version.
std::string recordBytes(const std::vector<int>& in_counts, int in_version, unsigned int in_seed)
{
    std::mt19937 random(in_seed);
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

TEST(PlainTiles, OfOddSizesAreReadAsTileByTile)
{
    std::vector<int> counts(400, 500);
    counts[0] = 0;
    counts[7] = 3;
    counts[150] = 1200;
    counts[151] = 499;
    counts[399] = 501;
    for (const int version : {1, 2, 4}) {
        const std::string bytes = recordBytes(counts, version, 8);
        MemoryReader one_by_one(bytes);
        one_by_one.setVersion(version);
        Tiles<float> expected(400);
        for (auto& tile : expected) {
            ASSERT_TRUE(tile.load(one_by_one));
        }
        KvfCompressor memory;
        memory.writebytes(bytes.size(), bytes.data());
        KvfStreaming::StreamReader stream(&memory.stream());
        stream.setVersion(static_cast<KvfVersion>(version));
        Tiles<float> tiles(400);

        EXPECT_TRUE(TilesEncoder<VoxelChannel<float>>::decode(400, tiles, stream));

        EXPECT_TRUE(sameBits(expected, tiles)) << version;
        EXPECT_EQ(0u, stream.length());
    }
}

TEST(PlainTiles, CutShortAreRefusedAndZero)
{
    const std::string bytes = recordBytes(std::vector<int>(200, 500), 4, 9);
    for (const std::size_t length : {0ul, 5ul, 505ul, 506ul * 150 + 3, bytes.size() - 1}) {
        KvfCompressor memory;
        memory.writebytes(length, bytes.data());
        KvfStreaming::StreamReader stream(&memory.stream());
        Tiles<float> tiles = randomTiles<float>(200, 1);

        EXPECT_FALSE(TilesEncoder<VoxelChannel<float>>::decode(200, tiles, stream)) << length;

        EXPECT_EQ(0.0f, tiles[0](0));
        EXPECT_EQ(0.0f, tiles[199](124));
    }
}

TEST(BytePlanes, StandLowestByteFirst)
{
    Tiles<float> tiles(1);
    for (int n = 0; n < 125; ++n) {
        const unsigned int byte = static_cast<unsigned int>(n);
        tiles[0](n) = std::bit_cast<float>(byte | (byte + 1) << 8 | 0x20u << 16 | 0x3fu << 24);
    }
    MemoryWriter writer;

    EXPECT_TRUE(TilesEncoder<VoxelChannel<float>>::encodef(1, tiles, writer));

    std::string expected("\0\0\0\0\0\0\0\x7d", 8);
    for (int n = 0; n < 125; ++n) {
        expected += static_cast<char>(n);
    }
    for (int n = 0; n < 125; ++n) {
        expected += static_cast<char>(n + 1);
    }
    expected += std::string(125, '\x20') + std::string(125, '\x3f');
    EXPECT_EQ(expected, writer.bytes());

    std::vector<unsigned char> planes[4];
    TileEncoder<VoxelTile<float, 0, 5>>::encodef(125, tiles[0], planes[0], planes[1], planes[2],
                                                 planes[3]);
    std::string one_by_one = expected.substr(0, 8);
    for (const auto& plane : planes) {
        one_by_one.append(plane.begin(), plane.end());
    }
    EXPECT_EQ(expected, one_by_one);
}

TEST(BytePlanes, OfAnotherLengthAreRefused)
{
    const Tiles<float> tiles = randomTiles<float>(300, 12);
    for (const unsigned long long length : {0ull, 124ull, 126ull, ~0ull}) {
        for (const std::size_t tile : {0ul, 150ul, 299ul}) {
            MemoryWriter writer;
            TilesEncoder<VoxelChannel<float>>::encodef(300, tiles, writer);
            std::string bytes = writer.bytes();
            MemoryWriter number;
            number.write(length);
            bytes.replace(tile * 508, 8, number.bytes());
            KvfCompressor memory;
            memory.writebytes(bytes.size(), bytes.data());
            KvfStreaming::StreamReader stream(&memory.stream());
            Tiles<float> loaded(300);

            EXPECT_FALSE(TilesEncoder<VoxelChannel<float>>::decodef(300, loaded, stream));

            EXPECT_EQ(0.0f, loaded[299](124));
        }
    }
}

}  // namespace
}  // namespace Skelvar
