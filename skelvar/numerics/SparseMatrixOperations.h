#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

#include <iosfwd>

namespace Skelvar {

// Operations on matrices. Loops over the tiles of a depth are parallel; each writes only its own
// tiles, so that results do not depend on the number of threads. Outputs must not be inputs.

/// y := A x. Every value of every tile of y is overwritten, also where A has no row. x has the
/// tiles that the blocks of A name, and y those of A's rows, each as long as the blocks reach.
SKELVAR_API void matrixVectorMultiply(const SparseMatrix<float>& in_A,
                                      const DenseVector<float>& in_x, DenseVector<float>* out_y);

/// C := A B, where the rows of B belong to the column tiles of A. Products of entries are formed
/// and summed in `float`. Blocks of C stand in order of their column tiles; there is one where an
/// entry of A meets one of B.
SKELVAR_API void matrixMatrixMultiply(const SparseMatrix<float>& in_A,
                                      const SparseMatrix<float>& in_B, SparseMatrix<float>* out_C);

/// At := the transpose of A, whose rows and columns are tiles of one layout. Blocks of At stand in
/// order of their column tiles.
SKELVAR_API void transpose(const SparseMatrix<float>& in_A, SparseMatrix<float>* out_At);

/// Writes A as text that a numerical computing environment reads as `NAME=sparse(...)`, followed by
/// `NAME_rowMap` and `NAME_colMap`, the first positions of the tiles. Tiles are numbered by depth
/// and place. With `in_all_tiles` every tile of the layout is there, rows and columns alike, with
/// at least 125 positions, so that the numbers agree with those of `vectorDump`; else only the
/// tiles that A couples, each up to the last position that occurs.
SKELVAR_API void matrixDump(std::ostream& out_stream, const char* in_name,
                            const SparseMatrix<float>& in_A, bool in_all_tiles);
/// The same with the tiles and the sizes of two vectors, of the rows and of the columns.
SKELVAR_API void matrixDump(std::ostream& out_stream, const char* in_name,
                            const SparseMatrix<float>& in_A, const DenseVector<float>& in_rows,
                            const DenseVector<float>& in_columns);

/// Writes the values as `NAME=[...]`, by depth and tile, and `NAME_map`, the first positions of the
/// tiles. For `float`, `int` and `unsigned char`, whose values are written as numbers.
template <typename T>
SKELVAR_API void vectorDump(std::ostream& out_stream, const char* in_name,
                            const DenseVector<T>& in_v);

extern template void vectorDump(std::ostream&, const char*, const DenseVector<float>&);
extern template void vectorDump(std::ostream&, const char*, const DenseVector<int>&);
extern template void vectorDump(std::ostream&, const char*, const DenseVector<unsigned char>&);

}  // namespace Skelvar
