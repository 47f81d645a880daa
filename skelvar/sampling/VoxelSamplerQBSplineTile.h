#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/sampling/TileCache.h>
#include <skelvar/sampling/ValueArithmetic.h>
#include <skelvar/voxel/VoxelTile.h>

#include <type_traits>

namespace Skelvar {

// Notation: H is the haloed tile, P its parent's, both counted from 0 to 6 on each axis, so that
// the tile's own cells are H(1..5, 1..5, 1..5) and the parent's cell above the tile is
// P(ci + 1, cj + 1, ck + 1).

/// The haloed form of a tile without parent: cells 1 to 3 of the tile, and the background value
/// everywhere else. The tile's outermost layer is lost, so that the spline falls to the background
/// at the edge of the domain. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalQBSplineHaloedRootTile(const T& in_background,
                                            const VoxelTile<T, 0, WIDTH>& in_tile,
                                            VoxelTile<T, 1, WIDTH>* out_tile);

/// The haloed form of any other tile, (ci, cj, ck) its place in the parent. Where a neighbour of
/// the same depth exists the halo is a copy of it. Where one is missing, the spline of the parent
/// replaces the halo and the tile's own layer beside it: on a face, the two layers; on an edge, of
/// which the tile across or one of the two faces is missing, the four lines; at a corner, with any
/// of seven tiles missing, the eight voxels. If all 26 exist the parent is not read. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalQBSplineHaloedTile(const VoxelTile<T, 1, WIDTH>& in_parent, int in_ci,
                                        int in_cj, int in_ck, const TileBlock<T>& in_block,
                                        VoxelTile<T, 1, WIDTH>* out_tile);

#define SKELVAR_EXTERN(T)                                                                       \
    extern template void evalQBSplineHaloedRootTile<T, 5>(const T&, const VoxelTile<T, 0, 5>&,  \
                                                          VoxelTile<T, 1, 5>*);                 \
    extern template void evalQBSplineHaloedTile<T, 5>(const VoxelTile<T, 1, 5>&, int, int, int, \
                                                      const TileBlock<T>&, VoxelTile<T, 1, 5>*);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

