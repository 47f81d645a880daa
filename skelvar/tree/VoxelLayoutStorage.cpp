#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <algorithm>
#include <stdexcept>

namespace Skelvar {

void VoxelLayout::reset()
{
    m_node_data = std::make_shared<NodeData>();
    m_num_nodes = 0;
    m_roots.clear();
    m_finest_root_depth = 0;
    m_trunk = {};
    std::fill(std::begin(m_root_counts), std::end(m_root_counts), 0);
}

void VoxelLayout::clear()
{
    reset();
    nodesCleared();
}

namespace {

/// Adds up the cells of branches, each after those below it.
class BranchSizes : public VoxelLayoutNodeVisitor {
public:
    explicit BranchSizes(VoxelLayout& io_layout) : m_layout(io_layout) {}

    void preVisit(VoxelLayoutNode*, const TileIndex&) override {}
    void postVisit(VoxelLayoutNode* io_node, const TileIndex& in_index) override
    {
        long long cells = kTileSize;
        if (in_index.second == kMaxTileDepth - 1) {
            cells += static_cast<long long>(kTileSize) * io_node->numChildren();
        } else if (io_node->hasChildSlots()) {
            const VoxelLayout::NodeArray& below = m_layout.nodes(in_index.second + 1);
            for (int slot = 0; slot < kTileSize; ++slot) {
                cells += io_node->child(slot) < 0 ? 0 : below[io_node->child(slot)].branchSize();
            }
        }
        io_node->setBranchSize(cells);
        m_layout.nodes(in_index.second).noteChildSlots(in_index.first, in_index.first + 1LL);
    }

private:
    VoxelLayout& m_layout;
};

}  // namespace

void VoxelLayout::setBranchSizes()
{
    // A node of depth 7 has its own cells only, from the start. The walk goes by depth, since one
    // by branches would share out the work by the very sizes that are to be found.
    BranchSizes visitor(*this);
    accept(&visitor, ParallelByDepthBottomUp, {}, 0, kMaxTileDepth - 1);
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
    target.m_trunk = m_trunk;
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
                to.noteChildSlots(begin, end);
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
