#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/voxel/DictionaryShape.h>
#include <skelvar/voxel/VoxelChannelFactory.h>

#include <tests/voxel/VoxelFixture.h>

#include <atomic>
#include <limits>
#include <mutex>
#include <set>
#include <sstream>

namespace Skelvar::Test {
namespace {

TEST(VoxelChannelName, IsTheChainOfItsClasses)
{
    const VoxelChannel<vec3f> channel;

    EXPECT_EQ("VoxelChannel<vec<3,float>>", channel.typeMeta()->typeName());
    EXPECT_EQ("vec<3,float>", channel.elementTypeMeta()->typeName());
    EXPECT_TRUE(channel.isCastableTo("VoxelChannel<vec<3,float>>"));
    EXPECT_TRUE(channel.isCastableTo("TreeChannel3DTyped<vec<3,float>>"));
    EXPECT_TRUE(channel.isCastableTo("TreeChannel3DBase"));
    EXPECT_FALSE(channel.isCastableTo("VoxelChannel<float>"));
    EXPECT_FALSE(channel.isCastableTo(""));
}

TEST(VoxelChannelFactory, MakesTheElevenTypesThatFilesName)
{
    const char* const elements[] = {"float",   "vec<2,float>",   "vec<3,float>",   "vec<4,float>",
                                    "int32_t", "vec<2,int32_t>", "vec<3,int32_t>", "vec<4,int32_t>",
                                    "int64_t", "uint32_t",       "uint64_t"};
    for (const std::string element : elements) {
        std::shared_ptr<TreeChannel3DBase> channel;
        ASSERT_TRUE(VoxelChannelFactory::create("VoxelChannel<" + element + ">", channel));
        EXPECT_EQ("VoxelChannel<" + element + ">", channel->typeMeta()->typeName());
        EXPECT_EQ("", channel->name());
        EXPECT_EQ(nullptr, channel->shapePtr());
    }
    for (const std::string name : {"VoxelChannel<bool>", "VoxelChannel<uint8_t>", "VoxelChannel",
                                   "VoxelChannel<float> ", ""}) {
        std::shared_ptr<TreeChannel3DBase> channel;
        EXPECT_FALSE(VoxelChannelFactory::create(name, channel)) << name;
        EXPECT_EQ(nullptr, channel);
    }
}

template <typename T>
class VoxelChannelOf : public ::testing::Test {
};
TYPED_TEST_SUITE(VoxelChannelOf, VoxelTypes);

TYPED_TEST(VoxelChannelOf, NewTilesHoldTheBackgroundAndSetFillsDepths)
{
    ShapeOnLayout on(4);
    const auto channel = on.addChannel<TypeParam>("c", false);

    ASSERT_EQ(1 + 125 + 4 * 125, channel->numTiles());
    EXPECT_EQ(125u * 626u, channel->numElements());
    for (const TileIndex tile : {TileIndex{0, 0}, TileIndex{124, 1}, TileIndex{499, 2}}) {
        EXPECT_TRUE(isFilledWith(channel->tile(tile), valueOf<TypeParam>(4)));
    }

    channel->set(valueOf<TypeParam>(8), 1, 2);

    EXPECT_TRUE(isFilledWith(channel->tile(0, 0), valueOf<TypeParam>(4)));
    EXPECT_TRUE(isFilledWith(channel->tile(124, 1), valueOf<TypeParam>(8)));
    for (int n = 0; n < 500; ++n) {
        ASSERT_TRUE(isFilledWith(channel->tile(n, 2), valueOf<TypeParam>(8))) << n;
    }
}

TYPED_TEST(VoxelChannelOf, SetFromAChannelTakesItsSizesAndValues)
{
    ShapeOnLayout on(3);
    const auto source = on.addChannel<TypeParam>("source");
    VoxelChannel<TypeParam> target;
    target.resize(2, 1000);
    target.resize(7, 3);

    target.set(*source);

    EXPECT_EQ(375, target.numTiles(2));
    EXPECT_EQ(0, target.numTiles(7));
    EXPECT_TRUE(holdsNumbers(target));
    source->set(*source);
    EXPECT_TRUE(holdsNumbers(*source));
}

TEST(VoxelChannel, SetClampsTheDepthRange)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<int>("c");

    channel->set(5, 3, 2);
    channel->set(6, 8, 100);
    EXPECT_TRUE(holdsNumbers(*channel));

    channel->set(7, -100, 100);
    EXPECT_TRUE(isFilledWith(channel->tile(0, 0), 7));
    EXPECT_TRUE(isFilledWith(channel->tile(124, 2), 7));
}

TEST(VoxelChannel, TileArrayPtrAnswersAnyIndex)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();

