#pragma once

#include <skelvar/sampling/TileNeighbours.h>
#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar::Detail {

/// The regions of a haloed tile of a B-spline sampler, numbered as the places of a `TileBlock`: the
/// middle is cells 1 to 3 on each axis; toward a side lie the halo and the tile's own layer there.
/// A region is a copy of the field if all tiles of `kTilesToward` of its number exist, and else
/// comes from the parent, by the kernel of a face, an edge or a corner.
using RegionSet = TileSet;

/// The regions of which the 27 values around a cell are part.
constexpr int regionOfCell(int in_i, int in_j, int in_k)
{
    const auto side = [](int in_cell) { return in_cell < 2 ? -1 : in_cell > 2 ? 1 : 0; };
    return tilePlace(side(in_i), side(in_j), side(in_k));
}

/// Writes one region of a tile whose parent's haloed form holds what `kTilesToward` of the place
/// in the parent names. `in_copies`: whether all tiles toward the region exist; then the parent is
/// not read.
template <typename T>
void fillQBSplineRegion(int in_region, bool in_copies, const TileBlock<T>& in_block,
                        const VoxelTile<T, 1, 5>* in_parent, const vec3i& in_place,
                        VoxelTile<T, 1, 5>& io_tile);
/// Writes one region of a tile without parent.
template <typename T>
void fillQBSplineRootRegion(int in_region, const T& in_background,
                            const VoxelTile<T, 0, 5>& in_tile, VoxelTile<T, 1, 5>& io_tile);

/// The haloed tiles of a B-spline sampler, one a depth, each filled region by region as it is asked
/// for: what a whole haloed tile would hold, without the cost of one where a stencil touches little
/// of it. Belongs to one thread.
template <typename T>
class QBSplineHalos {
public:
    /// Borrows both. `in_near` is to stand near the tiles that are asked for.
    QBSplineHalos(const VoxelLayout::ConstAccessor& in_near, const VoxelChannel<T>& in_channel)
        : m_near(&in_near), m_channel(&in_channel)
    {
    }

    /// The neighbours of a tile.
    TileNeighbours<T>& neighbours(const TileIndex& in_tile)
    {
        Entry& entry = m_entries[in_tile.second];
        if (entry.around.index() != in_tile.first) {
            fetchTile(m_channel->tile(in_tile));
            entry.around.enter(in_tile, m_near->layout(), *m_channel);
            entry.filled = 0;
        }
        return entry.around;
    }
    bool hasAll(TileNeighbours<T>& io_neighbours, TileSet in_tiles)
    {
        return io_neighbours.hasAll(in_tiles, *m_near, *m_channel);
    }
    /// The haloed form of a tile with these regions filled; the others hold anything.
    const VoxelTile<T, 1, 5>& fill(const TileIndex& in_tile, RegionSet in_regions);

private:
    struct Entry {
        TileNeighbours<T> around;
        RegionSet filled = 0;
        VoxelTile<T, 1, 5> values;
    };

    const VoxelLayout::ConstAccessor* m_near;
    const VoxelChannel<T>* m_channel;
    Entry m_entries[kNumDepths];
};

#define SKELVAR_EXTERN(T) extern template class QBSplineHalos<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar::Detail