namespace Detail {

/// Weights of the spline on the values before, at and after a cell, or of its derivative: of one
/// axis, or of all.
template <typename F>
struct QBSplineWeights {
    F before;
    F at;
    F after;
};

/// At a fraction 0 to 1 from the cell's low side.
template <typename F>
constexpr QBSplineWeights<F> qbSplineWeights(F in_f)
{
    return {(in_f - 1.0f) * (in_f - 1.0f) * 0.5f, 0.75f - (in_f - 0.5f) * (in_f - 0.5f),
            in_f * in_f * 0.5f};
}

/// Of the derivative, per cell.
template <typename F>
constexpr QBSplineWeights<F> qbSplineDerivative(F in_f)
{
    return {in_f - 1.0f, 1.0f - 2.0f * in_f, in_f};
}

/// One stage of the spline: three values along an axis, `in_stride` apart.
template <typename T>
inline T weighAlong(const QBSplineWeights<float>& in_weights, const T* in_values, int in_stride)
{
    return weighted(in_weights.before, in_values[0], in_weights.at, in_values[in_stride],
                    in_weights.after, in_values[2 * in_stride]);
}

/// What members are averaged in: integers as C++ adds them, with wrapping instead of overflow.
template <typename M>
using BlockNumber = std::conditional_t<std::is_same_v<M, bool>, float, decltype(M{} + M{})>;

template <typename N>
inline N wrappingSum(N in_a, N in_b)
{
    using Wide = Wrapping<N>;
    return static_cast<N>(static_cast<Wide>(in_a) + static_cast<Wide>(in_b));
}

template <typename N>
inline N wrappingDifference(N in_a, N in_b)
{
    using Wide = Wrapping<N>;
    return static_cast<N>(static_cast<Wide>(in_a) - static_cast<Wide>(in_b));
}

/// Mean of `Count` members, 2, 4 or 8, added in order; of integers by a shift, so rounded down.
template <int Count, typename M>
inline BlockNumber<M> blockMean(const M (&in_members)[Count])
{
    using N = BlockNumber<M>;
    N sum = static_cast<N>(in_members[0]);
    for (int n = 1; n < Count; ++n) {
        sum = wrappingSum(sum, static_cast<N>(in_members[n]));
    }
    if constexpr (std::is_integral_v<N>) {
        return static_cast<N>(sum >> (Count == 2 ? 1 : Count == 4 ? 2 : 3));
    } else {
        return sum * (1.0f / Count);
    }
}

/// Back to a member: of `bool`, whether it is not zero.
template <typename M>
inline M blockMember(BlockNumber<M> in_value)
{
    if constexpr (std::is_same_v<M, bool>) {
        return in_value != 0.0f;
    } else {
        return static_cast<M>(in_value);
    }
}

/// Draws members of a block toward their mean m: m + (X - m) / 5.
template <int Count, typename M>
inline void drawToMean(M (&io_members)[Count])
{
    using N = BlockNumber<M>;
    const N mean = blockMean<Count>(io_members);
    for (M& member : io_members) {
        const N part = wrappingDifference(static_cast<N>(member), mean) / N{5};
        member = blockMember<M>(wrappingSum(mean, part));
    }
}

/// The values on either side of a face, from the spline on the planes a and b beside it: a tenth
/// of their difference below and above their mean.
template <typename M>
inline void spreadOverFace(M& io_a, M& io_b)
{
    using N = BlockNumber<M>;
    const N mean = blockMean<2>({io_a, io_b});
    const N part = wrappingDifference(static_cast<N>(io_b), static_cast<N>(io_a)) / N{10};
    io_a = blockMember<M>(wrappingDifference(mean, part));
    io_b = blockMember<M>(wrappingSum(mean, part));
}

/// Position of a child's voxel in the parent's cell, as a fraction.
constexpr float childFraction(int in_c)
{
    return static_cast<float>(2 * in_c + 1) / 10.0f;
}

/// The kernels below with their strides as arguments: of the samples across the face and along its
/// axes, and of the layers along these.
template <typename T>
inline void interpolateQBSplineFace(const T* in_samples, int in_across, const int (&in_along)[2],
                                    const int (&in_strides)[2], T* out_low, T* out_high,
                                    int in_begin, int in_end)
{
    using Traits = ValueTraits<T>;
    for (int c2 = in_begin; c2 < in_end; ++c2) {
        const auto weights2 = qbSplineWeights(childFraction(c2));
        T rows[2][3];
        for (int n = 0; n < 6; ++n) {
            const T* const at = in_samples + (n / 3) * in_across + (n % 3) * in_along[0];
            rows[n / 3][n % 3] = weighAlong(weights2, at, in_along[1]);
        }
        for (int c1 = in_begin; c1 < in_end; ++c1) {
            const auto weights1 = qbSplineWeights(childFraction(c1));
            T& low = out_low[c1 * in_strides[0] + c2 * in_strides[1]];
            T& high = out_high[c1 * in_strides[0] + c2 * in_strides[1]];
            low = weighAlong(weights1, rows[0], 1);
            high = weighAlong(weights1, rows[1], 1);
            for (int m = 0; m < Traits::kMembers; ++m) {
                spreadOverFace(Traits::member(low, m), Traits::member(high, m));
            }
        }
    }
}

template <typename T>
inline void interpolateQBSplineEdge(const T* in_samples, int in_stride, T* const (&out_lines)[4],
                                    int in_begin, int in_end)
{
    using Traits = ValueTraits<T>;
    for (int c = in_begin; c < in_end; ++c) {
        const auto weights = qbSplineWeights(childFraction(c));
        T lines[4];
        for (int n = 0; n < 4; ++n) {
            lines[n] = weighAlong(weights, in_samples + n, 4);
        }
        for (int m = 0; m < Traits::kMembers; ++m) {
            typename Traits::Member members[4];
            for (int n = 0; n < 4; ++n) {
                members[n] = Traits::member(lines[n], m);
            }
            drawToMean(members);
            for (int n = 0; n < 4; ++n) {
                Traits::member(out_lines[n][c * in_stride], m) = members[n];
            }
        }
    }
}

}  // namespace Detail

/// The two layers of a face from the parent: the spline on the two parent planes beside the face,
/// then `Detail::spreadOverFace`. `in_samples` are 2 values across the face by 3 by 3 in the plane,
/// ordered with x fastest, then y, then z. `out_low` and `out_high` address the layers' first
/// elements; S1 and S2 are the strides of the in-plane axes, (7, 49), (1, 49) or (1, 7).
template <typename T, int WIDTH, int S1, int S2>
inline void interpolateQBSplineFace(const T (&in_samples)[18], T* out_low, T* out_high)
{
    constexpr int kAcross = S1 == 7 ? 1 : S2 == 49 ? 3 : 9;
    Detail::interpolateQBSplineFace(in_samples, kAcross, {S1 == 7 ? 2 : 1, S2 == 49 ? 6 : 3},
                                    {S1, S2}, out_low, out_high, 0, WIDTH);
}

/// The four lines around an edge from the parent: the spline along each of the four parent lines
/// around it, each then drawn to the mean m of the four as m + (X - m) / 5; which is not the
/// bilinear value there. `in_samples` are the four lines by 3 along the edge, the lines ordered
/// with the axis of lower stride fastest, as are the four outputs. S is the stride along the edge.
template <typename T, int WIDTH, int S>
inline void interpolateQBSplineEdge(const T (&in_samples)[12], T* out0, T* out1, T* out2, T* out3)
{
    Detail::interpolateQBSplineEdge(in_samples, S, {out0, out1, out2, out3}, 0, WIDTH);
}

}  // namespace Skelvar
