#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

#include <algorithm>

namespace Skelvar::Detail {

/// Adds the product of the blocks of a row tile and x to y. Products are formed in `float` and
/// summed over a row of a block in `Sum`, from 0 on; that sum, rounded, is added in `float`.
template <typename Sum, typename Vector>
void addBlockProducts(const SparseMatrix<float>::Blocks& in_blocks, const Vector& in_x, float* io_y)
{
    for (const SparseMatrixTile<float>& block : in_blocks) {
        const float* const x = in_x.tileData(block.tileIndex(), block.depth());
        const float* const values = block.values();
        const SparseMatrixPattern pattern = block.pattern();
        for (int row = 0; row < block.numRows(); ++row) {
            Sum sum = 0;
            for (unsigned int n = pattern.row_starts[row]; n < pattern.row_starts[row + 1]; ++n) {
                sum += Sum(values[n] * x[pattern.column_ids[n]]);
            }
            io_y[pattern.row_ids[row]] += float(sum);
        }
    }
}

}  // namespace Skelvar::Detail
