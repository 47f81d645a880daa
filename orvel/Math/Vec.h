#pragma once

#include <orvel/Api.h>

#include <string>

namespace orvel::Math {

/// A fixed vector of N components, N from 2 to 4. An aggregate without padding: N values of T in
/// order of the components. A default-built vector is uninitialised, `vec{}` is all zero.
template <int N, typename T>
struct ORVEL_API vec {
    static_assert(N >= 2 && N <= 4, "a vec has 2, 3 or 4 components");

    using value_type = T;
    static constexpr int kSize = N;

    T e[N];

    constexpr T& operator[](int in_axis) { return e[in_axis]; }
    constexpr const T& operator[](int in_axis) const { return e[in_axis]; }

    /// The type's name in files, as "vec<3,float>". Defined beside the type records of the library
    /// that needs the names.
    static const std::string& typeName();

    constexpr vec& operator+=(const vec& in_other)
    {
        for (int a = 0; a < N; ++a) {
            e[a] = static_cast<T>(e[a] + in_other.e[a]);
        }
        return *this;
    }
    constexpr vec& operator-=(const vec& in_other)
    {
        for (int a = 0; a < N; ++a) {
            e[a] = static_cast<T>(e[a] - in_other.e[a]);
        }
        return *this;
    }
    /// Component by component.
    constexpr vec& operator*=(const vec& in_other)
    {
        for (int a = 0; a < N; ++a) {
            e[a] = static_cast<T>(e[a] * in_other.e[a]);
        }
        return *this;
    }
    constexpr vec& operator*=(const T& in_scale)
    {
        for (int a = 0; a < N; ++a) {
            e[a] = static_cast<T>(e[a] * in_scale);
        }
        return *this;
    }
    constexpr vec& operator/=(const T& in_scale)
    {
        for (int a = 0; a < N; ++a) {
            e[a] = static_cast<T>(e[a] / in_scale);
        }
        return *this;
    }

    friend constexpr vec operator+(vec in_a, const vec& in_b) { return in_a += in_b; }
    friend constexpr vec operator-(vec in_a, const vec& in_b) { return in_a -= in_b; }
    friend constexpr vec operator*(vec in_a, const vec& in_b) { return in_a *= in_b; }
    friend constexpr vec operator*(vec in_a, const T& in_scale) { return in_a *= in_scale; }
    friend constexpr vec operator*(const T& in_scale, vec in_a) { return in_a *= in_scale; }
    friend constexpr vec operator/(vec in_a, const T& in_scale) { return in_a /= in_scale; }
    friend constexpr vec operator-(vec in_a)
    {
        for (int a = 0; a < N; ++a) {
            in_a.e[a] = static_cast<T>(-in_a.e[a]);
        }
        return in_a;
    }
    friend constexpr bool operator==(const vec& in_a, const vec& in_b)
    {
        for (int a = 0; a < N; ++a) {
            if (!(in_a.e[a] == in_b.e[a])) {
                return false;
            }
        }
        return true;
    }
};

/// Sum of the products of the components, in order of the components.
template <int N, typename T>
constexpr T dot(const vec<N, T>& in_a, const vec<N, T>& in_b)
{
    T sum = in_a.e[0] * in_b.e[0];
    for (int a = 1; a < N; ++a) {
        sum += in_a.e[a] * in_b.e[a];
    }
    return sum;
}

/// The vector product: right-handed, as long as the area that the two span.
template <typename T>
constexpr vec<3, T> cross(const vec<3, T>& in_a, const vec<3, T>& in_b)
{
    return {in_a[1] * in_b[2] - in_a[2] * in_b[1], in_a[2] * in_b[0] - in_a[0] * in_b[2],
            in_a[0] * in_b[1] - in_a[1] * in_b[0]};
}

}  // namespace orvel::Math
