#include <skelvar/base/Dictionary.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <tests/support/MemoryStream.h>
#include <tests/voxel/VoxelFixture.h>

#include <cmath>
#include <random>

namespace Skelvar::Test {
namespace {

using Names = std::vector<std::string>;

std::shared_ptr<VoxelChannel<float>> channelNamed(const std::string& in_name)
{
    return std::make_shared<VoxelChannel<float>>(in_name, nullptr, 0.0f, eOffsetCentre);
}

/// The shape "s" with channels "a" and "b", without a layout.
struct TwoChannels {
    TwoChannels()
    {
        shape->addChannel(a);
        shape->addChannel(b);
    }

    std::shared_ptr<VoxelShape> shape = std::make_shared<VoxelShape>("s");
    std::shared_ptr<VoxelChannel<float>> a = channelNamed("a");
    std::shared_ptr<VoxelChannel<float>> b = channelNamed("b");
};

TEST(ChannelTable, AddingSizesTheChannelAndMakesItTheShapes)
{
    ShapeOnLayout on(1);
    const auto channel = channelNamed("d");

    on.shape->addChannel(channel);

    EXPECT_EQ(251, channel->numTiles());
    EXPECT_EQ(on.shape, channel->shapePtr());
    EXPECT_EQ("s", channel->shapeName());
    EXPECT_EQ(0, channel->creationKind());
    EXPECT_EQ(channel, on.shape->channelBasePtr("d"));
}

TEST(ChannelTable, AddingATakenNameThrowsAndChangesNothing)
{
    TwoChannels on;
    const auto other = channelNamed("a");

    EXPECT_EQ("Channel with name a already exists in shape s",
              errorOf([&] { on.shape->addChannel(other); }));

    EXPECT_EQ((Names{"a", "b"}), on.shape->channelNames());
    EXPECT_EQ(on.a, on.shape->channelBasePtr("a"));
    EXPECT_EQ(nullptr, other->shapePtr());
}

TEST(ChannelTable, AddingAChannelOfAnotherKindLeavesTheTable)
{
    const auto shape = std::make_shared<DictionaryShape>("s");

    EXPECT_EQ("VoxelChannel.setShape: in_shape not of type VoxelShape",
              errorOf([&] { shape->addChannel(channelNamed("a")); }));

    EXPECT_EQ(0, shape->channelCount());
}

TEST(ChannelTable, AddUniqueNamesTheChannelOrGivesTheOneThatIsThere)
{
    TwoChannels on;
    const auto fresh = channelNamed("old name");
    std::shared_ptr<TreeChannel3DBase> channel = fresh;
    on.shape->addUniqueChannel(channel, "c");
    EXPECT_EQ(fresh, on.shape->channelBasePtr("c"));
    EXPECT_EQ("c", fresh->name());
    EXPECT_EQ(1, fresh->creationKind());

    on.shape->addUniqueChannel(channel, "a");
    EXPECT_EQ(on.a, channel);
    EXPECT_EQ(3, on.shape->channelCount());

    channel = nullptr;
    on.shape->addUniqueChannel(channel, "d");
    EXPECT_EQ(nullptr, channel);
    EXPECT_FALSE(on.shape->hasChannel("d"));
}

TEST(ChannelTable, UpdateReplacesAPresentChannel)
{
    TwoChannels on;
    const auto other = channelNamed("a");

    on.shape->updateChannel(other);

    EXPECT_EQ(other, on.shape->channelBasePtr("a"));
    EXPECT_EQ(on.shape, other->shapePtr());
    EXPECT_EQ(nullptr, on.a->shapePtr());
    EXPECT_EQ("Channel with name x does not exist on shape s",
              errorOf([&] { on.shape->updateChannel(channelNamed("x")); }));
}

TEST(ChannelTable, RenameMovesTheEntryAndNamesTheChannel)
{
    TwoChannels on;

    on.shape->renameChannel("a", "z");

    EXPECT_EQ((Names{"b", "z"}), on.shape->channelNames());
    EXPECT_EQ("z", on.a->name());
    EXPECT_EQ("Channel with name a does not exist on shape s",
              errorOf([&] { on.shape->renameChannel("a", "y"); }));
    EXPECT_EQ("Channel with name b already exists on shape s",
              errorOf([&] { on.shape->renameChannel("z", "b"); }));
    EXPECT_EQ("Channel with name b already exists on shape s",
              errorOf([&] { on.shape->renameChannel("b", "b"); }));
}

TEST(ChannelTable, SwapExchangesChannelsAndTheirNames)
{
    TwoChannels on;

    on.shape->swapChannels("a", "b");
    EXPECT_EQ(on.b, on.shape->channelBasePtr("a"));
    EXPECT_EQ("a", on.b->name());
    EXPECT_EQ(on.a, on.shape->channelBasePtr("b"));
    EXPECT_EQ("b", on.a->name());

    on.shape->swapChannels("a", "a");
    EXPECT_EQ(on.b, on.shape->channelBasePtr("a"));
    EXPECT_EQ("Channel with name a or x does not exist in Shape s",
              errorOf([&] { on.shape->swapChannels("a", "x"); }));
    EXPECT_EQ("Channel with name y or b does not exist in Shape s",
              errorOf([&] { on.shape->swapChannels("y", "b"); }));
}

TEST(ChannelTable, RemoveDetachesTheChannel)
{
    TwoChannels on;

    on.shape->removeChannel("a");
    EXPECT_EQ((Names{"b"}), on.shape->channelNames());
    EXPECT_EQ(nullptr, on.a->shapePtr());
    EXPECT_EQ("", on.a->shapeName());
    EXPECT_EQ("Channel with name a does not exist in shape s",
              errorOf([&] { on.shape->removeChannel("a"); }));

    on.shape->setChannelToNull("b");
    EXPECT_TRUE(on.shape->hasChannel("b"));
    EXPECT_EQ(nullptr, on.shape->channelBasePtr("b"));
    EXPECT_EQ(nullptr, on.b->shapePtr());

    on.shape->addChannel(on.a);
    on.shape->deleteAllChannels();
    EXPECT_EQ(0, on.shape->channelCount());
    EXPECT_EQ(nullptr, on.a->shapePtr());
}

TEST(ChannelTable, NamesStandInTheOrderOfTheirNumbers)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    for (const char* const name : {"d10", "d", "e", "d2"}) {
        shape->addChannel(channelNamed(name));
    }

