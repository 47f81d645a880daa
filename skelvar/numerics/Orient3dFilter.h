#pragma once

#include <cmath>

namespace Skelvar::Detail {

/// Above the published bound of the first stage of `orient3d`, relative to the permanent of the
/// determinant, and the rounding of their product.
constexpr double kLooseBound = 7.01 * 0x1p-53;

/// The first filter of `orient3d`. `out_det` is the determinant, rounded. True only if it exceeds
/// the product of `kLooseBound` and the permanent, so that its sign is right.
inline bool orient3dFilter(const double* in_pa, const double* in_pb, const double* in_pc,
                           const double* in_pd, double& out_det)
{
    // x and y side by side; the sums of magnitudes bound the permanent for fewer instructions
    using Pair = double __attribute__((vector_size(16)));
    const auto magnitudes = [](Pair in_pair) {
        using Bits = long long __attribute__((vector_size(16)));
        constexpr long long kAllButSign = 0x7fffffffffffffff;
        return reinterpret_cast<Pair>(reinterpret_cast<Bits>(in_pair) &
                                      Bits{kAllButSign, kAllButSign});
    };
    const Pair d = {in_pd[0], in_pd[1]};
    const Pair a = Pair{in_pa[0], in_pa[1]} - d;
    const Pair b = Pair{in_pb[0], in_pb[1]} - d;
    const Pair c = Pair{in_pc[0], in_pc[1]} - d;
    const double az = in_pa[2] - in_pd[2];
    const double bz = in_pb[2] - in_pd[2];
    const double cz = in_pc[2] - in_pd[2];
    out_det = az * (b[0] * c[1] - c[0] * b[1]) + bz * (c[0] * a[1] - a[0] * c[1]) +
              cz * (a[0] * b[1] - b[0] * a[1]);
    const Pair xy = magnitudes(a) + magnitudes(b) + magnitudes(c);
    const double z = std::fabs(az) + std::fabs(bz) + std::fabs(cz);
    return std::fabs(out_det) > kLooseBound * (xy[0] * xy[1] * z);
}

}  // namespace Skelvar::Detail
