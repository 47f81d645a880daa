// The eleven walks over a layout; those by branches stand in VoxelLayoutBranchWalk.cpp.

#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/ThreadVisitors.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <deque>
#include <stdexcept>

namespace Skelvar {

namespace {

using Order = VoxelLayout::LayoutTraversalType;
using Range = tbb::blocked_range<long long>;

/// Depths, both inclusive; empty if the first is the greater one.
struct DepthRange {
    int first;
    int last;
};

/// What a walk does at the live nodes of a piece of one depth's array.
template <typename Layout>
void visitNodes(Layout& io_layout, int in_depth, long long in_begin, long long in_end,
                VoxelLayoutNodeVisitor& io_visitor)
{
    auto* const nodes = io_layout.nodes(in_depth).data();
    const bool has_children = in_depth < kMaxTileDepth && io_visitor.visitsChildren();
    for (long long n = in_begin; n < in_end; ++n) {
        auto* const node = nodes + n;
        if (!node->valid()) {
            continue;
        }
        const TileIndex index{static_cast<int>(n), in_depth};
        io_visitor.preVisit(node, index);
        if (has_children) {
            for (int k = 0; k < kTileWidth; ++k) {
                for (int j = 0; j < kTileWidth; ++j) {
                    for (int i = 0; i < kTileWidth; ++i) {
                        io_visitor.visit(i, j, k);
                    }
                }
            }
        }
        io_visitor.postVisit(node, index);
    }
}

/// The visitor of one body of a reduction: the caller's, or a copy that is made when the body gets
/// its first work. Copies come from a visitor that takes no part in the walk, since bodies split
/// while others run.
class ReducedVisitor {
public:
    ReducedVisitor(VoxelLayoutNodeVisitor& io_visitor, const VoxelLayoutNodeVisitor& in_prototype)
        : m_visitor(&io_visitor), m_prototype(&in_prototype)
    {
    }
    ReducedVisitor(const ReducedVisitor& in_other, tbb::split) : m_prototype(in_other.m_prototype)
    {
    }

    VoxelLayoutNodeVisitor& get()
    {
        if (m_visitor == nullptr) {
            m_copy.reset(m_prototype->copy());
            m_visitor = m_copy.get();
        }
        return *m_visitor;
    }
    const VoxelLayoutNodeVisitor& prototype() const { return *m_prototype; }
    void join(ReducedVisitor& io_right)
    {
        if (io_right.m_copy) {
            get().join(*io_right.m_copy);
            io_right.m_copy.reset();
        }
    }

private:
    VoxelLayoutNodeVisitor* m_visitor = nullptr;
    const VoxelLayoutNodeVisitor* m_prototype;
    std::unique_ptr<VoxelLayoutNodeVisitor> m_copy;
};

/// Body of the reduction over the nodes of one depth.
template <typename Layout>
class ApplyVisitor {
public:
    ApplyVisitor(Layout& io_layout, int in_depth, VoxelLayoutNodeVisitor& io_visitor,
                 const VoxelLayoutNodeVisitor& in_prototype)
        : m_layout(io_layout), m_depth(in_depth), m_visitor(io_visitor, in_prototype)
    {
    }
    ApplyVisitor(const ApplyVisitor& in_other, tbb::split split)
        : m_layout(in_other.m_layout),
          m_depth(in_other.m_depth),
          m_visitor(in_other.m_visitor, split)
    {
    }