    EXPECT_EQ((Names{"d", "d2", "d10", "e"}), shape->channelNames());
    EXPECT_EQ("s.d11", shape->makePartialPathName("d"));
    EXPECT_EQ("s.my_x", shape->makePartialPathName("my x"));
}

TEST(ChannelTable, InfoOfAnAbsentChannelLeavesTheRecord)
{
    TwoChannels on;
    TreeShape3DBase::ChannelInfo info{"old", nullptr};

    EXPECT_FALSE(on.shape->channelInfo("x", info));
    EXPECT_EQ("old", info.name);
    EXPECT_TRUE(on.shape->channelInfo("a", info));
    EXPECT_EQ("a", info.name);
    EXPECT_EQ(on.a, info.channel);
    EXPECT_EQ("TreeShape3DBase::channel(): channel with name x",
              errorOf([&] { on.shape->channelBasePtr("x"); }));
}

TEST(ShapePaths, ComposeFromTheObjectDown)
{
    TwoChannels on;
    EXPECT_EQ("s.a", on.a->partialPathName());
    EXPECT_EQ("s.a", on.a->fullPathName());

    auto object = std::make_shared<BObject>();
    object->setName("o");
    on.shape->setObject(object);
    EXPECT_EQ("o", on.shape->objectName());
    EXPECT_EQ("o.s", on.shape->fullPathName());
    EXPECT_EQ("o.s.a", on.a->fullPathName());
    EXPECT_EQ("s.a", on.a->partialPathName());

    object = nullptr;  // its name lasts, its path does not
    EXPECT_EQ("o", on.shape->objectName());
    EXPECT_EQ("s.a", on.a->fullPathName());

    on.shape->setName("t");
    EXPECT_EQ("t", on.a->shapeName());
    on.shape->removeChannel("a");
    EXPECT_EQ("a", on.a->fullPathName());
    EXPECT_EQ("", on.a->makePartialPathName("x"));
}

TEST(ShapeLayout, IsObservedOnceAndLeftBehind)
{
    const auto first = std::make_shared<VoxelLayout>("first", 0.25f);
    const auto second = std::make_shared<VoxelLayout>("second");
    {
        const auto shape = std::make_shared<VoxelShape>("s");
        shape->setLayout(first);
        shape->setLayout(first);
        EXPECT_EQ(1u, first->observers().size());
        EXPECT_EQ("first", shape->layoutName());
        EXPECT_EQ(0.25f, shape->voxelSize());
        EXPECT_EQ(4.0f, shape->inverseVoxelSize());

        shape->setLayout(second);
        EXPECT_TRUE(first->observers().empty());
        EXPECT_EQ(1u, second->observers().size());

        second->dxChanged(8.0f);
        EXPECT_EQ(8.0f, shape->voxelSize());
        EXPECT_EQ(0.125f, shape->inverseVoxelSize());

        shape->setLayout(nullptr);
        EXPECT_TRUE(second->observers().empty());
        EXPECT_EQ("", shape->layoutName());
        shape->setLayout(second);
    }
    EXPECT_TRUE(second->observers().empty());
}

/// A layout that is no voxel layout.
class OtherLayout : public TreeLayout3DBase {
public:
    using TreeLayout3DBase::copyInto;
    void bounds(vec3i&, vec3i&) const override {}
    int maxDepth() const override { return 0; }
    int numNodes() const override { return 0; }
    int numNodes(int) const override { return 0; }
    std::shared_ptr<TreeLayout3DBase> copy(bool) const override { return nullptr; }
    void copyInto(const std::shared_ptr<TreeLayout3DBase>&, bool) const override {}
    const void* nodeDataPtr() const override { return nullptr; }
    unsigned long long memUsage(MemUsage::Type, bool) const override { return 0; }
};

TEST(ShapeLayout, OfAnotherClassOrAbsentThrows)
{
    const auto voxels = std::make_shared<VoxelShape>("s");
    const auto dictionary = std::make_shared<DictionaryShape>("d");
    const auto other = std::make_shared<OtherLayout>();

    EXPECT_EQ("VoxelShape::setLayout() : in_layout is not a VoxelLayout",
              errorOf([&] { voxels->setLayout(other); }));
    EXPECT_EQ("VoxelShape.layout(): layout==null. Did you fetch it from state server?",
              errorOf([&] { voxels->layout(); }));
    EXPECT_EQ("TreeShape3DBase.layout(): layout==null. Did you fetch it from state server?",
              errorOf([&] { dictionary->layout(); }));
    EXPECT_EQ(0u, voxels->numVoxels());
    dictionary->setLayout(other);
    EXPECT_EQ(other.get(), &dictionary->layout());
}

TEST(ShapeClass, IsTheChainOfItsBases)
{
    const VoxelShape voxels;
    const DictionaryShape dictionary;

    EXPECT_TRUE(voxels.isCastableTo("VoxelShape") && voxels.isCastableTo("TreeShape3DBase"));
    EXPECT_FALSE(voxels.isCastableTo("DictionaryShape") || voxels.isCastableTo("ParticleShape"));
    EXPECT_TRUE(dictionary.isCastableTo("DictionaryShape") &&
                dictionary.isCastableTo("TreeShape3DBase"));
    EXPECT_FALSE(dictionary.isCastableTo("VoxelShape"));
    EXPECT_EQ("DictionaryShape", dictionary.typeMeta()->typeName());
}

TEST(VoxelShape, CountsTheVoxelsOfItsLayout)
{
    const ShapeOnLayout on(2);

    EXPECT_EQ(125u * 376u, on.shape->numVoxels());
    EXPECT_EQ(125u * 250u, on.shape->numElements(2));
    EXPECT_EQ(125u, on.shape->numElements(TileIndex{0, 2}));
}

/// A rotation about an axis, a scale and a translation, with the inverse from its closed form.
Similarity randomSimilarity(std::mt19937& io_random)
{
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    double axis[3];
    double length = 0.0;
    do {
        length = 0.0;
        for (double& component : axis) {
            component = unit(io_random);
            length += component * component;
        }
    } while (length < 0.01);
    for (double& component : axis) {
        component /= std::sqrt(length);
    }
    const double angle = 3.0 * unit(io_random);
    const double scale = std::exp(unit(io_random));
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const double t[3] = {10.0 * unit(io_random), 10.0 * unit(io_random), 10.0 * unit(io_random)};
    double r[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const double cross = i == j ? 0.0 : ((j - i + 3) % 3 == 1 ? 1.0 : -1.0);
            r[i][j] = (i == j ? c : 0.0) + (1.0 - c) * axis[i] * axis[j] +
                      s * cross * axis[(6 - i - j) % 3];
        }
    }
    Similarity similarity;
    for (int i = 0; i < 3; ++i) {
        double back = 0.0;
        for (int j = 0; j < 3; ++j) {
            similarity.toWorld(i, j) = static_cast<float>(scale * r[i][j]);
            similarity.fromWorld(i, j) = static_cast<float>(r[j][i] / scale);
            back += t[j] * r[i][j] / scale;
        }
        similarity.toWorld(3, i) = static_cast<float>(t[i]);
        similarity.fromWorld(3, i) = static_cast<float>(-back);
    }
    return similarity;
}

