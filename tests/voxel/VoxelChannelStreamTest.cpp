#include <skelvar/base/Dictionary.h>

#include <tests/support/MemoryStream.h>
#include <tests/voxel/VoxelFixture.h>

#include <string>

namespace Skelvar::Test {
namespace {

std::string savedBytes(const Persistable& in_item, int in_quality = 0)
{
    MemoryWriter writer;
    writer.setQuality(in_quality);
    EXPECT_TRUE(in_item.save(writer));
    return writer.bytes();
}

bool loadBytes(Persistable& io_item, const std::string& in_bytes, int in_quality = 0,
               int in_version = 4)
{
    MemoryReader reader(in_bytes);
    reader.setQuality(in_quality);
    reader.setVersion(in_version);
    return io_item.load(reader) && reader.atEnd();
}

template <typename T>
class ChannelStream : public ::testing::Test {
};
TYPED_TEST_SUITE(ChannelStream, VoxelTypes);

TYPED_TEST(ChannelStream, RoundTripKeepsEverythingAtEveryQuality)
{
    for (int quality = 0; quality < 4; ++quality) {
        ShapeOnLayout on(3);
        const auto channel = on.addChannel<TypeParam>("c");
        channel->setOffsetType(eOffsetEdgeY);
        channel->setCustomType("kind");
        channel->setTagText("tag");
        channel->setTagWord(0x1234);
        const std::string bytes = savedBytes(*channel, quality);

        VoxelChannel<TypeParam> loaded;
        ASSERT_TRUE(loadBytes(loaded, bytes, quality)) << quality;

        EXPECT_EQ(channel->numTiles(), loaded.numTiles());
        EXPECT_TRUE(holdsNumbers(loaded)) << quality;
        EXPECT_EQ(valueOf<TypeParam>(4), loaded.backgroundValue());
        EXPECT_EQ(eOffsetEdgeY, loaded.offsetType());
        EXPECT_EQ(bytes, savedBytes(loaded, quality));
    }
}

/// The bytes of hex digits; blanks are left out.
std::string hex(std::string in_digits)
{
    std::erase(in_digits, ' ');
    std::string bytes;
    for (std::size_t n = 0; n < in_digits.size(); n += 2) {
        bytes.push_back(static_cast<char>(std::stoi(in_digits.substr(n, 2), nullptr, 16)));
    }
    return bytes;
}

const std::string kOneTile = hex("0000000000000001");
/// The counts of the depths from 1 on, all empty.
const std::string kEmptyDepths = std::string(7 * 8, '\0');

TEST(ChannelBytes, OfACurrentChannel)
{
    VoxelChannel<int> channel("ab", nullptr, -2, eOffsetFaceX);
    channel.setShapeName("s");
    channel.setCustomType("xyz");
    channel.setTagWord(0x0102);
    channel.setTagText("t");
    channel.resize(0, 1);
    channel.tile(0, 0).set(0x04030201);
    std::string cells;
    for (int n = 0; n < 125; ++n) {
        cells += hex("01020304");
    }

    const std::string expected = hex("0004") +                   // version
                                 hex("fffffffe") +               // background
                                 hex("00000002 6162") +          // name
                                 hex("00000001 73") +            // shape name
                                 hex("00000003 78797a") +        // custom type
                                 hex("0002 0102 00000001 74") +  // base: version, tag word and text
                                 hex("0000008e") + Dictionary().save() +  //
                                 hex("01 00000008") +                     // offset type, depths
                                 kOneTile + hex("0002 000001f4") + cells + kEmptyDepths;

    EXPECT_EQ(expected, savedBytes(channel));
}

TEST(ChannelBytes, InPlanesForFloatsFromQualityOne)
{
    VoxelChannel<float> channel("", nullptr, 0.0f, eOffsetCentre);
    channel.resize(0, 1);
    channel.tile(0, 0).set(1.5f);  // 0x3fc00000
    const std::string planes = hex("000000000000007d") + std::string(125, '\x00') +
                               std::string(125, '\x00') + std::string(125, '\xc0') +
                               std::string(125, '\x3f');

    for (int quality = 1; quality < 4; ++quality) {
        const std::string bytes = savedBytes(channel, quality);
        const std::string tail = kOneTile + planes + kEmptyDepths;
        ASSERT_GT(bytes.size(), tail.size());
        EXPECT_EQ(tail, bytes.substr(bytes.size() - tail.size())) << quality;
    }
}

/// A channel "ab" of shape "s" with one tile of fives, as its older versions were written.
std::string oldChannel(int in_version)
{
    const bool has_versions = in_version >= 2;
    return (has_versions ? hex("000" + std::to_string(in_version)) : "") +
           hex("07 00000002 6162 00000001 73") + (in_version >= 3 ? hex("00000003 78797a") : "") +
           hex("02 00000008") + kOneTile + (has_versions ? hex("0002") : "") + hex("0000007d") +
           std::string(125, '\x05') + kEmptyDepths;
}

TEST(ChannelBytes, OfOlderVersionsLoad)
{
    for (int version = 1; version <= 3; ++version) {
        VoxelChannel<unsigned char> channel;
        channel.setCustomType("old");
        channel.setTagText("tag");

        ASSERT_TRUE(loadBytes(channel, oldChannel(version), 0, version)) << version;

        EXPECT_EQ("ab", channel.name());
        EXPECT_EQ("s", channel.shapeName());
        EXPECT_EQ(version == 3 ? "xyz" : "", channel.customType());
        EXPECT_EQ("tag", channel.tagText());
        EXPECT_EQ(7, channel.backgroundValue());
        EXPECT_EQ(eOffsetFaceY, channel.offsetType());
        ASSERT_EQ(1, channel.numTiles());
        EXPECT_TRUE(isFilledWith<unsigned char>(channel.tile(0, 0), 5));
    }
}

TEST(ChannelBytes, OfTheBaseAreNotReadFromOlderStreams)
{
    // A channel of version 4 in a stream of format version 3 has no base part.
    std::string bytes = oldChannel(3);
    bytes[1] = 4;
    VoxelChannel<unsigned char> channel;

    EXPECT_TRUE(loadBytes(channel, bytes, 0, 3));
}

TEST(ChannelBytes, VersionZeroOfTheBaseEndsItsReading)
{
    VoxelChannel<unsigned char> channel;
    channel.setTagWord(9);
    const std::string bytes =
        hex("0004 07 00000000 00000000 00000000 0000 02 00000008 0000000000000000") + kEmptyDepths;

    EXPECT_TRUE(loadBytes(channel, bytes));

    EXPECT_EQ(9, channel.tagWord());
}

/// A channel on a layout that survives bad bytes: after each, it is as it was and can be worked
/// with.
template <typename T>
class Survivor {
public:
    Survivor() { m_channel = m_on.addChannel<T>("c"); }

