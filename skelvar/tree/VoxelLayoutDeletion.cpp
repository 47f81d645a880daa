#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/tree/BulkLoop.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <tbb/parallel_reduce.h>
#include <tbb/parallel_sort.h>

#include <algorithm>

namespace Skelvar {

namespace {

/// Marks the nodes of a branch deleted, children before their parent.
class BranchDeleter : public VoxelLayoutNodeVisitor {
public:
    explicit BranchDeleter(std::vector<TileId>* out_ids) : m_ids(out_ids) {}

    bool visitsChildren() const override { return false; }
    void postVisit(VoxelLayoutNode* io_node, const TileIndex& in_index) override
    {
        io_node->invalidate();
        m_indices.push_back(in_index);
        if (m_ids != nullptr) {
            m_ids->push_back(io_node->id());
        }
    }

    std::vector<TileIndex> m_indices;

private:
    std::vector<TileId>* m_ids;  ///< may be null
};

void append(std::vector<TileId>& io_list, const std::vector<TileId>& in_more)
{
    io_list.insert(io_list.end(), in_more.begin(), in_more.end());
}

/// In place of an index that names no live node.
constexpr int kPassedOver = -1;

/// Deletes listed nodes of one depth, each of which is listed once. Bodies of a parallel reduction
/// gather what follows from it.
class DeleteNodesTBB {
public:
    DeleteNodesTBB(VoxelLayout& io_layout, std::vector<int>& io_indices, int in_depth,
                   bool in_want_ids)
        : m_layout(io_layout), m_indices(io_indices), m_depth(in_depth), m_want_ids(in_want_ids)
    {
    }
    DeleteNodesTBB(const DeleteNodesTBB& in_other, tbb::split)
        : DeleteNodesTBB(in_other.m_layout, in_other.m_indices, in_other.m_depth,
                         in_other.m_want_ids)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& in_range)
    {
        for (std::size_t n = in_range.begin(); n < in_range.end(); ++n) {
            if (m_layout.isLive({m_indices[n], m_depth})) {
                deleteNode(m_layout.node(m_indices[n], m_depth));
            } else {
                m_indices[n] = kPassedOver;
                m_any_passed_over = true;
            }
        }
    }
    void join(const DeleteNodesTBB& in_right)
    {
        append(m_ids, in_right.m_ids);
        append(m_roots, in_right.m_roots);
        m_any_passed_over |= in_right.m_any_passed_over;
        m_children.insert(m_children.end(), in_right.m_children.begin(), in_right.m_children.end());
    }

    std::vector<TileId> m_ids;    ///< of the deleted nodes, if wanted
    std::vector<TileId> m_roots;  ///< those among them that were roots
    std::vector<int> m_children;  ///< to delete at the next depth
    bool m_any_passed_over = false;

private:
    void deleteNode(VoxelLayoutNode& io_node)
    {
        if (m_want_ids) {
            m_ids.push_back(io_node.id());
        }
        if (io_node.isRoot()) {
            m_roots.push_back(io_node.id());
        } else if (VoxelLayoutNode& parent = m_layout.node(io_node.parent(), m_depth - 1);
                   parent.valid()) {
            parent.child(tileDigit(io_node.id(), m_depth) - 1) = kNoChild;
        }
        if (io_node.hasChildSlots()) {
            std::copy_if(io_node.children(), io_node.children() + kTileSize,
                         std::back_inserter(m_children), [](int child) { return child >= 0; });
        }
        io_node.invalidate();
    }

    VoxelLayout& m_layout;
    std::vector<int>& m_indices;
    int m_depth;
    bool m_want_ids;
};

}  // namespace

