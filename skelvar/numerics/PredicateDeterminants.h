#pragma once

#include <cmath>

namespace Skelvar::Detail {

// The determinants behind the predicates, each written once for every arithmetic that evaluates it:
// rounded with its permanent, to first order, and exact. They fix the order of the operations, on
// which the error bounds rest.

/// A rounded value and its permanent: what it would be if nothing cancelled.
struct Filtered {
    double value;
    double permanent;
};

/// A rounded difference of two coordinates, which is its own permanent up to the sign.
struct Rounded {
    double value;
};

inline Filtered operator+(Filtered in_a, Filtered in_b)
{
    return {in_a.value + in_b.value, in_a.permanent + in_b.permanent};
}
inline Filtered operator-(Filtered in_a, Filtered in_b)
{
    return {in_a.value - in_b.value, in_a.permanent + in_b.permanent};
}
inline Filtered operator*(Filtered in_a, Filtered in_b)
{
    return {in_a.value * in_b.value, in_a.permanent * in_b.permanent};
}
inline Filtered operator*(Rounded in_a, Filtered in_b)
{
    return {in_a.value * in_b.value, std::fabs(in_a.value) * in_b.permanent};
}
inline Filtered operator*(Rounded in_a, Rounded in_b)
{
    const double product = in_a.value * in_b.value;
    return {product, std::fabs(product)};
}

/// | a0 a1 |
/// | b0 b1 |
template <typename T>
auto determinant2(const T& in_a0, const T& in_a1, const T& in_b0, const T& in_b1)
{
    return in_a0 * in_b1 - in_a1 * in_b0;
}

/// The determinant of three rows of two coordinates and a third entry.
template <typename T, typename Z>
auto determinant3(const T (&in_a)[2], const Z& in_az, const T (&in_b)[2], const Z& in_bz,
                  const T (&in_c)[2], const Z& in_cz)
{
    return in_az * (in_b[0] * in_c[1] - in_c[0] * in_b[1]) +
           in_bz * (in_c[0] * in_a[1] - in_a[0] * in_c[1]) +
           in_cz * (in_a[0] * in_b[1] - in_b[0] * in_a[1]);
}

}  // namespace Skelvar::Detail