    void operator()(const Range& in_range)
    {
        const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitor::operator()");
        visitNodes(m_layout, m_depth, in_range.begin(), in_range.end(), m_visitor.get());
    }
    void join(ApplyVisitor& io_right)
    {
        const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitor::join()");
        m_visitor.join(io_right.m_visitor);
    }

private:
    Layout& m_layout;
    int m_depth;
    ReducedVisitor m_visitor;
};

template <typename Layout>
void reduceNodes(Layout& io_layout, int in_depth, VoxelLayoutNodeVisitor& io_visitor,
                 const VoxelLayoutNodeVisitor& in_prototype)
{
    ApplyVisitor<Layout> body(io_layout, in_depth, io_visitor, in_prototype);
    const Range range(0, io_layout.numNodes(in_depth));
    if (io_layout.numNodes(in_depth) <= Detail::kSerialItems) {
        body(range);
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_reduce(range, body, tbb::auto_partitioner{}, context);
}

/// Body of the reduction over depths, each of them a reduction itself.
template <typename Layout>
class ApplyVisitorDepth {
public:
    ApplyVisitorDepth(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
                      const VoxelLayoutNodeVisitor& in_prototype)
        : m_layout(io_layout), m_visitor(io_visitor, in_prototype)
    {
    }
    ApplyVisitorDepth(const ApplyVisitorDepth& in_other, tbb::split split)
        : m_layout(in_other.m_layout), m_visitor(in_other.m_visitor, split)
    {
    }

    void operator()(const tbb::blocked_range<int>& in_depths)
    {
        const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitorDepth::operator()");
        for (int depth = in_depths.begin(); depth < in_depths.end(); ++depth) {
            reduceNodes(m_layout, depth, m_visitor.get(), m_visitor.prototype());
        }
    }
    void join(ApplyVisitorDepth& io_right)
    {
        const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitorDepth::join()");
        m_visitor.join(io_right.m_visitor);
    }

private:
    Layout& m_layout;
    ReducedVisitor m_visitor;
};

template <typename Layout>
void visitNodesInParallel(Layout& io_layout, int in_depth, VoxelLayoutNodeVisitor& io_visitor)
{
    Detail::bulkLoop(io_layout.numNodes(in_depth), [&](long long in_begin, long long in_end) {
        const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitor::operator()");
        visitNodes(io_layout, in_depth, in_begin, in_end, io_visitor);
    });
}

template <typename Visit>
void forEachDepth(const DepthRange& in_depths, bool in_top_down, const Visit& in_visit)
{
    for (int n = 0; n <= in_depths.last - in_depths.first; ++n) {
        in_visit(in_top_down ? in_depths.first + n : in_depths.last - n);
    }
}

template <typename Layout>
void walkDepthsSideBySide(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
                          const DepthRange& in_depths)
{
    tbb::task_group_context context;
    tbb::parallel_for(
        in_depths.first, in_depths.last + 1,
        [&](int depth) {
            const SkelvarProfiler::Scope event("VoxelLayout::ApplyVisitorDepth::operator()");
            visitNodesInParallel(io_layout, depth, io_visitor);
        },
        tbb::auto_partitioner{}, context);
}

template <typename Layout>
void reduceDepthsSideBySide(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
                            const DepthRange& in_depths)
{
    // A visitor that cannot be copied is found out whatever the size of the tree.
    const std::unique_ptr<VoxelLayoutNodeVisitor> prototype(io_visitor.copy());
    if (in_depths.first > in_depths.last) {
        return;
    }
    ApplyVisitorDepth<Layout> body(io_layout, io_visitor, *prototype);
    tbb::task_group_context context;
    tbb::parallel_reduce(tbb::blocked_range<int>(in_depths.first, in_depths.last + 1), body,
                         tbb::auto_partitioner{}, context);
}

/// All nodes, in the orders by depth.
template <typename Layout>
void walkByDepth(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor, Order in_order,
                 const DepthRange& in_depths)
{
    const bool top_down = in_order == VoxelLayout::BreadthFirstTopDown ||
                          in_order == VoxelLayout::ParallelByDepthTopDown ||
                          in_order == VoxelLayout::ReduceByDepthTopDown;
    switch (in_order) {
        case VoxelLayout::BreadthFirstTopDown:
        case VoxelLayout::BreadthFirstBottomUp:
            forEachDepth(in_depths, top_down, [&](int depth) {
                visitNodes(io_layout, depth, 0, io_layout.numNodes(depth), io_visitor);
            });
            return;
        case VoxelLayout::ParallelByDepthTopDown:
        case VoxelLayout::ParallelByDepthBottomUp:
            forEachDepth(in_depths, top_down,
                         [&](int depth) { visitNodesInParallel(io_layout, depth, io_visitor); });
            return;
        case VoxelLayout::ReduceByDepthTopDown:
        case VoxelLayout::ReduceByDepthBottomUp: {
            const std::unique_ptr<VoxelLayoutNodeVisitor> prototype(io_visitor.copy());
            forEachDepth(in_depths, top_down,
                         [&](int depth) { reduceNodes(io_layout, depth, io_visitor, *prototype); });
            return;
        }
        case VoxelLayout::ParallelDepths:
            walkDepthsSideBySide(io_layout, io_visitor, in_depths);
            return;
        case VoxelLayout::ReduceDepths:
            reduceDepthsSideBySide(io_layout, io_visitor, in_depths);
            return;
        default:
            throw std::runtime_error(
                "voxel_layout: input traversal_order not known or not yet implemented");
    }
}

/// One branch, shallow depths first; only enters nodes.
template <typename Layout>
void walkBranchByDepth(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
                       const TileIndex& in_start)
{
    std::deque<TileIndex> queue{in_start};
    while (!queue.empty()) {
        const TileIndex index = queue.front();
        queue.pop_front();
        io_visitor.preVisit(&io_layout.node(index), index);
        const VoxelLayoutNode& node = io_layout.node(index);
        for (int slot = 0; slot < kTileSize && node.hasChildSlots(); ++slot) {
            if (node.childExists(slot)) {
                queue.push_back(node.childTileIndex(slot));
            }
        }
    }
}

template <typename Layout>
void walkBranchesInParallel(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
                            const std::vector<TileIndex>& in_starts, unsigned long long in_grain,
                            bool in_join)
{
    // No tree has as many cells as the bound, which keeps the sums below in range.
    constexpr unsigned long long kMostCells = 1ULL << 60;
    const float two_thirds = static_cast<float>(2 * std::min(in_grain, kMostCells)) / 3.0f;
    const unsigned long long grain = std::max(static_cast<unsigned long long>(two_thirds),
                                              static_cast<unsigned long long>(kTileSize));
    ThreadVisitors visitors(io_visitor);
    io_layout.acceptParallel(visitors, in_starts, grain, 2 * grain + 1);
    if (in_join) {
        visitors.joinInto(io_visitor);
    }
}

/// A walk in any of the orders. `in_start` is (-1, -1) for all nodes.
template <typename Layout>
void walk(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor, Order in_order,
          const TileIndex& in_start, const DepthRange& in_depths, unsigned long long in_grain)
{
    const bool all = in_start == TileIndex{};
    const bool by_branches = in_order == VoxelLayout::DepthFirst ||
                             in_order == VoxelLayout::ParallelBranches ||
                             in_order == VoxelLayout::ParallelBranchesJoin;
    if (all && !by_branches) {
        walkByDepth(io_layout, io_visitor, in_order,
                    {std::max(in_depths.first, 0), std::min(in_depths.last, kMaxTileDepth)});
        return;
    }
    if (in_order == VoxelLayout::BreadthFirstBottomUp) {
        throw std::runtime_error(
            "voxel_layout: BreadthFirstBottomUp traversal_order only supported when visiting all "
            "nodes (ie start_index==(-1,-1))");
    }
    if (!by_branches && in_order != VoxelLayout::BreadthFirstTopDown) {
        throw std::runtime_error(
            "voxel_layout: input traversal_order not known or not yet implemented");
    }

    std::vector<TileIndex> starts;
    if (in_depths.first <= in_depths.last && all) {
        for (auto root = io_layout.beginRoots(); root != io_layout.endRoots(); ++root) {
            starts.push_back(root->second);
        }
    } else if (in_depths.first <= in_depths.last && io_layout.isLive(in_start)) {
        starts.push_back(in_start);
    }
    if (in_order == VoxelLayout::DepthFirst) {
        for (const TileIndex& start : starts) {
            io_layout.accept(&io_visitor, start);
        }
    } else if (in_order == VoxelLayout::BreadthFirstTopDown) {
        for (const TileIndex& start : starts) {
            walkBranchByDepth(io_layout, io_visitor, start);
        }
    } else {
        walkBranchesInParallel(io_layout, io_visitor, starts, in_grain,
                               in_order == VoxelLayout::ParallelBranchesJoin);
    }
}

}  // namespace

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor, LayoutTraversalType in_order,
                         const TileIndex& in_start, int in_start_depth, int in_end_depth,
                         unsigned long long in_grain)
{
    io_visitor->begin();
    walk(*this, *io_visitor, in_order, in_start, {in_start_depth, in_end_depth}, in_grain);
    io_visitor->end();
}

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor, LayoutTraversalType in_order,
                         const TileIndex& in_start, int in_start_depth, int in_end_depth,
                         unsigned long long in_grain) const
{
    io_visitor->begin();
    walk(*this, *io_visitor, in_order, in_start, {in_start_depth, in_end_depth}, in_grain);
    io_visitor->end();
}

}  // namespace Skelvar
