#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <stdexcept>

namespace Skelvar {

void VoxelLayout::reset()
{
    m_node_data = std::make_shared<NodeData>();
    m_num_nodes = 0;
    m_roots.clear();
    m_finest_root_depth = 0;
    std::fill(std::begin(m_root_counts), std::end(m_root_counts), 0);
}

void VoxelLayout::clear()
{
    reset();
    nodesCleared();
}

void VoxelLayout::setBranchSizes()
{
    // A node of depth 7 has its own cells only, from the start.
    for (int depth = kMaxTileDepth - 1; depth >= 0; --depth) {
        NodeArray& array = nodes(depth);
        const NodeArray& below = nodes(depth + 1);
        Detail::bulkLoop(array.size(), [&](long long begin, long long end) {
            for (long long n = begin; n < end; ++n) {
                VoxelLayoutNode& node = array[n];
                long long cells = kTileSize;
                if (depth == kMaxTileDepth - 1) {
                    cells += static_cast<long long>(kTileSize) * node.numChildren();
                } else if (node.hasChildSlots()) {
                    for (int slot = 0; slot < kTileSize; ++slot) {
                        cells += node.child(slot) < 0 ? 0 : below[node.child(slot)].branchSize();
                    }
                }
                node.setBranchSize(cells);
            }
        });
    }
}

void VoxelLayout::copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target, bool in_deep) const
{
    if (io_target->typeMeta().typeName() != typeName()) {
        throw std::runtime_error("VoxelLayout::copyInto: target is a " +
                                 io_target->typeMeta().typeName());
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
        target.m_node_data = m_node_data;
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
            });
        },
        tbb::auto_partitioner{}, context);
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
        for (const VoxelLayoutNode& node : array) {
            bytes += node.memUsage(in_type, in_with_children);
        }
        if (in_type == MemUsage::eMemAllocated) {
            bytes += (array.capacity() - array.size()) * sizeof(VoxelLayoutNode);
        }
    }
    return bytes;
}

}  // namespace Skelvar
