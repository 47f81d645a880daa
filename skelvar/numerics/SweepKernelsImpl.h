#pragma once

// Included by one source file for each kind of processor, which defines the kernels' name. All is
// local to the file, and no function of another header is called: the linker must not choose code
// for the newer processor where an older one runs.

#include <skelvar/numerics/StencilPatterns.h>
#include <skelvar/numerics/SweepKernels.h>

namespace Skelvar::Detail {

namespace {

using Lanes = float __attribute__((vector_size(32), may_alias));
using LaneBits = int __attribute__((vector_size(32), may_alias));
using FourFloats = float __attribute__((vector_size(16), may_alias));
using EightDoubles = double __attribute__((vector_size(64)));
using FourDoubles = double __attribute__((vector_size(32)));

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

/// in_first: the row's first entry. io_z: the row's.
template <Place X, Place Y, Place Z, typename Values>
inline void relaxCell(const Values& in_values, int in_first, const Lanes& in_r, Lanes* io_z)
{
    Lanes v = in_r;
    Lanes value;
    int n = in_first;
    const auto subtract = [&](int in_step) {
        in_values.read(n++, value);
        v -= value * io_z[in_step];
    };
    if constexpr (Z != eFirst) {
        subtract(-kAxisStep[2]);
    }
    if constexpr (Y != eFirst) {
        subtract(-kAxisStep[1]);
    }
    if constexpr (X != eFirst) {
        subtract(-kAxisStep[0]);
    }
    Lanes d;
    in_values.read(n++, d);
    if constexpr (X != eLast) {
        subtract(kAxisStep[0]);
    }
    if constexpr (Y != eLast) {
        subtract(kAxisStep[1]);
    }
    if constexpr (Z != eLast) {
        subtract(kAxisStep[2]);
    }
    relax(v, d, io_z[0]);
}

/// The values of eight blocks.
struct LaneValues {
    alignas(64) Lanes lanes[kCoreEntries];

    void read(int in_entry, Lanes& out_value) const { out_value = lanes[in_entry]; }
};
/// Values that eight blocks share.
struct SameValues {
    const float* values;

    void read(int in_entry, Lanes& out_value) const
    {
        const float a = values[in_entry];
        out_value = Lanes{a, a, a, a, a, a, a, a};
    }
};

/// The three arrays of eight tiles.
template <typename Values>
struct CoreLanes {
    Values values;
    alignas(64) Lanes r[kCoreRows];
    alignas(64) Lanes z[kCoreRows];

    template <Place X, Place Y, Place Z>
    void relaxAt(int in_cell)
    {
        relaxCell<X, Y, Z>(values, kCorePattern.row_starts[in_cell], r[in_cell], z + in_cell);
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

template <typename Values>
inline void sweepLanes(CoreLanes<Values>& io_lanes, const float* const* in_r, float* const* out_z,
                       double* out_dots)
{
    gatherLanes<kCoreRows>(in_r, io_lanes.r);
    for (Lanes& z : io_lanes.z) {
        z = Lanes{};
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        io_lanes.relaxColour(0);
        io_lanes.relaxColour(1);
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        io_lanes.relaxColour(1);
        io_lanes.relaxColour(0);
    }
    EightDoubles dots = {};
    for (int row = 0; row < kCoreRows; ++row) {
        dots += __builtin_convertvector(io_lanes.z[row], EightDoubles) *
                __builtin_convertvector(io_lanes.r[row], EightDoubles);
    }
    for (int lane = 0; lane < kLanes; ++lane) {
        out_dots[lane] = dots[lane];
    }
    scatterLanes<kCoreRows>(io_lanes.z, out_z);
}

inline void sweepCore(const float* const* in_values, const float* const* in_r, float* const* out_z,
                      double* out_dots)
{
    CoreLanes<LaneValues> lanes;
    gatherLanes<kCoreEntries>(in_values, lanes.values.lanes);
    sweepLanes(lanes, in_r, out_z, out_dots);
}

inline void sweepSameCore(const float* in_values, const float* const* in_r, float* const* out_z,
                          double* out_dots)
{
    CoreLanes<SameValues> lanes;
    lanes.values.values = in_values;
    sweepLanes(lanes, in_r, out_z, out_dots);
}

inline void multiplySameCore(const float* in_values, const float* const* in_s,
                             float* const* out_products)
{
    alignas(64) Lanes s[kCoreRows];
    alignas(64) Lanes products[kCoreRows];
    gatherLanes<kCoreRows>(in_s, s);
    const SameValues values{in_values};
    for (int row = 0; row < kCoreRows; ++row) {
        // two sums of four: one of eight does not stay in registers
        FourDoubles low = {};
        FourDoubles high = {};
        const int end = static_cast<int>(kCorePattern.row_starts[row + 1]);
        for (int n = static_cast<int>(kCorePattern.row_starts[row]); n < end; ++n) {
            Lanes product;
            values.read(n, product);
            product *= s[kCorePattern.column_ids[n]];
            low += __builtin_convertvector(__builtin_shufflevector(product, product, 0, 1, 2, 3),
                                           FourDoubles);
            high += __builtin_convertvector(__builtin_shufflevector(product, product, 4, 5, 6, 7),
                                            FourDoubles);
        }
        FourFloats* const halves = reinterpret_cast<FourFloats*>(products + row);
        halves[0] = __builtin_convertvector(low, FourFloats);
        halves[1] = __builtin_convertvector(high, FourFloats);
    }
    scatterLanes<kCoreRows>(products, out_products);
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

inline const Lanes& lanesOf(const LaneFloats& in_floats)
{
    return reinterpret_cast<const Lanes&>(in_floats);
}

inline void subtractEntries(const SweepRows& in_rows, int in_begin, int in_end, Lanes& io_v)
{
    for (int n = in_begin; n < in_end; ++n) {
        Lanes other;
        readAt(in_rows.z, in_rows.offsets[n], other);
        io_v -= lanesOf(in_rows.values[n]) * other;
    }
}

/// A value times z where the mask is set: what is not there must not meet an infinite z.
inline void subtractNeighbour(const LaneFloats& in_value, const LaneMasks& in_mask,
                              const LaneFloats& in_z, Lanes& io_v)
{
    const LaneBits z =
        reinterpret_cast<const LaneBits&>(in_z) & reinterpret_cast<const LaneBits&>(in_mask);
    io_v -= lanesOf(in_value) * reinterpret_cast<const Lanes&>(z);
}

inline void relaxRow(const SweepRows& io_rows, int in_row)
{
    const SweepRow& row = io_rows.rows[in_row];
    const int* const starts = io_rows.starts + 2 * in_row;
    LaneFloats* const z = io_rows.z + in_row + 1;
    Lanes v = lanesOf(io_rows.r[in_row]);
    subtractEntries(io_rows, starts[0], starts[1], v);
    subtractNeighbour(row.before, row.has_before, z[-1], v);
    subtractNeighbour(row.after, row.has_after, z[1], v);
    subtractEntries(io_rows, starts[1], starts[2], v);
    relax(v, lanesOf(row.diagonal), reinterpret_cast<Lanes&>(*z));
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
