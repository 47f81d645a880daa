#include <skelvar/voxel/DictionaryShape.h>

#include <tests/support/ErrorOf.h>
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

TEST(ChannelTable, RefusesWrongNamesAndKindsAndStaysAsItWas)
{
    TwoChannels on;
    VoxelShape& shape = *on.shape;
    DictionaryShape dictionary("d");
    const auto other = channelNamed("a");
    const std::string no_layout = ".layout(): layout==null. Did you fetch it from state server?";
    const struct {
        std::string expected;
        std::string found;
    } rows[] = {
        {"Channel with name a already exists in shape s",
         errorOf([&] { shape.addChannel(other); })},
        {"Channel with name x does not exist on shape s",
         errorOf([&] { shape.updateChannel(channelNamed("x")); })},
        {"Channel with name x does not exist on shape s",
         errorOf([&] { shape.renameChannel("x", "y"); })},
        {"Channel with name b already exists on shape s",
         errorOf([&] { shape.renameChannel("a", "b"); })},
        {"Channel with name b already exists on shape s",
         errorOf([&] { shape.renameChannel("b", "b"); })},
        {"Channel with name a or x does not exist in Shape s",
         errorOf([&] { shape.swapChannels("a", "x"); })},
        {"Channel with name y or b does not exist in Shape s",
         errorOf([&] { shape.swapChannels("y", "b"); })},
        {"Channel with name x does not exist in shape s",
         errorOf([&] { shape.removeChannel("x"); })},
        {"TreeShape3DBase::channel(): channel with name x",
         errorOf([&] { shape.channelBasePtr("x"); })},
        {"VoxelChannel.setShape: in_shape not of type VoxelShape",
         errorOf([&] { std::make_shared<DictionaryShape>("d")->addChannel(channelNamed("a")); })},
        {"VoxelShape" + no_layout, errorOf([&] { shape.layout(); })},
        {"TreeShape3DBase" + no_layout, errorOf([&] { dictionary.layout(); })},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, row.found);
    }
    EXPECT_EQ((Names{"a", "b"}), shape.channelNames());
    EXPECT_EQ(on.a, shape.channelBasePtr("a"));
    EXPECT_EQ(nullptr, other->shapePtr());
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
    EXPECT_FALSE(on.shape->hasChannel("d"));
}

TEST(ChannelTable, KeepsEntriesNamesAndShapesInStep)
{
    TwoChannels on;
    VoxelShape& shape = *on.shape;
    const auto other = channelNamed("a");

    shape.updateChannel(other);
    EXPECT_EQ(other, shape.channelBasePtr("a"));
    EXPECT_EQ(on.shape, other->shapePtr());
    EXPECT_EQ(nullptr, on.a->shapePtr());

    shape.renameChannel("a", "z");
    EXPECT_EQ((Names{"b", "z"}), shape.channelNames());
    EXPECT_EQ("z", other->name());

    shape.swapChannels("b", "z");
    shape.swapChannels("b", "b");
    EXPECT_EQ(other, shape.channelBasePtr("b"));
    EXPECT_EQ("b", other->name());
    EXPECT_EQ("z", on.b->name());

    shape.removeChannel("b");
    EXPECT_EQ(nullptr, other->shapePtr());
    EXPECT_EQ("", other->shapeName());

    shape.setChannelToNull("z");
    EXPECT_EQ(nullptr, shape.channelBasePtr("z"));
    EXPECT_EQ(nullptr, on.b->shapePtr());

    shape.addChannel(on.a);
    shape.deleteAllChannels();
    EXPECT_EQ(0, shape.channelCount());
    EXPECT_EQ(nullptr, on.a->shapePtr());
}

}  // namespace
}  // namespace Skelvar::Test
