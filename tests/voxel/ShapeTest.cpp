#include <skelvar/base/Dictionary.h>
#include <skelvar/state/BObject.h>

#include <tests/support/MemoryStream.h>
#include <tests/voxel/VoxelFixture.h>

namespace Skelvar::Test {
namespace {

TEST(ShapePaths, ComposeFromTheObjectDown)
{
    ShapeOnLayout on(0);
    const auto channel = on.addChannel<float>("a");
    auto object = std::make_shared<BObject>();
    object->setName("o");
    EXPECT_EQ("s.a", channel->fullPathName());

    on.shape->setObject(object);
    EXPECT_EQ("o.s", on.shape->fullPathName());
    EXPECT_EQ("o.s.a", channel->fullPathName());
    EXPECT_EQ("s.a", channel->partialPathName());

    object = nullptr;  // its name lasts, its path does not
    EXPECT_EQ("o", on.shape->objectName());
    EXPECT_EQ("s.a", channel->fullPathName());

    on.shape->setName("t");
    EXPECT_EQ("t", channel->shapeName());
    on.shape->removeChannel("a");
    EXPECT_EQ("a", channel->fullPathName());
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
        EXPECT_EQ(0.25f, shape->voxelSize());

        shape->setLayout(second);
        EXPECT_TRUE(first->observers().empty());
        EXPECT_EQ(1u, second->observers().size());

        second->dxChanged(8.0f);
        EXPECT_EQ(8.0f, shape->voxelSize());
        EXPECT_EQ(0.125f, shape->inverseVoxelSize());
    }
    EXPECT_TRUE(second->observers().empty());
}

TEST(ShapeLayout, IsLeftAloneByACopyThatNeverObservedIt)
{
    struct Layout : VoxelLayout {
        void removeObserver(TreeLayout3DObserver* in_observer) override
        {
            ++removals;
            VoxelLayout::removeObserver(in_observer);
        }
        int removals = 0;
    };
    const auto layout = std::make_shared<Layout>();
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setLayout(layout);

    shape->copy(true, false).reset();
    EXPECT_EQ(0, layout->removals);
    shape->copy(true, false)->setLayout(layout);
    EXPECT_EQ(1, layout->removals);
    EXPECT_EQ(1u, layout->observers().size());
}

TEST(ShapeSync, ReachesAllChannelsButTheNamed)
{
    struct Synced : VoxelChannel<float> {
        void sync() override { ++calls; }
        int calls = 0;
    };
    const auto shape = std::make_shared<VoxelShape>("s");
    std::shared_ptr<Synced> channels[2];
    for (int n = 0; n < 2; ++n) {
        channels[n] = std::make_shared<Synced>();
        channels[n]->setName(n == 0 ? "a" : "b");
        shape->addChannel(channels[n]);
    }

    shape->sync({"a", "x"});
    shape->sync({});

    EXPECT_EQ(1, channels[0]->calls);
    EXPECT_EQ(2, channels[1]->calls);
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

}  // namespace
}  // namespace Skelvar::Test