void expectNear(const vec3f& in_expected, const vec3f& in_found, float in_tolerance)
{
    for (int a = 0; a < 3; ++a) {
        EXPECT_NEAR(in_expected[a], in_found[a], in_tolerance) << "axis " << a;
    }
}

TEST(ShapeSpace, TreeToWorldAndBackIsTheIdentity)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-100.0f, 100.0f);
    const auto layout = std::make_shared<VoxelLayout>("l", 0.3f);
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setLayout(layout);
    for (int n = 0; n < 200; ++n) {
        shape->setToWorld(randomSimilarity(random));
        const vec3f point{coordinate(random), coordinate(random), coordinate(random)};
        const auto offset = static_cast<VoxelOffsetType>(random() % 8);
        const int depth = 5 + static_cast<int>(random() % 3);

        expectNear(point, shape->tsx(shape->wsx(point)), 2e-3f);
        expectNear(point, shape->tsx(shape->wsx(point, offset, depth), offset, depth), 2e-3f);
    }
}

TEST(ShapeSpace, OffsetsAreCellsOfTheDepth)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->dxChanged(2.0f);

    EXPECT_EQ((vec3f{3.0f, 5.0f, 7.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetCentre, 7));
    EXPECT_EQ((vec3f{2.0f, 9.0f, 11.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetFaceX, 6));
    EXPECT_EQ((vec3f{1.0f, 2.0f, 3.0f}), shape->tsx({2.0f, 9.0f, 11.0f}, eOffsetFaceX, 6));
}

TEST(ShapeSpace, WorldUsesRowVectors)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    Similarity quarter_turn;  // x to y, y to -x, then 10 along x
    quarter_turn.toWorld = {{0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1}};
    quarter_turn.fromWorld = {{0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 10, 0, 1}};
    shape->setToWorld(quarter_turn);
    shape->dxChanged(2.0f);

    EXPECT_EQ((vec3f{6.0f, 2.0f, 6.0f}), shape->wsx({1.0f, 2.0f, 3.0f}));
    EXPECT_EQ((vec3f{1.0f, 2.0f, 3.0f}), shape->tsx({6.0f, 2.0f, 6.0f}));
}