    unsigned long count = 7;
    EXPECT_EQ(channel->tile(124, 2).data(), channel->tileArrayPtr({124, 2}, count));
    EXPECT_EQ(125ul, count);
    for (const TileIndex tile :
         {TileIndex{125, 2}, TileIndex{0, 3}, TileIndex{0, 8}, TileIndex{-1, 0}, TileIndex{0, -1},
          TileIndex{least, least}, TileIndex{most, most}, TileIndex{-1, -1}, TileIndex{-2, -1}}) {
        count = 7;
        EXPECT_EQ(nullptr, channel->tileArrayPtr(tile, count));
        EXPECT_EQ(0ul, count);
    }
}

TEST(VoxelChannel, ElementsAreReachedWithoutTheirType)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<vec3i>("c");
    TreeChannel3DBase& base = *channel;
    const vec3i value{1, 2, 3};

    base.setElemVoidPtr({3, 1}, 4, 3, 2, &value);

    EXPECT_EQ(value, channel->tile(3, 1)(4 + 5 * 3 + 25 * 2));
    EXPECT_EQ(value, *static_cast<const vec3i*>(base.getElemVoidPtr({3, 1}, 4, 3, 2)));
    EXPECT_EQ((vec3i{4, 5, 6}), *static_cast<const vec3i*>(base.backgroundValuePtr()));
}

TEST(VoxelChannel, OffsetFollowsItsTypeAndLeavesTheData)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    EXPECT_EQ((vec3f{0.5f, 0.5f, 0.5f}), channel->offset());

    channel->setOffsetType(eOffsetFaceY);

    EXPECT_EQ((vec3f{0.5f, 0.0f, 0.5f}), channel->offset());
    EXPECT_TRUE(holdsNumbers(*channel));
}

TEST(VoxelChannel, OnlyVoxelShapesFit)
{
    VoxelChannel<float> channel;
    const auto shape = std::make_shared<VoxelShape>("s");

    channel.setShape(shape);
    EXPECT_EQ(shape, channel.voxelShapePtr());
    EXPECT_EQ("s", channel.shapeName());

    EXPECT_EQ("VoxelChannel.setShape: in_shape not of type VoxelShape",
              errorOf([&] { channel.setShape(std::make_shared<DictionaryShape>("d")); }));
    EXPECT_EQ(shape, channel.shapePtr());

    channel.setShape(nullptr);
    EXPECT_EQ(nullptr, channel.voxelShapePtr());
    EXPECT_EQ("", channel.shapeName());
}

TEST(VoxelChannel, CheckAllocatedSizesTellsTheDepthThatDiffers)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    std::ostringstream report;
    EXPECT_TRUE(channel->checkAllocatedSizes(&report));
    EXPECT_EQ("", report.str());

    channel->resize(2, 124);

    EXPECT_FALSE(channel->checkAllocatedSizes());
    EXPECT_FALSE(channel->checkAllocatedSizes(&report));
    EXPECT_EQ(
        "Allocated sizes mismatch: channel c has 124 tiles at depth 2, its layout 125 nodes\n",
        report.str());
}

TEST(VoxelChannel, ResizeToALayoutCallsTheDepthsOnlyOnADifference)
{
    struct Counting : VoxelChannel<float> {
        using VoxelChannel<float>::resize;
        void resize(int in_depth, int in_count) override
        {
            ++calls;
            VoxelChannel<float>::resize(in_depth, in_count);
        }
        std::atomic<int> calls{0};
    };
    const ShapeOnLayout on(1);
    Counting channel;

    channel.resize(*on.layout);
    EXPECT_EQ(8, channel.calls);
    EXPECT_EQ(251, channel.numTiles());

    channel.resize(*on.layout);
    EXPECT_EQ(8, channel.calls);
}

TEST(VoxelChannel, MemoryOfABulkBuiltTreeIsExact)
{
    ShapeOnLayout on(0);
    const auto channel = on.addChannel<float>("c");
    for (int n = 0; n < 8; ++n) {
        on.split({n, 1});
    }

    EXPECT_EQ(1126u * 500u, channel->memUsage(MemUsage::eMemUsed, false));
    EXPECT_EQ(1126u * 500u, channel->memUsage(MemUsage::eMemAllocated, false));
}

TEST(VoxelChannel, IteratorWalksEveryElementWithItsPlace)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    unsigned long long count = 0;
    const auto end = channel->end();

    for (auto place = channel->begin(); place != end; ++place, ++count) {
        const vec3i local = place.localPos();
        ASSERT_EQ(cellValue<float>(place.tileIndex(), local[0] + 5 * local[1] + 25 * local[2]),
                  place.read());
        place.write(-1.0f);
    }

    EXPECT_EQ(channel->numElements(), count);
    EXPECT_TRUE(isFilledWith(channel->tile(124, 2), -1.0f));
}

