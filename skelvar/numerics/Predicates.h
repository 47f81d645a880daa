#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>

#if defined(__AVX2__) && defined(__FMA__)
#include <skelvar/numerics/Orient3dFilterAvx2.h>
#else
#include <skelvar/numerics/Orient3dFilter.h>
#endif

#include <cmath>

namespace Skelvar {

// Geometric predicates on double coordinates whose signs are always right. A filter answers where
// the rounding errors cannot change the sign; the other cases go through ever more exact stages,
// the last of which has no rounding at all. The result approximates the determinant; 0 is exactly
// 0.
//
// Right as long as nothing overflows or underflows (magnitudes within about 1e-50 and 1e50), and
// where floating point is as written: compile with -ffp-contract=off and never with fast-math.
// NaN and infinities give an arbitrary result. The functions have no state: any thread may call
// them.
//
// Source: J. R. Shewchuk, "Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric
// Predicates", Discrete & Computational Geometry 18 (1997).

/// The constants of the arithmetic and the error bounds of the stages, as factors of the
/// determinant's permanent. Set before any code can run, and recomputed by the published loop while
/// the library loads. Never written afterwards.
extern SKELVAR_API double epsilon;   ///< 2^-53: half the distance from 1 to the next double
extern SKELVAR_API double splitter;  ///< 2^27 + 1: splits a double into halves
extern SKELVAR_API double resulterrbound;
extern SKELVAR_API double ccwerrboundA, ccwerrboundB, ccwerrboundC;
extern SKELVAR_API double o3derrboundA, o3derrboundB, o3derrboundC;
extern SKELVAR_API double iccerrboundA, iccerrboundB, iccerrboundC;
extern SKELVAR_API double isperrboundA, isperrboundB, isperrboundC;

/// The sum of two expansions, into `out_h` of room for `in_elen + in_flen` doubles, which is none
/// of the operands. Expansions are doubles that do not overlap, smallest magnitude first; at least
/// one each. Zeros are left out, but a sum of zero is one zero. Returns the length. The operands
/// are not written.
SKELVAR_API int fast_expansion_sum_zeroelim(int in_elen, double* in_e, int in_flen, double* in_f,
                                            double* out_h);
/// The product of an expansion and a double, into `out_h` of room for `2 in_elen` doubles, which
/// is not the operand; else as above.
SKELVAR_API int scale_expansion_zeroelim(int in_elen, double* in_e, double in_b, double* out_h);

/// The stages behind the filter of `orient2d`. `in_permanent` is the sum of the magnitudes of the
/// two products of the determinant.
SKELVAR_API double orient2dadapt(const double* in_pa, const double* in_pb, const double* in_pc,
                                 double in_permanent);
/// The stages behind the first filter of `orient3d`: a tighter one, and those that follow it.
SKELVAR_API double orient3dStaged(const double* in_pa, const double* in_pb, const double* in_pc,
                                  const double* in_pd);
/// The stages behind the filter of `insphere`. `in_permanent` is the determinant with all its
/// terms taken as positive.
SKELVAR_API double insphereadapt(const double* in_pa, const double* in_pb, const double* in_pc,
                                 const double* in_pd, const double* in_pe, double in_permanent);

/// Whether a, b, c (2 coordinates each) turn counter-clockwise: positive; clockwise: negative; on
/// one line: 0. Twice the signed area of the triangle.
inline double orient2d(const double* in_pa, const double* in_pb, const double* in_pc)
{
    const double left = (in_pa[0] - in_pc[0]) * (in_pb[1] - in_pc[1]);
    const double right = (in_pa[1] - in_pc[1]) * (in_pb[0] - in_pc[0]);
    const double det = left - right;
    const double permanent = std::fabs(left) + std::fabs(right);
    if (std::fabs(det) >= ccwerrboundA * permanent) [[likely]] {
        return det;
    }
    return orient2dadapt(in_pa, in_pb, in_pc, permanent);
}

/// Whether d (3 coordinates each) lies below the plane of a, b, c: positive; above: negative; on
/// it: 0. "Above" is where a, b, c are seen in counter-clockwise order. Six times the signed volume
/// of the tetrahedron.
inline double orient3d(const double* in_pa, const double* in_pb, const double* in_pc,
                       const double* in_pd)
{
    double det = 0;
#if defined(__AVX2__) && defined(__FMA__)
    const bool is_sure = Detail::orient3dFilterAvx2(in_pa, in_pb, in_pc, in_pd, det);
#else
    const bool is_sure = Detail::orient3dFilter(in_pa, in_pb, in_pc, in_pd, det);
#endif
    if (is_sure) [[likely]] {
        return det;
    }
    return orient3dStaged(in_pa, in_pb, in_pc, in_pd);
}

/// Whether d (2 coordinates each) lies inside the circle through a, b, c: positive; outside:
/// negative; on it: 0. The sign is the other way round if a, b, c turn clockwise.
SKELVAR_API double incircle(const double* in_pa, const double* in_pb, const double* in_pc,
                            const double* in_pd);

/// Whether e (3 coordinates each) lies inside the sphere through a, b, c, d: positive; outside:
/// negative; on it: 0. The sign is the other way round if `orient3d` of a, b, c, d is negative.
SKELVAR_API double insphere(const double* in_pa, const double* in_pb, const double* in_pc,
                            const double* in_pd, const double* in_pe);

/// The sign of `orient3d` as if each point were moved by its own infinitely small amount: +1 or
/// -1, never 0. The ids order the moves; they must differ, else the sign is arbitrary. Exchanging
/// two points together with their ids flips the sign.
/// Source: H. Edelsbrunner, E. P. Mücke, "Simulation of Simplicity", ACM Transactions on Graphics
/// 9 (1990): with the points in order of falling ids, coordinate `a` of the point of rank `r`
/// grows by e^(2^(4a + r)), e -> 0.
SKELVAR_API int unsorted_sos_orient3d(int in_i0, orvel::Math::vec<3, double> in_p0, int in_i1,
                                      orvel::Math::vec<3, double> in_p1, int in_i2,
                                      orvel::Math::vec<3, double> in_p2, int in_i3,
                                      orvel::Math::vec<3, double> in_p3);

}  // namespace Skelvar
