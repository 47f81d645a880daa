#include <skelvar/sampling/TileNeighbours.h>

#include <skelvar/sampling/SamplerPosition.h>

#include <bit>

namespace Skelvar::Detail {

namespace {

constexpr TileSet kMiddle = 1U << tilePlace(0, 0, 0);

}  // namespace

void TileNeighbours::enter(const TileIndex& in_tile, const VoxelLayout& in_layout)
{
    const VoxelLayoutNode& node = in_layout.node(in_tile);
    if (in_tile.second > 0 && !node.isRoot()) {
        enterChild(in_tile, node.parent(), tileDigit(node.id(), in_tile.second) - 1, node.corner(),
                   in_layout);
        return;
    }
    m_index = in_tile.first;
    m_depth = in_tile.second;
    m_parent = -1;
    m_side = kTileSideLUT[m_depth];
    m_corner = node.corner();
    m_known = ~0U;
    m_present = kMiddle;
    m_neighbours[tilePlace(0, 0, 0)] = m_index;
}

void TileNeighbours::enterChild(const TileIndex& in_tile, int in_parent, int in_slot,
                                const vec3i& in_point, const VoxelLayout& in_layout)
{
    if (in_parent != m_parent || in_tile.second != m_depth) {
        m_parent = in_parent;
        m_depth = in_tile.second;
        m_side = kTileSideLUT[m_depth];
        m_known_slots = kMiddle;
        m_slots[tilePlace(0, 0, 0)] = in_layout.nodes(m_depth - 1).childSlots(in_parent);
    }
    m_index = in_tile.first;
    m_corner = tileCorner(in_point, m_depth);
    m_slot = in_slot;
    m_known = m_present = kMiddle;
    m_neighbours[tilePlace(0, 0, 0)] = m_index;
}

const int* TileNeighbours::slotsAround(int in_place, const vec3i& in_point,
                                       const VoxelLayout& in_layout)
{
    const TileSet bit = 1U << in_place;
    if ((m_known_slots & bit) == 0) {
        const int above =
            in_layout.nodeIndex<true>(in_point[0], in_point[1], in_point[2], m_depth - 1).first;
        m_known_slots |= bit;
        m_slots[in_place] = above >= 0 ? in_layout.nodes(m_depth - 1).childSlots(above) : nullptr;
    }
    return m_slots[in_place];
}

void TileNeighbours::lookUp(TileSet in_tiles, const VoxelLayout& in_layout)
{
    constexpr int kPlaceStride[3] = {1, 3, 9};
    constexpr int kSlotStride[3] = {1, 5, 25};
    const vec3i own = placeInParent();
    for (TileSet left = in_tiles; left != 0; left &= left - 1) {
        const int n = std::countr_zero(left);
        const int d[3] = {n % 3 - 1, n / 3 % 3 - 1, n / 9 - 1};
        vec3i point;
        int place = tilePlace(0, 0, 0);
        int slot = 0;
        for (int a = 0; a < 3; ++a) {
            const AxisTap tap = axisTap(own[a] + d[a]);
            place += tap.side * kPlaceStride[a];
            slot += tap.cell * kSlotStride[a];
            point[a] = m_corner[a] + d[a] * static_cast<int>(m_side);
        }
        const int* const slots = slotsAround(place, point, in_layout);
        // Without the tile above, it may be a root.
        const int found =
            slots != nullptr
                ? slots[slot]
                : in_layout.nodeIndex<true>(point[0], point[1], point[2], m_depth).first;
        m_neighbours[n] = found;
        m_present |= (found >= 0 ? 1U : 0U) << n;
    }
    m_known |= in_tiles;
}

}  // namespace Skelvar::Detail
