#pragma once

#include <skelvar/tree/VoxelLayout.h>

namespace Skelvar {

/// Lookups near one another, made cheap by remembering the last node found. Borrows the layout.
/// Belongs to one thread: each thread makes its own. Holds no pointer to a node; still, any edit of
/// the layout other than by the accessor itself makes it stale, and it must be made anew.
class SKELVAR_API VoxelLayout::ConstAccessor {
public:
    /// Starts at the first root, if there is one.
    explicit ConstAccessor(const VoxelLayout& in_layout);

    /// As `VoxelLayout::nodeIndex`.
    template <bool exact>
    TileIndex nodeIndex(int in_i, int in_j, int in_k, int in_depth)
    {
        if (in_depth == m_index.second && covers(in_i, in_j, in_k)) {
            return m_index;
        }
        return nodeIndexImpl<exact>(in_i, in_j, in_k, in_depth);
    }
    template <bool exact>
    TileIndex nodeIndex(TileId in_id);

    const VoxelLayout& layout() const { return *m_layout; }
    /// The last node found, `emptyAccessorNode` if there is none.
    const VoxelLayoutNode& node() const
    {
        return m_index.first < 0 ? emptyAccessorNode() : m_layout->node(m_index);
    }
    /// Its index, (-1, -1) if there is none.
    const TileIndex& tileIndex() const { return m_index; }

    /// An invalid node that covers no point. Never written.
    static const VoxelLayoutNode& emptyAccessorNode();

protected:
    /// True if the point lies in the node last found.
    bool covers(int in_i, int in_j, int in_k) const
    {
        return static_cast<unsigned>(in_i) - static_cast<unsigned>(m_i) < m_side &&
               static_cast<unsigned>(in_j) - static_cast<unsigned>(m_j) < m_side &&
               static_cast<unsigned>(in_k) - static_cast<unsigned>(m_k) < m_side;
    }
    template <bool exact>
    TileIndex nodeIndexImpl(int in_i, int in_j, int in_k, int in_depth);
    void remember(const TileIndex& in_index);

    const VoxelLayout* m_layout;
    TileIndex m_index;  ///< of the node last found
    int m_i = 0;        ///< its corner
    int m_j = 0;
    int m_k = 0;
    unsigned m_side = 0;  ///< its side, 0 if there is none
};

/// A `ConstAccessor` that also inserts, which does not make it stale.
class SKELVAR_API VoxelLayout::Accessor : public VoxelLayout::ConstAccessor {
public:
    explicit Accessor(VoxelLayout& io_layout);

    // As the operations of the same name of `VoxelLayout`.
    TileIndex addNode(TileId in_id, std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    TileIndex addNode(int in_i, int in_j, int in_k, int in_depth,
                      std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    TileIndex addNode(const vec3i& in_lo, const vec3i& in_hi,
                      std::vector<TileId>* out_added = nullptr,
                      std::vector<TileId>* out_added_roots = nullptr,
                      VoxelLayoutNodeVisitor* io_visitor = nullptr);
    void addNodes(const std::vector<TileId>& in_ids, std::vector<TileId>* out_added = nullptr,
                  std::vector<TileId>* out_added_roots = nullptr,
                  VoxelLayoutNodeVisitor* io_visitor = nullptr);
    void addNodes(const vec3i& in_lo, const vec3i& in_hi, int in_depth,
                  std::vector<TileId>* out_added = nullptr,
                  std::vector<TileId>* out_added_roots = nullptr,
                  VoxelLayoutNodeVisitor* io_visitor = nullptr);

private:
    VoxelLayout& layout() { return const_cast<VoxelLayout&>(*m_layout); }
};

extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<true>(TileId);
extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<false>(TileId);
extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<true>(int, int, int,
                                                                                      int);
extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<false>(int, int,
                                                                                       int, int);

}  // namespace Skelvar
