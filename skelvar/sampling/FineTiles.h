#pragma once

#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/sampling/TileNeighbours.h>

namespace Skelvar::Detail {

/// One value for each axis; the fourth is 0.
using AxisFloats = float __attribute__((vector_size(16)));
using AxisInts = int __attribute__((vector_size(16)));

inline AxisInts axisInts(const vec3i& in_values)
{
    return AxisInts{in_values[0], in_values[1], in_values[2], 0};
}
template <typename Three>
inline AxisFloats axisFloats(const Three& in_values)
{
    return AxisFloats{in_values[0], in_values[1], in_values[2], 0.0f};
}

/// The eight sums of one of two numbers for each axis; x fastest, the first of two first.
struct EightSums {
    AxisInts lower;  ///< with the first number of z
    AxisInts upper;

    EightSums(AxisInts in_first, AxisInts in_second)
    {
        const AxisInts xy = __builtin_shufflevector(in_first, in_second, 0, 4, 0, 4) +
                            __builtin_shufflevector(in_first, in_second, 1, 1, 5, 5);
        lower = xy + in_first[2];
        upper = xy + in_second[2];
    }
    int operator[](int in_n) const { return in_n < 4 ? lower[in_n] : upper[in_n - 4]; }
};

/// A cell of the tiles of depth 7, whether its tile exists or not.
struct FineCell {
    AxisInts tile;  ///< the tile's minimum corner, in coordinate units
    AxisInts cell;  ///< counted from it, -1 to 4 on each axis

    bool operator==(const FineCell& in_other) const
    {
        using Halves = long long __attribute__((vector_size(16)));
        const Halves differing =
            reinterpret_cast<Halves>((tile ^ in_other.tile) | (cell ^ in_other.cell));
        return (differing[0] | differing[1]) == 0;
    }
};
/// Equal to none at a position.
inline constexpr FineCell kNoFineCell = {{}, {-9, -9, -9, 0}};

/// What a kind of stencil needs. The cell is the one whose value stands below the position.
struct StencilReach {
    AxisFloats offset;  ///< where in their cells values stand
    /// The cells that it needs below its own and above, together five at most with its own.
    AxisInts before;
    AxisInts after;
};

/// Where the values of a stencil stand: in the tile of its cell and those around. It needs a box of
/// cells that spans one or two tiles on each axis, so that there are eight, which may be the same.
/// Stale after an edit of the layout.
struct StencilPlace {
    const int* slot[8];      ///< hold the indices of the tiles, below 0 for none; x fastest
    AxisInts cell;           ///< counted from its tile
    AxisInts reaches_below;  ///< 1 if the first of two tiles is below the cell's, else 0
    int above;               ///< index of the tile of depth 6 with the cell, below 0 for none

    /// Has the slots on their way.
    [[gnu::always_inline]] void fetch() const
    {
        __builtin_prefetch(slot[0]);
        __builtin_prefetch(slot[7]);
    }
    /// Holds the index of the tile with the cell.
    const int* tileSlot() const
    {
        return slot[reaches_below[0] + 2 * reaches_below[1] + 4 * reaches_below[2]];
    }
    int tile() const { return *tileSlot(); }
};

/// The cell of a position's stencil, where the finest tile there is of depth 7, and the fractions
/// from it. Without a branch, which nobody could predict. Positions outside the domain and NaN have
/// a cell at the very end of the domain.
[[gnu::always_inline]] inline FineCell fineCell(const vec3f& in_position,
                                                const StencilReach& in_reach,
                                                AxisFloats& out_fraction)
{
    constexpr float kEdge = kTileOrigin;
    constexpr AxisInts kOrigin = {kTileOrigin, kTileOrigin, kTileOrigin, 0};
    // By the rule of `cellCoordinate`.
    const auto truncate = [](AxisFloats in_values) {
        return __builtin_convertvector(in_values, AxisInts) + (in_values < 0.0f);
    };
    const AxisFloats position = axisFloats(in_position);
    const AxisFloats p =
        ((position > -kEdge) & (position < kEdge)) ? position : AxisFloats{} + kEdge;
    // The quotient by 5: a multiple of 5 times 0.2f, which is above 0.2, does not come out below
    // the whole number, nor the last number before the next multiple at the next whole number.
    const AxisFloats from_end = __builtin_convertvector(truncate(p) + kOrigin, AxisFloats);
    FineCell found;
    found.tile = __builtin_convertvector(from_end * 0.2f, AxisInts) * kTileWidth - kOrigin;
    const AxisFloats u = p - __builtin_convertvector(found.tile, AxisFloats) - in_reach.offset;
    const AxisInts unbounded = truncate(u);
    found.cell = unbounded < kTileWidth ? unbounded : AxisInts{} + (kTileWidth - 1);
    out_fraction = u - __builtin_convertvector(found.cell, AxisFloats);
    return found;
}

/// Finds the places of stencils at depth 7, in few steps which are the same wherever in its tile a
/// cell is. Stays at one tile of depth 6 and looks those around it up as they are asked for.
/// Borrows the layout, an edit of which makes it stale. Costs next to nothing to make. Belongs to
/// one thread.
class FineTiles {
public:
    /// With null there is nothing to be found, nor may it be asked for.
    explicit FineTiles(const VoxelLayout* in_layout) : m_layout(in_layout) {}

    /// The place of a cell's stencil. In the last tile of depth 6 on an axis of the domain none of
    /// its tiles count as existing.
    [[gnu::always_inline]] void find(const FineCell& in_cell, const StencilReach& in_reach,
                                     StencilPlace& out_place)
    {
        if (!areAll((in_cell.tile >= m_corner) & (in_cell.tile < m_end)) && !enter(in_cell.tile)) {
            findNothing(out_place);
            return;
        }
        const AxisInts place = (in_cell.tile - m_corner) * 205 >> 10;  // by 5
        const AxisInts is_below = in_cell.cell < in_reach.before;
        const AxisInts is_above = in_cell.cell + in_reach.after >= kTileWidth;
        out_place.cell = in_cell.cell;
        out_place.reaches_below = -is_below;
        out_place.above = m_index;
        if (!areAll((place + is_below >= 0) & (place - is_above < kTileWidth))) {
            findAcross(place + is_below, place - is_above, out_place);
            return;
        }
        constexpr AxisInts kStride = {1, 5, 25, 0};
        const AxisInts middle = place * kStride;
        const EightSums slots(middle - (is_below & kStride), middle + (is_above & kStride));
        for (int n = 0; n < 8; ++n) {
            out_place.slot[n] = m_slots[tilePlace(0, 0, 0)] + slots[n];
        }
    }

private:
    static constexpr int kDepth = kMaxTileDepth - 1;
    static constexpr int kSide = kTileSideLUT[kDepth];

    static bool areAll(AxisInts in_masks) { return (in_masks[0] & in_masks[1] & in_masks[2]) != 0; }
    /// To the tile of depth 6 around a finest tile, whether it exists or not. False at the end of
    /// the domain.
    bool enter(AxisInts in_tile);
    const int* slotsOf(int in_index) const;
    void findNothing(StencilPlace& out_place);
    /// The slots of a box by the places of its tiles, -1 to 5 on each axis.
    void findAcross(AxisInts in_first, AxisInts in_second, StencilPlace& out_place);
    const int* slotsAround(int in_place);

    const VoxelLayout* m_layout;
    AxisInts m_corner{};
    AxisInts m_end{};  ///< at the corner if it stands nowhere
    int m_index = -1;
    TileSet m_known = 0;
    const int* m_slots[27];  ///< of the tile and those around it, as far as known
};

}  // namespace Skelvar::Detail
