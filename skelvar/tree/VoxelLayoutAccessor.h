#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include <array>
#include <set>
#include <vector>

namespace Skelvar {

/// Lookups near one another, made cheap by remembering the last node found. Borrows the layout.
/// Costs next to nothing to make and shares nothing. Belongs to one thread: each thread makes its
/// own. Points into the layout: any edit other than by the accessor itself makes it stale, and it
/// must be made anew.
class SKELVAR_API VoxelLayout::ConstAccessor {
public:
    /// Starts at the first root, if there is one.
    explicit ConstAccessor(const VoxelLayout& in_layout) : m_layout(&in_layout)
    {
        if (in_layout.numRoots() > 0) {
            remember(in_layout.beginRoots()->second);
        }
    }

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
    /// As `VoxelLayout::cellIndex`. At depth 7 it remembers at most a tile of depth 6, which `node`
    /// and `tileIndex` do not tell.
    template <bool exact>
    CellIndex cellIndex(int in_i, int in_j, int in_k, int in_depth)
    {
        if (in_depth == kMaxTileDepth) {
            if (m_block.covers(in_i, in_j, in_k)) {
                return m_block.find<exact>(in_i, in_j, in_k);
            }
            const Foothold& trunk = m_layout->m_node_data->trunk;
            if (trunk.coversHalf(in_i, in_j, in_k)) [[likely]] {
                const Detail::PointPath path = trunk.lowerPath(in_i, in_j, in_k);
                const CellIndex above = trunk.find<true>(*m_layout, path, Block::kDepth);
                if (above.tile.first >= 0) {
                    return cellBelow<exact>(above, path.slot<kNumDepths>(), in_i, in_j, in_k);
                }
            }
        }
        return Detail::atAskedDepth<exact>(cellIndexImpl<exact>(in_i, in_j, in_k, in_depth),
                                           in_depth);
    }
    /// The same for many points at once, in their order. For points far from one another this is
    /// much faster than one after the other: the cells can be found before any of them is read,
    /// and the processor waits for many reads at the same time. A few hundred points a call do.
    template <bool exact>
    void cellIndices(const vec3i* in_points, long long in_count, int in_depth,
                     CellIndex* out_cells);

    // Neighbours: the nodes that share a face, an edge or a corner with a node, itself included. On
    // each of the 27 sides (x fastest) the deepest node that is not deeper than it, then, by slot,
    // those nodes below that one which touch it. Appended once each. None if the node is not live.
    // A deeper root beside it has no node of its depth above and is not found.

    void nodeNeighbourIndices(const TileIndex& in_index, std::vector<TileIndex>& out_indices) const
    {
        nodeNeighbourIndices2(in_index, 0, kMaxTileDepth, out_indices);
    }
    /// Only those of the depths, both inclusive.
    void nodeNeighbourIndices2(const TileIndex& in_index, int in_start_depth, int in_end_depth,
                               std::vector<TileIndex>& out_indices) const;
    /// Those on one side, -1 to 1 on each axis, which are not in `io_visited`; they are put there.
    /// `in_node` is the node at `in_index`, which is live.
    void nodeNeighbourIndices(int in_di, int in_dj, int in_dk, const TileIndex& in_index,
                              std::vector<TileIndex>& out_indices, const VoxelLayoutNode& in_node,
                              std::set<TileIndex>& io_visited) const;

    const VoxelLayout& layout() const { return *m_layout; }
    /// The last node found, `emptyAccessorNode` if there is none.
    const VoxelLayoutNode& node() const
    {
        return m_index.first < 0 ? emptyAccessorNode : m_layout->node(m_index);
    }
    /// Its index, (-1, -1) if there is none.
    const TileIndex& tileIndex() const { return m_index; }

    /// An invalid node at depth -100, which no lookup asks for.
    static const VoxelLayoutNode emptyAccessorNode;

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
    template <bool exact>
    CellIndex cellIndexImpl(int in_i, int in_j, int in_k, int in_depth);
    void remember(const TileIndex& in_index)
    {
        m_block = {};  // an insertion may have given it child slots
        const VoxelLayoutNode& node = m_layout->node(in_index);
        m_index = in_index;
        m_i = node.i();
        m_j = node.j();
        m_k = node.k();
        m_side = kTileSideLUT[in_index.second];
    }

