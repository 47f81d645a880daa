#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar {

/// The distance at a cell from those of its neighbours, by |grad| = 1: one value for each axis, the
/// smaller of the two neighbours', not negative, infinity where there is none. `in_dx`: the step
/// between cells, in the units of the distances. Takes as many axes as the result is not below:
/// with one, the least value plus dx. Infinity if all three are.
/// Source: the first-order upwind update of fast marching and sweeping, Zhao, "A Fast Sweeping
/// Method for Eikonal Equations", 2005; in double.
SKELVAR_API float solveEikonal(float in_a, float in_b, float in_c, float in_dx);

}  // namespace Skelvar