TEST(ShapeBounds, InWorldAreTheScaledBoxOfTheLayout)
{
    const auto layout = std::make_shared<VoxelLayout>("l", 0.5f);
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setLayout(layout);
    vec3f lo{};
    vec3f hi{};
    shape->worldBounds(lo, hi);
    EXPECT_EQ((vec3f{}), lo);
    EXPECT_EQ((vec3f{}), hi);

    layout->addNode(-2, 3, 8, 7);   // the tile from (-2, 3, 8) to (3, 8, 13)
    layout->addNode(13, -7, 8, 7);  // and from (13, -7, 8) to (18, -2, 13)
    vec3i tile_lo{};
    vec3i tile_hi{};
    shape->tileBounds(tile_lo, tile_hi);
    shape->worldBounds(lo, hi);

    EXPECT_EQ((vec3i{-2, -7, 8}), tile_lo);
    EXPECT_EQ((vec3i{18, 8, 13}), tile_hi);
    EXPECT_EQ((vec3f{-1.0f, -3.5f, 4.0f}), lo);
    EXPECT_EQ((vec3f{9.0f, 4.0f, 6.5f}), hi);
}

TEST(ShapeBounds, InAnotherTreeSpaceAreThoseOfTheCorners)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
    for (int n = 0; n < 50; ++n) {
        const auto from = std::make_shared<VoxelShape>("from");
        const auto to = std::make_shared<VoxelShape>("to");
        from->dxChanged(0.5f);
        to->dxChanged(0.2f);
        from->setToWorld(randomSimilarity(random));
        to->setToWorld(randomSimilarity(random));
        vec3f lo{};
        vec3f hi{};
        for (int a = 0; a < 3; ++a) {
            const float first = coordinate(random);
            const float second = coordinate(random);
            lo[a] = std::min(first, second);
            hi[a] = std::max(first, second);
        }
        vec3f found_lo{};
        vec3f found_hi{};

        from->tsxBBox(lo, hi, to.get(), 1.5f, found_lo, found_hi);

        vec3f expected_lo{1e9f, 1e9f, 1e9f};
        vec3f expected_hi{-1e9f, -1e9f, -1e9f};
        for (const float x : {lo[0] - 1.5f, hi[0] + 1.5f}) {
            for (const float y : {lo[1] - 1.5f, hi[1] + 1.5f}) {
                for (const float z : {lo[2] - 1.5f, hi[2] + 1.5f}) {
                    const vec3f corner = to->tsx(from->wsx({x, y, z}));
                    for (int a = 0; a < 3; ++a) {
                        expected_lo[a] = std::min(expected_lo[a], corner[a]);
                        expected_hi[a] = std::max(expected_hi[a], corner[a]);
                    }
                }
            }
        }
        EXPECT_EQ(expected_lo, found_lo);
        EXPECT_EQ(expected_hi, found_hi);
    }
}

