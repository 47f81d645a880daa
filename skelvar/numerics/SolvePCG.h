#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

#include <utility>

namespace Skelvar {

/// Solves A x = b for a symmetric positive A by conjugate gradients, until the 2-norm of the
/// residual (the one that the recurrence keeps) is at most `in_tolerance` times that of b. The
/// preconditioner smooths each tile's diagonal block alone, by four forward and four backward
/// red-black sweeps of over-relaxation.
///
/// Unknowns are the rows of the diagonal blocks of A; elsewhere x becomes 0 and b is ignored. x is
/// an output only; it has the tile sizes of b. With `in_null_count` above 0 the components of the
/// constant null space, which `removeUnitNullSpace` takes out with the same four arguments, are
/// taken out of b and of each search direction, and every 8 passes out of the residual: then A may
/// be singular. With 0 or less those arguments are not read.
///
/// True if the tolerance was reached, at once for a right-hand side of 0. False after
/// `in_max_iterations` passes, or once a product that must be positive is not, with x as it stands;
/// NaN in b ends at the cap. `out_iterations`: passes completed, without the last one of a
/// solution; `out_residual`: the residual relative to b. The order of sums is not fixed, so that
/// the last digits change from run to run. Blocks the caller; uses all threads. Source:
/// preconditioned conjugate gradients, Hestenes and Stiefel, "Methods of Conjugate Gradients for
/// Solving Linear Systems", 1952; symmetric over-relaxation, omega 1.5.
SKELVAR_API bool solvePCG(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
                          DenseVector<float>* out_x, int in_null_count,
                          const DenseVector<int>* in_null_ids,
                          const array1<std::pair<int, int>>* in_null_pairs,
                          const DenseVector<float>* in_null_weights, int in_max_iterations,
                          float in_tolerance, int* out_iterations, float* out_residual);
/// The same, and appends the relative residual after each update of the solution to `io_history`.
SKELVAR_API bool solvePCG(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
                          DenseVector<float>* out_x, int in_null_count,
                          const DenseVector<int>* in_null_ids,
                          const array1<std::pair<int, int>>* in_null_pairs,
                          const DenseVector<float>* in_null_weights, int in_max_iterations,
                          float in_tolerance, int* out_iterations, float* out_residual,
                          array1<float>& io_history);

// The steps of the method. Each is a parallel loop over the tiles of a depth after the other, adds
// up a tile at a time, and the tiles in no fixed order.

/// z := M^-1 r on the rows of the diagonal blocks, by the sweeps of the preconditioner; other
/// values of z stay. The dot product of r and z over these rows. All but the dot product is in
/// `float`, and each tile has the same bits however it is computed.
SKELVAR_API double preconditionAndDot(const SparseMatrix<float>& in_A,
                                      const DenseVector<float>& in_r, DenseVector<float>* out_z);
/// q := A s, every value overwritten. The dot product of s and q.
SKELVAR_API double multiplyAndDot(const SparseMatrix<float>& in_A, const DenseVector<float>& in_s,
                                  DenseVector<float>* out_q);
/// x := x + alpha s, r := r - alpha q. The sum of squares of r.
SKELVAR_API float updateSolutionAndNorm(const VoxelLayout& in_layout,
                                        const DenseVector<float>& in_s,
                                        const DenseVector<float>& in_q, double in_alpha,
                                        DenseVector<float>* io_x, DenseVector<float>* io_r);
/// s := z + beta s.
SKELVAR_API void updateSearch(const VoxelLayout& in_layout, const DenseVector<float>& in_z,
                              double in_beta, DenseVector<float>* io_s);

}  // namespace Skelvar
