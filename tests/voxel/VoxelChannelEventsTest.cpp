#include <tests/support/Random.h>
#include <tests/voxel/VoxelFixture.h>

#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <thread>

namespace Skelvar::Test {
namespace {

/// A layout under random edits, two channels of different types on it, and what their tiles must
/// hold: a number for each tile id, from which the 125 values follow.
class EditedShape {
public:
    explicit EditedShape(unsigned int in_seed) : m_random(in_seed) {}

    void edit();
    /// Holds the tiles against the model, and gives new ones their numbers.
    void check();
    /// Every n-th node of a depth, in one batch.
    void deleteEvery(int in_stride, int in_depth);

    ShapeOnLayout on{0};

private:
    int pick(int in_count) { return m_random.integer(0, in_count - 1); }
    /// Mostly deep, so that the tree grows between the deletions of whole branches.
    int anyDepth() { return pick(8) == 0 ? pick(8) : 2 + pick(6); }
    TileIndex anyNode();
    void deleteByIds();

    template <typename T>
    static bool startTile(VoxelTile<T, 0, 5>& io_tile, int in_number)
    {
        const bool is_new = isFilledWith(io_tile, valueOf<T>(4));
        for (int cell = 0; cell < 125; ++cell) {
            io_tile(cell) = valueOf<T>(in_number * 125 + cell);
        }
        return is_new;
    }
    template <typename T>
    static bool holds(const VoxelTile<T, 0, 5>& in_tile, int in_number)
    {
        int right = 0;
        for (int cell = 0; cell < 125; ++cell) {
            right += in_tile(cell) == valueOf<T>(in_number * 125 + cell);
        }
        return right == 125;
    }

    Testing::Random m_random;
    std::shared_ptr<VoxelChannel<float>> m_floats = on.addChannel<float>("f", false);
    std::shared_ptr<VoxelChannel<vec4i>> m_vectors = on.addChannel<vec4i>("v", false);
    std::map<TileId, int> m_numbers;
    int m_last_number = 0;
};

void EditedShape::edit()
{
    const int dice = pick(40);
    if (dice < 12) {  // few places, so that edits meet each other
        on.layout->addNode(pick(3) * 78125 - 195312, pick(3) * 15625, pick(40) * 5, pick(8));
    } else if (dice < 27) {
        const int depth = anyNode().second;
        if (depth >= 0 && depth < 7) {
            const int parents = std::min(1 + pick(5), on.layout->numNodes(depth));
            on.addChildren(depth, 0, parents, pick(2) == 0 ? 1 : 3);
        }
    } else if (dice < 31) {
        on.layout->deleteNode(anyNode());
    } else if (dice < 35) {
        deleteByIds();
    } else if (dice < 39) {
        deleteEvery(1 + pick(4), anyDepth());
    } else {
        on.layout->clear();
    }
}

void EditedShape::check()
{
    ASSERT_TRUE(m_floats->checkAllocatedSizes() && m_vectors->checkAllocatedSizes());
    std::map<TileId, int> live;
    for (int depth = 0; depth < 8; ++depth) {
        for (int index = 0; index < on.layout->numNodes(depth); ++index) {
            const TileId id = on.layout->node(index, depth).id();
            const auto known = m_numbers.find(id);
            auto& floats = m_floats->tile(index, depth);
            auto& vectors = m_vectors->tile(index, depth);
            if (known == m_numbers.end()) {
                const int number = ++m_last_number;
                live[id] = number;
                ASSERT_TRUE(startTile(floats, number) && startTile(vectors, number))
                    << "new " << id;
            } else {
                live.insert(*known);
                ASSERT_TRUE(holds(floats, known->second) && holds(vectors, known->second)) << id;
            }
        }
    }
    m_numbers.swap(live);
}

void EditedShape::deleteEvery(int in_stride, int in_depth)
{
    std::vector<std::vector<int>> indices(8);
    for (int index = 0; index < on.layout->numNodes(in_depth); index += in_stride) {
        indices[in_depth].push_back(index);
    }
    on.layout->deleteNodes(indices);
}

TileIndex EditedShape::anyNode()
{
    for (int attempt = 0; attempt < 20; ++attempt) {
        const int depth = anyDepth();
        if (on.layout->numNodes(depth) > 0) {
            return {pick(on.layout->numNodes(depth)), depth};
        }
    }
    return {-1, -1};
}

void EditedShape::deleteByIds()
{
    std::vector<TileId> ids;
    for (int n = pick(20); n > 0; --n) {
        const TileIndex node = anyNode();
        if (node.first >= 0) {
            ids.push_back(on.layout->node(node).id());
        }
    }
    on.layout->deleteNodes(ids);
}

TEST(ChannelEvents, TilesFollowTheirNodesThroughRandomEdits)
{
    const unsigned int seed = std::random_device{}();
    for (unsigned int run = 0; run < 8; ++run) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " run " + std::to_string(run));
        EditedShape shape(seed + run);
        for (int step = 0; step < 80; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            shape.edit();
            shape.check();
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(ChannelEvents, SingleInsertionGrowsGeometrically)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c", false);
    std::set<unsigned long long> sizes;

    for (int n = 0; n < 120; ++n) {
        on.addChild({0, 2}, n);
        sizes.insert(channel->memUsage(MemUsage::eMemAllocated, false));
    }

    EXPECT_EQ(120, channel->numTiles(3));
    EXPECT_EQ(8u, sizes.size());  // 1, 2, 4 ... 128 tiles
}

TEST(ChannelEvents, OfAKnownNodeChangeNothing)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c");
    std::array<std::vector<int>, 8> known;
    known[2] = {0, 1, 2};