TEST(ShapeSync, ReachesTheNamedChannels)
{
    struct Synced : VoxelChannel<float> {
        void sync() override { ++calls; }
        int calls = 0;
    };
    const auto shape = std::make_shared<VoxelShape>("s");
    const auto a = std::make_shared<Synced>();
    const auto b = std::make_shared<Synced>();
    a->setName("a");
    b->setName("b");
    shape->addChannel(a);
    shape->addChannel(b);

    shape->sync({"a", "x"});

    EXPECT_EQ(1, a->calls);
    EXPECT_EQ(0, b->calls);
}

/// Bytes of a shape as version 3 had them: all but the dictionary.
std::string shapeBytes(int in_version)
{
    MemoryWriter writer;
    if (in_version > 1) {
        writer.write(static_cast<unsigned short>(in_version));
    }
    writer.write("s");
    writer.write("l");
    writer.write("o");
    writer.write(0.5f);
    writer.write(2.0f);
    mat4f to_world;
    to_world(3, 0) = 7.0f;
    mat4f from_world;
    from_world(3, 0) = -7.0f;
    writer.write(to_world);
    writer.write(from_world);
    return writer.bytes();
}

std::string bytesOf(const TreeShape3DBase& in_shape)
{
    MemoryWriter writer;
    EXPECT_TRUE(in_shape.save(writer));
    return writer.bytes();
}