TEST(VoxelChannel, IteratorOfAnEmptyChannelIsAtItsEnd)
{
    VoxelChannel<float> channel;

    EXPECT_TRUE(channel.begin() == channel.end());
}

TEST(VoxelChannel, IteratorPlacesValuesInTreeSpace)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    channel->setOffsetType(eOffsetFaceX);
    auto place = channel->begin();
    for (int n = 0; n < 125 + 7; ++n) {  // on to cell (2, 1, 0) of the first tile of depth 1
        ++place;
    }

    const vec3f position = place.globalPos();

    const float corner = -195312.0f;
    EXPECT_EQ((vec3f{corner + 15625.0f * 2.0f, corner + 15625.0f * 1.5f, corner + 15625.0f * 0.5f}),
              position);
    VoxelChannel<float> alone;
    alone.resize(0, 1);
    EXPECT_NE("no throw", errorOf([&] { alone.begin().globalPos(); }));
}

TEST(TileInitializer, OfUnknownTypeThrows)
{
    VoxelChannel<float> channel;

    EXPECT_EQ(
        "VoxelChannel<T>::setTileInitializer(VoxelTileInitializerType in_type) : type not "
        "supported!",
        errorOf([&] { channel.setTileInitializer(static_cast<VoxelTileInitializerType>(4)); }));
}

TEST(TileInitializer, NopLeavesNewTilesAndBackgroundFillsThem)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<int>("c", false);
    channel->resize(3, 2);
    channel->set(77, 3, 3);
    channel->resize(3, 0);  // the memory stays, with its values

    channel->setTileInitializer(eTileInitializerNOP);
    on.layout->addNode(on.layout->node(0, 2).i(), on.layout->node(0, 2).j(),
                       on.layout->node(0, 2).k(), 3);
    channel->setTileInitializer(eTileInitializerBackground);
    on.layout->addNode(on.layout->node(1, 2).i(), on.layout->node(1, 2).j(),
                       on.layout->node(1, 2).k(), 3);

    EXPECT_TRUE(isFilledWith(channel->tile(0, 3), 77));
    EXPECT_TRUE(isFilledWith(channel->tile(1, 3), 4));
}

/// Labels of the events that work raises while this lives.
class LabelRecorder {
public:
    LabelRecorder()
    {
        s_labels.clear();
        SkelvarProfiler::eventBeginFunc = [](int, int, const char* in_name, int) -> void* {
            const std::lock_guard lock(s_mutex);
            s_labels.insert(in_name);
            return &s_labels;
        };
        SkelvarProfiler::eventEndFunc = [](void*) {};
    }
    ~LabelRecorder()
    {
        SkelvarProfiler::eventBeginFunc = nullptr;
        SkelvarProfiler::eventEndFunc = nullptr;
    }
    static bool has(const std::string& in_label)
    {
        const std::lock_guard lock(s_mutex);
        return s_labels.count(in_label) != 0;
    }

private:
    static inline std::mutex s_mutex;
    static inline std::set<std::string> s_labels;
};

TEST(ProfilerLabels, NameTheWorkOfChannelsAndShapes)
{
    const LabelRecorder labels;
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    std::shared_ptr<TreeChannel3DBase> other = std::make_shared<VoxelChannel<float>>();

    on.shape->addUniqueChannel(other, "d");
    channel->set(1.0f, 0, 7);
    channel->set(static_cast<VoxelChannel<float>&>(*other));
    channel->copy(true, false);
    on.split({1, 1});
    channel->setTileInitializer(eTileInitializerNOP);
    on.split({2, 1});
    on.layout->addNode(on.layout->node(0, 2).i(), on.layout->node(0, 2).j(),
                       on.layout->node(0, 2).k(), 3);
    on.layout->deleteNode({0, 2});
    on.layout->clear();

    for (const char* const label :
         {"TreeShape3DBase::addChannel", "TreeShape3DBase::addUniqueChannel",
          "TreeChannel3DBase::resize", "VoxelChannel<T>::set(v,min,max)",
          "VoxelChannel<T>::set(channel)", "VoxelChannel<T>::copyInto", "VoxelChannel::nodesAdded",
          "nodesAdded_bg", "nodesAdded_init", "TreeShape3DBase<T>::nodeAdded",
          "TreeShape3DBase<T>::nodesAdded", "TreeShape3DBase<T>::nodesDeleted",
          "TreeShape3DBase<T>::nodesCleared"}) {
        EXPECT_TRUE(LabelRecorder::has(label)) << label;
    }
}

}  // namespace
}  // namespace Skelvar::Test
