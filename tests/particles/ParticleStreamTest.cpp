#include <tests/support/Bytes.h>
#include <tests/support/MemoryStream.h>
#include <tests/support/ParticleScene.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/io/ParticleTilesEncoder.h>

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::MemoryReader;
using Test::MemoryWriter;
using Test::ParticleScene;
using Testing::bytes;
using Testing::number;
using Testing::text;

std::string saved(const Persistable& in_item, int in_quality)
{
    MemoryWriter writer;
    writer.setQuality(in_quality);
    EXPECT_TRUE(in_item.save(writer));
    return writer.bytes();
}

bool load(Persistable& io_item, const std::string& in_bytes, int in_quality, int in_version = 4)
{
    MemoryReader reader(in_bytes);
    reader.setQuality(in_quality);
    reader.setVersion(in_version);
    return io_item.load(reader) && reader.atEnd();
}

/// What stands ahead of the levels.
std::string header(const std::string& in_name, const std::string& in_background)
{
    const std::string base = number(2, 2) + number(0, 2) + text("") + text(Dictionary().save());
    return number(4, 2) + in_background + text(in_name) + text("drops") + text("") + base +
           number(8, 4);
}

/// Depth 3 has one tile with nothing in it, depth 7 one with two particles, between them ancestors.
struct SmallScene : ParticleScene {
    SmallScene()
    {
        layout->addNode(0, 0, 0, 3);
        layout->addNode(0, 0, 0, 7);
        push({0, 7}, {-2.0f, 0.5f, 2.0f}, 0);
        push({0, 7}, {0.0f, 1.0f, 3.0f}, 1);
        id->syncShapeParticleCounts();
    }
};

const std::string kNoTiles = number(0, 8);
/// Depths 0 to 2, then one tile as it stands alone on depths 3 to 6, then that of depth 7.
std::string levels(const std::string& in_empty_shallow, const std::string& in_empty_deep,
                   const std::string& in_full)
{
    const std::string one = number(1, 8);
    return kNoTiles + kNoTiles + kNoTiles + one + in_empty_shallow + one + in_empty_deep + one +
           in_empty_deep + one + in_empty_deep + one + in_full;
}

std::string bits(float in_value)
{
    return number(std::bit_cast<unsigned int>(in_value), 4);
}

const std::string kEmptyTile = number(2, 2) + number(0, 8);
const std::string kPlainPositions =
    number(2, 2) + number(2, 8) + bits(-2) + bits(0.5f) + bits(2) + bits(0) + bits(1) + bits(3);
/// C0000000 3F000000 40000000 00000000 3F800000 40400000
const std::string kPlanePositions = number(6, 8) + bytes({0, 0, 0, 0, 0, 0}) +
                                    bytes({0, 0, 0, 0, 0, 0}) + bytes({0, 0, 0, 0, 0x80, 0x40}) +
                                    bytes({0xC0, 0x3F, 0x40, 0, 0x3F, 0x40});
const std::string kMinusOne = bits(-1) + bits(-1) + bits(-1);

