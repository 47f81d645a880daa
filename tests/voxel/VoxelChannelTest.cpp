#include <skelvar/voxel/VoxelChannelFactory.h>

#include <tests/support/ErrorOf.h>
#include <tests/voxel/VoxelFixture.h>

#include <limits>

namespace Skelvar::Test {
namespace {

TEST(VoxelChannelFactory, MakesTheElevenTypesThatFilesName)
{
    std::shared_ptr<TreeChannel3DBase> channel;
    for (const std::string element :
         {"float", "vec<2,float>", "vec<3,float>", "vec<4,float>", "int32_t", "vec<2,int32_t>",
          "vec<3,int32_t>", "vec<4,int32_t>", "int64_t", "uint32_t", "uint64_t"}) {
        ASSERT_TRUE(VoxelChannelFactory::create("VoxelChannel<" + element + ">", channel));
        EXPECT_EQ("VoxelChannel<" + element + ">", channel->typeMeta()->typeName());
        EXPECT_EQ(element, channel->elementTypeMeta()->typeName());
        EXPECT_TRUE(channel->isCastableTo("TreeChannel3DTyped<" + element + ">"));
        EXPECT_TRUE(channel->isCastableTo("TreeChannel3DBase"));
        EXPECT_FALSE(channel->isCastableTo("VoxelChannel<bool>"));
    }
    for (const std::string name : {"VoxelChannel<bool>", "VoxelChannel<uint8_t>", "VoxelChannel",
                                   "VoxelChannel<float> ", ""}) {
        channel = nullptr;
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
    const auto background = valueOf<TypeParam>(4);
    const auto value = valueOf<TypeParam>(8);

    EXPECT_EQ(125u * 626u, channel->numElements());
    for (const TileIndex tile : {TileIndex{0, 0}, TileIndex{124, 1}, TileIndex{499, 2}}) {
        EXPECT_TRUE(isFilledWith(channel->tile(tile), background));
    }

    channel->set(value, 1, 100);
    channel->set(background, 2, 1);
    channel->set(background, 8, 100);
    channel->set(background, -100, 0);

    EXPECT_TRUE(isFilledWith(channel->tile(0, 0), background));
    EXPECT_TRUE(isFilledWith(channel->tile(124, 1), value));
    for (int n = 0; n < 500; ++n) {
        ASSERT_TRUE(isFilledWith(channel->tile(n, 2), value)) << n;
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

TYPED_TEST(VoxelChannelOf, ValuesOfManyCellsAreThoseOfEachOrTheBackground)
{
    ShapeOnLayout on(3);
    const auto channel = on.addChannel<TypeParam>("c");
    std::vector<CellIndex> cells;
    for (int n = 0; n < 600; ++n) {
        cells.push_back({n % 7 == 0 ? kNoTileIndex : TileIndex{n * 101 % 375, 2}, n * 37 % 125});
    }
    const auto values = std::make_unique<TypeParam[]>(cells.size() + 1);
    values[cells.size()] = valueOf<TypeParam>(9);

    channel->values(cells.data(), static_cast<long long>(cells.size()), values.get());

    for (std::size_t n = 0; n < cells.size(); ++n) {
        ASSERT_EQ(n % 7 == 0 ? channel->backgroundValue()
                             : cellValue<TypeParam>(cells[n].tile, cells[n].cell),
                  values[n])
            << n;
    }
    EXPECT_EQ(valueOf<TypeParam>(9), values[cells.size()]);
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
          TileIndex{least, least}, TileIndex{most, most}, TileIndex{-2, -1}}) {
        count = 7;
        EXPECT_EQ(nullptr, channel->tileArrayPtr(tile, count));
        EXPECT_EQ(0ul, count);
    }
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
    VoxelChannel<float> empty;
    EXPECT_TRUE(empty.begin() == empty.end());
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

TEST(TileInitializer, NopLeavesNewTilesAndBackgroundFillsThem)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<int>("c", false);
    channel->resize(3, 2);
    channel->set(77, 3, 3);
    channel->resize(3, 0);  // the memory stays, with its values

    channel->setTileInitializer(eTileInitializerNOP);
    on.addChild({0, 2});
    channel->setTileInitializer(eTileInitializerBackground);
    on.addChild({1, 2});

    EXPECT_TRUE(isFilledWith(channel->tile(0, 3), 77));
    EXPECT_TRUE(isFilledWith(channel->tile(1, 3), 4));
    EXPECT_EQ(
        "VoxelChannel<T>::setTileInitializer(VoxelTileInitializerType in_type) : type not "
        "supported!",
        errorOf([&] { channel->setTileInitializer(static_cast<VoxelTileInitializerType>(4)); }));
}

}  // namespace
}  // namespace Skelvar::Test
