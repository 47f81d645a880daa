#include <skelvar/base/Dictionary.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <tests/support/MemoryStream.h>
#include <tests/voxel/VoxelFixture.h>

namespace Skelvar::Test {
namespace {

TEST(ShapePaths, ComposeFromTheObjectDown)
{
    ShapeOnLayout on(0);
    const auto channel = on.addChannel<float>("a");
    EXPECT_EQ("s.a", channel->partialPathName());
    EXPECT_EQ("s.a", channel->fullPathName());

    auto object = std::make_shared<BObject>();
    object->setName("o");
    on.shape->setObject(object);
    EXPECT_EQ("o", on.shape->objectName());
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
    EXPECT_EQ("", channel->makePartialPathName("x"));
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

TEST(ShapeSync, ReachesAllChannelsButTheNamed)
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
    shape->sync({});

    EXPECT_EQ(1, a->calls);
    EXPECT_EQ(2, b->calls);
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
