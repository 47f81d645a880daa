#include <tests/voxel/VoxelFixture.h>

#include <array>
#include <map>
#include <random>
#include <set>

namespace Skelvar::Test {
namespace {

constexpr int kBackground = 4;

/// A layout under random edits, two channels of different types on it, and what their tiles must
/// hold: a number for each tile id, from which the 125 values follow.
class EditedShape {
public:
    explicit EditedShape(unsigned in_seed) : m_random(in_seed)
    {
        m_shape->setLayout(m_layout);
        m_floats = std::make_shared<VoxelChannel<float>>("f", m_shape, valueOf<float>(kBackground),
                                                         eOffsetCentre);
        m_vectors = std::make_shared<VoxelChannel<vec4i>>("v", m_shape, valueOf<vec4i>(kBackground),
                                                          eOffsetCentre);
        m_shape->addChannel(m_floats);
        m_shape->addChannel(m_vectors);
    }

    void edit()
    {
        switch (pick(10)) {
            case 0:
            case 1:
            case 2:
                addSingle();
                return;
            case 3:
            case 4:
            case 5: {
                const int depth = anyNode().second;
                if (depth >= 0 && depth < 7) {
                    addChildren(depth, 1 + pick(5), pick(2) == 0 ? 1 : 3);
                }
                return;
            }
            case 6:
                m_layout->deleteNode(anyNode());
                return;
            case 7:
                deleteByIds();
                return;
            case 8:
                deleteEvery(1 + pick(4), anyDepth());
                return;
            default:
                if (pick(4) == 0) {
                    m_layout->clear();
                }
        }
    }

    /// Holds the tiles against the model, and gives new ones their numbers.
    void check()
    {
        ASSERT_TRUE(m_floats->checkAllocatedSizes() && m_vectors->checkAllocatedSizes());
        std::map<TileId, int> live;
        for (int depth = 0; depth < 8; ++depth) {
            for (int index = 0; index < m_layout->numNodes(depth); ++index) {
                const TileId id = m_layout->node(index, depth).id();
                const auto known = m_numbers.find(id);
                const int number = known == m_numbers.end() ? ++m_last_number : known->second;
                live[id] = number;
                if (known == m_numbers.end()) {
                    ASSERT_TRUE(startTile(*m_floats, {index, depth}, number)) << "new " << id;
                    ASSERT_TRUE(startTile(*m_vectors, {index, depth}, number)) << "new " << id;
                } else {
                    ASSERT_TRUE(holds(*m_floats, {index, depth}, number)) << "tile " << id;
                    ASSERT_TRUE(holds(*m_vectors, {index, depth}, number)) << "tile " << id;
                }
            }
        }
        m_numbers.swap(live);
    }

    /// Every n-th child of the first nodes of a depth, in one batch.
    void addChildren(int in_depth, int in_parents, int in_stride)
    {
        const int side = kTileSideLUT[in_depth + 1];
        std::vector<vec3i> corners;
        for (int parent = 0; parent < std::min(in_parents, m_layout->numNodes(in_depth));
             ++parent) {
            const vec3i corner = m_layout->node(parent, in_depth).corner();
            for (int n = 0; n < 125; n += in_stride) {
                corners.push_back(corner + vec3i{n % 5 * side, n / 5 % 5 * side, n / 25 * side});
            }
        }
        m_layout->addNodes(corners, in_depth + 1);
    }
    /// Every n-th node of a depth, in one batch.
    void deleteEvery(int in_stride, int in_depth)
    {
        std::vector<std::vector<int>> indices(8);
        for (int index = 0; index < m_layout->numNodes(in_depth); index += in_stride) {
            indices[in_depth].push_back(index);
        }
        m_layout->deleteNodes(indices);
    }
    void addRoot() { m_layout->addNode(0); }
    int numTiles(int in_depth) const { return m_layout->numNodes(in_depth); }

private:
    int pick(int in_count) { return static_cast<int>(m_random() % in_count); }

    template <typename T>
    static bool startTile(VoxelChannel<T>& io_channel, const TileIndex& in_tile, int in_number)
    {
        const bool is_new = isFilledWith(io_channel.tile(in_tile), valueOf<T>(kBackground));
        for (int cell = 0; cell < 125; ++cell) {
            io_channel.tile(in_tile)(cell) = valueOf<T>(in_number * 125 + cell);
        }
        return is_new;
    }
    template <typename T>
    static bool holds(const VoxelChannel<T>& in_channel, const TileIndex& in_tile, int in_number)
    {
        for (int cell = 0; cell < 125; ++cell) {
            if (!(in_channel.tile(in_tile)(cell) == valueOf<T>(in_number * 125 + cell))) {
                return false;
            }
        }
        return true;
    }

