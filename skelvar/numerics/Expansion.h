#pragma once

#include <skelvar/numerics/Predicates.h>

#include <algorithm>
#include <array>

namespace Skelvar::Detail {

// Exact arithmetic on expansions: sums of doubles that do not overlap, smallest first, so that the
// sign of the last one is the sign of the whole. Exact as long as nothing overflows or underflows.
//
// Source: J. R. Shewchuk, "Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric
// Predicates", Discrete & Computational Geometry 18 (1997); products by T. J. Dekker (1971), sums
// by D. E. Knuth.

/// A rounded result and what rounding took from it: head + tail is exact.
struct HeadTail {
    double head;
    double tail;
};

inline HeadTail twoSum(double in_a, double in_b)
{
    const double sum = in_a + in_b;
    const double b_part = sum - in_a;
    const double a_part = sum - b_part;
    return {sum, (in_a - a_part) + (in_b - b_part)};
}

inline HeadTail twoDifference(double in_a, double in_b)
{
    const double difference = in_a - in_b;
    const double b_part = in_a - difference;
    const double a_part = difference + b_part;
    return {difference, (in_a - a_part) + (b_part - in_b)};
}

/// A double as the sum of two of half the length.
inline HeadTail halves(double in_a)
{
    const double c = splitter * in_a;
    const double head = c - (c - in_a);
    return {head, in_a - head};
}

/// The product of `in_a` and a `in_b` whose halves are known.
inline HeadTail twoProduct(double in_a, double in_b, HeadTail in_b_halves)
{
    const double product = in_a * in_b;
    const HeadTail a = halves(in_a);
    const double error = ((product - a.head * in_b_halves.head) - a.tail * in_b_halves.head) -
                         a.head * in_b_halves.tail;
    return {product, a.tail * in_b_halves.tail - error};
}

/// An expansion of at most N doubles, without zeros except for the single one of a zero.
template <int N>
struct Expansion {
    std::array<double, N> terms;  ///< the first `size` count
    int size;

    Expansion() : size(0) {}
    explicit Expansion(double in_value) : size(1) { terms[0] = in_value; }
    // A copy takes the terms that are there and no more.
    Expansion(const Expansion& in_other) : size(in_other.size)
    {
        std::copy_n(in_other.terms.begin(), size, terms.begin());
    }
    Expansion& operator=(const Expansion&) = delete;
    ~Expansion() = default;

    /// The last term, whose sign is that of the sum.
    double largest() const { return terms[size - 1]; }
    /// The sum, rounded.
    double estimate() const
    {
        double sum = terms[0];
        for (int n = 1; n < size; ++n) {
            sum += terms[n];
        }
        return sum;
    }
};

/// The exact sum of a head and its tail.
inline Expansion<2> exact(HeadTail in_value)
{
    Expansion<2> result;
    if (in_value.tail != 0) {
        result.terms[result.size++] = in_value.tail;
    }
    result.terms[result.size++] = in_value.head;
    return result;
}

// The published operations take their operands as pointers to non-const, and do not write to them.
template <int N>
double* operand(const Expansion<N>& in_e)
{
    return const_cast<double*>(in_e.terms.data());
}

template <int N, int M>
Expansion<N + M> operator+(const Expansion<N>& in_e, const Expansion<M>& in_f)
{
    Expansion<N + M> sum;
    sum.size = fast_expansion_sum_zeroelim(in_e.size, operand(in_e), in_f.size, operand(in_f),
                                           sum.terms.data());
    return sum;
}

template <int N>
Expansion<N> operator-(Expansion<N> in_e)
{
    for (int n = 0; n < in_e.size; ++n) {
        in_e.terms[n] = -in_e.terms[n];
    }
    return in_e;
}

template <int N, int M>
Expansion<N + M> operator-(const Expansion<N>& in_e, const Expansion<M>& in_f)
{
    return in_e + -in_f;
}

template <int N, int M>
Expansion<2 * N * M> operator*(const Expansion<N>& in_e, const Expansion<M>& in_f)
{
    if constexpr (N < M) {
        return in_f * in_e;  // few long rows rather than many short ones
    }
    Expansion<2 * N * M> product;
    product.size =
        scale_expansion_zeroelim(in_e.size, operand(in_e), in_f.terms[0], product.terms.data());
    for (int m = 1; m < in_f.size; ++m) {
        Expansion<2 * N> row;
        row.size =
            scale_expansion_zeroelim(in_e.size, operand(in_e), in_f.terms[m], row.terms.data());
        const Expansion<2 * N* M> sum = product;
        product.size = fast_expansion_sum_zeroelim(sum.size, operand(sum), row.size, operand(row),
                                                   product.terms.data());
    }
    return product;
}

}  // namespace Skelvar::Detail