    channel->nodeAdded({5, 2});
    channel->nodesAdded(known.data());

    EXPECT_TRUE(holdsNumbers(*channel));
    EXPECT_TRUE(channel->checkAllocatedSizes());
}

/// Dwells in each event, and tells whether another channel was in one at that time.
class SlowChannel : public VoxelChannel<int> {
public:
    void nodeAdded(const TileIndex& in_index) override
    {
        dwell();
        VoxelChannel<int>::nodeAdded(in_index);
    }
    void nodesAdded(const std::vector<int>* in_indices) override
    {
        dwell();
        VoxelChannel<int>::nodesAdded(in_indices);
    }
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override
    {
        dwell();
        VoxelChannel<int>::nodesDeleted(in_moves);
    }
    void nodesCleared() override
    {
        dwell();
        VoxelChannel<int>::nodesCleared();
    }

    static inline std::atomic<bool> s_has_met = false;

private:
    static void dwell()
    {
        static std::atomic<int> s_inside = 0;
        s_has_met = ++s_inside > 1 || s_has_met;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        --s_inside;
    }
};

TEST(ChannelEvents, ChannelsWithTheSameArraysTakeEventsOneAfterTheOther)
{
    ShapeOnLayout on;
    const auto channel = on.addChannel<int>("c", false);
    std::vector<std::shared_ptr<VoxelShape>> shapes;
    for (int n = 0; n < 3; ++n) {
        const std::shared_ptr<VoxelChannel<int>> slow = std::make_shared<SlowChannel>();
        channel->copyInto(slow, false, true);
        shapes.push_back(std::make_shared<VoxelShape>("s" + std::to_string(n)));
        shapes.back()->setLayout(on.layout);
        shapes.back()->addChannel(slow);
        ASSERT_EQ(channel->blockDataPtr(), slow->blockDataPtr());
    }

    on.addChild({3, 1});
    on.addChildren(1, 4, 5);
    on.layout->deleteNodes(std::vector<TileId>{on.layout->node(5, 1).id()});
    EXPECT_EQ(on.layout->numNodes(1), channel->numTiles(1));
    on.layout->clear();

    EXPECT_FALSE(SlowChannel::s_has_met);
    EXPECT_EQ(0, channel->numTiles(1));
}

TEST(ChannelEvents, ThatDoNotFitAChannelLeaveItAtTheLayoutsSize)
{
    ShapeOnLayout on(2);
    const auto channel = on.addChannel<float>("c");
    channel->resize(2, 3);
    std::vector<std::vector<int>> deleted(8);
    deleted[2] = {0, 1, 100};

    on.layout->deleteNodes(deleted);
    EXPECT_TRUE(channel->checkAllocatedSizes());

    channel->resize(3, 1000);
    on.split({0, 2});
    EXPECT_EQ(4.0f, channel->tile(0, 3)(0));
    EXPECT_EQ(4.0f, channel->tile(124, 3)(124));
}

}  // namespace
}  // namespace Skelvar::Test
