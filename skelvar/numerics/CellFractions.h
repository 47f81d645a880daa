#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar {

/// Share of a segment on which a level set, linear between `in_a` and `in_b` at its ends, is
/// negative: a / (a - b) counted from the end that is negative, 1 if both ends are, 0 if none is. A
/// value of 0 is not negative. From 0 to 1; NaN gives 0. An infinite value has all of the segment,
/// two have half of it each.
SKELVAR_API float lineFraction(float in_a, float in_b);

/// Share of a square on which a level set is negative, with its values at the corners in the order
/// around the square. The square is cut from the first to the third corner into two triangles, and
/// the level set is linear on each. From 0 to 1; NaN is not negative, and edges to it have no
/// share.
/// Source: a triangle with one negative corner has the share of the product of the line fractions
/// along the two edges there; one with two has the complement of that of the third.
SKELVAR_API float faceFraction(float in_a, float in_b, float in_c, float in_d);

}  // namespace Skelvar
