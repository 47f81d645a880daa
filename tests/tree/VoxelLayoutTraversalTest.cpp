#include <skelvar/tree/NodeIteratorBase.h>
#include <skelvar/tree/ThreadVisitors.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include "RandomForest.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>

namespace Skelvar::Test {
namespace {

using Testing::Random;
using Order = VoxelLayout::LayoutTraversalType;
using Indices = std::vector<TileIndex>;

constexpr bool isByBranches(int in_order)
{
    return in_order == 2 || in_order == 5 || in_order == 6;
}

/// Live nodes of the depths in array order, by the arrays alone.
Indices liveNodes(const VoxelLayout& in_layout, int in_first = 0, int in_last = 7)
{
    Indices nodes;
    for (int depth = std::max(in_first, 0); depth <= std::min(in_last, 7); ++depth) {
        for (int index = 0; index < in_layout.numNodes(depth); ++index) {
            if (in_layout.node(index, depth).valid()) {
                nodes.push_back({index, depth});
            }
        }
    }
    return nodes;
}

/// A branch depth first, by the child slots alone.
void appendBranch(const VoxelLayout& in_layout, const TileIndex& in_start, Indices& out_nodes)
{
    out_nodes.push_back(in_start);
    const VoxelLayoutNode& node = in_layout.node(in_start);
    for (int slot = 0; slot < 125; ++slot) {
        if (node.childExists(slot)) {
            appendBranch(in_layout, {node.child(slot), in_start.second + 1}, out_nodes);
        }
    }
}

Indices depthFirst(const VoxelLayout& in_layout)
{
    Indices nodes;
    for (auto root = in_layout.beginRoots(); root != in_layout.endRoots(); ++root) {
        appendBranch(in_layout, root->second, nodes);
    }
    return nodes;
}

Indices sorted(Indices in_nodes)
{
    std::sort(in_nodes.begin(), in_nodes.end());
    return in_nodes;
}

/// What a visitor does besides writing down.
struct Behaviour {
    bool visits_children = true;
    int only_i = -1;             ///< lets in only the positions with that i, if not negative
    TileId throws_at = kNoTile;  ///< throws at the node of that id
};

/// Writes down its calls; as its own copy in the orders that copy, under a lock in those that
/// share.
class Recorder : public VoxelLayoutNodeVisitor {
public:
    explicit Recorder(const Behaviour& in_behaviour = {}) : m_behaviour(in_behaviour) {}

    void begin() override { ++m_begun; }
    void end() override { ++m_ended; }
    VoxelLayoutNodeVisitor* copy() const override { return new Recorder(m_behaviour); }
    using VoxelLayoutNodeVisitor::postVisit;
    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override
    {
        ASSERT_EQ(in_index, in_node->tileIndex());
        if (in_node->id() == m_behaviour.throws_at) {
            throw std::runtime_error("thrown by a visitor");
        }
        const std::lock_guard lock(m_mutex);
        m_entered.push_back(in_index);
    }
    void postVisit(const VoxelLayoutNode*, const TileIndex& in_index) override
    {
        const std::lock_guard lock(m_mutex);
        m_left.push_back(in_index);
    }
    bool visit(int in_i, int in_j, int in_k) override
    {
        m_slots += in_i + 5 * (in_j + 5 * in_k) + 1;
        return m_behaviour.only_i < 0 || in_i == m_behaviour.only_i;
    }
    bool visitsChildren() const override { return m_behaviour.visits_children; }
    void join(const VoxelLayoutNodeVisitor& in_other) override
    {
        const auto& other = static_cast<const Recorder&>(in_other);
        m_entered.insert(m_entered.end(), other.m_entered.begin(), other.m_entered.end());
        m_left.insert(m_left.end(), other.m_left.begin(), other.m_left.end());
        m_slots += other.m_slots;
    }