TEST(ParticleChannelStream, WritesTheseBytesAtEachQuality)
{
    const SmallScene scene;
    const std::string empty_planes = number(0, 8);
    const std::string empty_codes = number(0, 8) + number(0, 8);
    const std::string head = header("position", kMinusOne);
    EXPECT_EQ(head + levels(kEmptyTile, kEmptyTile, kPlainPositions), saved(*scene.position, 0));
    EXPECT_EQ(head + levels(empty_planes, empty_planes, kPlanePositions),
              saved(*scene.position, 1));
    // Shares of the side from -2: 0, 1/2, 4/5, 2/5, 3/5, 1; the whole parts of 65535 and 255 times.
    const std::string codes16 = number(6, 8) + bytes({0x00, 0xFF, 0xCC, 0x66, 0x99, 0xFF}) +
                                number(6, 8) + bytes({0x00, 0x7F, 0xCC, 0x66, 0x99, 0xFF});
    EXPECT_EQ(head + levels(kEmptyTile, empty_codes, codes16), saved(*scene.position, 2));
    const std::string codes8 = number(6, 8) + bytes({0, 127, 204, 102, 153, 255}) + number(0, 8);
    EXPECT_EQ(head + levels(kEmptyTile, empty_codes, codes8), saved(*scene.position, 3));

    const std::string density_head = header("density", bits(-3));
    const std::string density =
        number(2, 8) + bytes({0, 0, 0, 0, 0, 0x80, 0, 0x3E});  // 0 and 0.25, 3E800000
    for (const int quality : {1, 2, 3}) {
        EXPECT_EQ(density_head + levels(empty_planes, empty_planes, density),
                  saved(*scene.density, quality));
        EXPECT_EQ(saved(*scene.flag, 0), saved(*scene.flag, quality)) << "plain at every quality";
        EXPECT_EQ(saved(*scene.velocity, 1), saved(*scene.velocity, quality));
    }
}

TEST(ParticleChannelStream, CodesAtAndBeyondTheEdgesOfATileWrap)
{
    SmallScene scene;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    scene.position->tile(0, 7)[0] = {std::nextafter(3.0f, 0.0f), 8.0f, -3.0f};
    scene.position->tile(0, 7)[1] = {nan, 1e30f, -std::numeric_limits<float>::infinity()};
    const std::string codes16 = saved(*scene.position, 2);
    // Below the far edge 65534; twice the side 131070 = 1FFFE; -1/5 of it -13107 = ...CCCD.
    EXPECT_EQ(number(6, 8) + bytes({0xFE, 0xFE, 0xCD, 0, 0, 0}) + number(6, 8) +
                  bytes({0xFF, 0xFF, 0xCC, 0, 0, 0}),
              codes16.substr(codes16.size() - 28));
    const std::string codes8 = saved(*scene.position, 3);
    EXPECT_EQ(number(6, 8) + bytes({254, 0xFE, 0xCD, 0, 0, 0}) + number(0, 8),
              codes8.substr(codes8.size() - 22));
}

TEST(ParticleChannelStream, WordsAnywhereInTheNameChooseTheForm)
{
    SmallScene scene;
    const std::size_t dropped = header("normals", kMinusOne).size();
    for (const auto& [name, is_kept] :
         std::vector<std::pair<std::string, bool>>{{"normals", false},
                                                   {"Position", false},
                                                   {"xpositions", true},
                                                   {"my.velocity", true},
                                                   {"position of velocity", true}}) {
        scene.position->setName(name);
        EXPECT_EQ(is_kept, saved(*scene.position, 2).size() > dropped + name.size()) << name;
    }
    scene.position->setName("position of velocity");
    EXPECT_EQ(saved(*scene.position, 1), saved(*scene.position, 3)) << "velocity comes first";
}

TEST(ParticleChannelStream, DroppedDataComeBackAsTheBackgroundValueAndLeaveSiblingsWhole)
{
    SmallScene scene;
    const auto normals = scene.add<vec3f>("normals", {4, 5, 6});
    const std::string file = saved(*normals, 2);

    SmallScene loaded;
    const auto target = loaded.add<vec3f>("other name", {0, 0, 0});
    ASSERT_TRUE(load(*target, file, 2));
    ASSERT_EQ(2u, target->tile(0, 7).size());
    EXPECT_EQ((vec3f{4, 5, 6}), target->tile(0, 7)[1]);
    EXPECT_EQ(2u, loaded.shape->numParticles());
    EXPECT_EQ(ParticleScene::densityOf(1), loaded.density->tile(0, 7)[1]);

    ParticleChannel<vec3f> alone;
    ASSERT_TRUE(load(alone, file, 3));
    EXPECT_EQ(0u, alone.numElements());
    EXPECT_EQ((vec3f{4, 5, 6}), alone.backgroundValue());
}

