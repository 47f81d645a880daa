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

/// in_values: of the row's entries. io_z: the row's.
template <Place X, Place Y, Place Z>
inline void relaxCell(const Lanes* in_values, const Lanes& in_r, Lanes* io_z)
{
    Lanes v = in_r;
    int n = 0;
    const auto subtract = [&](int in_step) { v -= in_values[n++] * io_z[in_step]; };
    if constexpr (Z != eFirst) {
        subtract(-kAxisStep[2]);
    }
    if constexpr (Y != eFirst) {
        subtract(-kAxisStep[1]);
    }
    if constexpr (X != eFirst) {
        subtract(-kAxisStep[0]);
    }
    const Lanes d = in_values[n++];
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

/// Dot products of eight lanes. In two halves: eight doubles do not stay in registers.
struct LaneDots {
    FourDoubles low = {};
    FourDoubles high = {};

    void add(const Lanes& in_a, const Lanes& in_b)
    {
        low +=
            __builtin_convertvector(__builtin_shufflevector(in_a, in_a, 0, 1, 2, 3), FourDoubles) *
            __builtin_convertvector(__builtin_shufflevector(in_b, in_b, 0, 1, 2, 3), FourDoubles);
        high +=
            __builtin_convertvector(__builtin_shufflevector(in_a, in_a, 4, 5, 6, 7), FourDoubles) *
            __builtin_convertvector(__builtin_shufflevector(in_b, in_b, 4, 5, 6, 7), FourDoubles);
    }
    void write(double* out_dots) const
    {
        for (int lane = 0; lane < 4; ++lane) {
            out_dots[lane] = low[lane];
            out_dots[4 + lane] = high[lane];
        }
    }
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
    LaneDots dots;
    for (int row = 0; row < kCoreRows; ++row) {
        dots.add(lanes.z[row], lanes.r[row]);
    }
    dots.write(out_dots);
    scatterLanes<kCoreRows>(lanes.z, out_z);
}

// Tiles of two values. A cell keeps the product that its neighbours subtract. Outside the tile and
// where there is no row it is 0, which changes nothing: neither v nor the sign of a zero z, which
// is never -0.

inline void readMasked(const Lanes& in_lanes, const LaneMasks& in_mask, Lanes& out_lanes)
{
    out_lanes = reinterpret_cast<Lanes>(reinterpret_cast<const LaneBits&>(in_lanes) &
                                        reinterpret_cast<const LaneBits&>(in_mask));
}

struct UniformLanes {
    Lanes diagonals, others;
    alignas(64) Lanes r[kTileSize];
    alignas(64) Lanes z[kTileSize];
    alignas(64) Lanes products[kRimPlaces];

    template <bool MASKED>
    void relaxStep(const CellPass& in_pass, int in_n)
    {
        const CellStep step = in_pass.steps[in_n];
        Lanes* const product = products + step.place;
        Lanes v = r[step.cell];
        v -= product[-kRimStep[2]];
        v -= product[-kRimStep[1]];
        v -= product[-kRimStep[0]];
        v -= product[kRimStep[0]];
        v -= product[kRimStep[1]];
        v -= product[kRimStep[2]];
        const Lanes old = z[step.cell];
        Lanes now = (v / diagonals - old) * kRelaxation + old;
        if constexpr (MASKED) {
            now = reinterpret_cast<const LaneBits&>(in_pass.masks[in_n]) < 0 ? now : old;
        }
        z[step.cell] = now;
        *product = others * now;
    }
    template <bool MASKED>
    void relaxForward(const CellPass& in_pass)
    {
        for (int n = 0; n < in_pass.count; ++n) {
            relaxStep<MASKED>(in_pass, n);
        }
    }
    template <bool MASKED>
    void relaxBackward(const CellPass& in_pass)
    {
        for (int n = in_pass.count - 1; n >= 0; --n) {
            relaxStep<MASKED>(in_pass, n);
        }
    }
    template <bool MASKED>
    void sweep(const CellPass* in_passes, LaneDots& io_dots)
    {
        for (int sweep = 0; sweep < kSweeps; ++sweep) {
            relaxForward<MASKED>(in_passes[0]);
            relaxForward<MASKED>(in_passes[1]);
        }
        for (int sweep = 0; sweep < kSweeps; ++sweep) {
            relaxBackward<MASKED>(in_passes[1]);
            relaxBackward<MASKED>(in_passes[0]);
        }
        for (int parity = 0; parity < 2; ++parity) {
            for (int n = 0; n < in_passes[parity].count; ++n) {
                const int cell = in_passes[parity].steps[n].cell;
                if constexpr (MASKED) {
                    Lanes masked_z;
                    Lanes masked_r;
                    readMasked(z[cell], in_passes[parity].masks[n], masked_z);
                    readMasked(r[cell], in_passes[parity].masks[n], masked_r);
                    io_dots.add(masked_z, masked_r);
                } else {
                    io_dots.add(z[cell], r[cell]);
                }
            }
        }
    }
};

inline void sweepUniform(const UniformSweep& in_sweep, const float* const* in_r,
                         float* const* out_z, double* out_dots)
{
    UniformLanes lanes;
    lanes.diagonals = reinterpret_cast<const Lanes&>(in_sweep.diagonals);
    lanes.others = reinterpret_cast<const Lanes&>(in_sweep.others);
    gatherLanes<kTileSize>(in_r, lanes.r);
    for (Lanes& z : lanes.z) {
        z = Lanes{};
    }
    for (Lanes& product : lanes.products) {
        product = Lanes{};
    }
    LaneDots dots;
    if (in_sweep.passes[0].masks == nullptr) {
        lanes.sweep<false>(in_sweep.passes, dots);
    } else {
        lanes.sweep<true>(in_sweep.passes, dots);
    }
    dots.write(out_dots);
    scatterLanes<kTileSize>(lanes.z, out_z);
}

/// A register full of floats or doubles, which may be read from memory of any alignment.
template <typename Sum>
struct WideOf;
template <>
struct WideOf<float> {
    using Bits = int;
    using Values = float __attribute__((vector_size(32), aligned(4), may_alias));
    using Masks = int __attribute__((vector_size(32), aligned(4), may_alias));
};
template <>
struct WideOf<double> {
    using Bits = long long;
    using Values = double __attribute__((vector_size(32), aligned(8), may_alias));
    using Masks = long long __attribute__((vector_size(32), aligned(8), may_alias));
};

/// For each of the four neighbours along x and y, and each cell, all bits set if the tile has it.
template <typename Bits>
struct NeighbourMasks {
    alignas(64) Bits low[2][kTileSize + 3];
    alignas(64) Bits high[2][kTileSize + 3];
};
template <typename Bits>
constexpr NeighbourMasks<Bits> makeNeighbourMasks()
{
    NeighbourMasks<Bits> masks{};
    for (int axis = 0; axis < 2; ++axis) {
        for (int cell = 0; cell < kTileSize; ++cell) {
            const int place = cell / kAxisStep[axis] % kTileWidth;
            masks.low[axis][cell] = place > 0 ? -1 : 0;
            masks.high[axis][cell] = place < kTileWidth - 1 ? -1 : 0;
        }
    }
    return masks;
}

template <typename Sum>
inline void addUniform(float in_diagonal, float in_other, const float* in_x, float* io_y)
{
    using Bits = typename WideOf<Sum>::Bits;
    using Wide = typename WideOf<Sum>::Values;
    using WideBits = typename WideOf<Sum>::Masks;
    static constexpr NeighbourMasks<Bits> kMasks = makeNeighbourMasks<Bits>();
    constexpr int kWide = 32 / sizeof(Sum);
    constexpr int kBefore = 32;  // cells before the first slab, and behind the last, count 0
    alignas(64) Sum others[kBefore + kTileSize + 35];
    alignas(64) Sum own[kTileSize + 3];
    alignas(64) float sums[kTileSize + 3];
    for (int n = 0; n < kBefore; ++n) {
        others[n] = 0;
        others[kBefore + kTileSize + n] = 0;
    }
    for (int n = 0; n < kTileSize; ++n) {
        others[kBefore + n] = Sum(in_other * in_x[n]);
        own[n] = Sum(in_diagonal * in_x[n]);
    }
    for (int n = 0; n < kTileSize; n += kWide) {
        Wide sum = {};
        const auto add = [&](const Sum* in_from) {
            sum += *reinterpret_cast<const Wide*>(in_from);
        };
        const auto addMasked = [&](const Sum* in_from, const Bits* in_mask) {
            sum += reinterpret_cast<Wide>(*reinterpret_cast<const WideBits*>(in_from) &
                                          *reinterpret_cast<const WideBits*>(in_mask));
        };
        const Sum* const at = others + kBefore + n;
        add(at - kAxisStep[2]);
        addMasked(at - kAxisStep[1], kMasks.low[1] + n);
        addMasked(at - kAxisStep[0], kMasks.low[0] + n);
        add(own + n);
        addMasked(at + kAxisStep[0], kMasks.high[0] + n);
        addMasked(at + kAxisStep[1], kMasks.high[1] + n);
        add(at + kAxisStep[2]);
        for (int lane = 0; lane < kWide; ++lane) {
            sums[n + lane] = float(sum[lane]);
        }
    }
    for (int n = 0; n < kTileSize; ++n) {
        io_y[n] += sums[n];
    }
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