    int m_begun = 0;
    int m_ended = 0;
    Indices m_entered;
    Indices m_left;
    std::atomic<long long> m_slots{0};  ///< sum of the numbers of visited positions, from 1

private:
    Behaviour m_behaviour;
    std::mutex m_mutex;
};

/// Counts what all copies of it do together.
class SharedCounter : public VoxelLayoutNodeVisitor {
public:
    struct Counts {
        std::atomic<int> copies{0};
        std::vector<std::atomic<int>> entered[8];
        std::atomic<int> out_of_order{0};
    };

    explicit SharedCounter(const VoxelLayout& in_layout, std::shared_ptr<Counts> io_counts)
        : m_layout(in_layout), m_counts(std::move(io_counts))
    {
        ++m_counts->copies;
    }
    ~SharedCounter() override { --m_counts->copies; }
    static std::shared_ptr<Counts> makeCounts(const VoxelLayout& in_layout)
    {
        auto counts = std::make_shared<Counts>();
        for (int depth = 0; depth < 8; ++depth) {
            counts->entered[depth] = std::vector<std::atomic<int>>(in_layout.numNodes(depth));
        }
        return counts;
    }
    VoxelLayoutNodeVisitor* copy() const override { return new SharedCounter(m_layout, m_counts); }
    void preVisit(const VoxelLayoutNode*, const TileIndex& in_index) override
    {
        ++m_counts->entered[in_index.second][in_index.first];
    }
    void postVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override
    {
        for (int slot = 0; slot < 125; ++slot) {
            if (in_node->childExists(slot) &&
                m_counts->entered[in_index.second + 1][in_node->child(slot)] != 1) {
                ++m_counts->out_of_order;
            }
        }
    }

private:
    const VoxelLayout& m_layout;
    std::shared_ptr<Counts> m_counts;
};

TEST(Traversal, EveryOrderMeetsEachLiveNodeOfItsDepthsOnce)
{
    const std::pair<int, int> ranges[] = {{0, 7}, {4, 6}, {7, 7}, {-3, 2}, {6, 99}, {5, 4}, {8, 9}};
    for (unsigned seed = 1; seed <= 6; ++seed) {
        Random random(seed);
        const auto layout = randomForest(random, 40 * static_cast<int>(seed * seed), seed % 2 == 0);
        for (int n = 0; n < 7 * 2 * 11; ++n) {
            const auto [first, last] = ranges[n % 7];
            const bool visits_children = n / 7 % 2 == 0;
            const int order = n / 14;
            if (order == 5) {
                continue;  // its copies are not joined
            }
            SCOPED_TRACE(random.seed() + ", order " + std::to_string(order) + ", depths " +
                         std::to_string(first) + " to " + std::to_string(last));
            Recorder recorder({visits_children});

            layout->accept(&recorder, static_cast<Order>(order), {-1, -1}, first, last, 125);

            const bool is_all = isByBranches(order) && first <= last;
            const Indices expected =
                sorted(is_all ? liveNodes(*layout) : liveNodes(*layout, first, last));
            EXPECT_EQ(expected, sorted(recorder.m_entered));
            EXPECT_EQ(expected, sorted(recorder.m_left));
            const auto above_leaves = std::count_if(
                expected.begin(), expected.end(), [](TileIndex index) { return index.second < 7; });
            EXPECT_EQ(visits_children ? above_leaves * 125 * 126 / 2 : 0, recorder.m_slots);
            EXPECT_EQ(1, recorder.m_begun);
            EXPECT_EQ(1, recorder.m_ended);
        }
    }
}

TEST(Traversal, SerialAndReducedOrdersKeepTheirSequence)
{
    Random random(11);
    const auto layout = randomForest(random, 1500, true);
    Indices bottom_up;
    for (int depth = 7; depth >= 0; --depth) {
        const Indices nodes = liveNodes(*layout, depth, depth);
        bottom_up.insert(bottom_up.end(), nodes.begin(), nodes.end());
    }
    const std::pair<int, Indices> cases[] = {{0, liveNodes(*layout)},  {1, bottom_up},
                                             {2, depthFirst(*layout)}, {7, liveNodes(*layout)},
                                             {8, bottom_up},           {10, liveNodes(*layout)}};
    for (const auto& [order, expected] : cases) {
        Recorder recorder;

        layout->accept(&recorder, static_cast<Order>(order));

        EXPECT_EQ(expected, recorder.m_entered) << "order " << order;
    }
}

TEST(Traversal, AStartMeansItsBranch)
{
    Random random(13);
    const auto layout = randomForest(random, 800, false);
    const TileIndex start = layout->node(0, 5).tileIndex();
    Indices branch;
    appendBranch(*layout, start, branch);
    for (const int order : {2, 6}) {
        Recorder recorder;
        layout->accept(&recorder, static_cast<Order>(order), start, 7, 7, 125);
        EXPECT_EQ(sorted(branch), sorted(recorder.m_entered)) << "order " << order;
    }
    Recorder by_depth;
    layout->accept(&by_depth, VoxelLayout::BreadthFirstTopDown, start, 0, 7, 125);
    EXPECT_EQ(sorted(branch), sorted(by_depth.m_entered));
    EXPECT_TRUE(std::is_sorted(by_depth.m_entered.begin(), by_depth.m_entered.end(),
                               [](TileIndex a, TileIndex b) { return a.second < b.second; }));
    EXPECT_TRUE(by_depth.m_left.empty());
    EXPECT_EQ(0, by_depth.m_slots);
    for (const int order : {0, 2, 6}) {
        Recorder recorder;
        layout->accept(&recorder, static_cast<Order>(order), start, 7, 5, 125);
        EXPECT_TRUE(recorder.m_entered.empty()) << "order " << order;
    }

    for (const int order : {0, 2, 5, 6}) {
        for (const TileIndex no_node : {TileIndex{-2, -1}, TileIndex{0, -1}, TileIndex{0, 8},
                                        TileIndex{1000000, 7}, TileIndex{-1, 7}}) {
            Recorder recorder;
            layout->accept(&recorder, static_cast<Order>(order), no_node, 0, 7, 125);
            EXPECT_TRUE(recorder.m_entered.empty());
            EXPECT_EQ(1, recorder.m_ended);
        }
    }
}

TEST(Traversal, AStartIsWalkedByDepthInTheOrderOfItsSlots)
{
    const auto layout = LayoutBuilder()
                            .tile({0, 0, 0}, 5)
                            .tile({0, 0, 0}, 7)
                            .tile({50, 0, 0}, 7)
                            .tile({5, 0, 0}, 7)
                            .build();
    Recorder recorder;

    layout->accept(&recorder, VoxelLayout::BreadthFirstTopDown, {0, 5}, 0, 7, 125);

    EXPECT_EQ((Indices{{0, 5}, {0, 6}, {1, 6}, {0, 7}, {2, 7}, {1, 7}}), recorder.m_entered);
}

TEST(Traversal, TasksLeaveANodeAfterItsBranchAndDropTheirCopies)
{
    Random random(14);
    const auto layout = randomForest(random, 3000, false);
    for (const unsigned long long grain : {0ULL, 125ULL, 5000ULL, ~0ULL}) {
        const auto counts = SharedCounter::makeCounts(*layout);
        SharedCounter counter(*layout, counts);

        layout->accept(&counter, VoxelLayout::ParallelBranches, {-1, -1}, 0, 7, grain);

        for (const auto& entered : counts->entered) {
            for (const std::atomic<int>& times : entered) {
                ASSERT_EQ(1, times);
            }
        }
        EXPECT_EQ(0, counts->out_of_order);
        EXPECT_EQ(1, counts->copies);
    }
}

TEST(Traversal, VisitPrunesBranchWalksOnly)
{
    Random random(15);
    const auto layout = randomForest(random, 600, false);
    Indices expected;
    std::set<TileId> kept;
    for (const TileIndex& index : depthFirst(*layout)) {
        const VoxelLayoutNode& node = layout->node(index);
        if (node.isRoot() || (kept.count(parentTile(node.id())) > 0 &&
                              (tileDigit(node.id(), node.depth()) - 1) % 5 == 2)) {
            kept.insert(node.id());
            expected.push_back(index);
        }
    }
    const std::pair<int, Indices> cases[] = {{2, expected}, {6, expected}, {0, liveNodes(*layout)}};
    for (const auto& [order, nodes] : cases) {
        Recorder recorder({true, 2});
        std::as_const(*layout).accept(&recorder, static_cast<Order>(order));
        EXPECT_EQ(sorted(nodes), sorted(recorder.m_entered)) << "order " << order;
    }
}

/// Overrides nothing that may be asked of it but to count.
class Bare : public VoxelLayoutNodeVisitor {
public:
    void begin() override { ++m_begun; }
    void end() override { ++m_ended; }

