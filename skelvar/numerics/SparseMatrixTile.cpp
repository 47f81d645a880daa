#include <skelvar/numerics/SparseMatrixTile.h>

#include <skelvar/numerics/StencilPatterns.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <utility>

namespace Skelvar {

namespace {

template <typename T>
std::size_t bytesOf(const SparseMatrixTile<T>& in_block)
{
    const std::size_t rows = in_block.numRows();
    const std::size_t entries = in_block.numEntries();
    return entries * sizeof(T) + (rows + 1) * sizeof(unsigned int) + rows * sizeof(unsigned short) +
           entries * sizeof(unsigned short);
}

/// Whether a block, of the right numbers of rows and entries, has a pattern.
template <typename T>
bool hasPattern(const SparseMatrixTile<T>& in_block, const SparseMatrixPattern& in_pattern)
{
    return std::equal(in_block.rowStarts(), in_block.rowStarts() + in_block.numRows() + 1,
                      in_pattern.row_starts) &&
           std::equal(in_block.rowIds(), in_block.rowIds() + in_block.numRows(),
                      in_pattern.row_ids) &&
           std::equal(in_block.columnIds(), in_block.columnIds() + in_block.numEntries(),
                      in_pattern.column_ids);
}

/// Whether a block has the entries of the 7-point stencil among its rows, and no others.
template <typename T>
bool isPartOfCore(const SparseMatrixTile<T>& in_block)
{
    const int rows = in_block.numRows();
    if (rows == 0 || in_block.rowIds()[rows - 1] >= kTileSize) {
        return false;
    }
    bool is_row[kTileSize] = {};
    for (int row = 0; row < rows; ++row) {
        is_row[in_block.rowIds()[row]] = true;
    }
    for (int row = 0; row < rows; ++row) {
        unsigned int entry = in_block.rowStarts()[row];
        const unsigned int end = in_block.rowStarts()[row + 1];
        const unsigned int* const core = Detail::kCorePattern.row_starts + in_block.rowIds()[row];
        for (unsigned int n = core[0]; n < core[1]; ++n) {
            const int other = Detail::kCorePattern.column_ids[n];
            if (is_row[other] && (entry == end || in_block.columnIds()[entry++] != other)) {
                return false;
            }
        }
        if (entry != end) {
            return false;
        }
    }
    return true;
}

template <typename T>
SparseMatrixStencil stencilOf(const SparseMatrixTile<T>& in_block)
{
    using namespace Detail;
    if (in_block.numRows() == kCoreRows && in_block.numEntries() == kCoreEntries) {
        if (hasPattern(in_block, view(kCorePattern))) {
            return SparseMatrixStencil::eCore;
        }
    }
    if (in_block.numRows() == kSideRows && in_block.numEntries() == kSideRows) {
        for (int side = 0; side < 6; ++side) {
            if (hasPattern(in_block, view(kSidePatterns[side]))) {
                return static_cast<SparseMatrixStencil>(1 + side);
            }
        }
    }
    if (isPartOfCore(in_block)) {
        return SparseMatrixStencil::ePartOfCore;
    }
    return SparseMatrixStencil::eNone;
}

}  // namespace

template <typename T>
SparseMatrixTile<T>::SparseMatrixTile(const SparseMatrixTile& in_other)
{
    if (in_other.m_data != nullptr) {
        allocate(in_other.m_num_rows, in_other.m_num_entries);
        Detail::copyArray(in_other.m_data, bytesOf(in_other), m_data);
    }
    m_tile_id = in_other.m_tile_id;
    m_tile_index = in_other.m_tile_index;
    m_depth = in_other.m_depth;
    m_stencil = in_other.m_stencil;
    m_is_uniform = in_other.m_is_uniform;
    m_uniform = in_other.m_uniform;
}

template <typename T>
SparseMatrixTile<T>::~SparseMatrixTile()
{
    Detail::releaseArray(m_data);
}

template <typename T>
void SparseMatrixTile<T>::swap(SparseMatrixTile& io_other) noexcept
{
    std::swap(m_tile_id, io_other.m_tile_id);
    std::swap(m_tile_index, io_other.m_tile_index);
    std::swap(m_depth, io_other.m_depth);
    std::swap(m_num_rows, io_other.m_num_rows);
    std::swap(m_num_entries, io_other.m_num_entries);
    std::swap(m_data, io_other.m_data);
    std::swap(m_stencil, io_other.m_stencil);
    std::swap(m_is_uniform, io_other.m_is_uniform);
    std::swap(m_uniform, io_other.m_uniform);
}

template <typename T>
SparseMatrixPattern SparseMatrixTile<T>::pattern() const
{
    switch (m_stencil) {
        case SparseMatrixStencil::eNone:
        case SparseMatrixStencil::ePartOfCore:
            return {rowStarts(), rowIds(), columnIds()};
        case SparseMatrixStencil::eCore:
            return Detail::view(Detail::kCorePattern);
        default:
            return Detail::view(Detail::kSidePatterns[static_cast<int>(m_stencil) - 1]);
    }
}

template <typename T>
unsigned long long SparseMatrixTile<T>::memUsage() const
{
    return m_data == nullptr ? 0 : bytesOf(*this);
}

template <typename T>
void SparseMatrixTile<T>::allocate(int in_num_rows, int in_num_entries)
{
    SparseMatrixTile made;
    made.m_num_rows = in_num_rows;
    made.m_num_entries = in_num_entries;
    made.m_data = Detail::allocateArray(static_cast<long long>(bytesOf(made)), 1);
    swap(made);
}

template <typename T>
void SparseMatrixTile<T>::classify()
{
    m_stencil = stencilOf(*this);
    m_uniform = {};
    const T* const values = std::as_const(*this).values();
    const T* seen[2] = {};
    m_is_uniform = true;
    using Bits = std::array<std::byte, sizeof(T)>;
    for (int row = 0; row < m_num_rows; ++row) {
        for (unsigned int n = rowStarts()[row]; n < rowStarts()[row + 1]; ++n) {
            const bool is_diagonal = columnIds()[n] == rowIds()[row];
            (is_diagonal ? m_uniform.diagonal : m_uniform.other) = values[n];
            const T*& first = seen[is_diagonal];
            first = first == nullptr ? values + n : first;
            // bit for bit: NaN equals itself, and the two zeros differ
            m_is_uniform =
                m_is_uniform && std::bit_cast<Bits>(*first) == std::bit_cast<Bits>(values[n]);
        }
    }
}

template <typename T>
void DynamicSparseMatrixTile<T>::convert(TileId in_id, int in_tile_index, int in_depth,
                                         SparseMatrixTile<T>* out_block)
{
    // Entries that are gathered row by row are in order already.
    if (!std::is_sorted(this->begin(), this->end())) {
        std::stable_sort(this->begin(), this->end());
    }
    int rows = 0;
    int entries = 0;
    for (long long n = 0; n < this->size(); ++n) {
        const bool new_row = n == 0 || (*this)[n].row != (*this)[n - 1].row;
        rows += new_row;
        entries += new_row || (*this)[n].column != (*this)[n - 1].column;
    }

    out_block->allocate(rows, entries);
    out_block->m_tile_id = in_id;
    out_block->m_tile_index = in_tile_index;
    out_block->m_depth = in_depth;
    T* const values = out_block->values();
    auto* const row_starts = const_cast<unsigned int*>(out_block->rowStarts());
    auto* const row_ids = const_cast<unsigned short*>(out_block->rowIds());
    auto* const column_ids = const_cast<unsigned short*>(out_block->columnIds());
    int row = -1;
    int entry = -1;
    for (long long n = 0; n < this->size(); ++n) {
        const DynamicSparseMatrixEntry<T>& added = (*this)[n];
        const bool new_row = n == 0 || added.row != (*this)[n - 1].row;
        if (!new_row && added.column == (*this)[n - 1].column) {
            values[entry] += added.value;
            continue;
        }
        ++entry;
        values[entry] = added.value;
        column_ids[entry] = added.column;
        if (new_row) {
            ++row;
            row_ids[row] = added.row;
            row_starts[row] = entry;
        }
    }
    row_starts[rows] = entries;
    out_block->classify();
}

template class SparseMatrixTile<float>;
template class DynamicSparseMatrixTile<float>;

}  // namespace Skelvar
