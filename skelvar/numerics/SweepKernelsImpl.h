#pragma once

// Included by one source file for each kind of processor, which defines the kernels' name. All is
// local to the file, and no function of another header is called: the linker must not choose code
// for the newer processor where an older one runs.

#include <skelvar/numerics/StencilPatterns.h>
#include <skelvar/numerics/SweepKernels.h>

namespace Skelvar::Detail {

namespace {

using Lanes = float __attribute__((vector_size(32)));
using FourFloats = float __attribute__((vector_size(16)));
using EightDoubles = double __attribute__((vector_size(64)));

/// Four floats from memory of any alignment.
using LooseFour = float __attribute__((vector_size(16), aligned(4), may_alias));

// Between eight arrays and one of lanes, by squares of four.

inline void transposeFour(FourFloats* io_rows)
{
    const FourFloats a = __builtin_shufflevector(io_rows[0], io_rows[1], 0, 4, 1, 5);
    const FourFloats b = __builtin_shufflevector(io_rows[2], io_rows[3], 0, 4, 1, 5);
    const FourFloats c = __builtin_shufflevector(io_rows[0], io_rows[1], 2, 6, 3, 7);
    const FourFloats d = __builtin_shufflevector(io_rows[2], io_rows[3], 2, 6, 3, 7);
    io_rows[0] = __builtin_shufflevector(a, b, 0, 1, 4, 5);
    io_rows[1] = __builtin_shufflevector(a, b, 2, 3, 6, 7);
    io_rows[2] = __builtin_shufflevector(c, d, 0, 1, 4, 5);
    io_rows[3] = __builtin_shufflevector(c, d, 2, 3, 6, 7);
}

template <int Count>
inline void gatherLanes(const float* const* in_arrays, Lanes* out_lanes)
{
    constexpr int kWhole = Count / 4 * 4;
    for (int half = 0; half < kLanes; half += 4) {
        for (int n = 0; n < kWhole; n += 4) {
            FourFloats rows[4];
            for (int row = 0; row < 4; ++row) {
                rows[row] = *reinterpret_cast<const LooseFour*>(in_arrays[half + row] + n);
            }
            transposeFour(rows);
            for (int row = 0; row < 4; ++row) {
                reinterpret_cast<FourFloats*>(out_lanes + n + row)[half / 4] = rows[row];
            }
        }
    }
    for (int n = kWhole; n < Count; ++n) {
        for (int lane = 0; lane < kLanes; ++lane) {
            out_lanes[n][lane] = in_arrays[lane][n];
        }
    }
}

template <int Count>
inline void scatterLanes(const Lanes* in_lanes, float* const* out_arrays)
{
    constexpr int kWhole = Count / 4 * 4;
    for (int half = 0; half < kLanes; half += 4) {
        for (int n = 0; n < kWhole; n += 4) {
            FourFloats rows[4];
            for (int row = 0; row < 4; ++row) {
                rows[row] = reinterpret_cast<const FourFloats*>(in_lanes + n + row)[half / 4];
            }
            transposeFour(rows);
            for (int row = 0; row < 4; ++row) {
                *reinterpret_cast<LooseFour*>(out_arrays[half + row] + n) = rows[row];
            }
        }
    }
    for (int n = kWhole; n < Count; ++n) {
        for (int lane = 0; lane < kLanes; ++lane) {
            out_arrays[lane][n] = in_lanes[n][lane];
        }
    }
}

/// The step of over-relaxation from z to v / d, where d is positive.
inline void relax(const Lanes& in_v, const Lanes& in_d, Lanes& io_z)
{
    io_z = in_d > 0.0f ? (in_v / in_d - io_z) * kRelaxation + io_z : io_z;
}

// Tiles with the pattern of the whole 7-point stencil. Rows of one colour do not couple with each
// other, so that their order among themselves does not matter.

/// in_values: of the row's entries. io_z: the row's.
template <Place X, Place Y, Place Z>
inline void relaxCell(const Lanes* in_values, const Lanes& in_r, Lanes* io_z)
{
    Lanes v = in_r;
    int n = 0;
    if constexpr (Z != eFirst) {
        v -= in_values[n++] * io_z[-kAxisStep[2]];
    }
    if constexpr (Y != eFirst) {
        v -= in_values[n++] * io_z[-kAxisStep[1]];
    }
    if constexpr (X != eFirst) {
        v -= in_values[n++] * io_z[-kAxisStep[0]];
    }
    const Lanes d = in_values[n++];
    if constexpr (X != eLast) {
        v -= in_values[n++] * io_z[kAxisStep[0]];
    }
    if constexpr (Y != eLast) {
        v -= in_values[n++] * io_z[kAxisStep[1]];
    }
    if constexpr (Z != eLast) {
        v -= in_values[n++] * io_z[kAxisStep[2]];
    }
    relax(v, d, io_z[0]);
}

/// The three arrays of eight tiles.
struct CoreLanes {
    alignas(64) Lanes values[kCoreEntries];
    alignas(64) Lanes r[kCoreRows];
    alignas(64) Lanes z[kCoreRows];