    int m_begun = 0;
    int m_ended = 0;
};

TEST(Traversal, MisuseThrowsBetweenBeginAndEnd)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();
    const std::string unknown =
        "voxel_layout: input traversal_order not known or not yet implemented";
    const std::string no_start =
        "voxel_layout: BreadthFirstBottomUp traversal_order only supported when visiting all nodes "
        "(ie start_index==(-1,-1))";
    const std::string no_copy = "VoxelLayoutNodeVisitor::copy() not overridden";
    struct Case {
        int order;
        TileIndex start;
        std::string message;
    };
    const TileIndex all;
    const TileIndex root{0, 7};
    std::vector<Case> cases = {{11, all, unknown}, {-1, all, unknown}, {1, root, no_start}};
    for (const int order : {3, 4, 7, 8, 9, 10}) {
        cases.push_back({order, root, unknown});
    }
    for (const int order : {5, 6, 7, 8, 10}) {
        cases.push_back({order, all, no_copy});
    }
    for (const Case& c : cases) {
        Bare visitor;
        EXPECT_EQ(c.message, errorOf([&] {
                      layout->accept(&visitor, static_cast<Order>(c.order), c.start, 0, 7, 125);
                  }))
            << "order " << c.order;
        EXPECT_EQ(1, visitor.m_begun);
        EXPECT_EQ(0, visitor.m_ended);
    }
    Bare without_depths;
    EXPECT_EQ(no_copy, errorOf([&] {
                  layout->accept(&without_depths, VoxelLayout::ReduceDepths, all, 5, 4, 125);
              }));
    for (const int order : {0, 1, 2, 3, 4, 9}) {
        Bare visitor;
        VoxelLayout().accept(&visitor, static_cast<Order>(order));
        EXPECT_EQ(1, visitor.m_begun);
        EXPECT_EQ(1, visitor.m_ended);
    }
}

TEST(Traversal, WhatAVisitorThrowsComesOut)
{
    Random random(16);
    const auto layout = randomForest(random, 2000, false);
    Recorder visitor({true, -1, layout->node(layout->numNodes(7) / 2, 7).id()});
    for (int order = 0; order <= 10; ++order) {
        EXPECT_EQ("thrown by a visitor",
                  errorOf([&] { layout->accept(&visitor, static_cast<Order>(order)); }))
            << "order " << order;
    }
}

template <typename Iterator>
Indices walked(Iterator in_iterator, const Iterator& in_end)
{
    Indices nodes;
    for (; in_iterator != in_end; ++in_iterator) {
        EXPECT_TRUE(in_iterator.valid());
        EXPECT_EQ(in_iterator.tileIndex(), in_iterator->tileIndex());
        nodes.push_back(in_iterator.tileIndex());
    }
    EXPECT_FALSE(in_iterator.valid());
    return nodes;
}

TEST(NodeIterator, MeetsTheNodesOfTheDepthsInEachOrder)
{
    for (unsigned seed = 21; seed <= 24; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const auto layout = randomForest(random, 300, seed % 2 == 0);
        const VoxelLayout& constant = *layout;
        const std::pair<int, int> ranges[] = {{0, 7}, {4, 6}, {7, 7}, {-3, 2}, {6, 99}, {5, 4}};
        for (const auto& [first, last] : ranges) {
            EXPECT_EQ(liveNodes(*layout, first, last),
                      walked(layout->beginNodes(first, last), layout->endNodes()));
            Indices expected = depthFirst(*layout);
            std::erase_if(expected, [first = first, last = last](const TileIndex& index) {
                return index.second < first || index.second > last;
            });
            EXPECT_EQ(expected, walked(constant.beginNodes(first, last, VoxelLayout::DepthFirst),
                                       constant.endNodes()));
        }
    }
    const VoxelLayout empty;
    EXPECT_TRUE(empty.beginNodes() == empty.endNodes());
}

TEST(NodeIterator, SharedFormsAreAtTheEndForRangesTheyRefuse)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 0).build();

    EXPECT_FALSE(layout->createBeginIterator(0, 0, VoxelLayout::BreadthFirstTopDown)->valid());
    EXPECT_FALSE(layout->createBeginIterator(-1, 7, VoxelLayout::BreadthFirstTopDown)->valid());
    EXPECT_FALSE(layout->createBeginIterator(3, 2, VoxelLayout::DepthFirst)->valid());
    EXPECT_TRUE(layout->createBeginIterator(0, 1, VoxelLayout::DepthFirst)->valid());
    EXPECT_TRUE(*layout->createEndIterator() == layout->endNodes());
    EXPECT_TRUE(layout->beginNodes(0, 0).valid());
}

