#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar::Detail {

// The passes of the solver over eight tiles side by side, one in each lane of a vector
// register. A lane does what a loop over its tile alone would do, bit for bit.

inline constexpr int kLanes = 8;
inline constexpr int kSweeps = 4;  ///< forward, and as many backward
inline constexpr float kRelaxation = 1.5f;

struct alignas(32) LaneFloats {
    float lane[kLanes];
};
struct alignas(32) LaneMasks {
    int lane[kLanes];  ///< all bits set, or none
};
struct alignas(32) LaneOffsets {
    int lane[kLanes];
};

/// The rows at one place of eight blocks' lists. A lane whose list is shorter has zeros.
struct SweepRow {
    LaneFloats diagonal;  ///< 0 leaves the row out
    /// The entries of the rows just before and just after in the lists, which a stencil has for
    /// neighbours along x. Lanes without that entry have no mask and 0.
    LaneFloats before, after;
    LaneMasks has_before, has_after;
};

/// Rows of eight blocks of any patterns side by side, in order of their lists. z of row n is at
/// place n + 1; place 0 and the one past the last hold zeros.
struct SweepRows {
    int num_rows;  ///< of the longest list
    /// Of `values`, two a row, and their number: entries of columns before the neighbours in the
    /// list, and of those after. A lane with fewer has 0 at place 0.
    const int* starts;
    const LaneFloats* values;
    const LaneOffsets* offsets;  ///< of the columns, in floats of z
    const SweepRow* rows;
    const LaneFloats* r;  ///< of the rows
    LaneFloats* z;
};

/// A cell of a tile: its position, and its place among those with a rim around (`rimPlace`).
struct CellStep {
    short cell;
    short place;
};

/// Cells of eight tiles in the order in which to relax them.
struct CellPass {
    int count;
    const CellStep* steps;
    const LaneMasks*
        masks;  ///< of each step, the lanes that have that row; null where all have all
};

/// Eight blocks, each a 7-point stencil among its rows, with two values each.
struct UniformSweep {
    LaneFloats diagonals;  ///< positive
    LaneFloats others;     ///< finite
    CellPass passes[2];    ///< the even places of the lists of rows, and the odd ones
};

/// The kernels as built for one kind of processor. `in_r`: 125 values of each tile, and out_z as
/// many, which are only written. `out_dots`: the dot product of r and z over each tile's rows.
struct SweepKernels {
    /// Eight blocks with the pattern of the 7-point stencil: their values.
    void (*core)(const float* const* in_values, const float* const* in_r, float* const* out_z,
                 double* out_dots);
    /// Eight blocks of uniform values. z is 0 where there is no row.
    void (*uniform)(const UniformSweep& in_sweep, const float* const* in_r, float* const* out_z,
                    double* out_dots);
    void (*rows)(const SweepRows& io_rows);
    /// y := y + A x for a block with the pattern of the 7-point stencil and two values, where no y
    /// is -0. Products are summed over a row in float, or in double.
    void (*add_uniform)(float in_diagonal, float in_other, const float* in_x, float* io_y);
    void (*add_uniform_in_double)(float in_diagonal, float in_other, const float* in_x,
                                  float* io_y);
};

SKELVAR_API extern const SweepKernels kPlainSweepKernels;
extern const SweepKernels kAvx2SweepKernels;

/// Those for this processor.
SKELVAR_API const SweepKernels& sweepKernels();

}  // namespace Skelvar::Detail
