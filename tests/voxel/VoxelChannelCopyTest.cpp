#include <skelvar/base/Dictionary.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <tests/voxel/VoxelFixture.h>

namespace Skelvar::Test {
namespace {

template <typename T>
std::shared_ptr<VoxelChannel<T>> copyOf(const VoxelChannel<T>& in_channel, bool in_copy_data,
                                        bool in_share)
{
    return std::static_pointer_cast<VoxelChannel<T>>(in_channel.copy(in_copy_data, in_share));
}

template <typename Item>
std::shared_ptr<Dictionary> dictionaryOf(const Item& in_item)
{
    std::shared_ptr<Dictionary> dictionary;
    in_item.dictionary(dictionary);
    return dictionary;
}

TEST(ChannelCopy, OfTheHeaderNeverTakesMemoryForTiles)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    const auto header = copyOf(*channel, false, false);
    const auto header_of_header = copyOf(*header, true, true);
    header->setName("d");

    on.shape->addChannel(header);
    on.split({1, 1});
    on.addChild({0, 2});
    on.layout->deleteNode({3, 2});
    std::vector<std::vector<int>> deleted(8);
    deleted[2] = {0, 1};
    on.layout->deleteNodes(deleted);
    header->set(1.0f, 0, 7);
    header->set(*channel);
    header->resize(0, 5);
    on.layout->clear();

    for (const auto& each : {header, header_of_header}) {
        EXPECT_EQ(nullptr, each->blockDataPtr());
        EXPECT_EQ(0, each->numTiles());
        EXPECT_EQ(0u, each->memUsage(MemUsage::eMemAllocated, false));
        EXPECT_TRUE(each->checkAllocatedSizes());
    }
}

TEST(ChannelCopy, CarriesTheHeaderAndKeepsTheTargetsId)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    channel->setStateServerID(3);
    channel->setTagText("tag");
    channel->setTagWord(5);
    channel->setCreationKind(9);
    dictionaryOf(*channel)->setValue("before", 1);
    const auto fresh = std::make_shared<VoxelChannel<float>>();
    const auto owned = std::make_shared<VoxelChannel<float>>();
    owned->setStateServerID(4);

    channel->copyInto(fresh, true, false);
    channel->copyInto(owned, true, false);
    dictionaryOf(*channel)->setValue("after", 1);

    EXPECT_EQ("c", fresh->name());
    EXPECT_EQ("s", fresh->shapeName());
    EXPECT_EQ("tag", fresh->tagText());
    EXPECT_EQ(5, fresh->tagWord());
    EXPECT_EQ(9, fresh->creationKind());
    EXPECT_TRUE(dictionaryOf(*fresh)->hasValue("before"));
    EXPECT_FALSE(dictionaryOf(*fresh)->hasValue("after"));
    EXPECT_EQ(3u, fresh->stateServerID());
    EXPECT_EQ(4u, owned->stateServerID());
}

TEST(ChannelCopy, IntoAnotherClassThrows)
{
    const VoxelChannel<float> channel;
    const std::shared_ptr<TreeChannel3DBase> other = std::make_shared<VoxelChannel<int>>();
    const std::shared_ptr<TreeChannel3DBase> none;

    EXPECT_THROW(channel.copyInto(other, true, false), std::runtime_error);
    EXPECT_THROW(channel.copyInto(none, true, false), std::runtime_error);
}

/// Fills each new tile with 1 more than the channel's background value.
class PlusOne : public VoxelTileInitializer<VoxelChannel<float>> {
public:
    explicit PlusOne(VoxelChannel<float>* in_channel) : m_channel(in_channel) {}
    void reset() override {}
    void initializeTile(const TileIndex& in_index) override
    {
        m_channel->tile(in_index).set(m_channel->backgroundValue() + 1.0f);
    }
    std::shared_ptr<VoxelTileInitializer<VoxelChannel<float>>> copy(
        VoxelChannel<float>* io_channel) const override
    {
        return std::make_shared<PlusOne>(io_channel);
    }

private:
    VoxelChannel<float>* m_channel;
};

TEST(ChannelCopy, HasAnInitializerOfItsOwn)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c", false);
    channel->setTileInitializer(std::make_shared<PlusOne>(channel.get()));
    const auto copy = copyOf(*channel, true, false);
    copy->setName("d");
    copy->setBackgroundValue(100.0f);
    on.shape->addChannel(copy);

    on.split({1, 1});
    on.addChild({0, 2});

    for (const TileIndex tile : {TileIndex{249, 2}, TileIndex{0, 3}}) {
        EXPECT_TRUE(isFilledWith(channel->tile(tile), 5.0f));
        EXPECT_TRUE(isFilledWith(copy->tile(tile), 101.0f));
    }
}

TEST(ShapeCopy, TakesChannelsByTheFlagsAndDoesNotObserveTheLayout)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");

    const auto deep = on.shape->copy(true, false);
    const auto light = on.shape->copy(false, true);
    const auto header = on.shape->copy(false, false);

    const auto deep_channel = deep->channelBasePtr("c");
    const auto light_channel = light->channelBasePtr("c");
    EXPECT_NE(channel->blockDataPtr(), deep_channel->blockDataPtr());
    auto& deep_floats = static_cast<VoxelChannel<float>&>(*deep_channel);
    EXPECT_TRUE(holdsNumbers(deep_floats));
    deep_floats.set(0.0f, 0, 7);
    EXPECT_TRUE(holdsNumbers(*channel));
    EXPECT_EQ(deep, deep_channel->shapePtr());
    EXPECT_EQ(channel->blockDataPtr(), light_channel->blockDataPtr());
    EXPECT_NE(channel, light_channel);
    EXPECT_EQ(light, light_channel->shapePtr());
    EXPECT_TRUE(header->hasChannel("c"));
    EXPECT_EQ(nullptr, header->channelBasePtr("c"));
    EXPECT_EQ(on.layout, light->layoutPtr());
    EXPECT_EQ(1u, on.layout->observers().size());
    light->removeChannel("c");
    EXPECT_EQ(on.shape, channel->shapePtr());
}

TEST(ShapeCopy, IntoAShapeReplacesItsTableAndLeavesItsLayout)
{
    ShapeOnLayout source(1);
    source.addChannel<float>("c");
    ShapeOnLayout target(0);
    const auto old_channel = target.addChannel<int>("old");
    target.shape->setStateServerID(6);
    source.shape->setStateServerID(5);

    source.shape->copyInto(target.shape, true, false);

    EXPECT_EQ(std::vector<std::string>{"c"}, target.shape->channelNames());
    EXPECT_EQ(nullptr, old_channel->shapePtr());
    EXPECT_EQ(6u, target.shape->stateServerID());
    EXPECT_EQ(source.layout, target.shape->layoutPtr());
    EXPECT_TRUE(target.layout->observers().empty());
    EXPECT_THROW(source.shape->copyInto(std::make_shared<DictionaryShape>("d"), true, false),
                 std::runtime_error);
}

}  // namespace
}  // namespace Skelvar::Test