    /// Mostly deep, so that the tree grows between the deletions of whole branches.
    int anyDepth() { return pick(8) == 0 ? pick(8) : 2 + pick(6); }
    TileIndex anyNode()
    {
        for (int attempt = 0; attempt < 20; ++attempt) {
            const int depth = anyDepth();
            if (m_layout->numNodes(depth) > 0) {
                return {pick(m_layout->numNodes(depth)), depth};
            }
        }
        return {-1, -1};
    }
    /// Few places, so that edits meet each other.
    void addSingle()
    {
        m_layout->addNode(pick(3) * 78125 - 195312, pick(3) * 15625, pick(40) * 5, pick(8));
    }
    void deleteByIds()
    {
        std::vector<TileId> ids;
        for (int n = pick(20); n > 0; --n) {
            const TileIndex node = anyNode();
            if (node.first >= 0) {
                ids.push_back(m_layout->node(node).id());
            }
        }
        m_layout->deleteNodes(ids);
    }

    std::mt19937 m_random;
    std::shared_ptr<VoxelLayout> m_layout = std::make_shared<VoxelLayout>("l");
    std::shared_ptr<VoxelShape> m_shape = std::make_shared<VoxelShape>("s");
    std::shared_ptr<VoxelChannel<float>> m_floats;
    std::shared_ptr<VoxelChannel<vec4i>> m_vectors;
    std::map<TileId, int> m_numbers;
    int m_last_number = 0;
};

TEST(ChannelEvents, TilesFollowTheirNodesThroughRandomEdits)
{
    const unsigned seed = std::random_device{}();
    for (unsigned run = 0; run < 8; ++run) {
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

TEST(ChannelEvents, TilesFollowTheirNodesThroughLargeBatches)
{
    EditedShape shape(0);
    shape.addRoot();
    shape.addChildren(0, 1, 1);
    shape.check();
    shape.addChildren(1, 20, 1);
    shape.check();
    ASSERT_EQ(2500, shape.numTiles(2));

    shape.deleteEvery(3, 2);
    shape.check();
    ASSERT_EQ(1666, shape.numTiles(2));
    shape.addChildren(1, 30, 1);
    shape.check();
    ASSERT_EQ(3750, shape.numTiles(2));
    shape.addChildren(2, 10, 1);
    shape.deleteEvery(2, 2);
    shape.check();
}

TEST(ChannelEvents, SingleInsertionGrowsGeometrically)
{
    ShapeOnLayout on(1);
    const auto channel = on.addChannel<float>("c", false);
    const vec3i corner = on.layout->node(0, 2).corner();
    std::set<unsigned long long> sizes;

    for (int n = 0; n < 120; ++n) {
        const int side = kTileSideLUT[3];
        on.layout->addNode(corner[0] + n % 5 * side, corner[1] + n / 5 % 5 * side,
                           corner[2] + n / 25 * side, 3);
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

TEST(ChannelEvents, OfDeletedIndicesAndOfMovesAgree)
{
    ShapeOnLayout on(2);
    const auto by_indices = on.addChannel<int>("i");
    const auto by_moves = on.addChannel<int>("m");
    on.layout->setCompactOnDelete(false);
    std::vector<TileIndex> deleted;
    for (const int index : {0, 3, 4, 200, 248, 249}) {
        on.layout->deleteNode({index, 2}, nullptr, &deleted);
    }
    on.shape->setLayout(nullptr);  // the events come by hand
    on.layout->compactStorage(deleted);
    const auto quiet_shape = std::make_shared<VoxelShape>("q");
    quiet_shape->setLayout(on.layout);
    by_indices->setShape(quiet_shape);
    by_moves->setShape(quiet_shape);
    std::array<std::vector<int>, 8> indices;
    indices[2] = {0, 3, 4, 200, 248, 249};
    std::array<std::vector<TileIndex>, 8> moves;
    moves[2] = {{0, 247}, {3, 246}, {4, 245}, {200, 244}};

    by_indices->nodesDeleted(indices.data());
    by_moves->nodesDeleted(moves.data());

    ASSERT_EQ(244, by_indices->numTiles(2));
    ASSERT_EQ(244, by_moves->numTiles(2));
    for (int index = 0; index < 244; ++index) {
        const int source = index == 0     ? 247
                           : index == 3   ? 246
                           : index == 4   ? 245
                           : index == 200 ? 244
                                          : index;
        for (int cell = 0; cell < 125; ++cell) {
            ASSERT_EQ(cellValue<int>({source, 2}, cell), by_indices->tile(index, 2)(cell));
            ASSERT_EQ(cellValue<int>({source, 2}, cell), by_moves->tile(index, 2)(cell));
        }
    }
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
