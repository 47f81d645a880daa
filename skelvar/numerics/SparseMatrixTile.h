#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/array1.h>
#include <skelvar/tree/TileId.h>

#include <cassert>
#include <compare>

namespace Skelvar {

/// Which entries a block has, by local positions, row by row. Borrowed.
struct SparseMatrixPattern {
    const unsigned int* row_starts;    ///< first entry of each listed row, and the entries' number
    const unsigned short* row_ids;     ///< position of each listed row, rising
    const unsigned short* column_ids;  ///< position of each entry's column, rising in a row
};

/// Patterns that most blocks of a 7-point stencil have. A block that has one of them is known by
/// it, and a loop over many such blocks reads the pattern once and of each block only its values.
enum class SparseMatrixStencil : int {
    eNone = -1,  ///< any other pattern
    eCore = 0,   ///< each cell of a tile with itself and its up to six neighbours in the tile
    eLowX,       ///< the cells of the tile's lower x side with those beyond it
    eHighX,
    eLowY,
    eHighY,
    eLowZ,
    eHighZ,
    ePartOfCore,  ///< as `eCore`, but some of the cells with those of their neighbours among them;
                  ///< each block has its own pattern
};

/// The values of a block that has but two: of entries whose row and column positions are equal, and
/// of all others.
template <typename T>
struct SparseMatrixUniformValues {
    T diagonal;
    T other;
};

/// One compressed block of a matrix: the couplings of the positions of a row tile, which follows
/// from where the block stands, with those of a column tile. Lists only rows that have entries.
/// Owns its one allocation: the values, the row starts, the row ids, the column ids, in this order.
/// A copy is deep. Made by `DynamicSparseMatrixTile::convert`; values may be changed, the pattern
/// may not.
template <typename T>
class SKELVAR_API SparseMatrixTile {
public:
    /// A block without entries, rows or memory.
    SparseMatrixTile() noexcept = default;
    SparseMatrixTile(const SparseMatrixTile& in_other);
    SparseMatrixTile(SparseMatrixTile&& io_other) noexcept { swap(io_other); }
    SparseMatrixTile& operator=(SparseMatrixTile in_other) noexcept
    {
        swap(in_other);
        return *this;
    }
    ~SparseMatrixTile();
    void swap(SparseMatrixTile& io_other) noexcept;

    /// The tile id that was given to `convert`.
    TileId tileId() const { return m_tile_id; }
    /// Index of the column tile in its depth, and that depth.
    int tileIndex() const { return m_tile_index; }
    int depth() const { return m_depth; }
    /// Rows that have entries.
    int numRows() const { return m_num_rows; }
    int numEntries() const { return m_num_entries; }

    /// To be written: from now on the block counts as one of many values.
    T* values()
    {
        m_is_uniform = false;
        return static_cast<T*>(m_data);
    }
    const T* values() const { return static_cast<const T*>(m_data); }
    const unsigned int* rowStarts() const
    {
        return reinterpret_cast<const unsigned int*>(values() + m_num_entries);
    }
    const unsigned short* rowIds() const
    {
        return reinterpret_cast<const unsigned short*>(rowStarts() + m_num_rows + 1);
    }
    const unsigned short* columnIds() const { return rowIds() + m_num_rows; }

    SparseMatrixStencil stencil() const { return m_stencil; }
    /// The pattern in the place that is the cheapest to read: the one that all blocks of a stencil
    /// share, or the block's own.
    SparseMatrixPattern pattern() const;
    /// The two values of the block, each the same in all its entries bit for bit, 0 where there is
    /// no such entry. Null if there are more, or if someone may have written them.
    const SparseMatrixUniformValues<T>* uniformValues() const
    {
        return m_is_uniform ? &m_uniform : nullptr;
    }

    /// Bytes of the allocation.
    unsigned long long memUsage() const;

private:
    template <typename>
    friend class DynamicSparseMatrixTile;

    /// Makes room for a block, instead of what it held.
    void allocate(int in_num_rows, int in_num_entries);
    /// Finds the stencil and whether the values are uniform.
    void classify();

    TileId m_tile_id = kNoTile;
    int m_tile_index = -1;
    int m_depth = -1;
    int m_num_rows = 0;
    int m_num_entries = 0;
    void* m_data = nullptr;  ///< owned
    SparseMatrixStencil m_stencil = SparseMatrixStencil::eNone;
    bool m_is_uniform = false;
    SparseMatrixUniformValues<T> m_uniform{};
};

/// One value of a block that is being gathered. Ordered by row, then column.
template <typename T>
struct DynamicSparseMatrixEntry {
    T value;
    unsigned short row;     ///< local position in the row tile
    unsigned short column;  ///< local position in the column tile

    friend bool operator<(const DynamicSparseMatrixEntry& in_a,
                          const DynamicSparseMatrixEntry& in_b)
    {
        return in_a.row != in_b.row ? in_a.row < in_b.row : in_a.column < in_b.column;
    }
};

/// A block that is being gathered: entries in any order, duplicates allowed.
template <typename T>
class SKELVAR_API DynamicSparseMatrixTile : public array1<DynamicSparseMatrixEntry<T>> {
public:
    /// Local positions, 0 to 65535.
    void add(int in_row, int in_column, T in_value)
    {
        assert(in_row >= 0 && in_row <= 0xffff && in_column >= 0 && in_column <= 0xffff);
        this->push_back({in_value, static_cast<unsigned short>(in_row),
                         static_cast<unsigned short>(in_column)});
    }
    /// Sorts the entries and freezes them into a block; those of one row and column are summed, in
    /// `T` and the order in which they were added. A block without entries has one row start, 0.
    void convert(TileId in_id, int in_tile_index, int in_depth, SparseMatrixTile<T>* out_block);
};

extern template class SparseMatrixTile<float>;
extern template class DynamicSparseMatrixTile<float>;

}  // namespace Skelvar
