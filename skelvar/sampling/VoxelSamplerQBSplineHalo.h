#pragma once

#include <skelvar/sampling/QBSplineBlock.h>
#include <skelvar/sampling/TileFinder.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <bit>

namespace Skelvar::Detail {

/// The regions of a haloed tile of a B-spline sampler, numbered as the places of a `TileBlock`: the
/// middle is cells 1 to 3 on each axis; toward a side lie the halo and the tile's own layer there.
/// A region is a copy of the field if all tiles of `kTilesToward` of its number exist, and else
/// comes from the parent, by the kernel of a face, an edge or a corner.
using RegionSet = TileSet;

/// The region toward which the 27 values around a cell reach; they are of those of `kTilesToward`.
constexpr int regionOfCell(int in_i, int in_j, int in_k)
{
    constexpr int kSides[5] = {-1, -1, 0, 1, 1};
    return tilePlace(kSides[in_i], kSides[in_j], kSides[in_k]);
}

/// Which of these regions are no copies, where these tiles exist.
inline RegionSet regionsFromParent(RegionSet in_regions, TileSet in_present)
{
    RegionSet from_parent = 0;
    for (RegionSet left = in_regions; left != 0; left &= left - 1) {
        const int region = std::countr_zero(left);
        from_parent |= (kTilesToward[region] & ~in_present) != 0 ? 1U << region : 0U;
    }
    return from_parent;
}

/// A tile by what its haloed form is made of.
struct ChildTile {
    TileIndex tile;
    int parent;  ///< its index
    int slot;    ///< there
};

/// Reads haloed tiles of a B-spline sampler, and makes of them only what is asked for: a region at
/// a time, and kept for the last tile of each depth. Belongs to one thread.
template <typename T>
class QBSplineHalos {
public:
    /// Borrows both.
    QBSplineHalos(TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : m_finder(&io_finder), m_channel(&in_channel)
    {
    }

    /// The values around a cell, 0 to 4 on each axis, of the haloed form of one of the finder's
    /// tiles.
    void readAround(TileNeighbours& io_around, const vec3i& in_cell, QBSplineBlock<T>& out_block);
    /// Writes those that are of these regions, which come from the parent.
    void readFromParent(const ChildTile& in_child, const vec3i& in_cell, RegionSet in_regions,
                        QBSplineBlock<T>& io_block);

private:
    struct Entry {
        int tile = -1;  ///< whose values stand there
        RegionSet filled = 0;
        QBSplineBlock<T> parent;  ///< around the tile, if any region is filled
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
