// The walks that go branch by branch, one thread or tasks.

#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/ThreadVisitors.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <tbb/task_group.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Skelvar {

namespace {

/// Asks the visitor about each child position of a node and gives the children it lets in.
template <typename Node>
std::vector<TileIndex> visitChildren(const Node& in_node, VoxelLayoutNodeVisitor& io_visitor)
{
    std::vector<TileIndex> children;
    const bool asks = io_visitor.visitsChildren();
    int slot = 0;
    for (int k = 0; k < kTileWidth; ++k) {
        for (int j = 0; j < kTileWidth; ++j) {
            for (int i = 0; i < kTileWidth; ++i, ++slot) {
                const bool exists = in_node.childExists(slot);
                if ((!asks || io_visitor.visit(i, j, k)) && exists) {
                    children.push_back(in_node.childTileIndex(slot));
                }
            }
        }
    }
    return children;
}

template <typename Layout>
void walkBranch(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor, const TileIndex& in_start)
{
    io_visitor.preVisit(&io_layout.node(in_start), in_start);
    if (in_start.second < kMaxTileDepth) {
        for (const TileIndex& child : visitChildren(io_layout.node(in_start), io_visitor)) {
            walkBranch(io_layout, io_visitor, child);
        }
    }
    io_visitor.postVisit(&io_layout.node(in_start), in_start);
}

template <typename Layout>
void walkIfLive(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor, const TileIndex& in_start)
{
    const SkelvarProfiler::Scope event("VoxelLayout::Accept(index)");
    if (io_layout.isLive(in_start)) {
        walkBranch(io_layout, io_visitor, in_start);
    }
}

template <typename Layout>
void walkEach(Layout& io_layout, VoxelLayoutNodeVisitor& io_visitor,
              const std::vector<TileIndex>& in_starts)
{
    const SkelvarProfiler::Scope event("VoxelLayout::Accept(batch)");
    for (const TileIndex& start : in_starts) {
        if (io_layout.isLive(start)) {
            walkBranch(io_layout, io_visitor, start);
        }
    }
}

/// Branches as tasks. Each step waits for the tasks of its own, so that a node is left after all of
/// its branch; what a visitor throws comes out of that wait.
template <typename Layout>
class BranchTasks {
public:
    BranchTasks(Layout& io_layout, ThreadVisitors& io_visitors, unsigned long long in_grain,
                unsigned long long in_max_grain)
        : m_layout(io_layout), m_visitors(io_visitors), m_grain(in_grain), m_max_grain(in_max_grain)
    {
    }

    void walk(const TileIndex& in_start)
    {
        const auto& node = m_layout.node(in_start);
        if (cells(in_start) <= m_grain || node.numChildren() == 0) {
            walkIfLive(m_layout, m_visitors.local(), in_start);
            return;
        }
        VoxelLayoutNodeVisitor& visitor = m_visitors.local();
        visitor.preVisit(&m_layout.node(in_start), in_start);
        walk(visitChildren(node, visitor));
        visitor.postVisit(&m_layout.node(in_start), in_start);
    }

    /// Large branches have a task each, small ones share tasks.
    void walk(const std::vector<TileIndex>& in_starts)
    {
        tbb::task_group tasks;
        std::vector<TileIndex> small;
        unsigned long long small_cells = 0;
        const auto run_small = [&] {
            tasks.run([this, starts = std::exchange(small, {})] {
                walkEach(m_layout, m_visitors.local(), starts);
            });
            small_cells = 0;
        };
        for (const TileIndex& start : in_starts) {
            if (cells(start) > m_grain) {
                tasks.run([this, start] { walk(start); });
                continue;
            }
            small.push_back(start);
            small_cells += cells(start);
            if (small_cells >= m_max_grain) {
                run_small();
            }
        }
        if (!small.empty()) {
            run_small();
        }
        tasks.wait();
    }

private:
    unsigned long long cells(const TileIndex& in_index) const
    {
        return static_cast<unsigned long long>(m_layout.node(in_index).branchSize());
    }

    Layout& m_layout;
    ThreadVisitors& m_visitors;
    unsigned long long m_grain;
    unsigned long long m_max_grain;
};

template <typename Layout>
void walkTasks(Layout& io_layout, ThreadVisitors& io_visitors,
               const std::vector<TileIndex>& in_starts, unsigned long long in_grain,
               unsigned long long in_max_grain)
{
    std::vector<TileIndex> starts;
    std::copy_if(in_starts.begin(), in_starts.end(), std::back_inserter(starts),
                 [&](const TileIndex& start) { return io_layout.isLive(start); });
    BranchTasks<Layout>(io_layout, io_visitors, in_grain, in_max_grain).walk(starts);
}

}  // namespace

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor, const TileIndex& in_start)
{
    walkIfLive(*this, *io_visitor, in_start);
}

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor, const TileIndex& in_start) const
{
    walkIfLive(*this, *io_visitor, in_start);
}

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor,
                         const std::vector<TileIndex>& in_starts)
{
    walkEach(*this, *io_visitor, in_starts);
}

void VoxelLayout::accept(VoxelLayoutNodeVisitor* io_visitor,
                         const std::vector<TileIndex>& in_starts) const
{
    walkEach(*this, *io_visitor, in_starts);
}

void VoxelLayout::accept(ThreadVisitors& io_visitors, const TileIndex& in_start)
{
    walkIfLive(*this, io_visitors.local(), in_start);
}

void VoxelLayout::accept(ThreadVisitors& io_visitors, const TileIndex& in_start) const
{
    walkIfLive(*this, io_visitors.local(), in_start);
}

void VoxelLayout::accept(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts)
{
    walkEach(*this, io_visitors.local(), in_starts);
}

void VoxelLayout::accept(ThreadVisitors& io_visitors, const std::vector<TileIndex>& in_starts) const
{
    walkEach(*this, io_visitors.local(), in_starts);
}

void VoxelLayout::acceptParallel(ThreadVisitors& io_visitors,
                                 const std::vector<TileIndex>& in_starts,
                                 unsigned long long in_grain, unsigned long long in_max_grain)
{
    walkTasks(*this, io_visitors, in_starts, in_grain, in_max_grain);
}

void VoxelLayout::acceptParallel(ThreadVisitors& io_visitors,
                                 const std::vector<TileIndex>& in_starts,
                                 unsigned long long in_grain, unsigned long long in_max_grain) const
{
    walkTasks(*this, io_visitors, in_starts, in_grain, in_max_grain);
}

}  // namespace Skelvar
