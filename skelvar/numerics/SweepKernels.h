#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

namespace Skelvar::Detail {

// The sweeps of the preconditioner on eight tiles side by side, one in each lane of a vector
// register. A lane does what a loop over its tile alone would do, bit for bit.

inline constexpr int kLanes = 8;
inline constexpr int kSweeps = 4;  ///< forward, and as many backward
inline constexpr float kRelaxation = 1.5f;

struct alignas(32) LaneFloats {
    float lane[kLanes];
};
struct alignas(32) LaneOffsets {
    int lane[kLanes];
};

/// Rows of eight blocks of any patterns: the rows at one place of the blocks' lists side by side.
/// Offsets count floats from the first of `z`. A lane whose list is shorter, or whose row has fewer
/// entries, has a value of 0 there and the offset of a zero.
struct SweepRows {
    int num_rows;                  ///< of the longest list
    const int* starts;             ///< first off-diagonal entry of each row, and their number
    const LaneFloats* values;      ///< of the off-diagonal entries
    const LaneOffsets* columns;    ///< of the off-diagonal entries
    const LaneFloats* diagonals;   ///< of the rows; 0 leaves a row out
    const LaneOffsets* positions;  ///< of the rows
    const LaneFloats* r;           ///< of the rows
    LaneFloats* z;                 ///< by position
};

/// The kernels as built for one kind of processor.
struct SweepKernels {
    /// Eight blocks with the pattern of the 7-point stencil: their values, and 125 values of r and
    /// z each. z is only written. out_dots: the dot product of r and z of each.
    void (*core)(const float* const* in_values, const float* const* in_r, float* const* out_z,
                 double* out_dots);
    void (*rows)(const SweepRows& io_rows);
};

SKELVAR_API extern const SweepKernels kPlainSweepKernels;
extern const SweepKernels kAvx2SweepKernels;

/// Those for this processor.
SKELVAR_API const SweepKernels& sweepKernels();

/// `preconditionAndDot` by given kernels.
SKELVAR_API double preconditionAndDot(const SweepKernels& in_kernels,
                                      const SparseMatrix<float>& in_A,
                                      const DenseVector<float>& in_r, DenseVector<float>* out_z);

}  // namespace Skelvar::Detail
