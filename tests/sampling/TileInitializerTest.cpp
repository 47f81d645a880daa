#include <tests/sampling/Field.h>
#include <tests/sampling/SlowSampler.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace Skelvar {
namespace {

using namespace Test;

TEST(ConstantInitializer, TakesTheParentsCellAndTheBackgroundWithoutParent)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).build();
    Field<int> field(layout, 9);
    for (int n = 0; n < 125; ++n) {
        field.channel->tile(0, 6)(n) = n;
    }
    field.channel->setTileInitializer(eTileInitializerConstant);

    // The tile of depth 6 begins at -12: cell (1, 2, 4) is [-7, -2) x [-2, 3) x [8, 13).
    layout->addNode(-7, 0, 8, 7);
    layout->addNodes({{100, 0, 0}}, 7);
    layout->addNodes({{-12, -12, -12}, {12, 12, 12}}, 7);

    EXPECT_TRUE(isFilledWith(field.channel->tile(0, 7), 1 + 5 * 2 + 25 * 4));
    EXPECT_TRUE(isFilledWith(field.channel->tile(1, 7), 9));
    EXPECT_TRUE(isFilledWith(field.channel->tile(2, 7), 0));
    EXPECT_TRUE(isFilledWith(field.channel->tile(3, 7), 124));
}

/// Batches of new tiles of all depths below those that are there, as bulk insertion wants them.
std::vector<std::vector<vec3i>> randomBatch(const VoxelLayout& in_layout,
                                            Testing::Random& io_random, int in_count)
{
    std::vector<std::vector<vec3i>> points(kNumDepths);
    std::set<TileId> taken;
    for (int n = 0; n < in_count; ++n) {
        const vec3i p{io_random.integer(-150, 150), io_random.integer(-150, 150),
                      io_random.integer(-60, 60)};
        const int last = io_random.integer(5, 7);
        for (int depth = 4; depth <= last; ++depth) {
            const TileId id = tileCoordsToId(p[0], p[1], p[2], depth);
            if (!in_layout.nodeExists(id) && taken.insert(id).second) {
                points[depth].push_back(p);
            }
        }
    }
    return points;
}

/// What a new tile must hold is read off the tiles that were there and those above it, which the
/// batch has filled before it.
template <typename T>
void expectFilledFromAbove(const Field<T>& in_field, const std::vector<TileId>& in_added)
{
    const auto slow = slowMembers(*in_field.channel, *in_field.layout);
    for (std::size_t n = 0; n < in_added.size(); n += 7) {
        const TileIndex index = in_field.layout->template nodeIndex<true>(in_added[n]);
        const VoxelLayoutNode& node = in_field.layout->node(index);
        const float side = VoxelLayout::cellWidth(index.second);
        for (int cell = static_cast<int>(n % 5); cell < 125; cell += 9) {
            const vec3f at{static_cast<float>(cell % 5), static_cast<float>(cell / 5 % 5),
                           static_cast<float>(cell / 25)};
            const vec3f corner{static_cast<float>(node.i()), static_cast<float>(node.j()),
                               static_cast<float>(node.k())};
            const vec3f position = corner + (at + in_field.channel->offset()) * side;
            for (int m = 0; m < MemberOf<T>::kCount; ++m) {
                ASSERT_EQ(slow[m].sample(position, index.second - 1),
                          MemberOf<T>::get(in_field.channel->tile(index)(cell), m))
                    << "tile " << index.first << " of depth " << index.second << " cell " << cell;
            }
        }
    }
}

template <typename T>
void growUnderRandomEdits(unsigned int in_seed, VoxelOffsetType in_offset)
{
    Testing::Random random(in_seed);
    SCOPED_TRACE(random.seed());
    Field<T> field(std::make_shared<VoxelLayout>("l"), valueOf<T>(3), in_offset);
    field.layout->addNode(0, 0, 0, 3);
    field.channel->setTileInitializer(eTileInitializerLinear);
    for (int round = 0; round < 4; ++round) {
        field.fill([&](const vec3f&) { return anyValue<T>(random); });
        std::vector<TileId> added;

        field.layout->addNodes(randomBatch(*field.layout, random, 400), &added);

        ASSERT_GT(added.size(), 200u);  // enough to be shared out among threads
        ASSERT_NO_FATAL_FAILURE(expectFilledFromAbove(field, added));
        // Indices move, which the next batch must not stumble over.
        std::vector<TileIndex> deleted;
        for (int n = 0; n < field.layout->numNodes(6); n += 3) {
            deleted.push_back({n, 6});
        }
        field.layout->deleteNodes(deleted);
    }
}

TEST(LinearInitializer, FillsBatchesOnManyThreadsAsTheSamplerReads)
{
    growUnderRandomEdits<float>(77, eOffsetCentre);
    growUnderRandomEdits<int>(78, eOffsetFaceX);
    growUnderRandomEdits<vec3f>(79, eOffsetCorner);
}

TEST(LinearInitializer, ReadsTheTreeAsItIsAtEachSingleNode)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 5).build(), 1.0f);
    field.channel->setTileInitializer(eTileInitializerLinear);
    for (int n = 0; n < 4; ++n) {
        field.channel->tile(0, 5).set(10.0f * static_cast<float>(n + 1));

        const TileId id = tileCoordsToId(-62 + 25 * n, -62, -62, 6);  // reads the parent's halo
        field.layout->addNode(id);

        ASSERT_NO_FATAL_FAILURE(expectFilledFromAbove(field, {id}));
    }
}

/// Counts how often it is told that the tree has changed.
class CountingInitializer : public VoxelTileInitializer<VoxelChannel<float>> {
public:
    void reset() override { ++m_resets; }
    void initializeTile(const TileIndex&) override {}
    std::shared_ptr<VoxelTileInitializer> copy(VoxelChannel<float>*) const override
    {
        return std::make_shared<CountingInitializer>();
    }

    int m_resets = 0;
};

TEST(TileInitializers, AreResetAheadOfEachBatch)
{
    Field<float> field(LayoutBuilder().tile({0, 0, 0}, 5).build());
    const auto counting = std::make_shared<CountingInitializer>();
    field.channel->setTileInitializer(counting);

    field.layout->addNode(0, 0, 0, 6);
    EXPECT_EQ(1, counting->m_resets);
    field.layout->addNodes({{0, 0, 0}, {5, 0, 0}}, 7);
    EXPECT_EQ(2, counting->m_resets);
}

}  // namespace
}  // namespace Skelvar
