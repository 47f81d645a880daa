#include <skelvar/numerics/CellFractions.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar {

namespace {

/// a / (a - b) of values of which one is negative and the other not. 0 if one is NaN.
float shareOf(float in_a, float in_b)
{
    float difference = in_a - in_b;
    if (std::isinf(in_a) || (std::isinf(difference) && !std::isinf(in_b))) {
        // halves do not overflow
        constexpr float kMost = std::numeric_limits<float>::max();
        in_a = 0.5f * std::clamp(in_a, -kMost, kMost);
        difference = in_a - 0.5f * std::clamp(in_b, -kMost, kMost);
    }
    const float share = in_a / difference;
    return share > 0.0f ? std::min(share, 1.0f) : 0.0f;
}

/// Share of a triangle that one corner cuts off, its value being of one sign and the others' not.
float cornerFraction(float in_corner, float in_b, float in_c)
{
    return shareOf(in_corner, in_b) * shareOf(in_corner, in_c);
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
    return negative < 0.0f ? shareOf(negative, std::max(in_a, in_b)) : 0.0f;
}

float faceFraction(float in_a, float in_b, float in_c, float in_d)
{
    return 0.5f * (triangleFraction(in_a, in_b, in_c) + triangleFraction(in_a, in_c, in_d));
}

}  // namespace Skelvar
