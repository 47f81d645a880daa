#pragma once

#include <skelvar/sampling/StencilAcross.h>
#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>

#include <array>
#include <type_traits>

namespace Skelvar::Detail {

/// Three values along z: of `float` in one register, where the fourth counts for nothing.
template <typename T>
using QBSplineLine = std::conditional_t<std::is_same_v<T, float>, AxisFloats, std::array<T, 3>>;

/// One stage of the spline on each place of three lines.
template <typename T>
inline void weighLines(const QBSplineWeights<float>& in_weights, const QBSplineLine<T>& in_before,
                       const QBSplineLine<T>& in_at, const QBSplineLine<T>& in_after,
                       QBSplineLine<T>& out_line)
{
    if constexpr (std::is_same_v<T, float>) {
        out_line =
            in_weights.before * in_before + in_weights.at * in_at + in_weights.after * in_after;
    } else {
        for (int k = 0; k < 3; ++k) {
            out_line[k] = weighted(in_weights.before, in_before[k], in_weights.at, in_at[k],
                                   in_weights.after, in_after[k]);
        }
    }
}

/// The values of a stencil after the stages along x and y, and before the last.
template <typename T>
struct QBSplineColumn {
    QBSplineLine<T> values;

    T alongZ(const QBSplineWeights<float>& in_weights) const
    {
        return weighted(in_weights.before, values[0], in_weights.at, values[1], in_weights.after,
                        values[2]);
    }
};

/// The values after the stage along x.
template <typename T>
struct QBSplinePlane {
    QBSplineLine<T> lines[3];  ///< by y

    QBSplineColumn<T> alongY(const QBSplineWeights<float>& in_weights) const
    {
        QBSplineColumn<T> column;
        weighLines<T>(in_weights, lines[0], lines[1], lines[2], column.values);
        return column;
    }
};

/// The 27 values around a cell.
template <typename T>
struct QBSplineBlock {
    QBSplineLine<T> lines[3][3];  ///< by x and y

    T operator()(int in_i, int in_j, int in_k) const { return lines[in_i][in_j][in_k]; }
    void take(const StencilAcross<T, 3>& in_values)
    {
        for (int j = 0; j < 3; ++j) {
            for (int i = 0; i < 3; ++i) {
                setLine(i, j, in_values(i, j, 0), in_values(i, j, 1), in_values(i, j, 2));
            }
        }
    }
    /// From a tile that holds them all, `in_at` the cell's own.
    template <int SJ, int SK>
    void take(const T* in_at)
    {
        const T* const first = in_at - 1 - SJ - SK;
        for (int j = 0; j < 3; ++j) {
            for (int i = 0; i < 3; ++i) {
                const T* const at = first + i + SJ * j;
                setLine(i, j, at[0], at[SK], at[2 * SK]);
            }
        }
    }
    void set(int in_i, int in_j, int in_k, const T& in_value)
    {
        lines[in_i][in_j][in_k] = in_value;
    }
    void setLine(int in_i, int in_j, const T& in_0, const T& in_1, const T& in_2)
    {
        lines[in_i][in_j] = QBSplineLine<T>{in_0, in_1, in_2};
    }
    QBSplinePlane<T> alongX(const QBSplineWeights<float>& in_weights) const
    {
        QBSplinePlane<T> plane;
        for (int j = 0; j < 3; ++j) {
            weighLines<T>(in_weights, lines[0][j], lines[1][j], lines[2][j], plane.lines[j]);
        }
        return plane;
    }
};

/// The weights of one axis.
inline QBSplineWeights<float> weightsOf(const QBSplineWeights<AxisFloats>& in_weights, int in_axis)
{
    return {in_weights.before[in_axis], in_weights.at[in_axis], in_weights.after[in_axis]};
}

}  // namespace Skelvar::Detail