void VoxelLayout::deleteNode(const TileIndex& in_index, std::vector<TileId>* out_deleted_ids,
                             std::vector<TileIndex>* out_deleted_indices)
{
    if (!isLive(in_index)) {
        return;
    }
    const VoxelLayoutNode& top = node(in_index);
    if (top.isRoot()) {
        removeRoot(top.id());
    } else {
        const TileIndex parent{top.parent(), in_index.second - 1};
        node(parent).child(tileDigit(top.id(), in_index.second) - 1) = kNoChild;
        addToBranches(parent, -top.branchSize());
    }

    BranchDeleter deleter(out_deleted_ids);
    accept(&deleter, in_index);
    const std::vector<TileIndex>& deleted = deleter.m_indices;
    m_num_nodes -= static_cast<int>(deleted.size());
    if (m_compact_on_delete) {
        compactStorage(deleted);
    } else if (!isLive(m_node_data->trunk.index)) {
        findTrunk();
    }
    if (out_deleted_indices != nullptr) {
        out_deleted_indices->insert(out_deleted_indices->end(), deleted.begin(), deleted.end());
    }
}

void VoxelLayout::deleteNode(TileId in_id, std::vector<TileId>* out_deleted_ids,
                             std::vector<TileIndex>* out_deleted_indices)
{
    deleteNode(nodeIndex<true>(in_id), out_deleted_ids, out_deleted_indices);
}

template <typename Key>
void VoxelLayout::deleteEach(const std::vector<Key>& in_keys, std::vector<TileId>* out_deleted_ids)
{
    std::vector<TileIndex> deleted;
    m_compact_on_delete = false;
    for (const Key& key : in_keys) {
        deleteNode(key, out_deleted_ids, &deleted);
    }
    m_compact_on_delete = true;
    compactStorage(deleted);
}

void VoxelLayout::deleteNodes(const std::vector<TileId>& in_ids,
                              std::vector<TileId>* out_deleted_ids)
{
    deleteEach(in_ids, out_deleted_ids);
}

void VoxelLayout::deleteNodes(const std::vector<TileIndex>& in_indices,
                              std::vector<TileId>* out_deleted_ids)
{
    deleteEach(in_indices, out_deleted_ids);
}

void VoxelLayout::deleteNodes(std::vector<std::vector<int>>& io_indices_by_depth,
                              std::vector<TileId>* out_deleted_ids)
{
    io_indices_by_depth.resize(kNumDepths);
    std::vector<TileId> roots;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        // A list may name a node twice, also by way of an ancestor, or name what is no live node.
        std::vector<int>& indices = io_indices_by_depth[depth];
        tbb::parallel_sort(indices.begin(), indices.end());
        indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
        DeleteNodesTBB body(*this, indices, depth, out_deleted_ids != nullptr);
        tbb::task_group_context context;
        tbb::parallel_reduce(tbb::blocked_range<std::size_t>(0, indices.size()), body,
                             tbb::auto_partitioner{}, context);
        if (body.m_any_passed_over) {
            std::erase(indices, kPassedOver);
        }
        m_num_nodes -= static_cast<int>(indices.size());
        append(roots, body.m_roots);
        if (out_deleted_ids != nullptr) {
            append(*out_deleted_ids, body.m_ids);
        }
        if (!body.m_children.empty()) {
            std::vector<int>& next = io_indices_by_depth[depth + 1];
            next.insert(next.end(), body.m_children.begin(), body.m_children.end());
        }
    }
    for (const TileId root : roots) {
        removeRoot(root);
    }
    compactStorage(io_indices_by_depth);
    setBranchSizes();
}

void VoxelLayout::update(const std::vector<TileId>& in_to_add,
                         const std::vector<TileId>& in_to_delete)
{
    addNodes(in_to_add);
    deleteNodes(in_to_delete);
}

void VoxelLayout::removeRoot(TileId in_id)
{
    const auto root = m_roots.find(in_id);
    if (root == m_roots.end() || root->first != in_id) {
        return;
    }
    // Counts of other depths stay as they are: only the finest depth of a root must be right, and
    // that as a bound from above.
    if (root->second.second == m_finest_root_depth && --m_root_counts[m_finest_root_depth] <= 0) {
        while (m_finest_root_depth > 0 && m_root_counts[m_finest_root_depth] <= 0) {
            --m_finest_root_depth;
        }
    }
    m_roots.erase(root);
    m_node_data->trunk = {};  // it may lie below that root
}

}  // namespace Skelvar