bool loadShape(TreeShape3DBase& io_shape, const std::string& in_bytes, int in_version = 4)
{
    MemoryReader reader(in_bytes);
    reader.setVersion(in_version);
    return io_shape.load(reader) && reader.atEnd();
}

TEST(ShapeStream, HoldsTheHeaderAndTheDictionary)
{
    VoxelShape shape;
    ASSERT_TRUE(loadShape(shape, shapeBytes(3), 3));
    std::shared_ptr<Dictionary> dictionary;
    shape.dictionary(dictionary);
    dictionary->setValue("flag", 3);
    MemoryWriter expected;
    expected.write(dictionary->save());

    EXPECT_EQ(shapeBytes(4) + expected.bytes(), bytesOf(shape));

    VoxelShape loaded;
    ASSERT_TRUE(loadShape(loaded, bytesOf(shape)));
    EXPECT_EQ(bytesOf(shape), bytesOf(loaded));
    EXPECT_EQ("o", loaded.objectName());
    EXPECT_EQ("l", loaded.layoutName());
    EXPECT_EQ(0.5f, loaded.voxelSize());
    EXPECT_EQ((vec3f{7.5f, 0.5f, 0.5f}), loaded.wsx({1.0f, 1.0f, 1.0f}));
}

TEST(ShapeStream, OlderVersionsHaveNoDictionary)
{
    for (const int version : {1, 2, 3}) {
        VoxelShape shape;
        EXPECT_TRUE(loadShape(shape, shapeBytes(version), version)) << version;
        EXPECT_EQ("s", shape.name());
        EXPECT_EQ((vec3f{-14.0f, 0.0f, 0.0f}), shape.tsx({0.0f, 0.0f, 0.0f}));
    }
    VoxelShape shape;
    EXPECT_FALSE(loadShape(shape, shapeBytes(5)));
}

TEST(ShapeStream, DamagedBytesLeaveTheShape)
{
    VoxelShape shape("old");
    const std::string bytes = bytesOf(VoxelShape("new"));
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        ASSERT_FALSE(loadShape(shape, bytes.substr(0, cut))) << cut;
        ASSERT_EQ("old", shape.name()) << cut;
    }
    // version, name, layout name, object name, and behind 2 floats and 2 matrices the dictionary
    for (const std::size_t place : {0, 2, 9, 13, 17 + 8 + 128, 17 + 8 + 128 + 4}) {
        std::string damaged = bytes;
        damaged.replace(place, 2, "\xff\xfe");
        ASSERT_FALSE(loadShape(shape, damaged)) << place;
        ASSERT_EQ("old", shape.name()) << place;
    }
}

TEST(DictionaryShape, CopiesItsValues)
{
    const auto shape = std::make_shared<DictionaryShape>("d");
    std::shared_ptr<Dictionary> dictionary;
    shape->dictionary(dictionary);
    dictionary->setValue("flag", 3);

    const auto copy = shape->copy(false, false);
    dictionary->removeValue("flag");
    copy->dictionary(dictionary);

    int flag = 0;
    EXPECT_TRUE(dictionary->getValue("flag", flag));
    EXPECT_EQ(3, flag);
}

}  // namespace
}  // namespace Skelvar::Test
