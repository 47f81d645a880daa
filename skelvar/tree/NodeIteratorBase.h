#pragma once

#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <optional>
#include <vector>

namespace Skelvar {

/// Stands at one node of a layout and steps to the next, as in
///
///     for (auto it = layout.beginNodes(6, 7); it != layout.endNodes(); ++it) { use(*it); }
///
/// In array order (`BreadthFirstTopDown`) by depth, then index; with any other order branch by
/// branch, a node before its children and these by slot. Passes over deleted nodes. Borrows the
/// layout. Stale after an edit of the layout. Belongs to one thread: each thread makes its own.
///
/// Instances: `NodeIterator` and `ConstNodeIterator` of VoxelLayout.h.
template <typename Ref, typename LayoutPtr>
class SKELVAR_API NodeIteratorBase {
public:
    using LayoutTraversalType = VoxelLayout::LayoutTraversalType;

    /// At the first node of the depths, both inclusive and cut to 0 to 7; at the end if there is
    /// none.
    NodeIteratorBase(LayoutPtr in_layout, int in_start_depth, int in_end_depth,
                     LayoutTraversalType in_order);
    /// At the end: depth 7, index the size of its array, not valid.
    explicit NodeIteratorBase(LayoutPtr in_layout)
        : m_layout(in_layout),
          m_order(VoxelLayout::BreadthFirstTopDown),
          m_index(in_layout->numNodes(kMaxTileDepth)),
          m_depth(kMaxTileDepth),
          m_size(m_index)
    {
    }

    NodeIteratorBase& operator++()
    {
        if (m_order == VoxelLayout::BreadthFirstTopDown && m_valid && m_index + 1 < m_size &&
            m_layout->node(m_index + 1, m_depth).valid()) {
            ++m_index;
        } else {
            findNextNode();
        }
        return *this;
    }
    NodeIteratorBase operator++(int)
    {
        NodeIteratorBase before(*this);
        ++*this;
        return before;
    }
    /// The node. The iterator must be valid.
    Ref operator*() const { return m_layout->node(m_index, m_depth); }
    auto* operator->() const { return &**this; }
    /// Equal if they stand at the same place of the same layout, whatever their way there.
    bool operator==(const NodeIteratorBase& in_other) const
    {
        return m_index == in_other.m_index && m_depth == in_other.m_depth &&
               m_layout == in_other.m_layout;
    }

    /// False at the end.
    bool valid() const { return m_valid; }
    int index() const { return m_index; }
    int depth() const { return m_depth; }
    TileIndex tileIndex() const { return {m_index, m_depth}; }
    LayoutTraversalType order() const { return m_order; }

    /// To the next node, or to the end.
    void findNextNode();
    /// Past the branch of this node. Does nothing unless the order is `DepthFirst`.
    void stepToNextBranch();
    /// The node of this depth that lies so many tiles away. A failed lookup of
    /// `VoxelLayout::nodeIndex<true>` if there is none. The iterator must be valid.
    TileIndex nodeNeighbourIndex(int in_di, int in_dj, int in_dk);

private:
    void standAt(const TileIndex& in_place);
    void standAtEnd();
    void findNextInArrays();
    void findNextInBranches();
    void pushChildren(const VoxelLayoutNode& in_node);

    LayoutPtr m_layout;
    LayoutTraversalType m_order;
    int m_start_depth = 0;
    int m_end_depth = kMaxTileDepth;
    int m_index = -1;
    int m_depth = 0;
    int m_size = 0;  ///< of the array of this depth
    bool m_valid = false;
    std::vector<TileIndex> m_pending;      ///< nodes to come before the next root, last first
    std::size_t m_pending_after_node = 0;  ///< how many of them do not belong to this node
    VoxelLayout::RootMap::const_iterator m_next_root{};
    std::optional<VoxelLayout::ConstAccessor> m_accessor;  ///< for neighbours, made on first use
};

extern template class NodeIteratorBase<VoxelLayoutNode&, VoxelLayout*>;
extern template class NodeIteratorBase<const VoxelLayoutNode&, const VoxelLayout*>;

}  // namespace Skelvar
