#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/sampling/FineTiles.h>
#include <skelvar/sampling/TileCache.h>
#include <skelvar/voxel/VoxelTile.h>

namespace Skelvar {

namespace Detail {

/// One step on samples q0 to q3, at the fraction f between q1 and q2: the parabolas through q0, q1,
/// q2 and q1, q2, q3, each weighted by 2 - f and 1 + f over its squared smoothness. V is a float or
/// some in lanes.
/// Source: third-order interpolation by weighted, essentially non-oscillatory parabolas.
template <typename V>
[[gnu::always_inline]] inline void stepWENO3(const V& in_q0, const V& in_q1, const V& in_q2,
                                             const V& in_q3, float in_f, V& out_value)
{
    constexpr float kGuard = 1e-30f;  // where both parabolas are flat
    constexpr float kCurvature = 1.3333334f;
    const float g = 1.0f - in_f;
    const V a = (in_q2 - in_q0) * 0.5f;
    const V b = in_q0 - 2.0f * in_q1 + in_q2;
    const V s = kCurvature * b * b + (a + b) * a;
    const V w1 = (2.0f - in_f) / (s * s + kGuard);
    const V p1 = (in_f * 0.5f * b + a) * in_f + in_q1;
    const V c = (in_q1 - in_q3) * 0.5f;
    const V d = in_q3 - 2.0f * in_q2 + in_q1;
    const V t = kCurvature * d * d + (c + d) * c;
    const V w2 = (2.0f - g) / (t * t + kGuard);
    const V p2 = (0.5f * g * d + c) * g + in_q2;
    out_value = (p2 * w2 + p1 * w1) / (w2 + w1);
}

using EightFloats = float __attribute__((vector_size(32)));

/// The 64 values of a stencil: by x, then row by row with z fastest.
struct BlockWENO {
    EightFloats rows[4][2];

    void set(int in_i, int in_j, int in_k, float in_value)
    {
        rows[in_i][in_j / 2][in_j % 2 * 4 + in_k] = in_value;
    }
};

/// A stencil after the step along x.
struct LinesWENO {
    AxisFloats lines[4];  ///< by y, a lane for each z
    float fy, fz;
};

/// The step along x on the 16 rows.
inline LinesWENO stepAlongX(const BlockWENO& in_block, float in_fx, float in_fy, float in_fz)
{
    LinesWENO lines;
    for (int n = 0; n < 2; ++n) {
        const auto& rows = in_block.rows;
        EightFloats stepped;
        stepWENO3(rows[0][n], rows[1][n], rows[2][n], rows[3][n], in_fx, stepped);
        lines.lines[2 * n] = __builtin_shufflevector(stepped, stepped, 0, 1, 2, 3);
        lines.lines[2 * n + 1] = __builtin_shufflevector(stepped, stepped, 4, 5, 6, 7);
    }
    lines.fy = in_fy;
    lines.fz = in_fz;
    return lines;
}

/// The step along y on four lines, then along z.
inline float stepAlongYZ(const LinesWENO& in_lines)
{
    const auto& lines = in_lines.lines;
    AxisFloats planes;
    stepWENO3(lines[0], lines[1], lines[2], lines[3], in_lines.fy, planes);
    float value;
    stepWENO3<float>(planes[0], planes[1], planes[2], planes[3], in_lines.fz, value);
    return value;
}

inline float interpolateBlockWENO3(const BlockWENO& in_block, float in_fx, float in_fy, float in_fz)
{
    return stepAlongYZ(stepAlongX(in_block, in_fx, in_fy, in_fz));
}

/// Takes the 64 values from a tile that holds them all, `in_first` the lowest.
template <int SJ, int SK>
inline void readBlockWENO(const float* in_first, BlockWENO& out_block)
{
    for (int k = 0; k < 4; ++k) {
        for (int j = 0; j < 4; ++j) {
            for (int i = 0; i < 4; ++i) {
                out_block.set(i, j, k, in_first[i + SJ * j + SK * k]);
            }
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
        Detail::stepWENO3(row[0], row[SX], row[2 * SX], row[3 * SX], in_fx, rows[j]);
    }
    T value;
    Detail::stepWENO3(rows[0], rows[1], rows[2], rows[3], in_fy, value);
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
