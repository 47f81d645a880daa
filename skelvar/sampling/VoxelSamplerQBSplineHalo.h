#pragma once

#include <skelvar/sampling/TileFinder.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <array>

namespace Skelvar::Detail {

/// The regions of a haloed tile of a B-spline sampler, numbered as the places of a `TileBlock`: the
/// middle is cells 1 to 3 on each axis; toward a side lie the halo and the tile's own layer there.
/// A region is a copy of the field if all tiles of `kTilesToward` of its number exist, and else
/// comes from the parent, by the kernel of a face, an edge or a corner.
using RegionSet = TileSet;

/// The regions of which the 27 values around a cell are part.
constexpr int regionOfCell(int in_i, int in_j, int in_k)
{
    constexpr int kSides[5] = {-1, -1, 0, 1, 1};
    return tilePlace(kSides[in_i], kSides[in_j], kSides[in_k]);
}

/// The 27 values around a cell of the parent's haloed form, x fastest.
template <typename T>
using ParentBlock = std::array<T, 27>;

/// Writes one region of a tile, with the parent's values around its cell there. `in_copies`:
/// whether all tiles toward the region exist; then the parent is not read.
template <typename T>
void fillQBSplineRegion(int in_region, bool in_copies, const TileBlock<T>& in_block,
                        const ParentBlock<T>& in_parent, VoxelTile<T, 1, 5>& io_tile);
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
    /// Borrows both.
    QBSplineHalos(TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : m_finder(&io_finder), m_channel(&in_channel)
    {
    }

    /// The haloed form of a tile of the finder's with these regions filled; the others hold
    /// anything.
    const VoxelTile<T, 1, 5>& fill(TileNeighbours& io_around, RegionSet in_regions);

private:
    /// The haloed form of one of the finder's tiles around a cell, 0 to 4 on each axis.
    ParentBlock<T> readAround(TileNeighbours& io_around, const vec3i& in_cell);

    struct Entry {
        int tile = -1;  ///< whose values stand there
        RegionSet filled = 0;
        VoxelTile<T, 1, 5> values;
    };

    TileFinder* m_finder;
    const VoxelChannel<T>* m_channel;
    Entry m_entries[kNumDepths];
};

#define SKELVAR_EXTERN(T) extern template class QBSplineHalos<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar::Detail
