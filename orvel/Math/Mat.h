#pragma once

#include <orvel/Api.h>
#include <orvel/Math/Vec.h>

namespace orvel::Math {

template <int R, int C, typename T>
struct mat;

/// A 4 by 4 matrix of float, row after row, without padding. Vectors are rows: x' = x M, so the
/// translation stands in the last row. A new matrix is the identity.
template <>
struct ORVEL_API mat<4, 4, float> {
    float e[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    constexpr float& operator()(int in_row, int in_column) { return e[4 * in_row + in_column]; }
    constexpr const float& operator()(int in_row, int in_column) const
    {
        return e[4 * in_row + in_column];
    }

    friend constexpr mat operator*(const mat& in_a, const mat& in_b)
    {
        mat product;
        for (int r = 0; r < 4; ++r) {
            for (int c = 0; c < 4; ++c) {
                float sum = 0.0f;
                for (int k = 0; k < 4; ++k) {
                    sum += in_a(r, k) * in_b(k, c);
                }
                product(r, c) = sum;
            }
        }
        return product;
    }
    friend constexpr bool operator==(const mat& in_a, const mat& in_b)
    {
        for (int n = 0; n < 16; ++n) {
            if (!(in_a.e[n] == in_b.e[n])) {
                return false;
            }
        }
        return true;
    }
};

/// The point as a row times the matrix taken as an affine map: the last column is not read.
constexpr vec<3, float> transformPoint(const vec<3, float>& in_point,
                                       const mat<4, 4, float>& in_map)
{
    vec<3, float> out{};
    for (int c = 0; c < 3; ++c) {
        out[c] = in_point[0] * in_map(0, c) + in_point[1] * in_map(1, c) +
                 in_point[2] * in_map(2, c) + in_map(3, c);
    }
    return out;
}

static_assert(sizeof(mat<4, 4, float>) == 64, "files hold the matrix as its raw memory");

}  // namespace orvel::Math
