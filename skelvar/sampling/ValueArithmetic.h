#pragma once

#include <skelvar/base/ValueTypes.h>

#include <type_traits>

// Arithmetic on the element types of channels, one stage of a method at a time: floats as they are,
// integers in their own width, where they may wrap, vectors member by member.
namespace Skelvar::Detail {

/// The value truncated toward zero and taken modulo the width of `T`. NaN and what lies outside
/// 64 bits give 0; `bool` is whether the value is not 0.
template <typename T>
inline T truncateTo(float in_value)
{
    static_assert(std::is_arithmetic_v<T>);
    constexpr float half = 0x1p63f;
    if constexpr (std::is_same_v<T, float>) {
        return in_value;
    } else if constexpr (std::is_same_v<T, bool>) {
        return in_value != 0.0f;
    } else {
        if (in_value >= -half && in_value < half) {
            return static_cast<T>(static_cast<long long>(in_value));
        }
        if constexpr (std::is_same_v<T, unsigned long long>) {
            if (in_value >= half && in_value < 2.0f * half) {
                return static_cast<T>(in_value);
            }
        }
        return T{0};
    }
}

template <typename T>
struct ValueTraits {
    using Member = T;
    static constexpr int kMembers = 1;
    static T& member(T& io_value, int) { return io_value; }
    static const T& member(const T& in_value, int) { return in_value; }
};

template <int N, typename M>
struct ValueTraits<orvel::Math::vec<N, M>> {
    using Member = M;
    static constexpr int kMembers = N;
    static M& member(orvel::Math::vec<N, M>& io_value, int in_n) { return io_value[in_n]; }
    static const M& member(const orvel::Math::vec<N, M>& in_value, int in_n)
    {
        return in_value[in_n];
    }
};

/// Applies an operation of members to each member of the values.
template <typename Operation, typename T, typename... Rest>
inline T memberwise(const Operation& in_operation, const T& in_first, const Rest&... in_rest)
{
    using Traits = ValueTraits<T>;
    if constexpr (Traits::kMembers == 1) {
        return in_operation(in_first, in_rest...);
    } else {
        T out;
        for (int n = 0; n < Traits::kMembers; ++n) {
            out[n] = in_operation(in_first[n], in_rest[n]...);
        }
        return out;
    }
}

/// Wide enough for a sum or a difference of two members, and wraps without overflow.
template <typename M>
using Wrapping = std::conditional_t<
    std::is_same_v<M, bool>, int,
    typename std::conditional_t<std::is_integral_v<M> && !std::is_same_v<M, bool>,
                                std::make_unsigned<M>, std::type_identity<M>>::type>;

/// a + b in `T`. Of `bool`, whether either is true.
template <typename T>
inline T sum(const T& in_a, const T& in_b)
{
    return memberwise(
        [](const auto& a, const auto& b) {
            using M = std::decay_t<decltype(a)>;
            return static_cast<M>(static_cast<Wrapping<M>>(a) + static_cast<Wrapping<M>>(b));
        },
        in_a, in_b);
}

/// a - b in `T`. Of `bool`, whether they differ.
template <typename T>
inline T difference(const T& in_a, const T& in_b)
{
    return memberwise(
        [](const auto& a, const auto& b) {
            using M = std::decay_t<decltype(a)>;
            return static_cast<M>(static_cast<Wrapping<M>>(a) - static_cast<Wrapping<M>>(b));
        },
        in_a, in_b);
}

/// 2 a - b, each step in `T`.
template <typename T>
inline T reflection(const T& in_a, const T& in_b)
{
    return difference(sum(in_a, in_a), in_b);
}

/// a + (b - a) t: the difference in `T` (of `bool` as an integer), the rest in `float`, and the
/// result back in `T` by `truncateTo`.
template <typename T>
inline T lerp(const T& in_a, const T& in_b, float in_t)
{
    return memberwise(
        [in_t](const auto& a, const auto& b) {
            using M = std::decay_t<decltype(a)>;
            using Difference = std::conditional_t<std::is_same_v<M, bool>, int, M>;
            const auto step =
                static_cast<Difference>(static_cast<Wrapping<M>>(b) - static_cast<Wrapping<M>>(a));
            return truncateTo<M>(static_cast<float>(a) + static_cast<float>(step) * in_t);
        },
        in_a, in_b);
}

/// wa a + wb b in `float`, back in `T` by `truncateTo`. Terms of weight 0 count, so that NaN
/// spreads.
template <typename T>
inline T weighted(float in_wa, const T& in_a, float in_wb, const T& in_b)
{
    return memberwise(
        [=](const auto& a, const auto& b) {
            using M = std::decay_t<decltype(a)>;
            return truncateTo<M>(in_wa * static_cast<float>(a) + in_wb * static_cast<float>(b));
        },
        in_a, in_b);
}

/// (wa a + wb b) + wc c, likewise.
template <typename T>
inline T weighted(float in_wa, const T& in_a, float in_wb, const T& in_b, float in_wc,
                  const T& in_c)
{
    return memberwise(
        [=](const auto& a, const auto& b, const auto& c) {
            using M = std::decay_t<decltype(a)>;
            return truncateTo<M>(in_wa * static_cast<float>(a) + in_wb * static_cast<float>(b) +
                                 in_wc * static_cast<float>(c));
        },
        in_a, in_b, in_c);
}

/// s a in `float`, back in `T` by `truncateTo`.
template <typename T>
inline T scaled(const T& in_a, float in_scale)
{
    return memberwise(
        [in_scale](const auto& a) {
            using M = std::decay_t<decltype(a)>;
            return truncateTo<M>(static_cast<float>(a) * in_scale);
        },
        in_a);
}

}  // namespace Skelvar::Detail
