#include <skelvar/numerics/Predicates.h>

#include <skelvar/numerics/Expansion.h>
#include <skelvar/numerics/PredicateDeterminants.h>

#include <cmath>

namespace Skelvar {

namespace {

constexpr double kEpsilon = 0x1p-53;
constexpr double kSplitter = 0x1p27 + 1;

}  // namespace

// Constant-initialised, so that they hold before the first dynamic initialiser of any library.
double epsilon = kEpsilon;
double splitter = kSplitter;
double resulterrbound = (3 + 8 * kEpsilon) * kEpsilon;
double ccwerrboundA = (3 + 16 * kEpsilon) * kEpsilon;
double ccwerrboundB = (2 + 12 * kEpsilon) * kEpsilon;
double ccwerrboundC = (9 + 64 * kEpsilon) * kEpsilon * kEpsilon;
double o3derrboundA = (7 + 56 * kEpsilon) * kEpsilon;
double o3derrboundB = (3 + 28 * kEpsilon) * kEpsilon;
double o3derrboundC = (26 + 288 * kEpsilon) * kEpsilon * kEpsilon;
double iccerrboundA = (10 + 96 * kEpsilon) * kEpsilon;
double iccerrboundB = (4 + 48 * kEpsilon) * kEpsilon;
double iccerrboundC = (44 + 576 * kEpsilon) * kEpsilon * kEpsilon;
double isperrboundA = (16 + 224 * kEpsilon) * kEpsilon;
double isperrboundB = (5 + 72 * kEpsilon) * kEpsilon;
double isperrboundC = (71 + 1408 * kEpsilon) * kEpsilon * kEpsilon;

namespace {

/// Measures the arithmetic that the process really runs with. On the machine that the constants
/// above stand for it writes the same values again.
class initializer {
public:
    initializer()
    {
        double half = 1;
        double check = 1;
        double last_check = 0;
        bool every_other = true;
        double measured_splitter = 1;
        do {
            last_check = check;
            half *= 0.5;
            if (every_other) {
                measured_splitter *= 2;
            }
            every_other = !every_other;
            check = 1 + half;
        } while (check != 1 && check != last_check);
        epsilon = half;
        splitter = measured_splitter + 1;
        setBounds();
    }

private:
    static void setBounds()
    {
        resulterrbound = (3 + 8 * epsilon) * epsilon;
        ccwerrboundA = (3 + 16 * epsilon) * epsilon;
        ccwerrboundB = (2 + 12 * epsilon) * epsilon;
        ccwerrboundC = (9 + 64 * epsilon) * epsilon * epsilon;
        o3derrboundA = (7 + 56 * epsilon) * epsilon;
        o3derrboundB = (3 + 28 * epsilon) * epsilon;
        o3derrboundC = (26 + 288 * epsilon) * epsilon * epsilon;
        iccerrboundA = (10 + 96 * epsilon) * epsilon;
        iccerrboundB = (4 + 48 * epsilon) * epsilon;
        iccerrboundC = (44 + 576 * epsilon) * epsilon * epsilon;
        isperrboundA = (16 + 224 * epsilon) * epsilon;
        isperrboundB = (5 + 72 * epsilon) * epsilon;
        isperrboundC = (71 + 1408 * epsilon) * epsilon * epsilon;
    }
};

const initializer force_call_to_exactinit;

using Detail::determinant2;
using Detail::determinant3;
using Detail::Expansion;
using Detail::Filtered;
using Detail::HeadTail;
using Detail::Rounded;

/// A value and the part of it that is linear in the tails, which rounding took from the input.
struct FirstOrder {
    double value;
    double tail;
};

FirstOrder operator+(FirstOrder in_a, FirstOrder in_b)
{
    return {in_a.value + in_b.value, in_a.tail + in_b.tail};
}
FirstOrder operator-(FirstOrder in_a, FirstOrder in_b)
{
    return {in_a.value - in_b.value, in_a.tail - in_b.tail};
}
FirstOrder operator*(FirstOrder in_a, FirstOrder in_b)
{
    return {in_a.value * in_b.value, in_a.value * in_b.tail + in_a.tail * in_b.value};
}

// The ways to read a difference of coordinates, each with an arithmetic of its own.
constexpr auto kRounded = [](HeadTail in_value) { return Rounded{in_value.head}; };
constexpr auto kHead = [](HeadTail in_value) { return Expansion<1>(in_value.head); };
constexpr auto kFirstOrder = [](HeadTail in_value) {
    return FirstOrder{in_value.head, in_value.tail};
};
constexpr auto kExact = [](HeadTail in_value) { return Detail::exact(in_value); };

/// The differences of N points to an origin, and what rounding took from them.
template <int N, int AXES>
struct Differences {
    HeadTail of[N][AXES];

