#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/Dictionary.h>

#include "tests/support/LayoutBuilder.h"
#include "tests/support/MemoryStream.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace Skelvar::Test {
namespace {

std::string bytesOf(const VoxelLayout& in_layout)
{
    MemoryWriter stream;
    EXPECT_TRUE(in_layout.save(stream));
    return stream.bytes();
}

bool loads(const std::string& in_bytes, VoxelLayout& out_layout, int in_version = 4)
{
    MemoryReader stream(in_bytes);
    stream.setVersion(in_version);
    return out_layout.load(stream);
}

/// The bytes of a number in a stream.
template <typename T>
std::string number(T in_value)
{
    MemoryWriter stream;
    stream.write(in_value);
    return stream.bytes();
}

/// A layout "ab" of one tile of depth 6, a root, with one child of depth 7.
std::shared_ptr<VoxelLayout> twoTiles()
{
    return LayoutBuilder("ab", 0.5f).tile({0, 0, 0}, 6).tile({3, 0, 0}, 7).build();
}

// Where the fields of `twoTiles` stand.
constexpr std::size_t kAtVersion = 0;
constexpr std::size_t kAtFinestRootDepth = 2 + 4 + 6 + 1 + 4;
constexpr std::size_t kAtRootCountBytes = kAtFinestRootDepth + 4;
constexpr std::size_t kAtNumRoots = kAtRootCountBytes + 4 + 32;
constexpr std::size_t kAtRoot = kAtNumRoots + 8;
constexpr std::size_t kAtNumDepths = kAtRoot + 16;
constexpr std::size_t kAtDepth6 = kAtNumDepths + 4 + 6 * 8;
constexpr std::size_t kAtNode6 = kAtDepth6 + 8;
constexpr std::size_t kAtDepth7 = kAtNode6 + 2 + 45 + 500;
constexpr std::size_t kAtNode7 = kAtDepth7 + 8;
constexpr std::size_t kAtDictionary = kAtNode7 + 2 + 45;

// Fields of a node, behind its version.
constexpr std::size_t kId = 2;
constexpr std::size_t kCornerI = 10;
constexpr std::size_t kDepth = 22;
constexpr std::size_t kIndex = 26;
constexpr std::size_t kParent = 30;
constexpr std::size_t kValid = 42;
constexpr std::size_t kChildBytes = 43;
constexpr std::size_t kChildren = 47;

std::string with(std::string in_bytes, std::size_t in_at, const std::string& in_new)
{
    return in_bytes.replace(in_at, in_new.size(), in_new);
}

TEST(VoxelLayoutPersistence, WritesTheStatedBytes)
{
    const TileId above = 0x7EFDFBF7EFC00000;
    const TileId leaf = 0x7EFDFBF7EFE00000;
    const auto node = [](TileId id, int i, int depth, int parent, long long cells) {
        const int yz = depth == 6 ? -12 : -2;
        return number<unsigned short>(2) + number(id) + number(i) + number(yz) + number(yz) +
               number(depth) + number(0) + number(parent) + number(cells) + number(true);
    };
    std::string slots;
    for (int slot = 0; slot < 125; ++slot) {
        slots += slot == 63 ? std::string(4, '\0') : std::string("\xFE\xFF\xFF\xFF");
    }
    std::string counts(32, '\0');
    counts[6 * 4] = 1;
    std::string expected = number<unsigned short>(3) + std::string("\x3F\x00\x00\x00", 4) +
                           number(2) + "ab" + number(true) + number(2) + number(6) + number(32) +
                           counts + number(1ULL) + number(above) + number(0) + number(6) +
                           number(8);
    expected += std::string(6 * 8, '\0') + number(1ULL) + node(above, -12, 6, -2, 250) +
                number(500) + slots;
    expected += number(1ULL) + node(leaf, 3, 7, 0, 125) + number(0);
    expected += number(Dictionary().save());

    const std::string bytes = bytesOf(*twoTiles());

    EXPECT_EQ(expected, bytes);
    EXPECT_EQ(number(Dictionary().save()), bytes.substr(kAtDictionary));
}

TEST(VoxelLayoutPersistence, GivesBackAllOfALayout)
{
    const auto layout = LayoutBuilder("name", 0.25f)
                            .tile({0, 0, 0}, 2)
                            .box({-60, -60, -60}, {60, 60, 60}, 6)
                            .tile({9000, 0, 0}, 7)
                            .tile({-195312, 195312, 0}, 7)
                            .build();
    std::shared_ptr<Dictionary> dictionary;
    layout->dictionary(dictionary);
    dictionary->setValue("key", "text");
    layout->setCompactOnDelete(false);

    VoxelLayout loaded("other");
    loaded.addNode(0, 0, 0, 5);
    ASSERT_TRUE(loads(bytesOf(*layout), loaded));

    std::vector<TileId> ids[2];
    layout->tileIds(&ids[0], 0, kMaxTileDepth);
    loaded.tileIds(&ids[1], 0, kMaxTileDepth);
    EXPECT_EQ(ids[0], ids[1]);
    EXPECT_EQ(layout->numVoxels(), loaded.numVoxels());
    EXPECT_EQ("name", loaded.name());
    EXPECT_EQ(0.25f, loaded.MVS());
    EXPECT_FALSE(loaded.compactOnDelete());
    EXPECT_EQ(0, checkLayout(loaded).total());
    loaded.dictionary(dictionary);
    EXPECT_TRUE(dictionary->hasValue("key"));
}

TEST(VoxelLayoutPersistence, ReadsTheOlderForms)
{
    const std::string bytes = bytesOf(*twoTiles());
    VoxelLayout layout;

    // Layout version 2: no dictionary.
    const std::string without_dictionary =
        with(bytes, kAtVersion, number<unsigned short>(2)).substr(0, kAtDictionary);
    EXPECT_TRUE(loads(without_dictionary, layout));
    EXPECT_EQ(2, layout.numNodes());

    // Stream version 1: no versions either.
    std::string bare = bytes.substr(0, kAtDictionary);
    bare.erase(kAtNode7, 2).erase(kAtNode6, 2).erase(kAtVersion, 2);
    EXPECT_TRUE(loads(bare, layout, 1));
    EXPECT_EQ(2, layout.numNodes());
    EXPECT_EQ(0, checkLayout(layout).total());

    // A version to come.
    EXPECT_FALSE(loads(with(bytes, kAtVersion, number<unsigned short>(4)), layout));
}

TEST(VoxelLayoutPersistence, FindsRootsWhoseStoredPlaceIsStale)
{
    for (const int index : {1, -1, 2000000000}) {
        VoxelLayout layout;
        ASSERT_TRUE(loads(with(bytesOf(*twoTiles()), kAtRoot + 8, number(index)), layout)) << index;
        EXPECT_EQ(0, checkLayout(layout).total());
        EXPECT_EQ((TileIndex{0, 7}), layout.nodeIndex<true>(3, 0, 0, 7));
    }
}

TEST(VoxelLayoutPersistence, EditsNodesThatCameWithoutChildSlots)
{
    std::string bytes = bytesOf(*LayoutBuilder().tile({0, 0, 0}, 6).build());
    const std::size_t at_node = bytes.size() - 4 - Dictionary().save().size() - 8 - 547;
    bytes = with(bytes, at_node + kChildBytes, number(0)).erase(at_node + kChildren, 500);
    const auto load = [&] {
        auto layout = std::make_shared<VoxelLayout>();
        EXPECT_TRUE(loads(bytes, *layout));
        EXPECT_FALSE(layout->node(0, 6).hasChildSlots());
        return layout;
    };

    auto layout = load();
    layout->addNode(0, 0, 0, 7);
    EXPECT_EQ(0, checkLayout(*layout).total());
    layout = load();
    layout->addNodes(std::vector<vec3i>{{0, 0, 0}, {5, 0, 0}}, 7);
    EXPECT_EQ(0, checkLayout(*layout).total());
    layout = load();
    layout->addNode(0, 0, 0, 3);
    EXPECT_EQ(0, checkLayout(*layout).total());
    layout = load();
    std::vector<std::vector<int>> lists(8);
    lists[6] = {0};
    layout->deleteNodes(lists);
    EXPECT_TRUE(layout->empty());
}

/// What a refused load must leave as it is.
std::shared_ptr<VoxelLayout> layoutWithContent()
{
    const auto layout = LayoutBuilder("before", 2.0f).tile({9, 0, 0}, 7).build();
    std::shared_ptr<Dictionary> dictionary;
    layout->dictionary(dictionary);
    dictionary->setValue("key", 1);
    return layout;
}

TEST(VoxelLayoutPersistence, RefusesBytesCutAnywhere)
{
    const auto saved = twoTiles();
    saved->setCompactOnDelete(false);
    const std::string bytes = bytesOf(*saved);
    const auto layout = layoutWithContent();
    const std::string before = bytesOf(*layout);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ASSERT_FALSE(loads(bytes.substr(0, size), *layout)) << size;
        ASSERT_EQ(before, bytesOf(*layout)) << size;
    }
    EXPECT_EQ((TileIndex{0, 7}), layout->nodeIndex<true>(9, 0, 0, 7));
}