TEST(NodeIterator, StepsPastABranchInDepthFirstOrderAlone)
{
    Random random(25);
    const auto layout = randomForest(random, 300, false);
    const VoxelLayout& constant = *layout;
    Indices roots_and_below;
    for (auto it = constant.beginNodes(0, 7, VoxelLayout::DepthFirst); it.valid();) {
        roots_and_below.push_back(it.tileIndex());
        const TileIndex before = it.tileIndex();
        if (constant.node(before).isRoot()) {
            ++it;
        } else {
            it.stepToNextBranch();
        }
    }
    Indices expected = depthFirst(constant);
    std::erase_if(expected, [&](const TileIndex& index) {
        const VoxelLayoutNode& node = constant.node(index);
        return !node.isRoot() && !constant.isRoot(parentTile(node.id()));
    });
    EXPECT_EQ(expected, roots_and_below);

    for (int order = 0; order <= 10; ++order) {
        if (order != VoxelLayout::DepthFirst) {
            auto stays = constant.beginNodes(0, 7, static_cast<Order>(order));
            const auto before = stays++;
            const auto at_second = stays;
            stays.stepToNextBranch();
            EXPECT_TRUE(at_second == stays) << "order " << order;
            EXPECT_FALSE(before == stays);
        }
    }
}

TEST(NodeIterator, FindsNeighboursOfItsOwnDepth)
{
    Random random(26);
    const auto layout = randomForest(random, 400, false);
    for (auto it = layout->beginNodes(5, 7); it != layout->endNodes(); ++it) {
        const int di = random.integer(-2, 2), dj = random.integer(-1, 1),
                  dk = random.integer(-1, 1);
        const int side = kTileSideLUT[it.depth()];
        const TileId id = tileCoordsToId(it->i() + di * side, it->j() + dj * side,
                                         it->k() + dk * side, it.depth());
        const TileIndex expected = layout->nodeIndex<true>(id);
        const TileIndex found = it.nodeNeighbourIndex(di, dj, dk);
        EXPECT_EQ(expected.first >= 0, found.first >= 0);
        if (expected.first >= 0) {
            EXPECT_EQ(expected, found);
        }
    }
    auto it = layout->beginNodes(7, 7);
    EXPECT_LT(it.nodeNeighbourIndex(2147483647, 0, 0).first, 0);
}

TEST(AddBranch, CopiesWhereAnIteratorStands)
{
    Random random(27);
    const auto from = randomForest(random, 300, false);
    VoxelLayout to;
    to.addNode(0);
    for (auto it = std::as_const(*from).beginNodes(1, 7, VoxelLayout::DepthFirst); it.valid();
         it.stepToNextBranch()) {
        to.addNode(parentTile(it->id()));
        to.addBranch(it, *from);
    }
    for (const TileIndex& index : liveNodes(*from)) {
        EXPECT_TRUE(to.nodeExists(from->node(index).id()));
    }
}

}  // namespace
}  // namespace Skelvar::Test
