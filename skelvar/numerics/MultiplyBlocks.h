#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>
#include <skelvar/numerics/StencilPatterns.h>
#include <skelvar/numerics/SweepKernels.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

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
/// in_value(n): the n-th value.
template <int AXIS, typename Value>
inline void addSideProducts(bool in_high, const Value& in_value, const float* in_x, float* io_y)
{
    constexpr int kLower = AXIS == 0 ? kAxisStep[1] : kAxisStep[0];
    constexpr int kUpper = AXIS == 2 ? kAxisStep[1] : kAxisStep[2];
    constexpr int kFar = (kTileWidth - 1) * kAxisStep[AXIS];
    const float* const x = in_x + (in_high ? 0 : kFar);
    float* const y = io_y + (in_high ? kFar : 0);
    for (int b = 0; b < kTileWidth; ++b) {
        float products[kTileWidth];
        for (int a = 0; a < kTileWidth; ++a) {
            products[a] = in_value(b * kTileWidth + a) * x[a * kLower + b * kUpper];
        }
        for (int a = 0; a < kTileWidth; ++a) {
            y[a * kLower + b * kUpper] += products[a];
        }
    }
}

template <typename Value>
inline void addSideProducts(SparseMatrixStencil in_side, const Value& in_value, const float* in_x,
                            float* io_y)
{
    const int side = static_cast<int>(in_side) - static_cast<int>(SparseMatrixStencil::eLowX);
    const bool high = side % 2 == 1;
    switch (side / 2) {
        case 0:
            return addSideProducts<0>(high, in_value, in_x, io_y);
        case 1:
            return addSideProducts<1>(high, in_value, in_x, io_y);
        default:
            return addSideProducts<2>(high, in_value, in_x, io_y);
    }
}

template <typename Sum>
inline void addAnyProducts(const SparseMatrixTile<float>& in_block, const float* in_x, float* io_y)
{
    const float* const values = in_block.values();
    const SparseMatrixPattern pattern = in_block.pattern();
    if (in_block.numRows() == in_block.numEntries()) {  // one a row, as at the side of a tile
        for (int row = 0; row < in_block.numRows(); ++row) {
            io_y[pattern.row_ids[row]] += values[row] * in_x[pattern.column_ids[row]];
        }
        return;
    }
    for (int row = 0; row < in_block.numRows(); ++row) {
        Sum sum = 0;
        for (unsigned int n = pattern.row_starts[row]; n < pattern.row_starts[row + 1]; ++n) {
            sum += Sum(values[n] * in_x[pattern.column_ids[n]]);
        }
        io_y[pattern.row_ids[row]] += float(sum);
    }
}

/// A block of two values with the pattern of the whole stencil or of a part of it.
template <typename Sum>
inline void addUniformProducts(const SparseMatrixTile<float>& in_block, const float* in_x,
                               const SweepKernels& in_kernels, float* io_y)
{
    const SparseMatrixUniformValues<float>& values = *in_block.uniformValues();
    const auto add =
        std::is_same_v<Sum, float> ? in_kernels.add_uniform : in_kernels.add_uniform_in_double;
    if (in_block.stencil() == SparseMatrixStencil::eCore) {
        add(values.diagonal, values.other, in_x, io_y);
        return;
    }
    const unsigned short* const ids = in_block.rowIds();
    const int rows = in_block.numRows();
    float x[kTileSize] = {};
    float y[kTileSize] = {};
    for (int row = 0; row < rows; ++row) {
        x[ids[row]] = in_x[ids[row]];
    }
    add(values.diagonal, values.other, x, y);
    for (int row = 0; row < rows; ++row) {
        io_y[ids[row]] += y[ids[row]];
    }
}

/// Asks ahead for the list of a tile's blocks.
inline void prefetchList(const SparseMatrix<float>::Blocks& in_blocks)
{
    for (const SparseMatrixTile<float>& block : in_blocks) {
        __builtin_prefetch(&block);
    }
}

/// Asks ahead for what the product reads of the blocks of a tile, each in a place of its own. Of a
/// long block the start is enough: the processor sees where it goes.
inline void prefetchBlocks(const SparseMatrix<float>::Blocks& in_blocks)
{
    constexpr unsigned long long kLine = 64;
    constexpr unsigned long long kAhead = 5 * kLine;
    for (const SparseMatrixTile<float>& block : in_blocks) {
        const char* from = reinterpret_cast<const char*>(block.values());
        unsigned long long bytes = block.memUsage();
        const bool is_part = block.stencil() == SparseMatrixStencil::ePartOfCore;
        if (block.stencil() != SparseMatrixStencil::eNone && block.uniformValues() != nullptr) {
            from = reinterpret_cast<const char*>(block.rowIds());
            bytes = is_part ? block.numRows() * sizeof(unsigned short) : 0;
        } else if (block.stencil() != SparseMatrixStencil::eNone && !is_part) {
            bytes = block.numEntries() * sizeof(float);
        }
        for (unsigned long long at = 0; at < std::min(bytes, kAhead); at += kLine) {
            __builtin_prefetch(from + at);
        }
    }
}

/// Adds the product of a block and x to y, where no y is -0. Products are formed in `float` and
/// summed over a row of the block in `Sum`, from 0 on; that sum, rounded, is added in `float`.
template <typename Sum>
void addBlockProduct(const SparseMatrixTile<float>& in_block, const DenseVector<float>& in_x,
                     const SweepKernels& in_kernels, float* io_y)
{
    const float* const x = in_x.tileData(in_block.tileIndex(), in_block.depth());
    const float* const values = in_block.values();
    const SparseMatrixUniformValues<float>* const uniform = in_block.uniformValues();
    const SparseMatrixStencil stencil = in_block.stencil();
    switch (stencil) {
        case SparseMatrixStencil::eNone:
            return addAnyProducts<Sum>(in_block, x, io_y);
        case SparseMatrixStencil::eCore:
            return uniform != nullptr ? addUniformProducts<Sum>(in_block, x, in_kernels, io_y)
                                      : addCoreProducts<Sum>(values, x, io_y);
        case SparseMatrixStencil::ePartOfCore:
            // cells that are no rows count 0 times a value, which must be 0
            return uniform != nullptr && std::isfinite(uniform->other)
                       ? addUniformProducts<Sum>(in_block, x, in_kernels, io_y)
                       : addAnyProducts<Sum>(in_block, x, io_y);
        default:
            return uniform != nullptr
                       ? addSideProducts(
                             stencil, [&](int) { return uniform->other; }, x, io_y)
                       : addSideProducts(
                             stencil, [&](int in_n) { return values[in_n]; }, x, io_y);
    }
}

/// y := A x on a tile of a depth. Products are summed over a row of a block in `Sum`.
template <typename Sum>
void multiplyTile(const SparseMatrix<float>& in_A, int in_tile, int in_depth,
                  const DenseVector<float>& in_x, const SweepKernels& in_kernels,
                  DenseVector<float>& out_y)
{
    const int last = in_A.numTiles(in_depth) - 1;
    prefetchBlocks(in_A.blocks(std::min(in_tile + 1, last), in_depth));
    prefetchList(in_A.blocks(std::min(in_tile + 2, last), in_depth));
    float* const y = out_y.tileData(in_tile, in_depth);
    std::fill_n(y, out_y.tileDataSize(in_tile, in_depth), 0.0f);
    for (const SparseMatrixTile<float>& block : in_A.blocks(in_tile, in_depth)) {
        addBlockProduct<Sum>(block, in_x, in_kernels, y);
    }
}

}  // namespace Skelvar::Detail
