#pragma once

#include <skelvar/particles/NearbyPlaces.h>
#include <skelvar/tree/PointDomain.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <algorithm>
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
        m_corner = node.corner();
        m_nearby.moveTo(m_corner, kTileSideLUT[m_depth]);
        std::fill_n(m_tiles, 27, kUnknown);
    }
    /// A negative `first` if no tile holds the point, it is outside of the domain or not a number.
    TileIndex find(const vec3f& in_point)
    {
        const int place = m_nearby.find(in_point);
        if (place == NearbyPlaces::kFar) {
            return deepestAt(in_point);
        }
        if (m_tiles[place] == kUnknown) {
            m_tiles[place] = findPlace(place);
        }
        return m_tiles[place] == kDeeper ? deepestAt(in_point) : m_tiles[place];
    }

private:
    static constexpr TileIndex kUnknown{-3, -1};  ///< not asked for yet
    static constexpr TileIndex kDeeper{-4, -1};   ///< a place that may have tiles of greater depths

    TileIndex findPlace(int in_place)
    {
        const vec3i one = {1, 1, 1};
        const vec3i corner =
            m_corner + (NearbyPlaces::steps(in_place) - one) * kTileSideLUT[m_depth];
        if (!isTileCoordinate(corner[0]) || !isTileCoordinate(corner[1]) ||
            !isTileCoordinate(corner[2])) {
            return kNoTileIndex;
        }
        const TileIndex tile =
            m_accessor.nodeIndex<false>(corner[0], corner[1], corner[2], m_depth);
        // Roots of greater depths may lie where no tile does.
        const bool may_be_deeper =
            tile.first < 0 ||
            (tile.second == m_depth && m_accessor.layout().node(tile).numChildren() > 0);
        return may_be_deeper ? kDeeper : tile;
    }
    TileIndex deepestAt(const vec3f& in_point)
    {
        if (!isInCells(in_point)) {
            return kNoTileIndex;
        }
        int cell[3];
        for (int a = 0; a < 3; ++a) {
            cell[a] = static_cast<int>(std::floor(in_point[a]));
        }
        return m_accessor.nodeIndex<false>(cell[0], cell[1], cell[2], kMaxTileDepth);
    }

    VoxelLayout::ConstAccessor m_accessor;
    NearbyPlaces m_nearby;
    TileIndex m_tiles[27];  ///< in each place
    vec3i m_corner{};
    int m_depth = 0;
};

}  // namespace Skelvar