TEST(ParticleChannelStream, QuantisedPositionsNeedALayout)
{
    ParticleChannel<vec3f> alone("position", nullptr, {});
    MemoryWriter writer;
    writer.setQuality(2);
    EXPECT_FALSE(alone.save(writer));
    EXPECT_FALSE(load(alone, saved(*SmallScene().position, 2), 2));
    writer.setQuality(1);
    EXPECT_TRUE(alone.save(writer));
}

TEST(ParticleChannelStream, ReadsOlderVersions)
{
    const std::string one_tile = number(1, 4) + number(1, 8);
    const std::string tile = number(2, 8) + number(7, 4) + number(9, 4);
    const std::string names = number(5, 4) + text("n") + text("s") + text("c");
    const struct {
        int stream;
        std::string bytes;
        int background;
    } files[] = {
        {1, one_tile + tile, -1},
        {2, number(2, 2) + one_tile + number(2, 2) + tile, -1},
        {3, number(3, 2) + names + one_tile + number(2, 2) + tile, 5},
        {4, number(3, 2) + names + one_tile + number(2, 2) + tile, 5},
    };
    for (const auto& file : files) {
        SCOPED_TRACE("stream version " + std::to_string(file.stream));
        ParticleChannel<int> channel("before", nullptr, -1);
        ASSERT_TRUE(load(channel, file.bytes, 0, file.stream));
        ASSERT_EQ(2u, channel.tile(0, 0).size());
        EXPECT_EQ(9, channel.tile(0, 0)[1]);
        EXPECT_EQ(file.background, channel.backgroundValue());
        EXPECT_EQ(file.background == 5 ? "n" : "before", channel.name());
    }
    ParticleChannel<int> channel;
    EXPECT_FALSE(load(channel, number(5, 2) + names + one_tile, 0));
}

/// Where the numbers of tiles and of elements stand in the saved position of a small scene.
std::vector<std::size_t> countsOf(int in_quality, std::size_t in_levels)
{
    std::vector<std::size_t> counts;
    std::size_t at = in_levels;
    for (int depth = 0; depth < kNumDepths; ++depth, at += 8) {
        counts.push_back(at);
        if (depth >= 3) {
            const bool is_plain = in_quality == 0 || (in_quality > 1 && depth == 3);
            at += 8;
            counts.push_back(is_plain ? at + 2 : at);
            at += is_plain ? 2 : in_quality > 1 ? 8 : 0;
        }
    }
    return counts;
}

TEST(ParticleChannelStream, DamageAnywhereFailsAndLeavesTheShapeInStep)
{
    const SmallScene source;
    const auto expectRefused = [](const std::string& in_bytes, int in_quality) {
        SmallScene scene;
        scene.position->setTagText("before");
        scene.position->tile(0, 7)[0] = {3, 2, 1};
        const std::string before = saved(*scene.position, 0);
        EXPECT_FALSE(load(*scene.position, in_bytes, in_quality));
        EXPECT_EQ(before, saved(*scene.position, 0));
        EXPECT_EQ(2u, scene.density->tile(0, 7).size());
        EXPECT_EQ(2u, scene.shape->numParticles());
    };
    const std::size_t head = header("position", kMinusOne).size();
    for (int quality = 0; quality < 4; ++quality) {
        SCOPED_TRACE("quality " + std::to_string(quality));
        const std::string whole = saved(*source.position, quality);
        for (std::size_t cut = 0; cut < whole.size(); ++cut) {
            expectRefused(whole.substr(0, cut), quality);
        }
        std::string levels = whole;
        expectRefused(levels.replace(head - 4, 4, number(9, 4)), quality);
        for (const std::size_t at : countsOf(quality, head)) {
            for (const unsigned long long count : {~0ULL, 1ULL << 61, 1ULL << 32, 7ULL}) {
                std::string damaged = whole;
                expectRefused(damaged.replace(at, 8, number(count, 8)), quality);
            }
        }
    }
    std::string uneven = saved(*source.position, 2);
    uneven.replace(uneven.size() - 14, 8, number(5, 8));
    uneven.pop_back();
    expectRefused(uneven, 2);
}