    template <Place X, Place Y, Place Z>
    void relaxAt(int in_cell)
    {
        relaxCell<X, Y, Z>(values + kCorePattern.row_starts[in_cell], r[in_cell], z + in_cell);
    }
    template <Place Y, Place Z>
    void relaxLine(int in_cell)
    {
        if (in_cell % 2 == m_parity) {
            relaxAt<eFirst, Y, Z>(in_cell);
            relaxAt<eInner, Y, Z>(in_cell + 2);
            relaxAt<eLast, Y, Z>(in_cell + 4);
        } else {
            relaxAt<eInner, Y, Z>(in_cell + 1);
            relaxAt<eInner, Y, Z>(in_cell + 3);
        }
    }
    template <Place Z>
    void relaxSlab(int in_cell)
    {
        relaxLine<eFirst, Z>(in_cell);
        for (int line = 1; line < kTileWidth - 1; ++line) {
            relaxLine<eInner, Z>(in_cell + line * kAxisStep[1]);
        }
        relaxLine<eLast, Z>(in_cell + (kTileWidth - 1) * kAxisStep[1]);
    }
    /// The cells of even or odd position.
    void relaxColour(int in_parity)
    {
        m_parity = in_parity;
        relaxSlab<eFirst>(0);
        for (int slab = 1; slab < kTileWidth - 1; ++slab) {
            relaxSlab<eInner>(slab * kAxisStep[2]);
        }
        relaxSlab<eLast>((kTileWidth - 1) * kAxisStep[2]);
    }

private:
    int m_parity;
};

inline void sweepCore(const float* const* in_values, const float* const* in_r, float* const* out_z,
                      double* out_dots)
{
    CoreLanes lanes;
    gatherLanes<kCoreEntries>(in_values, lanes.values);
    gatherLanes<kCoreRows>(in_r, lanes.r);
    for (Lanes& z : lanes.z) {
        z = Lanes{};
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        lanes.relaxColour(0);
        lanes.relaxColour(1);
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        lanes.relaxColour(1);
        lanes.relaxColour(0);
    }
    EightDoubles dots = {};
    for (int row = 0; row < kCoreRows; ++row) {
        dots += __builtin_convertvector(lanes.z[row], EightDoubles) *
                __builtin_convertvector(lanes.r[row], EightDoubles);
    }
    for (int lane = 0; lane < kLanes; ++lane) {
        out_dots[lane] = dots[lane];
    }
    scatterLanes<kCoreRows>(lanes.z, out_z);
}

// Tiles of any patterns.

/// One load for each lane: the processor's own gathers take many times as long where they are
/// guarded against leaks.
inline void readAt(const LaneFloats* in_z, const LaneOffsets& in_offsets, Lanes& out_lanes)
{
    const float* const z = in_z->lane;
    const int* const at = in_offsets.lane;
    out_lanes =
        Lanes{z[at[0]], z[at[1]], z[at[2]], z[at[3]], z[at[4]], z[at[5]], z[at[6]], z[at[7]]};
}

inline void relaxRow(const SweepRows& io_rows, int in_row)
{
    const auto lanes = [](const LaneFloats& in_floats) -> const Lanes& {
        return reinterpret_cast<const Lanes&>(in_floats);
    };
    Lanes v = lanes(io_rows.r[in_row]);
    for (int n = io_rows.starts[in_row]; n < io_rows.starts[in_row + 1]; ++n) {
        Lanes other;
        readAt(io_rows.z, io_rows.columns[n], other);
        v -= lanes(io_rows.values[n]) * other;
    }
    const LaneOffsets& positions = io_rows.positions[in_row];
    Lanes z;
    readAt(io_rows.z, positions, z);
    relax(v, lanes(io_rows.diagonals[in_row]), z);
    float* const out_z = io_rows.z->lane;
    for (int lane = 0; lane < kLanes; ++lane) {
        out_z[positions.lane[lane]] = z[lane];
    }
}

inline void sweepRows(const SweepRows& io_rows)
{
    const int last_even = (io_rows.num_rows - 1) & ~1;
    const int last_odd = io_rows.num_rows / 2 * 2 - 1;
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        for (int row = 0; row <= last_even; row += 2) {
            relaxRow(io_rows, row);
        }
        for (int row = 1; row <= last_odd; row += 2) {
            relaxRow(io_rows, row);
        }
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        for (int row = last_odd; row >= 1; row -= 2) {
            relaxRow(io_rows, row);
        }
        for (int row = last_even; row >= 0; row -= 2) {
            relaxRow(io_rows, row);
        }
    }
}

}  // namespace

}  // namespace Skelvar::Detail
