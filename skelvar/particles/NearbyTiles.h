#pragma once

#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <cmath>

namespace Skelvar {

/// Finds the deepest tiles that hold points around one tile. Asks the tree once for each of the
/// 27 places about that tile as long as nothing deeper lies there. Borrows the layout; stale after
/// an edit. Belongs to one thread.
class NearbyTiles {
public:
    explicit NearbyTiles(const VoxelLayout& in_layout) : m_accessor(in_layout) {}

    /// Goes to a tile, which must exist.
    void moveTo(const TileIndex& in_tile)
    {
        const VoxelLayoutNode& node = m_accessor.layout().node(in_tile);
        m_depth = in_tile.second;
        m_side = kTileSideLUT[m_depth];
        m_low = node.corner() - vec3i{m_side, m_side, m_side};
        for (TileIndex& place : m_places) {
            place = kUnknown;
        }
    }
    /// A negative `first` if no tile holds the point, it is outside of the domain or not a number.
    TileIndex find(const vec3f& in_point)
    {
        constexpr float kBound = static_cast<float>(kTileOrigin);
        for (int a = 0; a < 3; ++a) {
            if (!(in_point[a] >= -kBound && in_point[a] < kBound + 1.0f)) {
                return kNoTileIndex;
            }
        }
        const vec3i cell = {floorOf(in_point[0]), floorOf(in_point[1]), floorOf(in_point[2])};
        const vec3i offset = cell - m_low;
        const unsigned reach = 3 * static_cast<unsigned>(m_side);
        if (static_cast<unsigned>(offset[0]) >= reach ||
            static_cast<unsigned>(offset[1]) >= reach ||
            static_cast<unsigned>(offset[2]) >= reach) {
            return deepestAt(cell);
        }
        const vec3i step = {stepOf(offset[0]), stepOf(offset[1]), stepOf(offset[2])};
        TileIndex& place = m_places[step[0] + 3 * (step[1] + 3 * step[2])];
        if (place == kUnknown) {
            const vec3i corner = m_low + step * m_side;
            place = m_accessor.nodeIndex<false>(corner[0], corner[1], corner[2], m_depth);
            if (place.second == m_depth && m_accessor.layout().node(place).numChildren() > 0) {
                place = kDeeper;
            }
        }
        return place == kDeeper ? deepestAt(cell) : place;
    }

private:
    static constexpr TileIndex kUnknown{-3, -1};  ///< not asked for yet
    static constexpr TileIndex kDeeper{-4, -1};   ///< a tile with others in it

    /// Of a number within the domain.
    static int floorOf(float in_value)
    {
        const int whole = static_cast<int>(in_value);
        return whole - (static_cast<float>(whole) > in_value ? 1 : 0);
    }
    int stepOf(int in_offset) const
    {
        return (in_offset >= m_side ? 1 : 0) + (in_offset >= 2 * m_side ? 1 : 0);
    }
    TileIndex deepestAt(const vec3i& in_cell)
    {
        return m_accessor.nodeIndex<false>(in_cell[0], in_cell[1], in_cell[2], kMaxTileDepth);
    }

    VoxelLayout::ConstAccessor m_accessor;
    TileIndex m_places[27];
    vec3i m_low{};  ///< lowest corner of the 27 places
    int m_depth = 0;
    int m_side = 0;
};

}  // namespace Skelvar
