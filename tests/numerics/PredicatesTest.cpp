#include <skelvar/numerics/Predicates.h>

#ifdef __x86_64__
#include <skelvar/numerics/Orient3dFilterAvx2.h>
#endif

#include <tests/support/Random.h>

#include <gtest/gtest.h>
#include <boost/multiprecision/cpp_int.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <map>
#include <vector>

namespace Skelvar {
namespace {

using Testing::Random;

#ifdef SKELVAR_CHECKED_BUILD
constexpr int kPredicateTrials = 5000;
#else
constexpr int kPredicateTrials = 1000000;
#endif

// --- the slow side: integers that are wide enough ---------------------------------------------

using Wide = boost::multiprecision::number<boost::multiprecision::cpp_int_backend<
    1024, 1024, boost::multiprecision::signed_magnitude, boost::multiprecision::unchecked, void>>;
using Matrix = std::vector<std::vector<Wide>>;

constexpr int kScale = 160;  ///< coordinates are multiples of 2^-160

Wide scaled(double in_x)
{
    int exponent = 0;
    const Wide mantissa = static_cast<long long>(std::ldexp(std::frexp(in_x, &exponent), 53));
    const int shift = in_x == 0 ? 0 : exponent - 53 + kScale;
    EXPECT_GE(shift, 0);
    return mantissa << shift;
}

/// Of the rows from `in_row` on and the columns whose bits are set, by the first of these rows.
Wide determinant(const Matrix& in_rows, unsigned in_columns, std::size_t in_row = 0)
{
    if (in_row + 1 == in_rows.size()) {
        return in_rows[in_row][std::countr_zero(in_columns)];
    }
    Wide sum = 0;
    bool is_odd = false;
    for (unsigned left = in_columns; left != 0; left &= left - 1) {
        const unsigned column = left & -left;
        const Wide term = in_rows[in_row][std::countr_zero(left)] *
                          determinant(in_rows, in_columns & ~column, in_row + 1);
        sum += is_odd ? Wide(-term) : term;
        is_odd = !is_odd;
    }
    return sum;
}

template <int AXES>
using Points = std::vector<std::array<double, AXES>>;

/// The sign of the rows of differences to the last point, with their squared length behind if
/// `in_lifted`.
template <int AXES>
int slowSign(const Points<AXES>& in_points, bool in_lifted)
{
    Matrix rows;
    for (std::size_t n = 0; n + 1 < in_points.size(); ++n) {
        std::vector<Wide> row;
        Wide square = 0;
        for (int a = 0; a < AXES; ++a) {
            row.push_back(scaled(in_points[n][a]) - scaled(in_points.back()[a]));
            square += row.back() * row.back();
        }
        if (in_lifted) {
            row.push_back(square);
        }
        rows.push_back(row);
    }
    return determinant(rows, (1u << rows.size()) - 1).sign();
}

int sign(double in_value)
{
    return (in_value > 0 ? 1 : 0) - (in_value < 0 ? 1 : 0);
}

// --- input that filters cannot decide ---------------------------------------------------------

double smallStep(Random& io_random)
{
    return io_random.integer(-2, 2) * 0x1p-53;
}

/// Points close to one line, plane, circle or sphere, or on it, by `in_kind`:
/// 0 a fine grid close to 1, whose differences are exact; 1 the same moved off by a rounded
/// amount; 2 spread over magnitudes, with tails in every difference; 3 a coarse grid.
template <int AXES>
std::array<double, AXES> nearDegenerate(Random& io_random, int in_kind)
{
    std::array<double, AXES> point{};
    for (double& x : point) {
        switch (in_kind) {
            case 0:
                x = 0.5 + io_random.integer(-1, 1) * 0.25 + smallStep(io_random);
                break;
            case 1:
                x = (io_random.integer(-1, 1) + 0.1) / 3 + smallStep(io_random);
                break;
            case 2:
                x = std::ldexp(io_random.real(-1, 1), -io_random.integer(0, 30));
                break;
            default:
                x = io_random.integer(-2, 2);
        }
    }
    return point;
}

template <int AXES, typename Predicate>
void expectTrueSigns(int in_count, bool in_lifted, Predicate in_predicate,
                     int in_trials = kPredicateTrials)
{
    Random random(4711);
    SCOPED_TRACE(random.seed());
    int zeros = 0;
    for (int trial = 0; trial < in_trials && !testing::Test::HasFailure(); ++trial) {
        Points<AXES> points;
        for (int n = 0; n < in_count; ++n) {
            points.push_back(nearDegenerate<AXES>(random, trial % 4));
        }
        if (trial % 4 ==
            2) {  // put one point onto the line or plane of the others, but for rounding
            const double s = random.real(-1, 1);
            for (int a = 0; a < AXES; ++a) {
                points.back()[a] = points[0][a] + s * (points[1][a] - points[0][a]);
            }
        }
        const int expected = slowSign<AXES>(points, in_lifted);

        EXPECT_EQ(expected, sign(in_predicate(points))) << "trial " << trial;

        zeros += expected == 0 ? 1 : 0;
        const std::size_t first = trial % points.size();
        const std::size_t second = (trial / 7) % points.size();
        std::swap(points[first], points[second]);
        EXPECT_EQ(first == second ? expected : -expected, sign(in_predicate(points)))
            << "exchanged, trial " << trial;
    }
    EXPECT_GT(zeros, in_trials / 1000);
    EXPECT_LT(zeros, in_trials);
}

TEST(Predicates, Orient2dHasTheTrueSign)
{
    expectTrueSigns<2>(3, false, [](const Points<2>& in_p) {
        return orient2d(in_p[0].data(), in_p[1].data(), in_p[2].data());
    });
}

TEST(Predicates, Orient3dHasTheTrueSign)
{
    expectTrueSigns<3>(4, false, [](const Points<3>& in_p) {
        return orient3d(in_p[0].data(), in_p[1].data(), in_p[2].data(), in_p[3].data());
    });
}

TEST(Predicates, IncircleHasTheTrueSign)
{
    expectTrueSigns<2>(4, true, [](const Points<2>& in_p) {
        return incircle(in_p[0].data(), in_p[1].data(), in_p[2].data(), in_p[3].data());
    });
}

TEST(Predicates, InsphereHasTheTrueSign)
{
    expectTrueSigns<3>(
        5, true,
        [](const Points<3>& in_p) {
            return insphere(in_p[0].data(), in_p[1].data(), in_p[2].data(), in_p[3].data(),
                            in_p[4].data());
        },
        kPredicateTrials / 4);
}

#ifdef __x86_64__
TEST(Predicates, FourWideFilterPassesOnlyWhatTheStagesPassUnchanged)
{
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) {
        GTEST_SKIP() << "needs AVX2 and FMA";
    }
    Random random(4712);
    SCOPED_TRACE(random.seed());
    int passed[5] = {};
    for (int trial = 0; trial < kPredicateTrials && !HasFailure(); ++trial) {
        const int kind = trial % 5;
        std::array<double, 3> p[4];
        for (auto& point : p) {
            point = nearDegenerate<3>(random, kind % 4);
            for (double& x : point) {
                x = kind == 4 ? std::ldexp(random.real(-1, 1), trial % 300 - 150)
                              : std::ldexp(x, trial % 2 * 200);  // where squares overflow
            }
        }
        double det = 0;
        if (Detail::orient3dFilterAvx2(p[0].data(), p[1].data(), p[2].data(), p[3].data(), det)) {
            ++passed[kind];
            EXPECT_EQ(orient3dStaged(p[0].data(), p[1].data(), p[2].data(), p[3].data()), det)
                << "trial " << trial;
        }
    }
    EXPECT_GT(passed[4], kPredicateTrials / 5 * 0.999) << "at random points of all sizes";
    EXPECT_LT(passed[0], kPredicateTrials / 5 * 0.9) << "near a plane";
}
#endif

TEST(Predicates, GiveAreasAndVolumes)
{
    const double o[3] = {0, 0, 0};
    const double x[3] = {2, 0, 0};
    const double y[3] = {0, 3, 0};
    const double z[3] = {0, 0, 5};
    const double inside[3] = {0.5, 0.5, 0.5};

    EXPECT_EQ(6.0, orient2d(o, x, y));
    EXPECT_EQ(-30.0, orient3d(o, x, y, z)) << "z is above, where o, x, y turn counter-clockwise";
    EXPECT_GT(incircle(o, x, y, inside), 0.0);
    EXPECT_GT(insphere(o, y, x, z, inside), 0.0) << "orient3d of o, y, x, z is positive";
}

TEST(Predicates, ConstantsAreThoseOfTheDoubleFormat)
{
    EXPECT_EQ(0x1p-53, epsilon);
    EXPECT_EQ(134217729.0, splitter);
    const double e = epsilon;
    const std::pair<double, double> bounds[] = {
        {resulterrbound, (3 + 8 * e) * e},      {ccwerrboundA, (3 + 16 * e) * e},
        {ccwerrboundB, (2 + 12 * e) * e},       {ccwerrboundC, (9 + 64 * e) * e * e},
        {o3derrboundA, (7 + 56 * e) * e},       {o3derrboundB, (3 + 28 * e) * e},
        {o3derrboundC, (26 + 288 * e) * e * e}, {iccerrboundA, (10 + 96 * e) * e},
        {iccerrboundB, (4 + 48 * e) * e},       {iccerrboundC, (44 + 576 * e) * e * e},
        {isperrboundA, (16 + 224 * e) * e},     {isperrboundB, (5 + 72 * e) * e},
        {isperrboundC, (71 + 1408 * e) * e * e}};
    for (const auto& [found, expected] : bounds) {
        EXPECT_EQ(expected, found);
    }
    EXPECT_GT(Detail::kLooseBound, o3derrboundA);
}

TEST(Expansions, SumsAndProductsAreExact)
{
    Random random(12);
    SCOPED_TRACE(random.seed());
    for (int trial = 0; trial < kPredicateTrials / 100; ++trial) {
        double e[8] = {random.real(-1, 1)};
        Wide exact = scaled(e[0]);
        int length = 1;
        for (int step = 0; step < 3; ++step) {
            double f[2] = {random.real(-1, 1) * 0x1p-30};
            double sum[8];
            length = fast_expansion_sum_zeroelim(length, e, 1, f, sum);
            exact += scaled(f[0]);
            std::copy_n(sum, length, e);
        }
        const double b = random.integer(-1000, 1000);
        double product[16];
        const int product_length = scale_expansion_zeroelim(length, e, b, product);

        Wide sum = 0;
        for (int n = 0; n < product_length; ++n) {
            sum += scaled(product[n]);
            EXPECT_TRUE(n == 0 || std::abs(product[n]) > std::abs(product[n - 1]));
        }
        EXPECT_EQ(Wide(exact * static_cast<int>(b)), sum);
    }
}

// --- simulation of simplicity -----------------------------------------------------------------

/// A polynomial in the size of the perturbation: coefficients by exponent.
using Polynomial = std::map<int, long long>;

Polynomial operator*(const Polynomial& in_a, const Polynomial& in_b)
{
    Polynomial product;
    for (const auto& [n, a] : in_a) {
        for (const auto& [m, b] : in_b) {
            product[n + m] += a * b;
        }
    }
    return product;
}

/// The sign of the determinant of rows (x, y, z, 1), in order of falling ids, with e^(2^(4a + r))
/// added to coordinate a of row r: that of its term of lowest order.
int slowPerturbedSign(const std::array<int, 4>& in_ids, const std::array<vec3d, 4>& in_points)
{
    std::array<int, 4> order{0, 1, 2, 3};
    std::sort(order.begin(), order.end(), [&](int a, int b) { return in_ids[a] > in_ids[b]; });
    Polynomial determinant;
    std::array<int, 4> columns{0, 1, 2, 3};
    do {
        Polynomial product{{0, 1}};
        for (int row = 0; row < 4; ++row) {
            const int a = columns[row];
            if (a < 3) {
                const int rank =
                    static_cast<int>(std::find(order.begin(), order.end(), row) - order.begin());
                product = product * Polynomial{{0, static_cast<long long>(in_points[row][a])},
                                               {1 << (4 * a + rank), 1}};
            }
        }
        int inversions = 0;
        for (int r = 0; r < 4; ++r) {
            for (int s = r + 1; s < 4; ++s) {
                inversions += columns[r] > columns[s] ? 1 : 0;
            }
        }
        for (const auto& [n, c] : product) {
            determinant[n] += inversions % 2 == 0 ? c : -c;
        }
    } while (std::next_permutation(columns.begin(), columns.end()));
    for (const auto& [n, c] : determinant) {
        if (c != 0) {
            return c > 0 ? 1 : -1;
        }
    }
    return 0;
}

TEST(SimulationOfSimplicity, IsTheSignOfPointsMovedByTheirIds)
{
    Random random(99);
    SCOPED_TRACE(random.seed());
    for (int trial = 0; trial < kPredicateTrials / 50 && !HasFailure(); ++trial) {
        std::array<int, 4> ids{};
        for (int n = 0; n < 4; ++n) {
            ids[n] = 10 * random.integer(-5, 5) + n;
        }
        std::array<vec3d, 4> p{};
        for (vec3d& point : p) {  // often on one plane, one line or one place
            point = {1.0 * random.integer(0, 1), 1.0 * random.integer(0, trial % 2),
                     1.0 * random.integer(0, trial % 3)};
        }
        EXPECT_EQ(slowPerturbedSign(ids, p),
                  unsorted_sos_orient3d(ids[0], p[0], ids[1], p[1], ids[2], p[2], ids[3], p[3]))
            << "trial " << trial;
    }
}

TEST(SimulationOfSimplicity, IsNeverZeroAndTrueOfSmallShapes)
{
    const double nan = std::nan("");
    const vec3d large[3] = {{1e200, 0, 0}, {0, 1e200, 0}, {0, 0, 1e200}};
    EXPECT_NE(0, unsorted_sos_orient3d(1, {0, 0, 0}, 2, {1, 0, 0}, 3, {0, 1, 0}, 4, {nan, 0, 0}));
    EXPECT_NE(0, unsorted_sos_orient3d(1, large[0], 2, large[1], 3, large[2], 4, {0, 0, 0}));

    const vec3d p[4] = {{0, 0, 0}, {1e-20, 0, 0}, {0, 1e-20, 0}, {0, 0, 1e-20}};
    const int sign = orient3d(p[0].e, p[1].e, p[2].e, p[3].e) > 0 ? 1 : -1;
    EXPECT_EQ(sign, unsorted_sos_orient3d(1, p[0], 2, p[1], 3, p[2], 4, p[3]));
    EXPECT_EQ(sign, unsorted_sos_orient3d(4, p[0], 2, p[1], 3, p[2], 1, p[3]));
}

}  // namespace
}  // namespace Skelvar
