#pragma once

#include <skelvar/sampling/TileNeighbours.h>

namespace Skelvar::Detail {

/// Finds the tiles of points, near ones fast, and remembers for each depth the tile where it last
/// was, with those around it. Borrows the layout, an edit of which makes it stale. Costs next to
/// nothing to make. Belongs to one thread.
class TileFinder {
public:
    /// Null finds nothing.
    explicit TileFinder(const VoxelLayout* in_layout) : m_layout(in_layout) {}
    TileFinder(const TileFinder&) = delete;
    TileFinder& operator=(const TileFinder&) = delete;

    const VoxelLayout* layout() const { return m_layout; }

    /// The deepest tile that holds a point and is not deeper than a depth, 0 to 7. Null outside the
    /// tree. Valid until the next call with a tile of its depth.
    TileNeighbours* find(const vec3i& in_point, int in_depth)
    {
        const bool stays = m_current->depth() == in_depth && m_current->covers(in_point);
        return stays ? m_current : search(in_point, in_depth);
    }
    /// A tile by its index.
    TileNeighbours& at(const TileIndex& in_tile)
    {
        TileNeighbours& around = m_around[in_tile.second];
        if (around.index() != in_tile.first) {
            around.enter(in_tile, *m_layout);
        }
        return around;
    }
    bool hasAll(TileNeighbours& io_around, TileSet in_tiles) const
    {
        return io_around.hasAll(in_tiles, *m_layout);
    }

private:
    TileNeighbours* search(const vec3i& in_point, int in_depth);

    const VoxelLayout* m_layout;
    TileNeighbours m_around[kNumDepths];
    TileNeighbours* m_current = m_around + kMaxTileDepth;
};

}  // namespace Skelvar::Detail
