#pragma once

#include <skelvar/numerics/Orient3dFilter.h>

#include <immintrin.h>

namespace Skelvar::Detail {

/// `orient3dFilter` for processors with AVX2 and FMA: the three terms of the determinant side by
/// side. The determinant has the same bits; a few more or less pass.
__attribute__((target("avx2,fma"))) inline bool orient3dFilterAvx2(const double* in_pa,
                                                                   const double* in_pb,
                                                                   const double* in_pc,
                                                                   const double* in_pd,
                                                                   double& out_det)
{
    const __m128d* const b_xy = reinterpret_cast<const __m128d*>(in_pb);
    const __m256d d = _mm256_broadcast_pd(reinterpret_cast<const __m128d*>(in_pd));
    const __m256d ac = _mm256_sub_pd(_mm256_loadu2_m128d(in_pc, in_pa), d);
    const __m256d bb = _mm256_sub_pd(_mm256_broadcast_pd(b_xy), d);
    const __m128d ca_z = _mm_loadh_pd(_mm_load_sd(in_pc + 2), in_pa + 2);
    const __m256d b_z = _mm256_broadcast_sd(in_pb + 2);
    const __m256d z = _mm256_sub_pd(_mm256_blend_pd(_mm256_castpd128_pd256(ca_z), b_z, 0b1100),
                                    _mm256_broadcast_sd(in_pd + 2));

    // a, b, c, b; and b, c, a, b, so that the last term is none
    const __m256d x = _mm256_unpacklo_pd(ac, bb);
    const __m256d y = _mm256_unpackhi_pd(ac, bb);
    const __m256d next_x = _mm256_permute4x64_pd(x, 0b11001001);
    const __m256d next_y = _mm256_permute4x64_pd(y, 0b11001001);
    const __m256d minus = _mm256_mul_pd(next_x, y);
    const __m256d terms = _mm256_mul_pd(z, _mm256_sub_pd(_mm256_mul_pd(x, next_y), minus));
    const __m128d low = _mm256_castpd256_pd128(terms);
    const __m128d high = _mm256_extractf128_pd(terms, 1);
    out_det = _mm_cvtsd_f64(_mm_unpackhi_pd(low, low)) + _mm_cvtsd_f64(high) + _mm_cvtsd_f64(low);

    // A term t = z (p - q) adds |z| (|p| + |q|) <= |t| + 2 |z q| to the permanent, whose square is
    // at most 5 (t^2 + (z q)^2). All three together are at most three times the largest: 45, and
    // 100 still where the squares leave the normal range. Squares need no magnitudes.
    const __m256d zq = _mm256_mul_pd(z, minus);
    const __m256d squares = _mm256_fmadd_pd(terms, terms, _mm256_mul_pd(zq, zq));
    constexpr double kSquaredBound = 100 * kLooseBound * kLooseBound;
    const __m256d most = _mm256_set1_pd(out_det * out_det * (1 / kSquaredBound));
    // What has overflowed is not less: it is for the stages.
    return _mm256_movemask_pd(_mm256_cmp_pd(squares, most, _CMP_LT_OQ)) == 0b1111;
}

}  // namespace Skelvar::Detail
