#pragma once

#include <skelvar/numerics/SparseMatrixTile.h>

namespace Skelvar::Testing {

/// One row of a block: the step of over-relaxation of its z.
inline void plainRelax(const SparseMatrixTile<float>& in_block, int in_row, const float* in_r,
                       float* io_z)
{
    const int position = in_block.rowIds()[in_row];
    float v = in_r[position];
    float d = 0.0f;
    for (unsigned n = in_block.rowStarts()[in_row]; n < in_block.rowStarts()[in_row + 1]; ++n) {
        const int column = in_block.columnIds()[n];
        if (column == position) {
            d = in_block.values()[n];
        } else {
            v = v - in_block.values()[n] * io_z[column];
        }
    }
    if (d > 0.0f) {
        v = v / d;
        io_z[position] = (v - io_z[position]) * 1.5f + io_z[position];
    }
}

/// The sweeps of the preconditioner on one tile, written as one would say them: what the library's
/// are held against, for the same bits and in time. io_z: of all positions of the tile, 0 where the
/// block has no row. The dot product of r and z.
inline double plainPrecondition(const SparseMatrixTile<float>& in_block, const float* in_r,
                                float* io_z)
{
    const int rows = in_block.numRows();
    for (int row = 0; row < rows; ++row) {
        io_z[in_block.rowIds()[row]] = 0.0f;
    }
    for (int sweep = 0; sweep < 4; ++sweep) {
        for (int row = 0; row < rows; row += 2) {
            plainRelax(in_block, row, in_r, io_z);
        }
        for (int row = 1; row < rows; row += 2) {
            plainRelax(in_block, row, in_r, io_z);
        }
    }
    for (int sweep = 0; sweep < 4; ++sweep) {
        for (int row = rows / 2 * 2 - 1; row >= 0; row -= 2) {
            plainRelax(in_block, row, in_r, io_z);
        }
        for (int row = (rows - 1) & ~1; row >= 0; row -= 2) {
            plainRelax(in_block, row, in_r, io_z);
        }
    }
    double dot = 0.0;
    for (int row = 0; row < rows; ++row) {
        const int position = in_block.rowIds()[row];
        dot += double(io_z[position]) * double(in_r[position]);
    }
    return dot;
}

}  // namespace Skelvar::Testing