TEST(VoxelLayoutPersistence, RefusesDamagedFields)
{
    struct Damage {
        const char* what;
        std::size_t at;
        std::string bytes;
    };
    const int most = std::numeric_limits<int>::max();
    const TileId other = tileCoordsToId(8, 0, 0, 7);
    const Damage damages[] = {
        {"MVS not a number", 2, std::string("\x7F\xC0\x00\x00", 4)},
        {"MVS zero", 2, std::string(4, '\0')},
        {"finest root depth", kAtFinestRootDepth, number(8)},
        {"finest root depth below", kAtFinestRootDepth, number(-1)},
        {"root count bytes", kAtRootCountBytes, number(most)},
        {"a negative root count", kAtRootCountBytes + 4, std::string(4, '\xFF')},
        {"most roots", kAtNumRoots, number(~0ULL)},
        {"roots as many as bytes", kAtNumRoots, number(1000ULL)},
        {"no root", kAtRoot, number(tileCoordsToId(100, 0, 0, 6))},
        {"root of another depth", kAtRoot + 12, number(most)},
        {"most depths", kAtNumDepths, number(~0U)},
        {"nine depths", kAtNumDepths, number(9)},
        {"most nodes", kAtDepth6, number(~0ULL)},
        {"more nodes than int", kAtDepth7, number(1ULL << 32)},
        {"more nodes than bytes", kAtDepth7, number(5ULL)},
        {"id with low bits", kAtNode7 + kId, number(tileCoordsToId(3, 0, 0, 7) + 1)},
        {"id of another tile", kAtNode7 + kId, number(other)},
        {"id of no tile", kAtNode7 + kId, number(~0ULL)},
        {"corner", kAtNode7 + kCornerI, number(4)},
        {"depth", kAtNode7 + kDepth, number(6)},
        {"depth beyond", kAtNode7 + kDepth, number(most)},
        {"index", kAtNode7 + kIndex, number(1)},
        {"parent out of range", kAtNode7 + kParent, number(most)},
        {"parent missing", kAtNode7 + kParent, number(-2)},
        {"root with a parent", kAtNode6 + kParent, number(0)},
        {"deleted parent", kAtNode6 + kValid, number(false)},
        {"deleted child", kAtNode7 + kValid, number(false)},
        {"slots of another size", kAtNode6 + kChildBytes, number(most)},
        {"child out of range", kAtNode6 + kChildren, std::string("\xFF\xFF\xFF\x7F", 4)},
        {"child twice", kAtNode6 + kChildren, std::string(4, '\0')},
        {"child lost", kAtNode6 + kChildren + 4 * 63, std::string(4, '\xFF')},
        {"dictionary text", kAtDictionary + 4, std::string(4, 'x')},
        {"dictionary size", kAtDictionary, number(~0U)},
    };
    const auto layout = layoutWithContent();
    const std::string before = bytesOf(*layout);
    for (const Damage& damage : damages) {
        EXPECT_FALSE(loads(with(bytesOf(*twoTiles()), damage.at, damage.bytes), *layout))
            << damage.what;
        EXPECT_EQ(before, bytesOf(*layout)) << damage.what;
    }
    EXPECT_TRUE(loads(bytesOf(*twoTiles()), *layout));
}

