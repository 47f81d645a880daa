#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>
#include <skelvar/numerics/StencilPatterns.h>

#include <algorithm>

namespace Skelvar::Detail {

// Blocks of a stencil's pattern have loops of their own, which know where the columns are and how
// many there are. All add the same terms in the same order.

/// One row of a block with the pattern of the whole stencil. in_values: of the row's entries.
template <typename Sum, Place X, Place Y, Place Z>
inline void addCoreRow(const float* in_values, const float* in_x, float* io_y)
{
    Sum sum = 0;
    int n = 0;
    const auto add = [&](int in_step) { sum += Sum(in_values[n++] * in_x[in_step]); };
    if constexpr (Z != eFirst) {
        add(-kAxisStep[2]);
    }
    if constexpr (Y != eFirst) {
        add(-kAxisStep[1]);
    }
    if constexpr (X != eFirst) {
        add(-kAxisStep[0]);
    }
    add(0);
    if constexpr (X != eLast) {
        add(kAxisStep[0]);
    }
    if constexpr (Y != eLast) {
        add(kAxisStep[1]);
    }
    if constexpr (Z != eLast) {
        add(kAxisStep[2]);
    }
    *io_y += float(sum);
}

/// Five rows along x.
template <typename Sum, Place Y, Place Z>
inline void addCoreLine(const float* in_values, const float* in_x, float* io_y, int in_cell)
{
    const auto values = [&](int in_at) { return in_values + kCorePattern.row_starts[in_at]; };
    const int c = in_cell;
    addCoreRow<Sum, eFirst, Y, Z>(values(c), in_x + c, io_y + c);
    for (int n = c + 1; n < c + kTileWidth - 1; ++n) {
        addCoreRow<Sum, eInner, Y, Z>(values(n), in_x + n, io_y + n);
    }
    const int last = c + kTileWidth - 1;
    addCoreRow<Sum, eLast, Y, Z>(values(last), in_x + last, io_y + last);
}

template <typename Sum, Place Z>
inline void addCoreSlab(const float* in_values, const float* in_x, float* io_y, int in_cell)
{
    addCoreLine<Sum, eFirst, Z>(in_values, in_x, io_y, in_cell);
    for (int line = 1; line < kTileWidth - 1; ++line) {
        addCoreLine<Sum, eInner, Z>(in_values, in_x, io_y, in_cell + line * kAxisStep[1]);
    }
    addCoreLine<Sum, eLast, Z>(in_values, in_x, io_y, in_cell + (kTileWidth - 1) * kAxisStep[1]);
}

template <typename Sum>
inline void addCoreProducts(const float* in_values, const float* in_x, float* io_y)
{
    addCoreSlab<Sum, eFirst>(in_values, in_x, io_y, 0);
    for (int slab = 1; slab < kTileWidth - 1; ++slab) {
        addCoreSlab<Sum, eInner>(in_values, in_x, io_y, slab * kAxisStep[2]);
    }
    addCoreSlab<Sum, eLast>(in_values, in_x, io_y, (kTileWidth - 1) * kAxisStep[2]);
}

/// A block of the pattern of a side: one entry a row, whose product in `float` is the sum.
inline void addSideProducts(int in_side, const float* in_values, const float* in_x, float* io_y)
{
    const int axis = in_side / 2;
    const int lower = axis == 0 ? kAxisStep[1] : kAxisStep[0];
    const int upper = axis == 2 ? kAxisStep[1] : kAxisStep[2];
    const int far = (kTileWidth - 1) * kAxisStep[axis];
    const float* const x = in_x + (in_side % 2 == 0 ? far : 0);
    float* const y = io_y + (in_side % 2 == 0 ? 0 : far);
    for (int b = 0; b < kTileWidth; ++b) {
        for (int a = 0; a < kTileWidth; ++a) {
            const int at = a * lower + b * upper;
            y[at] += *in_values++ * x[at];
        }
    }
}

template <typename Sum>
inline void addAnyProducts(const SparseMatrixTile<float>& in_block, const float* in_x, float* io_y)
{
    const float* const values = in_block.values();
    const SparseMatrixPattern pattern = in_block.pattern();
    for (int row = 0; row < in_block.numRows(); ++row) {
        Sum sum = 0;
        for (unsigned int n = pattern.row_starts[row]; n < pattern.row_starts[row + 1]; ++n) {
            sum += Sum(values[n] * in_x[pattern.column_ids[n]]);
        }
        io_y[pattern.row_ids[row]] += float(sum);
    }
}

/// Asks ahead for the list of a tile's blocks.
inline void prefetchList(const SparseMatrix<float>::Blocks& in_blocks)
{
    for (const SparseMatrixTile<float>& block : in_blocks) {
        __builtin_prefetch(&block);
    }
}

/// Asks ahead for what the blocks of a tile hold, each in a place of its own. Of a long block the
/// start is enough: the processor sees where it goes.
inline void prefetchBlocks(const SparseMatrix<float>::Blocks& in_blocks)
{
    constexpr unsigned long long kLine = 64;
    constexpr unsigned long long kAhead = 5 * kLine;
    for (const SparseMatrixTile<float>& block : in_blocks) {
        const unsigned long long bytes = block.stencil() == SparseMatrixStencil::eNone
                                             ? block.memUsage()
                                             : block.numEntries() * sizeof(float);
        const char* const data = reinterpret_cast<const char*>(block.values());
        for (unsigned long long at = 0; at < std::min(bytes, kAhead); at += kLine) {
            __builtin_prefetch(data + at);
        }
    }
}

/// Adds the product of a block and x to y. Products are formed in `float` and summed over a row of
/// the block in `Sum`, from 0 on; that sum, rounded, is added in `float`.
template <typename Sum, typename Vector>
void addBlockProduct(const SparseMatrixTile<float>& in_block, const Vector& in_x, float* io_y)
{
    const float* const x = in_x.tileData(in_block.tileIndex(), in_block.depth());
    switch (in_block.stencil()) {
        case SparseMatrixStencil::eNone:
            addAnyProducts<Sum>(in_block, x, io_y);
            break;
        case SparseMatrixStencil::eCore:
            addCoreProducts<Sum>(in_block.values(), x, io_y);
            break;
        default:
            addSideProducts(static_cast<int>(in_block.stencil()) - 1, in_block.values(), x, io_y);
    }
}

}  // namespace Skelvar::Detail
