#pragma once

#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/numerics/SparseMatrix.h>

namespace Skelvar {

// Matrices that take a vector of cells (125 values a tile) to one of haloed tiles: 343 values a
// tile, x fastest, the position (x, y, z) of a haloed tile at x + 7 (y + 7 z), those from 1 to 5 on
// each axis being the tile's own cells. y := A x is then what `evalContinuousHaloedTile` gives for
// a field with background 0, up to rounding.

/// Makes the blocks of one tile's rows. `in_with_halo` false: only the tile's own cells, each as it
/// is. Else the halo too: with `in_from_parent` false, only what lies in a tile of the same depth,
/// all else having empty rows; with it true, also what is derived from coarser tiles, for which the
/// parent's blocks must be in `io_matrix` already, made with both true. Tiles of one depth may be
/// made by several threads.
/// Source: the evaluator is linear, so its weights are its answers to single values of 1.
SKELVAR_API void makeInterpolationMatrixTile(const VoxelLayout& in_layout, int in_tile,
                                             int in_depth, VoxelOffsetType in_offset,
                                             bool in_with_halo, bool in_from_parent,
                                             SparseMatrix<float>* io_matrix);

/// The matrix for values at the cells' centres, with those two choices.
SKELVAR_API void makeCenterHaloSparseMatrix(const VoxelLayout& in_layout, bool in_with_halo,
                                            bool in_from_parent, SparseMatrix<float>* out_matrix);
/// The whole matrix for values at the cells' lower corners.
SKELVAR_API void makeCornerHaloSparseMatrix(const VoxelLayout& in_layout,
                                            SparseMatrix<float>* out_matrix);

}  // namespace Skelvar