    /// What is to be damaged. The channel has another header and other values then.
    std::string bytes(int in_quality)
    {
        const std::string saved = savedBytes(*m_channel, in_quality);
        m_channel->setBackgroundValue(T(1));
        m_channel->setTagText("before");
        m_channel->setOffsetType(eOffsetFaceY);
        m_channel->set(T(1), 124, 1);
        return saved;
    }

    void refuse(const std::string& in_bytes, int in_quality)
    {
        const std::string before = savedBytes(*m_channel, 0);
        ASSERT_FALSE(loadBytes(*m_channel, in_bytes, in_quality));
        ASSERT_EQ(before, savedBytes(*m_channel, 0));
        ASSERT_LE(m_channel->memUsage(MemUsage::eMemAllocated, false),
                  2 * m_channel->memUsage(MemUsage::eMemUsed, false) + in_bytes.size());
    }
    void edit()
    {
        m_on.split({1, 1});
        m_on.layout->deleteNode({0, 1});
        EXPECT_TRUE(m_channel->checkAllocatedSizes());
        EXPECT_TRUE(isFilledWith(m_channel->tile(124, 2), m_channel->backgroundValue()));
    }

private:
    ShapeOnLayout m_on{0};
    std::shared_ptr<VoxelChannel<T>> m_channel;
};

/// Cuts at all lengths within the header and around the ends of the first tiles, and some others.
template <typename T>
void refuseCuts(int in_quality)
{
    Survivor<T> survivor;
    const std::string bytes = survivor.bytes(in_quality);
    for (std::size_t cut = 0; cut < bytes.size();
         cut += cut < 1500 || cut + 37 >= bytes.size() ? 1 : 37) {
        SCOPED_TRACE("cut at " + std::to_string(cut) + " quality " + std::to_string(in_quality));
        survivor.refuse(bytes.substr(0, cut), in_quality);
        if (::testing::Test::HasFatalFailure()) {
            return;
        }
    }
    survivor.edit();
}

TEST(DamagedChannel, CutAtAnyLengthIsRefused)
{
    refuseCuts<float>(0);
    refuseCuts<float>(1);
    refuseCuts<bool>(0);
}

TEST(DamagedChannel, WithAFieldOutOfItsRangeIsRefused)
{
    // The bytes of a channel named "c" of shape "s", of type unsigned char, by place:
    // 0 version, 2 background, 3 name, 8 shape name, 13 custom type, 17 base version, 19 tag word,
    // 21 tag text, 25 dictionary, 29 + 142 offset type, 172 depths, 176 tiles of depth 0,
    // 184 version and 186 byte count of the first tile.
    Survivor<unsigned char> survivor;
    const std::string bytes = survivor.bytes(0);
    const std::pair<std::size_t, std::vector<const char*>> damages[] = {
        {0, {"0005"}},
        {3, {"ffffffff"}},
        {8, {"ffffffff"}},
        {13, {"ffffffff"}},
        {17, {"0003"}},
        {21, {"ffffffff"}},
        {25, {"ffffffff"}},
        {29, {"00"}},
        {171, {"08", "ff"}},
        {172, {"00000007", "00000009", "ffffffff"}},
        {176, {"ffffffffffffffff", "7fffffffffffffff", "0000000080000001", "0000000000010000"}},
        {186, {"80000000", "7fffffff"}},
    };
    for (const auto& [place, values] : damages) {
        for (const std::string value : values) {
            SCOPED_TRACE("at " + std::to_string(place) + " " + value);
            std::string damaged = bytes;
            damaged.replace(place, value.size() / 2, hex(value));
            survivor.refuse(damaged, 0);
        }
    }
    survivor.edit();
}

TEST(DamagedChannel, WithAPlaneOfAnotherLengthIsRefused)
{
    Survivor<float> survivor;
    const std::string bytes = survivor.bytes(1);
    const std::size_t plane_length = bytes.find(hex("000000000000007d"));
    ASSERT_NE(std::string::npos, plane_length);
    for (const char* const length :
         {"000000000000007c", "000000000000007e", "ffffffffffffffff", "0000000000000000"}) {
        std::string damaged = bytes;
        damaged.replace(plane_length, 8, hex(length));
        survivor.refuse(damaged, 1);
    }
}

TEST(DamagedChannel, CannotAskForMoreTilesThanItsBytesHold)
{
    // A thousand empty tile records would make a thousand tiles of 2000 bytes.
    std::string records;
    for (int n = 0; n < 1000; ++n) {
        records += hex("0002 00000000");
    }
    const std::string bytes = hex("0004") + std::string(16, '\0') +
                              hex("00000000 00000000 00000000 0000 00 00000008") +
                              hex("00000000000003e8") + records + kEmptyDepths;
    VoxelChannel<vec4f> channel;

    EXPECT_FALSE(loadBytes(channel, bytes));

    EXPECT_LE(channel.memUsage(MemUsage::eMemAllocated, false), bytes.size());
}

TEST(ChannelLoad, IntoAHeaderMakesArraysOnlyOnSuccess)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    const std::string bytes = savedBytes(*channel);
    const auto header = std::static_pointer_cast<VoxelChannel<float>>(channel->copy(false, false));

    EXPECT_FALSE(loadBytes(*header, bytes.substr(0, bytes.size() - 1)));
    EXPECT_EQ(nullptr, header->blockDataPtr());

    EXPECT_TRUE(loadBytes(*header, bytes));
    EXPECT_TRUE(holdsNumbers(*header));
}

TEST(ChannelSave, FailsOnAFullStreamAndSetsTheStreamsWord)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    const std::size_t size = savedBytes(*channel).size();
    for (const std::size_t room : {std::size_t{0}, std::size_t{1}, std::size_t{100}, size - 1}) {
        MemoryWriter writer(room);
        EXPECT_FALSE(channel->save(writer)) << room;
        EXPECT_EQ(4u, writer.userdata());
    }
}

}  // namespace
}  // namespace Skelvar::Test
