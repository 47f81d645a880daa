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
inline AxisFloats axisFloats(const vec3f& in_values)
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
    int above;               ///< index of the tile of depth 6 with the cell

    /// Has the slots on their way.
    [[gnu::always_inline]] void fetch() const
    {
        __builtin_prefetch(slot[0]);
        __builtin_prefetch(slot[7]);
    }
    /// True if all eight tiles exist.
    bool exists() const
    {
        return (*slot[0] | *slot[1] | *slot[2] | *slot[3] | *slot[4] | *slot[5] | *slot[6] |
                *slot[7]) >= 0;
    }
    /// Holds the index of the tile with the cell.
    const int* tileSlot() const
    {
        return slot[reaches_below[0] + 2 * reaches_below[1] + 4 * reaches_below[2]];
    }
    int tile() const { return *tileSlot(); }
};

/// Finds the stencils of positions whose finest tile is of depth 7, in few steps which are the same
/// wherever in a tile a position is. Stays at one tile of depth 6 and looks those around it up as
/// they are asked for. Borrows the layout, an edit of which makes it stale. Costs next to nothing
/// to make. Belongs to one thread.
class FineTiles {
public:
    /// Null finds nothing.
    explicit FineTiles(const VoxelLayout* in_layout) : m_layout(in_layout) {}

    /// True if a position has the stencil that was found last. Then also gives the fractions there.
    [[gnu::always_inline]] bool stays(const vec3f& in_position, const StencilReach& in_reach,
                                      AxisFloats& out_fraction) const
    {
        const AxisFloats p = inDomain(axisFloats(in_position));
        const AxisInts place = truncate(p) - m_tile;
        return areAll((place >= 0) & (place < kTileWidth) &
                      (cellOf(p, m_tile, in_reach, out_fraction) == m_cell));
    }
    /// The stencil of a position, and the fractions from its cell. Its tiles do not exist if the
    /// position lies outside the tree or has no finest tile, or at the very end of the domain.
    [[gnu::always_inline]] void find(const vec3f& in_position, const StencilReach& in_reach,
                                     StencilPlace& out_place, AxisFloats& out_fraction)
    {
        // NaN and all that lies outside go to a corner, where `enter` looks again.
        const AxisFloats p = inDomain(axisFloats(in_position));
        const AxisInts point = truncate(p);
        if (!areAll((point >= m_corner) & (point < m_end)) && !enter(in_position)) {
            findNothing(out_place);
            out_fraction = AxisFloats{};
            return;
        }
        const AxisInts place = (point - m_corner) * 205 >> 10;  // by 5
        m_tile = m_corner + place * kTileWidth;
        m_cell = cellOf(p, m_tile, in_reach, out_fraction);
        const AxisInts is_below = m_cell < in_reach.before;
        const AxisInts is_above = m_cell + in_reach.after >= kTileWidth;
        out_place.cell = m_cell;
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
    /// No stencil counts as found.
    void forget() { m_cell = kNoCell; }

private:
    static constexpr int kDepth = kMaxTileDepth - 1;
    static constexpr int kSide = kTileSideLUT[kDepth];

    /// By the rule of `cellCoordinate`.
    static AxisInts truncate(AxisFloats in_values)
    {
        return __builtin_convertvector(in_values, AxisInts) + (in_values < 0.0f);
    }
    static bool areAll(AxisInts in_masks) { return (in_masks[0] & in_masks[1] & in_masks[2]) != 0; }
    /// A position where it lies in the domain, else one at the domain's edge.
    static AxisFloats inDomain(AxisFloats in_position)
    {
        constexpr float kEdge = kTileOrigin;
        const AxisFloats above_low = in_position > -kEdge ? in_position : AxisFloats{} - kEdge;
        return above_low < kEdge ? above_low : AxisFloats{} + kEdge;
    }
    /// The stencil's cell, counted from a tile, and the fractions from it.
    static AxisInts cellOf(AxisFloats in_position, AxisInts in_tile, const StencilReach& in_reach,
                           AxisFloats& out_fraction)
    {
        const AxisFloats u =
            in_position - __builtin_convertvector(in_tile, AxisFloats) - in_reach.offset;
        const AxisInts unbounded = truncate(u);
        const AxisInts cell = unbounded < kTileWidth ? unbounded : AxisInts{} + (kTileWidth - 1);
        out_fraction = u - __builtin_convertvector(cell, AxisFloats);
        return cell;
    }
    /// To the tile of depth 6 of a position. False if there is none.
    bool enter(const vec3f& in_position);
    void findNothing(StencilPlace& out_place);
    /// The slots of a box by the places of its tiles, -1 to 5 on each axis.
    void findAcross(AxisInts in_first, AxisInts in_second, StencilPlace& out_place);
    const int* slotsAround(int in_place);

    static constexpr AxisInts kNoCell = {-9, -9, -9, 0};

    const VoxelLayout* m_layout;
    AxisInts m_tile{};  ///< corner of the tile with the cell that was found last
    AxisInts m_cell = kNoCell;
    AxisInts m_corner{};
    AxisInts m_end{};  ///< at the corner if it stands nowhere
    int m_index = -1;
    TileSet m_known = 0;
    const int* m_slots[27];  ///< of the tile and those around it, as far as known
};

}  // namespace Skelvar::Detail
