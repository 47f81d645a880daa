#include <skelvar/voxel/DictionaryShape.h>

#include <tests/voxel/VoxelFixture.h>

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

}  // namespace
}  // namespace Skelvar::Test
