#pragma once

#include <skelvar/numerics/SparseMatrixTile.h>
#include <skelvar/numerics/minimalist_array.h>
#include <skelvar/tree/TileIndex.h>

#include <map>

namespace Skelvar {

class VoxelLayout;

/// A tile as the column of blocks: its id, and its place. Ordered by depth, then place.
struct TileIdentifier {
    TileId id = kNoTile;
    int index = -1;
    int depth = -1;

    friend bool operator<(const TileIdentifier& in_a, const TileIdentifier& in_b)
    {
        return in_a.depth != in_b.depth ? in_a.depth < in_b.depth : in_a.index < in_b.index;
    }
};

/// The blocks of one row tile while they are gathered, by column tile.
template <typename T>
using DynamicSparseMatrixRow = std::map<TileIdentifier, DynamicSparseMatrixTile<T>>;

/// A matrix over the cells of a layout: for each tile, by depth and place, the blocks of its rows,
/// one for each column tile that it couples to. Owns the blocks and borrows the layout, which must
/// outlive it and whose edits make it stale. Distinct row tiles may be written by several threads.
template <typename T>
class SKELVAR_API SparseMatrix {
public:
    using Blocks = minimalist_array<SparseMatrixTile<T>>;

    /// A matrix without a layout, as an output that is filled later.
    SparseMatrix() = default;
    /// No blocks yet.
    explicit SparseMatrix(const VoxelLayout& in_layout) { reset(&in_layout); }
    /// Drops all blocks and takes the tiles of the layout, which may be null.
    void reset(const VoxelLayout* in_layout);

    const VoxelLayout* layout() const { return m_layout; }
    int numTiles(int in_depth) const { return static_cast<int>(m_depths[in_depth].size()); }
    Blocks& blocks(int in_tile, int in_depth) { return m_depths[in_depth][in_tile]; }
    const Blocks& blocks(int in_tile, int in_depth) const { return m_depths[in_depth][in_tile]; }
    /// The block of the row tile with itself. Null if there is none.
    const SparseMatrixTile<T>* diagonalBlock(int in_tile, int in_depth) const
    {
        for (const SparseMatrixTile<T>& block : blocks(in_tile, in_depth)) {
            if (block.tileIndex() == in_tile && block.depth() == in_depth) {
                return &block;
            }
        }
        return nullptr;
    }
    /// Freezes the gathered blocks of a row tile, in order of their column tiles; those without
    /// entries are left out.
    void setBlocks(int in_tile, int in_depth, DynamicSparseMatrixRow<T>& io_row);
    /// Bytes of all blocks and of the arrays that hold them.
    unsigned long long memUsage() const;

private:
    const VoxelLayout* m_layout = nullptr;
    array1<Blocks> m_depths[kNumDepths];
};

extern template class SparseMatrix<float>;

}  // namespace Skelvar
