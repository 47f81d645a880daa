#include <skelvar/sampling/FineTiles.h>

#include <algorithm>
#include <array>

namespace Skelvar::Detail {

namespace {

/// The child slots of a tile that does not exist.
constexpr std::array<int, kTileSize> kNoSlots = [] {
    std::array<int, kTileSize> slots{};
    slots.fill(kNoChild);
    return slots;
}();

}  // namespace

bool FineTiles::enter(AxisInts in_tile)
{
    const vec3i corner = tileCorner({in_tile[0], in_tile[1], in_tile[2]}, kDepth);
    if (std::max({corner[0], corner[1], corner[2]}) + kSide > kTileOrigin) {
        return false;
    }
    m_corner = axisInts(corner);
    m_end = m_corner + kSide;
    m_index = m_layout->nodeIndex<true>(corner[0], corner[1], corner[2], kDepth).first;
    m_known = 1U << tilePlace(0, 0, 0);
    m_slots[tilePlace(0, 0, 0)] = slotsOf(m_index);
    return true;
}

const int* FineTiles::slotsOf(int in_index) const
{
    return in_index >= 0 ? m_layout->nodes(kDepth).childSlots(in_index) : kNoSlots.data();
}

void FineTiles::findNothing(StencilPlace& out_place)
{
    out_place = StencilPlace{};
    out_place.reaches_below = AxisInts{1, 1, 1, 0};  // a stencil about cell 0 does, of any kind
    std::fill_n(out_place.slot, 8, kNoSlots.data());
}

const int* FineTiles::slotsAround(int in_place)
{
    if ((m_known >> in_place & 1) == 0) {
        const AxisInts step = {in_place % 3 - 1, in_place / 3 % 3 - 1, in_place / 9 - 1, 0};
        const AxisInts corner = m_corner + step * kSide;
        const int index = m_layout->nodeIndex<true>(corner[0], corner[1], corner[2], kDepth).first;
        m_known |= 1U << in_place;
        m_slots[in_place] = slotsOf(index);
    }
    return m_slots[in_place];
}

void FineTiles::findAcross(AxisInts in_first, AxisInts in_second, StencilPlace& out_place)
{
    constexpr AxisInts kPlaceStride = {1, 3, 9, 0};
    constexpr AxisInts kSlotStride = {1, 5, 25, 0};
    const AxisInts is_below = in_first < 0;
    const AxisInts is_above = in_second >= kTileWidth;
    const AxisInts first = in_first + (is_below & kTileWidth);
    const AxisInts second = in_second - (is_above & kTileWidth);
    const EightSums places(is_below * kPlaceStride, -is_above * kPlaceStride);
    const EightSums slots(first * kSlotStride, second * kSlotStride);
    for (int n = 0; n < 8; ++n) {
        out_place.slot[n] = slotsAround(tilePlace(0, 0, 0) + places[n]) + slots[n];
    }
}

}  // namespace Skelvar::Detail