TEST(TilesEncoderOfParticles, DropsWhatIsOverAThirdButReadsAllBytes)
{
    using Encoder = TilesEncoder<ParticleChannel<vec3f>>;
    MemoryReader reader(number(5, 8) + std::string(15, '\0') + bytes({0x3F, 0x40, 0x41, 1, 2}));
    Encoder::Tiles tiles;
    ASSERT_TRUE(Encoder::decode3f(1, tiles, reader));
    EXPECT_TRUE(reader.atEnd());
    ASSERT_EQ(1u, tiles[0].size());
    EXPECT_EQ((vec3f{0.5f, 2.0f, 8.0f}), tiles[0][0]);

    ParticleTile<vec3f> tile;
    TileEncoder<ParticleTile<vec3f>>::decode3f(2, tile, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0x80},
                                               {0x3F, 0x40, 0x41, 0x3F});
    EXPECT_EQ((vec3f{0.5f, 2.0f, 8.0f}), tile[0]);
    EXPECT_EQ((vec3f{1.0f, 0.0f, 0.0f}), tile[1]) << "what is behind the planes is 0";
}

TEST(ParticleShapeStream, KeepsIdsAndCountsAndReadsOlderVersions)
{
    SmallScene scene;
    scene.shape->nextParticleId();
    const std::string whole = saved(*scene.shape, 0);
    unsigned long long totals[kNumDepths] = {0, 0, 0, 0, 0, 0, 0, 2};
    const std::string raw(reinterpret_cast<const char*>(totals), sizeof(totals));
    const std::string one_empty = number(1, 8) + number(0, 8);
    const std::string counts = number(8, 4) + kNoTiles + kNoTiles + kNoTiles + one_empty +
                               one_empty + one_empty + one_empty + number(1, 8) + number(2, 8) +
                               number(64, 4);
    EXPECT_EQ(number(1, 8) + counts + raw,
              whole.substr(whole.size() - 8 - counts.size() - raw.size()));

    SmallScene loaded;
    loaded.shape->nextParticleId();
    loaded.shape->nextParticleId();
    std::string foreign = whole;
    foreign.replace(foreign.size() - 64, 64, std::string(64, '\x11'));
    ASSERT_TRUE(load(*loaded.shape, foreign, 0));
    EXPECT_EQ(1u, loaded.shape->maxParticleId());
    EXPECT_EQ(2u, loaded.shape->numParticles(7)) << "totals are counted, not believed";

    const std::size_t base = whole.size() - 8 - counts.size() - raw.size();
    std::string third = whole;
    third.erase(base, 8);
    third.replace(0, 2, number(3, 2));
    ASSERT_TRUE(load(*loaded.shape, third, 0));
    EXPECT_EQ(0u, loaded.shape->maxParticleId());

    loaded.shape->setName("before");
    const std::string before = saved(*loaded.shape, 0);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_FALSE(load(*loaded.shape, whole.substr(0, cut), 0));
    }
    for (const auto& [at, bytes] :
         std::vector<std::pair<std::size_t, std::string>>{{base + 8, number(9, 4)},
                                                          {base + 12, number(1, 8)},
                                                          {base + 12, number(~0ULL, 8)},
                                                          {whole.size() - 68, number(63, 4)},
                                                          {whole.size() - 68, number(~0U, 4)},
                                                          {whole.size() - 76, number(~0ULL, 8)}}) {
        std::string damaged = whole;
        damaged.replace(at, bytes.size(), bytes);
        EXPECT_FALSE(load(*loaded.shape, damaged, 0));
    }
    EXPECT_EQ(before, saved(*loaded.shape, 0));
}

}  // namespace
}  // namespace Skelvar
