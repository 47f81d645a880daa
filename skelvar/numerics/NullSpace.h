#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

#include <utility>

namespace Skelvar {

/// Finds the components of the unknowns (the rows of the diagonal blocks of A) on which every
/// constant vector is taken to 0: unknowns that off-diagonal entries other than 0 connect, and
/// whose rows all sum to zero, up to 1e-6 of the sum of the magnitudes. Gives their number.
/// `out_ids`: of each unknown the component, from 0 on by its first unknown, and -1 for all other
/// values. `out_pairs`: none, since the ids are those of whole components already. One thread.
SKELVAR_API int findUnitNullSpace(const SparseMatrix<float>& in_A, DenseVector<int>* out_ids,
                                  array1<std::pair<int, int>>* out_pairs);

/// Takes the constant on each component out of v: subtracts the mean, weighted by `in_weights` (1
/// if null) and computed in `double`. An unknown with an id from 0 up to but not including
/// `in_count` belongs to that component, or, with `in_pairs` (may be null), to all that its id is
/// equal to by the pairs; with any other id to none. A pair with an id out of that range says
/// nothing. A component whose weights sum to 0 stays as it is. The three vectors have the same tile
/// sizes.
SKELVAR_API void removeUnitNullSpace(int in_count, const DenseVector<int>* in_ids,
                                     const array1<std::pair<int, int>>* in_pairs,
                                     const DenseVector<float>* in_weights,
                                     DenseVector<float>* io_v);

}  // namespace Skelvar
