#include <tests/support/Bytes.h>
#include <tests/support/MemoryStream.h>
#include <tests/support/VoxelTypes.h>

#include <skelvar/particles/ParticleTile.h>

#include <gtest/gtest.h>
#include <tbb/parallel_for.h>

#include <random>
#include <vector>

namespace Skelvar {
namespace {

using Test::MemoryReader;
using Test::MemoryWriter;
using Test::valueOf;

#define SKELVAR_COMMA_TYPE(T) , T
using ParticleTypes = Test::TypesAfter<void SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_COMMA_TYPE)>;
#undef SKELVAR_COMMA_TYPE

template <typename T>
class ParticleTileOf : public ::testing::Test {
};
TYPED_TEST_SUITE(ParticleTileOf, ParticleTypes);

TYPED_TEST(ParticleTileOf, SavesWhatTheStreamWritesOfEachElement)
{
    ParticleTile<TypeParam> tile;
    MemoryWriter expected;
    expected.write(static_cast<unsigned short>(2));
    expected.write(3000ULL);
    for (int n = 0; n < 3000; ++n) {
        tile.push_back(valueOf<TypeParam>(n));
        expected.write(valueOf<TypeParam>(n));
    }

    MemoryWriter writer;
    ASSERT_TRUE(tile.save(writer));
    EXPECT_EQ(expected.bytes(), writer.bytes());

    MemoryReader reader(writer.bytes());
    ParticleTile<TypeParam> again;
    ASSERT_TRUE(again.load(reader));
    ASSERT_EQ(3000u, again.size());
    EXPECT_TRUE(reader.atEnd());
    EXPECT_TRUE(std::equal(tile.begin(), tile.end(), again.begin()));
}

TEST(ParticleTile, EmptyTileTakesTenBytesAndFirstVersionHasNoTileVersion)
{
    ParticleTile<int> tile;
    MemoryWriter writer;
    ASSERT_TRUE(tile.save(writer));
    EXPECT_EQ(Testing::bytes({0, 2, 0, 0, 0, 0, 0, 0, 0, 0}), writer.bytes());

    MemoryReader reader(Testing::bytes({0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 2}));
    reader.setVersion(1);
    ASSERT_TRUE(tile.load(reader));
    ASSERT_EQ(1u, tile.size());
    EXPECT_EQ(258, tile[0]);
}

TEST(ParticleTile, RefusesCountsThatTheStreamCannotHoldBeforeItTakesMemory)
{
    for (const int first : {255, 128, 0}) {
        MemoryReader reader(Testing::bytes({0, 2, first, 255, 255, 255, 255, 255, 255, 255, 1}));
        ParticleTile<vec3f> tile;
        tile.resize(5);
        EXPECT_FALSE(tile.load(reader));
        EXPECT_TRUE(tile.empty());
    }
}

TEST(DynamicParticleTile, GivesBackMemoryOnlyBeyondTheBound)
{
    DynamicParticleTile<int> tile;
    tile.reserve(20);
    tile.resize(10);
    tile.repack(1.0f);
    EXPECT_EQ(20u, tile.capacity()) << "at the bound it stays";

    DynamicParticleTile<int> larger;
    larger.reserve(21);
    larger.resize(10, 7);
    larger.repack(1.0f);
    EXPECT_EQ(10u, larger.capacity());
    EXPECT_EQ(7, larger[9]);

    tile.resize(0);
    tile.repack(1.0f);
    EXPECT_EQ(0u, tile.capacity());
}

TEST(ParticleTile, GrowsWithZerosOverOldElementsAndReservesExactly)
{
    ParticleTile<vec2f> tile;
    tile.resize(4, {1, 2});
    tile.resize(1);
    tile.resize(3);
    EXPECT_EQ((vec2f{1, 2}), tile[0]);
    EXPECT_EQ((vec2f{0, 0}), tile[2]);
    tile.reserve(17);
    EXPECT_EQ(17u, tile.capacity());
    tile.set(tile);
    EXPECT_EQ(3u, tile.size());
    const vec2f value{5, 6};
    tile.set(2, 9, 9, &value);
    EXPECT_EQ(value, tile.back());
}

TEST(ParticleTile, KeepsItsElementsThroughAllSizesBesideOthers)
{
    // Each thread gives up tiles that others have filled.
    constexpr unsigned long kMostElements = 20000;  // well past the largest block cut from others
    constexpr int kTiles = 300;
    std::vector<DynamicParticleTile<int>> tiles(kTiles);
    std::vector<unsigned long> sizes(kTiles);
    for (int round = 0; round < 12; ++round) {
        tbb::parallel_for(0, kTiles, [&](int n) {
            DynamicParticleTile<int>& tile = tiles[n];
            ASSERT_EQ(sizes[n], tile.size());
            for (unsigned long i = 0; i < tile.size(); ++i) {
                ASSERT_EQ(n + static_cast<int>(i), tile[i]) << "tile " << n << " round " << round;
            }
            std::mt19937 random(static_cast<unsigned>(1000 * round + n));
            sizes[n] = random() % 5 == 0 ? 0 : random() % kMostElements;
            tile.resize(sizes[n]);
            for (unsigned long i = 0; i < sizes[n]; ++i) {
                tile[i] = n + static_cast<int>(i);
            }
            tile.repack(0.25f);
        });
    }
}

}  // namespace
}  // namespace Skelvar
