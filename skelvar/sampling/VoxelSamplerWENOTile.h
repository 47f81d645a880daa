#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/sampling/TileCache.h>
#include <skelvar/voxel/VoxelTile.h>

namespace Skelvar {

namespace Detail {

/// One step on N sets of samples q0 to q3, at the fraction f between q1 and q2: the parabolas
/// through q0, q1, q2 and q1, q2, q3, each weighted by 2 - f and 1 + f over its squared smoothness.
/// `out_values` may be one of the samples' arrays.
/// Source: third-order interpolation by weighted, essentially non-oscillatory parabolas.
template <int N>
inline void stepWENO3(const float* in_q0, const float* in_q1, const float* in_q2,
                      const float* in_q3, float in_f, float* out_values)
{
    constexpr float kGuard = 1e-30f;  // where both parabolas are flat
    constexpr float kCurvature = 1.3333334f;
    const float g = 1.0f - in_f;
    for (int n = 0; n < N; ++n) {
        const float q0 = in_q0[n];
        const float q1 = in_q1[n];
        const float q2 = in_q2[n];
        const float q3 = in_q3[n];
        const float a = (q2 - q0) * 0.5f;
        const float b = q0 - 2.0f * q1 + q2;
        const float s = kCurvature * b * b + (a + b) * a;
        const float w1 = (2.0f - in_f) / (s * s + kGuard);
        const float p1 = (in_f * 0.5f * b + a) * in_f + q1;
        const float c = (q1 - q3) * 0.5f;
        const float d = q3 - 2.0f * q2 + q1;
        const float t = kCurvature * d * d + (c + d) * c;
        const float w2 = (2.0f - g) / (t * t + kGuard);
        const float p2 = (0.5f * g * d + c) * g + q2;
        out_values[n] = (p2 * w2 + p1 * w1) / (w2 + w1);
    }
}

/// The 64 values of a stencil: by x, then row by row with y fastest.
using BlockWENO = float[4][16];

/// The step along x on the 16 rows, then along y on four, then along z.
inline float interpolateBlockWENO3(const BlockWENO& in_block, float in_fx, float in_fy, float in_fz)
{
    float rows[4][4];  // by y, then z
    float lines[16];
    stepWENO3<16>(in_block[0], in_block[1], in_block[2], in_block[3], in_fx, lines);
    for (int n = 0; n < 16; ++n) {
        rows[n % 4][n / 4] = lines[n];
    }
    float planes[4];
    stepWENO3<4>(rows[0], rows[1], rows[2], rows[3], in_fy, planes);
    float value;
    stepWENO3<1>(planes, planes + 1, planes + 2, planes + 3, in_fz, &value);
    return value;
}

/// Takes the 64 values from a tile that holds them all, `in_first` the lowest.
template <int SJ, int SK>
inline void readBlockWENO(const float* in_first, BlockWENO& out_block)
{
    for (int row = 0; row < 16; ++row) {
        const float* const at = in_first + SJ * (row % 4) + SK * (row / 4);
        for (int i = 0; i < 4; ++i) {
            out_block[i][row] = at[i];
        }
    }
}

}  // namespace Detail

// Positions are counted in a tile's cells from its first, -2 to 6 with the halo.

/// The step on the block of 4 by 4 values from `in_first` on, strides SX and SY, first along x at
/// the fraction fx, then along y at fy: the value between the middle four.
template <typename T, int SX, int SY>
inline T interpBiWENO3(const T* in_first, T in_fx, T in_fy)
{
    T rows[4];
    for (int j = 0; j < 4; ++j) {
        const T* const row = in_first + j * SY;
        Detail::stepWENO3<1>(row, row + SX, row + 2 * SX, row + 3 * SX, in_fx, rows + j);
    }
    T value;
    Detail::stepWENO3<1>(rows, rows + 1, rows + 2, rows + 3, in_fy, &value);
    return value;
}

/// The value of a haloed tile at the fractions from cell (i, j, k), each from -1 to 4. Cell 5,
/// whose stencil would leave the tile, is taken as cell 4 with the fraction raised by 1.
template <typename T, int WIDTH>
SKELVAR_API void interpolateWENO(const VoxelTile<T, 2, WIDTH>& in_tile, int in_i, T in_fx, int in_j,
                                 T in_fy, int in_k, T in_fz, T* out_value);

/// The haloed form of a tile without parent: the tile, within a halo of the background value. On a
/// staggered axis the tile's first plane becomes the background value too. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalWENOHaloedRootTile(VoxelOffsetType in_offset, const T& in_background,
                                        const VoxelTile<T, 0, WIDTH>& in_tile,
                                        VoxelTile<T, 2, WIDTH>* out_tile);

/// The haloed form of any other tile, (ci, cj, ck) its place in the parent: each halo value is a
/// copy where the tile of the same depth that holds it exists, whatever else exists, and else the
/// parent's field at the value's own position. On a staggered axis without a low neighbour the
/// tile's first plane is the parent's field too. WIDTH is 5.
template <typename T, int WIDTH>
SKELVAR_API void evalWENOHaloedTile(VoxelOffsetType in_offset,
                                    const VoxelTile<T, 2, WIDTH>& in_parent, int in_ci, int in_cj,
                                    int in_ck, const TileBlock<T>& in_block,
                                    VoxelTile<T, 2, WIDTH>* out_tile);

extern template void interpolateWENO<float, 5>(const VoxelTile<float, 2, 5>&, int, float, int,
                                               float, int, float, float*);
extern template void evalWENOHaloedRootTile<float, 5>(VoxelOffsetType, const float&,
                                                      const VoxelTile<float, 0, 5>&,
                                                      VoxelTile<float, 2, 5>*);
extern template void evalWENOHaloedTile<float, 5>(VoxelOffsetType, const VoxelTile<float, 2, 5>&,
                                                  int, int, int, const TileBlock<float>&,
                                                  VoxelTile<float, 2, 5>*);

}  // namespace Skelvar
