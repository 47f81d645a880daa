#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/tree/NodeIteratorBase.h>
#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

#include <algorithm>
#include <limits>

namespace Skelvar {

namespace {

void note(std::vector<TileId>* out_ids, TileId in_id)
{
    if (out_ids != nullptr) {
        out_ids->push_back(in_id);
    }
}

}  // namespace

void VoxelLayout::addRoot(TileId in_id, int in_index, int in_depth)
{
    const auto [root, is_new] = m_roots.try_emplace(in_id, TileIndex{in_index, in_depth});
    if (root->first != in_id) {
        return;
    }
    root->second = {in_index, in_depth};
    m_finest_root_depth = std::max(m_finest_root_depth, in_depth);
    // Counts only bound from above, and those of files may have grown without end.
    if (m_root_counts[in_depth] < std::numeric_limits<int>::max()) {
        ++m_root_counts[in_depth];
    }
}

TileIndex VoxelLayout::appendNode(int in_parent, TileId in_id, int in_depth)
{
    NodeArray& array = nodes(in_depth);
    const TileIndex index{static_cast<int>(array.size()), in_depth};
    VoxelLayoutNode node;
    node.init(in_parent, in_id, index.first, kTileSize, true);
    array.push_back(std::move(node));
    array.noteChildSlots(index.first, index.first + 1LL);
    ++m_num_nodes;
    nodeAdded(index);
    return index;
}

void VoxelLayout::addToBranches(TileIndex in_index, long long in_cells)
{
    while (in_index.first >= 0) {
        VoxelLayoutNode& above = node(in_index);
        above.setBranchSize(above.branchSize() + in_cells);
        in_index = {above.parent(), in_index.second - 1};
    }
}

void VoxelLayout::link(const TileIndex& in_ancestor, const TileIndex& in_target,
                       std::vector<TileId>* out_added, VoxelLayoutNodeVisitor* io_visitor)
{
    const TileId target_id = node(in_target).id();
    const auto [target, target_depth] = in_target;
    TileIndex above = in_ancestor;
    TileIndex first_new = in_target;  // the highest node that is not counted above it yet
    for (int depth = above.second + 1;; ++depth) {
        if (io_visitor != nullptr) {
            io_visitor->preVisit(&node(above), above);
        }
        const int slot = tileDigit(target_id, depth) - 1;
        node(above).ensureChildSlots();
        if (depth == target_depth) {
            node(above).child(slot) = target;
            node(in_target).setParent(above.first);
            break;
        }
        int child = node(above).child(slot);
        if (child < 0) {
            const TileId id = ancestorTile(target_id, depth);
            const TileIndex added = appendNode(above.first, id, depth);
            child = added.first;
            node(above).child(slot) = child;
            note(out_added, id);
            if (io_visitor != nullptr) {
                io_visitor->preVisit(&node(added), added);
            }
            if (first_new == in_target) {
                first_new = added;
            }
        }
        above = {child, depth};
    }

    // Up through the nodes made here, each of which brings its own cells too.
    long long cells = node(in_target).branchSize();
    for (int depth = target_depth - 1; depth >= first_new.second; --depth) {
        node(above).setBranchSize(kTileSize + cells);
        cells += kTileSize;
        above = {node(above).parent(), depth - 1};
    }
    addToBranches(above, cells);
}

TileIndex VoxelLayout::insertBelow(const TileIndex& in_ancestor, TileId in_id,
                                   std::vector<TileId>* out_added,
                                   VoxelLayoutNodeVisitor* io_visitor)
{
    const TileIndex added = appendNode(kNoParent, in_id, depthFromId(in_id));
    note(out_added, in_id);
    if (io_visitor != nullptr) {
        io_visitor->preVisit(&node(added), added);
    }
    const bool grows_trunk =
        in_ancestor == m_node_data->trunk.index && node(in_ancestor).branchSize() == kTileSize;
    link(in_ancestor, added, out_added, io_visitor);
    const VoxelLayoutNode& node_added = node(added);
    if (grows_trunk || !m_node_data->trunk.covers(node_added.i(), node_added.j(), node_added.k())) {
        findTrunk();
    }
    return added;
}

TileIndex VoxelLayout::insertRoot(TileId in_id, std::vector<TileId>* out_added,
                                  std::vector<TileId>* out_added_roots,
                                  VoxelLayoutNodeVisitor* io_visitor)
{
    // Roots below the tile compare equal to it, so they stand side by side. Their counts stay, as
    // bounds from above.
    const auto begin = m_roots.lower_bound(in_id);
    const auto end = m_roots.upper_bound(in_id);
    std::vector<TileIndex> roots_below;
    for (auto root = begin; root != end; ++root) {
        roots_below.push_back(root->second);
    }
    m_roots.erase(begin, end);

    const TileIndex added = appendNode(kNoParent, in_id, depthFromId(in_id));
    note(out_added, in_id);
    if (io_visitor != nullptr) {
        io_visitor->preVisit(&node(added), added);
    }
    addRoot(in_id, added.first, added.second);
    note(out_added_roots, in_id);
    for (const TileIndex& root : roots_below) {
        link(added, root, out_added, io_visitor);
    }
    findTrunk();
    return added;
}

TileIndex VoxelLayout::addNode(TileId in_id, std::vector<TileId>* out_added,
                               std::vector<TileId>* out_added_roots,
                               VoxelLayoutNodeVisitor* io_visitor)
{
    const TileId id = in_id & ~kTileIdLowBits;
    if (!isTileId(id)) {
        return {};
    }
    const TileIndex found = nodeIndex<false>(id);
    if (found.first < 0) {
        return insertRoot(id, out_added, out_added_roots, io_visitor);
    }
    return node(found).id() == id ? found : insertBelow(found, id, out_added, io_visitor);
}

TileIndex VoxelLayout::addNode(int in_i, int in_j, int in_k, int in_depth,
                               std::vector<TileId>* out_added, std::vector<TileId>* out_added_roots,
                               VoxelLayoutNodeVisitor* io_visitor)
{
    return addNode(tileCoordsToId(in_i, in_j, in_k, in_depth), out_added, out_added_roots,
                   io_visitor);
}

TileIndex VoxelLayout::addNode(const vec3i& in_lo, const vec3i& in_hi,
                               std::vector<TileId>* out_added, std::vector<TileId>* out_added_roots,
                               VoxelLayoutNodeVisitor* io_visitor)
{
    return addNode(commonTile(in_lo, in_hi), out_added, out_added_roots, io_visitor);
}

void VoxelLayout::addNodes(const std::vector<TileId>& in_ids, std::vector<TileId>* out_added,
                           std::vector<TileId>* out_added_roots, VoxelLayoutNodeVisitor* io_visitor)
{
    accessor().addNodes(in_ids, out_added, out_added_roots, io_visitor);
}

void VoxelLayout::addNodes(const vec3i& in_lo, const vec3i& in_hi, int in_depth,
                           std::vector<TileId>* out_added, std::vector<TileId>* out_added_roots,
                           VoxelLayoutNodeVisitor* io_visitor)
{
    accessor().addNodes(in_lo, in_hi, in_depth, out_added, out_added_roots, io_visitor);
}

void VoxelLayout::addBranch(const TileIndex& in_parent, const VoxelLayoutNode& in_node,
                            const VoxelLayout& in_other)
{
    if (&in_other == this || !isLive(in_parent) || in_node.depth() != in_parent.second + 1 ||
        ancestorTile(in_node.id(), in_parent.second) != node(in_parent).id()) {
        return;
    }
    const int slot = tileDigit(in_node.id(), in_node.depth()) - 1;
    TileIndex copy{kNoChild, in_node.depth()};
    if (node(in_parent).childExists(slot)) {
        copy.first = node(in_parent).child(slot);
    } else {
        // Linked only below, so that an observer sees the node as after any other insertion.
        copy = insertBelow(in_parent, in_node.id(), nullptr, nullptr);
    }
    const VoxelLayoutNode::ChildIterator end(false, &in_node, false);
    for (VoxelLayoutNode::ChildIterator child(true, &in_node, false); child != end; ++child) {
        addBranch(copy, in_other.node(*child), in_other);
    }
}

void VoxelLayout::addBranch(const ConstNodeIterator& in_node, const VoxelLayout& in_other)
{
    if (in_node.valid() && in_node.depth() > 0) {
        addBranch(nodeIndex<true>(parentTile((*in_node).id())), *in_node, in_other);
    }
}

}  // namespace Skelvar