    Differences(const double* const (&in_points)[N], const double* in_origin)
    {
        for (int n = 0; n < N; ++n) {
            for (int a = 0; a < AXES; ++a) {
                of[n][a] = Detail::twoDifference(in_points[n][a], in_origin[a]);
            }
        }
    }

    bool areExact() const
    {
        for (const auto& point : of) {
            for (const HeadTail& difference : point) {
                if (difference.tail != 0) {
                    return false;
                }
            }
        }
        return true;
    }
};

/// The stages behind a filter: the exact determinant of the rounded differences, the same with a
/// first-order correction for the tails, and the exact determinant.
template <typename Differences, typename Heads, typename Correction, typename Exact>
double refine(const Differences& in_d, double in_permanent, double in_bound_b, double in_bound_c,
              Heads in_heads, Correction in_correction, Exact in_exact)
{
    double det = in_heads();
    if (std::fabs(det) >= in_bound_b * in_permanent || in_d.areExact()) {
        return det;
    }
    const double bound = in_bound_c * in_permanent + resulterrbound * std::fabs(det);
    det += in_correction();
    return std::fabs(det) >= bound ? det : in_exact();
}

/// The same where all stages evaluate one determinant: `in_determinant` does it with the arithmetic
/// that it is given.
template <typename Differences, typename Determinant>
double refine(const Differences& in_d, double in_permanent, double in_bound_b, double in_bound_c,
              Determinant in_determinant)
{
    return refine(
        in_d, in_permanent, in_bound_b, in_bound_c,
        [&] { return in_determinant(kHead).estimate(); },
        [&] { return in_determinant(kFirstOrder).tail; },
        [&] { return in_determinant(kExact).largest(); });
}

template <typename Number>
auto orient2dOf(const Differences<2, 2>& in_d, Number in_number)
{
    const auto& d = in_d.of;
    return determinant2(in_number(d[0][0]), in_number(d[0][1]), in_number(d[1][0]),
                        in_number(d[1][1]));
}

template <typename Number>
auto orient3dOf(const Differences<3, 3>& in_d, Number in_number)
{
    using T = decltype(in_number(HeadTail{}));
    const auto& d = in_d.of;
    const T a[2] = {in_number(d[0][0]), in_number(d[0][1])};
    const T b[2] = {in_number(d[1][0]), in_number(d[1][1])};
    const T c[2] = {in_number(d[2][0]), in_number(d[2][1])};
    return determinant3(a, in_number(d[0][2]), b, in_number(d[1][2]), c, in_number(d[2][2]));
}

template <typename Number>
auto incircleOf(const Differences<3, 2>& in_d, Number in_number)
{
    using T = decltype(in_number(HeadTail{}));
    const auto& d = in_d.of;
    const T a[2] = {in_number(d[0][0]), in_number(d[0][1])};
    const T b[2] = {in_number(d[1][0]), in_number(d[1][1])};
    const T c[2] = {in_number(d[2][0]), in_number(d[2][1])};
    const auto lift = [](const T(&in_p)[2]) { return in_p[0] * in_p[0] + in_p[1] * in_p[1]; };
    return determinant3(a, lift(a), b, lift(b), c, lift(c));
}

/// The 2 x 2 minors of the x and y of the points a, b, c, d.
template <typename T>
struct PlaneMinors {
    T ab, bc, cd, da, ac, bd;
};

template <typename Number>
auto planeMinors(const Differences<4, 3>& in_d, Number in_number)
{
    const auto minor = [&](int in_p, int in_q) {
        const auto& p = in_d.of[in_p];
        const auto& q = in_d.of[in_q];
        return in_number(p[0]) * in_number(q[1]) - in_number(q[0]) * in_number(p[1]);
    };
    using T = decltype(minor(0, 1));
    return PlaneMinors<T>{minor(0, 1), minor(1, 2), minor(2, 3),
                          minor(3, 0), minor(0, 2), minor(1, 3)};
}

template <typename Minor, typename Number>
auto insphereOf(const Differences<4, 3>& in_d, const PlaneMinors<Minor>& in_m, Number in_number)
{
    const auto z = [&](int in_p) { return in_number(in_d.of[in_p][2]); };
    const auto lift = [&](int in_p) {
        const auto& p = in_d.of[in_p];
        const auto square = [&](HeadTail in_v) { return in_number(in_v) * in_number(in_v); };
        return square(p[0]) + square(p[1]) + square(p[2]);
    };
    const auto a = z(0);
    const auto b = z(1);
    const auto c = z(2);
    const auto d = z(3);
    const auto abc = a * in_m.bc - b * in_m.ac + c * in_m.ab;
    const auto bcd = b * in_m.cd - c * in_m.bd + d * in_m.bc;
    const auto cda = c * in_m.da + d * in_m.ac + a * in_m.cd;
    const auto dab = d * in_m.ab + a * in_m.bd + b * in_m.da;
    return (lift(3) * abc - lift(2) * dab) + (lift(1) * cda - lift(0) * bcd);
}

/// The exact determinant of rows (x, y, z, 1) of four points, without differences.
Expansion<96> orientation(const double* const (&in_points)[4])
{
    const auto volume = [&](int in_p, int in_q, int in_r) {
        using T = Expansion<1>;
        const double* const p = in_points[in_p];
        const double* const q = in_points[in_q];
        const double* const r = in_points[in_r];
        return determinant3<T, T>({T(p[0]), T(p[1])}, T(p[2]), {T(q[0]), T(q[1])}, T(q[2]),
                                  {T(r[0]), T(r[1])}, T(r[2]));
    };
    return (volume(0, 1, 2) - volume(0, 1, 3)) + (volume(0, 2, 3) - volume(1, 2, 3));
}

/// The exact determinant of rows (x, y, z, x^2 + y^2 + z^2, 1) of five points. Differences with
/// their tails would need expansions six times as long.
double insphereExact(const double* const (&in_points)[5])
{
    const auto term = [&](int in_row) {
        const double* others[4];
        for (int n = 0, m = 0; n < 5; ++n) {
            if (n != in_row) {
                others[m++] = in_points[n];
            }
        }
        const double* const p = in_points[in_row];
        const auto square = [](double in_x) { return Expansion<1>(in_x) * Expansion<1>(in_x); };
        const Expansion<96> cofactor = orientation({others[0], others[1], others[2], others[3]});
        return (square(p[0]) + square(p[1]) + square(p[2])) * cofactor;
    };
    return (((term(1) - term(0)) + (term(3) - term(2))) - term(4)).largest();
}

}  // namespace

double orient2dadapt(const double* in_pa, const double* in_pb, const double* in_pc,
                     double in_permanent)
{
    const Differences<2, 2> d({in_pa, in_pb}, in_pc);
    return refine(d, in_permanent, ccwerrboundB, ccwerrboundC,
                  [&](auto in_number) { return orient2dOf(d, in_number); });
}

double orient3dStaged(const double* in_pa, const double* in_pb, const double* in_pc,
                      const double* in_pd)
{
    const Differences<3, 3> d({in_pa, in_pb, in_pc}, in_pd);
    const Filtered det = orient3dOf(d, kRounded);
    if (std::fabs(det.value) > o3derrboundA * det.permanent) {
        return det.value;
    }
    return refine(d, det.permanent, o3derrboundB, o3derrboundC,
                  [&](auto in_number) { return orient3dOf(d, in_number); });
}

double insphereadapt(const double* in_pa, const double* in_pb, const double* in_pc,
                     const double* in_pd, const double* in_pe, double in_permanent)
{
    const Differences<4, 3> d({in_pa, in_pb, in_pc, in_pd}, in_pe);
    const PlaneMinors<Expansion<4>> heads = planeMinors(d, kHead);
    return refine(
        d, in_permanent, isperrboundB, isperrboundC,
        [&] { return insphereOf(d, heads, kHead).estimate(); },
        [&] {
            // the minors of the heads as the exact stage has found them, with fresh tails
            PlaneMinors<FirstOrder> m = planeMinors(d, kFirstOrder);
            m.ab.value = heads.ab.largest();
            m.bc.value = heads.bc.largest();
            m.cd.value = heads.cd.largest();
            m.da.value = heads.da.largest();
            m.ac.value = heads.ac.largest();
            m.bd.value = heads.bd.largest();
            return insphereOf(d, m, kFirstOrder).tail;
        },
        [&] {
            return insphereExact({in_pa, in_pb, in_pc, in_pd, in_pe});
        });
}

double incircle(const double* in_pa, const double* in_pb, const double* in_pc, const double* in_pd)
{
    const Differences<3, 2> d({in_pa, in_pb, in_pc}, in_pd);
    const Filtered det = incircleOf(d, kRounded);
    if (std::fabs(det.value) > iccerrboundA * det.permanent) {
        return det.value;
    }
    return refine(d, det.permanent, iccerrboundB, iccerrboundC,
                  [&](auto in_number) { return incircleOf(d, in_number); });
}

double insphere(const double* in_pa, const double* in_pb, const double* in_pc, const double* in_pd,
                const double* in_pe)
{
    const Differences<4, 3> d({in_pa, in_pb, in_pc, in_pd}, in_pe);
    const Filtered det = insphereOf(d, planeMinors(d, kRounded), kRounded);
    if (std::fabs(det.value) > isperrboundA * det.permanent) {
        return det.value;
    }
    return insphereadapt(in_pa, in_pb, in_pc, in_pd, in_pe, det.permanent);
}

}  // namespace Skelvar