    /// A tile of depth 6 and where its child slots are. From there to a cell is one indexed load,
    /// and points in a row lie in it far longer than in one finest tile, so that the processor
    /// foresees the test whether they do.
    struct Block {
        static constexpr int kDepth = kMaxTileDepth - 1;
        static constexpr unsigned kWidth = kTileSideLUT[kDepth];
        /// For a place in the block that of its tile in the lowest byte, and that of its cell in
        /// the tile in the next: the weights of the axes act on both at once.
        static constexpr std::array<unsigned, kWidth> kSteps = [] {
            std::array<unsigned, kWidth> steps{};
            for (unsigned n = 0; n < kWidth; ++n) {
                steps[n] = n / kTileWidth | n % kTileWidth << 8;
            }
            return steps;
        }();

        const int* slots = nullptr;
        int index = -1;
        int i = 0;  ///< corner
        int j = 0;
        int k = 0;
        unsigned width = 0;  ///< 0 if there is none

        bool covers(int in_i, int in_j, int in_k) const
        {
            return above(in_i, i) < width && above(in_j, j) < width && above(in_k, k) < width;
        }
        /// The cell of a point that it covers.
        template <bool exact>
        CellIndex find(int in_i, int in_j, int in_k) const
        {
            const unsigned steps =
                kSteps[above(in_i, i)] +
                kTileWidth * (kSteps[above(in_j, j)] + kTileWidth * kSteps[above(in_k, k)]);
            return Detail::finestCell<exact>(slots, index, static_cast<int>(steps & 0xFF),
                                             static_cast<int>(steps >> 8));
        }
        /// The cells of the first points, up to one that it does not cover; gives their number.
        template <bool exact>
        long long findRun(const vec3i* in_points, long long in_count, CellIndex* out_cells) const
        {
            const Block block = *this;  // what is written cannot change it
            long long n = 0;
            for (; n < in_count; ++n) {
                const vec3i& p = in_points[n];
                if (!block.covers(p[0], p[1], p[2])) {
                    break;
                }
                out_cells[n] = block.find<exact>(p[0], p[1], p[2]);
            }
            return n;
        }
        static unsigned above(int in_coordinate, int in_corner)
        {
            return static_cast<unsigned>(in_coordinate) - static_cast<unsigned>(in_corner);
        }
    };

    const VoxelLayout* m_layout;
    Block m_block;
    int m_last_above = -1;  ///< tile of depth 6 above the last point that the block did not cover
    TileIndex m_index;      ///< of the node last found
    int m_i = 0;            ///< its corner
    int m_j = 0;
    int m_k = 0;
    unsigned m_side = 0;  ///< its side, 0 if there is none

private:
    template <bool exact>
    CellIndex findCell(int in_i, int in_j, int in_k, int in_depth);
    /// The cell of depth 7 that holds a point, which is cell `in_cell` of its tile, by the cell of
    /// depth 6. For the second point in a row below a tile the block moves there: at random
    /// positions it would not be worth it.
    template <bool exact>
    CellIndex cellBelow(const CellIndex& in_above, int in_cell, int in_i, int in_j, int in_k)
    {
        const int above = in_above.tile.first;
        const int* const slots = m_layout->nodes(Block::kDepth).childSlots(above);
        if (above == m_last_above) [[unlikely]] {
            moveBlock(above, slots, in_i, in_j, in_k);
        }
        m_last_above = above;
        return Detail::finestCell<exact>(slots, above, in_above.cell, in_cell);
    }
    /// To the tile of depth 6 that holds a point.
    void moveBlock(int in_index, const int* in_slots, int in_i, int in_j, int in_k)
    {
        const auto corner = [](int in_coordinate) {
            const unsigned from_origin = in_coordinate + kTileOrigin;
            return in_coordinate - static_cast<int>(from_origin % Block::kWidth);
        };
        m_block = {in_slots, in_index, corner(in_i), corner(in_j), corner(in_k), Block::kWidth};
    }
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

#define SKELVAR_EXTERN(exact)                                                                   \
    extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndex<exact>(TileId); \
    extern template SKELVAR_API TileIndex VoxelLayout::ConstAccessor::nodeIndexImpl<exact>(     \
        int, int, int, int);                                                                    \
    extern template SKELVAR_API CellIndex VoxelLayout::ConstAccessor::cellIndexImpl<exact>(     \
        int, int, int, int);                                                                    \
    extern template SKELVAR_API void VoxelLayout::ConstAccessor::cellIndices<exact>(            \
        const vec3i*, long long, int, CellIndex*);
SKELVAR_EXTERN(true)
SKELVAR_EXTERN(false)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