TEST(VoxelLayoutPersistence, SurvivesAnyByteItTakes)
{
    const unsigned seed = 99;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto whole = LayoutBuilder()
                           .tile({0, 0, 0}, 5)
                           .tile({0, 0, 0}, 7)
                           .tile({5, 0, 0}, 7)
                           .tile({900, 0, 0}, 7)
                           .tile({10, 0, 0}, 7)
                           .build();
    whole->setCompactOnDelete(false);
    whole->deleteNode(tileCoordsToId(10, 0, 0, 7));  // leaves a gap behind the others
    const std::string bytes = bytesOf(*whole);
    int taken = 0;
    for (int round = 0; round < 4000; ++round) {
        std::string damaged = bytes;
        for (unsigned n = 1 + random() % 2; n > 0; --n) {
            damaged[random() % damaged.size()] = static_cast<char>(random());
        }
        VoxelLayout layout;
        if (!loads(damaged, layout)) {
            ASSERT_EQ(0, layout.numNodes());
            continue;
        }
        ++taken;
        ASSERT_EQ(0, checkLayout(layout).total());
        layout.setCompactOnDelete(true);
        layout.addNode(0, 0, 0, 3);
        layout.addNode(12, 0, 0, 7);
        layout.deleteNode(tileCoordsToId(5, 0, 0, 7));
        ASSERT_EQ(0, checkLayout(layout).total());
    }
    EXPECT_GT(taken, 100);
}

}  // namespace
}  // namespace Skelvar::Test
