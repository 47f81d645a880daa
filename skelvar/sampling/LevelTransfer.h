#pragma once

#include <skelvar/sampling/ValueArithmetic.h>

#include <bit>

// Kernels that spread a few samples of a tile one depth up over a plane of 5 x 5 voxels, or a line
// of 5, of the tile below one of its cells. Along an axis, 3 samples (lower, own, upper) serve
// values at cell centres, and 2 (own, upper) values at the cells' low faces. Each is two stages of
// weighted sums, along the axis of stride S1, then along that of stride S2; both are truncated to
// the element type. A sample of weight 0 counts, so that NaN and infinity spread.
namespace Skelvar {

namespace Detail {

/// Weights by child position of the lower, own and upper sample. Source: linear interpolation at
/// -0.4, -0.2, 0, 0.2, 0.4 parent cells from the own sample. The weights of the sample that a row
/// moves away from are the complements of rounded ones, one unit in the last place below 0.4 and
/// 0.2 for the lower sample.
inline constexpr float kTransferWeights3[5][3] = {{1.0f - 0.6f, 0.6f, 0.0f},
                                                  {1.0f - 0.8f, 0.8f, 0.0f},
                                                  {0.0f, 1.0f, 0.0f},
                                                  {0.0f, 0.8f, 0.2f},
                                                  {0.0f, 0.6f, 0.4f}};
/// The same of the own and upper sample, at 0, 0.2, 0.4, 0.6, 0.8 from the own one.
inline constexpr float kTransferWeights2[5][2] = {
    {1.0f, 0.0f}, {0.8f, 0.2f}, {0.6f, 0.4f}, {1.0f - 0.6f, 0.6f}, {1.0f - 0.8f, 0.8f}};
static_assert(std::bit_cast<unsigned>(kTransferWeights3[0][0]) == 0x3ECCCCCCu &&
                  std::bit_cast<unsigned>(kTransferWeights3[1][0]) == 0x3E4CCCCCu &&
                  std::bit_cast<unsigned>(kTransferWeights3[4][2]) == 0x3ECCCCCDu,
              "results are the same on every machine");

/// The weights of a child position applied to N samples.
template <int N, typename T>
inline T transferSample(int in_child, const T* in_samples)
{
    static_assert(N == 2 || N == 3);
    if constexpr (N == 3) {
        const float* const w = kTransferWeights3[in_child];
        return weighted(w[0], in_samples[0], w[1], in_samples[1], w[2], in_samples[2]);
    } else {
        const float* const w = kTransferWeights2[in_child];
        return weighted(w[0], in_samples[0], w[1], in_samples[1]);
    }
}

/// A plane of N1 x N2 samples, the axis of stride `in_s1` fastest.
template <int N1, int N2, typename T>
inline void interpolateFace(const T* in_samples, int in_s1, int in_s2, T* out_plane)
{
    for (int c1 = 0; c1 < 5; ++c1) {
        T rows[N2];
        for (int r = 0; r < N2; ++r) {
            rows[r] = transferSample<N1>(c1, in_samples + r * N1);
        }
        for (int c2 = 0; c2 < 5; ++c2) {
            out_plane[c1 * in_s1 + c2 * in_s2] = transferSample<N2>(c2, rows);
        }
    }
}

/// The same minus the inner plane.
template <int N1, int N2, typename T>
inline void extrapolateFace(const T* in_samples, int in_s1, int in_s2, const T* in_inner,
                            T* out_plane)
{
    interpolateFace<N1, N2>(in_samples, in_s1, in_s2, out_plane);
    for (int n = 0; n < 25; ++n) {
        const int at = n % 5 * in_s1 + n / 5 * in_s2;
        out_plane[at] = difference(out_plane[at], in_inner[at]);
    }
}

/// A line: the weighted value minus those of the inner lines, one after the other.
template <int N, typename T, typename... Inner>
inline void transferEdge(const T* in_samples, int in_stride, T* out_line, const Inner*... in_inner)
{
    for (int c = 0; c < 5; ++c) {
        T value = transferSample<N>(c, in_samples);
        ((value = difference(value, in_inner[c * in_stride])), ...);
        out_line[c * in_stride] = value;
    }
}

}  // namespace Detail

// A face AxB has A samples on the axis of stride S1 and B on that of stride S2, S1 fastest. `out`
// and `inner` address the first voxel of a plane or line. WIDTH is 5.

template <typename T, int WIDTH, int S1, int S2>
void interpolateContinuousFace2x2(const T (&in_samples)[4], T* out_plane)
{
    Detail::interpolateFace<2, 2>(in_samples, S1, S2, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void interpolateContinuousFace2x3(const T (&in_samples)[6], T* out_plane)
{
    Detail::interpolateFace<2, 3>(in_samples, S1, S2, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void interpolateContinuousFace3x2(const T (&in_samples)[6], T* out_plane)
{
    Detail::interpolateFace<3, 2>(in_samples, S1, S2, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void interpolateContinuousFace3x3(const T (&in_samples)[9], T* out_plane)
{
    Detail::interpolateFace<3, 3>(in_samples, S1, S2, out_plane);
}

/// The weighted values minus the inner plane, in `T`.
template <typename T, int WIDTH, int S1, int S2>
void extrapolateContinuousFace2x2(const T (&in_samples)[4], const T* in_inner, T* out_plane)
{
    Detail::extrapolateFace<2, 2>(in_samples, S1, S2, in_inner, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void extrapolateContinuousFace2x3(const T (&in_samples)[6], const T* in_inner, T* out_plane)
{
    Detail::extrapolateFace<2, 3>(in_samples, S1, S2, in_inner, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void extrapolateContinuousFace3x2(const T (&in_samples)[6], const T* in_inner, T* out_plane)
{
    Detail::extrapolateFace<3, 2>(in_samples, S1, S2, in_inner, out_plane);
}
template <typename T, int WIDTH, int S1, int S2>
void extrapolateContinuousFace3x3(const T (&in_samples)[9], const T* in_inner, T* out_plane)
{
    Detail::extrapolateFace<3, 3>(in_samples, S1, S2, in_inner, out_plane);
}

template <typename T, int WIDTH, int S>
void interpolateContinuousEdge2(const T (&in_samples)[2], T* out_line)
{
    Detail::transferEdge<2>(in_samples, S, out_line);
}
template <typename T, int WIDTH, int S>
void interpolateContinuousEdge3(const T (&in_samples)[3], T* out_line)
{
    Detail::transferEdge<3>(in_samples, S, out_line);
}

/// The weighted values minus one inner line, or three, in their order and in `T`.
template <typename T, int WIDTH, int S>
void extrapolateContinuousEdge2(const T (&in_samples)[2], const T* in_inner, T* out_line)
{
    Detail::transferEdge<2>(in_samples, S, out_line, in_inner);
}
template <typename T, int WIDTH, int S>
void extrapolateContinuousEdge2(const T (&in_samples)[2], const T* in_first, const T* in_second,
                                const T* in_third, T* out_line)
{
    Detail::transferEdge<2>(in_samples, S, out_line, in_first, in_second, in_third);
}
template <typename T, int WIDTH, int S>
void extrapolateContinuousEdge3(const T (&in_samples)[3], const T* in_inner, T* out_line)
{
    Detail::transferEdge<3>(in_samples, S, out_line, in_inner);
}
template <typename T, int WIDTH, int S>
void extrapolateContinuousEdge3(const T (&in_samples)[3], const T* in_first, const T* in_second,
                                const T* in_third, T* out_line)
{
    Detail::transferEdge<3>(in_samples, S, out_line, in_first, in_second, in_third);
}

}  // namespace Skelvar
