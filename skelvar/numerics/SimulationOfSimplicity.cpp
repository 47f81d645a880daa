#include <skelvar/numerics/Predicates.h>

#include <algorithm>
#include <array>
#include <utility>

namespace Skelvar {

namespace {

using vec3d = orvel::Math::vec<3, double>;

constexpr int kNoRow = -1;

/// A term of the perturbed determinant of rows (x, y, z, 1): the product of one perturbation for
/// each matched column, times the minor of the rows and columns that are left.
struct Term {
    std::array<int, 3> row_of{kNoRow, kNoRow, kNoRow};  ///< by column x, y, z
    int weight = 0;                                     ///< the exponent of the perturbation
    std::array<int, 4> rows{};                          ///< those that are left, rising
    std::array<int, 3> columns{};                       ///< of x, y, z those that are left, rising
    int row_count = 4;
    bool is_odd = false;  ///< whether the term is subtracted
};

constexpr bool isMatched(const Term& in_term, int in_row)
{
    return in_row == in_term.row_of[0] || in_row == in_term.row_of[1] ||
           in_row == in_term.row_of[2];
}

/// Whether sending matched rows to their columns and the others, in order, to the columns that are
/// left and the column of ones is an odd permutation.
constexpr bool isOdd(const Term& in_term)
{
    std::array<int, 4> column_of{};
    for (int a = 0; a < 3; ++a) {
        if (in_term.row_of[a] != kNoRow) {
            column_of[in_term.row_of[a]] = a;
        }
    }
    for (int n = 0; n < in_term.row_count; ++n) {
        column_of[in_term.rows[n]] = n + 1 < in_term.row_count ? in_term.columns[n] : 3;
    }
    int inversions = 0;
    for (int r = 0; r < 4; ++r) {
        for (int s = r + 1; s < 4; ++s) {
            inversions += column_of[r] > column_of[s] ? 1 : 0;
        }
    }
    return inversions % 2 == 1;
}

constexpr Term makeTerm(const std::array<int, 3>& in_row_of)
{
    Term term{in_row_of};
    int column_count = 0;
    for (int a = 0; a < 3; ++a) {
        if (in_row_of[a] == kNoRow) {
            term.columns[column_count++] = a;
        } else {
            term.weight += 1 << (4 * a + in_row_of[a]);
        }
    }
    term.row_count = 0;
    for (int r = 0; r < 4; ++r) {
        if (!isMatched(term, r)) {
            term.rows[term.row_count++] = r;
        }
    }
    term.is_odd = isOdd(term);
    return term;
}

/// The term with x of rank 2, y of rank 1 and z of rank 0 is constant: none after it counts.
constexpr Term kConstant = makeTerm({2, 1, 0});

constexpr bool isNeeded(const std::array<int, 3>& in_row_of)
{
    for (int a = 0; a < 3; ++a) {
        for (int b = 0; b < a; ++b) {
            if (in_row_of[a] != kNoRow && in_row_of[a] == in_row_of[b]) {
                return false;
            }
        }
    }
    const int weight = makeTerm(in_row_of).weight;
    return weight > 0 && weight <= kConstant.weight;
}

template <typename Visit>
constexpr void forEachTerm(Visit in_visit)
{
    for (int x = kNoRow; x < 4; ++x) {
        for (int y = kNoRow; y < 4; ++y) {
            for (int z = kNoRow; z < 4; ++z) {
                if (isNeeded({x, y, z})) {
                    in_visit(makeTerm({x, y, z}));
                }
            }
        }
    }
}

constexpr int countTerms()
{
    int count = 0;
    forEachTerm([&](const Term&) { ++count; });
    return count;
}

constexpr std::array<Term, countTerms()> makeTerms()
{
    std::array<Term, countTerms()> terms;
    int count = 0;
    forEachTerm([&](const Term& in_term) { terms[count++] = in_term; });
    std::sort(terms.begin(), terms.end(),
              [](const Term& in_a, const Term& in_b) { return in_a.weight < in_b.weight; });
    return terms;
}

/// By rising weight, that is by falling size.
constexpr std::array<Term, countTerms()> kTerms = makeTerms();

int signOf(double in_value)
{
    return (in_value > 0 ? 1 : 0) - (in_value < 0 ? 1 : 0);
}

/// The sign of the minor that a term leaves.
int signOfMinor(const Term& in_term, const std::array<vec3d, 4>& in_q)
{
    const auto entry = [&](int in_row, int in_column) {
        return in_q[in_term.rows[in_row]][in_term.columns[in_column]];
    };
    switch (in_term.row_count) {
        case 3: {
            const double a[2] = {entry(0, 0), entry(0, 1)};
            const double b[2] = {entry(1, 0), entry(1, 1)};
            const double c[2] = {entry(2, 0), entry(2, 1)};
            return signOf(orient2d(a, b, c));
        }
        case 2:
            return signOf(entry(0, 0) - entry(1, 0));
        default:
            return 1;
    }
}

/// The sign of the perturbed determinant of points whose exact one is 0. The last term is constant,
/// so that one of them decides.
int signOfPerturbed(const std::array<vec3d, 4>& in_q)
{
    const Term* term = kTerms.data();
    int sign = signOfMinor(*term, in_q);
    while (sign == 0) {
        sign = signOfMinor(*++term, in_q);
    }
    return term->is_odd ? -sign : sign;
}

}  // namespace

int unsorted_sos_orient3d(int in_i0, vec3d in_p0, int in_i1, vec3d in_p1, int in_i2, vec3d in_p2,
                          int in_i3, vec3d in_p3)
{
    std::array<int, 4> ids{in_i0, in_i1, in_i2, in_i3};
    std::array<vec3d, 4> q{in_p0, in_p1, in_p2, in_p3};
    bool is_odd = false;
    const auto order = [&](int in_first, int in_second) {
        if (ids[in_first] < ids[in_second]) {
            std::swap(ids[in_first], ids[in_second]);
            std::swap(q[in_first], q[in_second]);
            is_odd = !is_odd;
        }
    };
    order(0, 1);
    order(2, 3);
    order(0, 2);
    order(1, 3);
    order(1, 2);

    const double det = orient3d(q[0].e, q[1].e, q[2].e, q[3].e);
    const int sign = signOf(det) != 0 ? signOf(det) : signOfPerturbed(q);  // of NaN too
    return is_odd ? -sign : sign;
}

}  // namespace Skelvar
