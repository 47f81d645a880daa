#include <skelvar/numerics/CellFractions.h>

#include <algorithm>

namespace Skelvar {

namespace {

/// Share of a triangle that one corner cuts off, its value being of one sign and the others' not.
float cornerFraction(float in_corner, float in_b, float in_c)
{
    return in_corner / (in_corner - in_b) * (in_corner / (in_corner - in_c));
}

float triangleFraction(float in_a, float in_b, float in_c)
{
    const int negative = (in_a < 0.0f) + (in_b < 0.0f) + (in_c < 0.0f);
    if (negative == 0 || negative == 3) {
        return negative == 0 ? 0.0f : 1.0f;
    }
    // the corner that stands alone first
    const bool alone = negative == 1;
    if ((in_b < 0.0f) == alone) {
        std::swap(in_a, in_b);
    } else if ((in_c < 0.0f) == alone) {
        std::swap(in_a, in_c);
    }
    const float cut = cornerFraction(in_a, in_b, in_c);
    return alone ? cut : 1.0f - cut;
}

}  // namespace

float lineFraction(float in_a, float in_b)
{
    if (in_a < 0.0f && in_b < 0.0f) {
        return 1.0f;
    }
    const float negative = std::min(in_a, in_b);
    const float share = negative / (negative - std::max(in_a, in_b));
    return negative < 0.0f && share > 0.0f ? std::min(share, 1.0f) : 0.0f;
}

float faceFraction(float in_a, float in_b, float in_c, float in_d)
{
    return 0.5f * (triangleFraction(in_a, in_b, in_c) + triangleFraction(in_a, in_c, in_d));
}

}  // namespace Skelvar
