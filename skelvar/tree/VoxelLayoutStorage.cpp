#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <span>
#include <stdexcept>

namespace Skelvar {

void VoxelLayout::clear()
{
    m_node_data = std::make_shared<NodeData>();
    m_num_nodes = 0;
    m_roots.clear();
    m_finest_root_depth = 0;
    std::fill(std::begin(m_root_counts), std::end(m_root_counts), 0);
    nodesCleared();
}

namespace {

/// Cells of a node's branch, by those of the branches of its children.
long long branchCells(const VoxelLayoutNode& in_node, const VoxelLayout::NodeArray& in_below)
{
    if (in_node.depth() == kMaxTileDepth - 1) {
        return static_cast<long long>(kTileSize) * (1 + in_node.numChildren());
    }
    long long cells = kTileSize;
    for (int slot = 0; slot < kTileSize && in_node.hasChildSlots(); ++slot) {
        const int child = in_node.child(slot);
        cells += child < 0 ? 0 : in_below[child].branchSize();
    }
    return cells;
}

}  // namespace

void VoxelLayout::setBranchSizes()
{
    // A node of depth 7 has its own cells only, from the start. The loop goes by depth, since a
    // walk by branches would share out the work by the very sizes that are to be found.
    for (int depth = kMaxTileDepth - 1; depth >= 0; --depth) {
        NodeArray& array = nodes(depth);
        Detail::bulkLoop(array.size(), [&](long long begin, long long end) {
            for (VoxelLayoutNode& node : std::span(array.begin() + begin, array.begin() + end)) {
                if (node.valid()) {
                    node.setBranchSize(branchCells(node, nodes(depth + 1)));
                }
            }
            array.noteChildSlots(begin, end);
        });
    }
    findTrunk();
}

void VoxelLayout::copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target, bool in_deep) const
{
    if (io_target->typeMeta()->typeName() != typeName()) {
        throw std::runtime_error("VoxelLayout::copyInto: target is a " +
                                 io_target->typeMeta()->typeName());
    }
    VoxelLayout& target = static_cast<VoxelLayout&>(*io_target);
    if (&target == this) {
        return;
    }
    const SkelvarProfiler::Scope event("VoxelLayout::copyInto_a");
    TreeLayout3DBase::copyInto(io_target);
    target.m_num_nodes = m_num_nodes;
    target.m_roots = m_roots;
    target.m_finest_root_depth = m_finest_root_depth;
    std::copy(std::begin(m_root_counts), std::end(m_root_counts), std::begin(target.m_root_counts));
    if (!in_deep) {
        target.m_node_data = m_node_data;  // others may read them at this moment
        return;
    }
    target.m_node_data = std::make_shared<NodeData>();
    tbb::task_group_context context;
    tbb::parallel_for(
        0, kNumDepths,
        [&](int depth) {
            const SkelvarProfiler::Scope depth_event("VoxelLayout::copyInto_b");
            const NodeArray& from = nodes(depth);
            NodeArray& to = target.nodes(depth);
            to.resize(from.size());
            Detail::bulkLoop(from.size(), [&](long long begin, long long end) {
                for (long long n = begin; n < end; ++n) {
                    from[n].copyInto(to[n]);
                }
                to.noteChildSlots(begin, end);
            });
        },
        tbb::auto_partitioner{}, context);
    target.findTrunk();
}

std::shared_ptr<TreeLayout3DBase> VoxelLayout::copy(bool in_deep) const
{
    auto layout = std::make_shared<VoxelLayout>();
    copyInto(layout, in_deep);
    return layout;
}

unsigned long long VoxelLayout::memUsage(MemUsage::Type in_type, bool in_with_children) const
{
    unsigned long long bytes = 0;
    for (const NodeArray& array : m_node_data->depths) {
        bytes += array.memUsage(in_type, in_with_children);
    }
    return bytes;
}

}  // namespace Skelvar
