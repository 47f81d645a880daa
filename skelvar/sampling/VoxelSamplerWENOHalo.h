#pragma once

#include <skelvar/sampling/TileNeighbours.h>
#include <skelvar/sampling/VoxelSamplerWENOTile.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <bitset>

namespace Skelvar::Detail {

/// A place in the parent's cells along one axis.
struct ParentPlaceWENO {
    int cell;  ///< -1 to 4
    float fraction;
};

/// Where a position, -2 to 6, of the tile at `in_c` in its parent lies in the parent.
ParentPlaceWENO parentPlaceWENO(bool in_staggered, int in_c, int in_position);

/// The tiles by which a value is a copy of the field: the one that holds it, and on each staggered
/// axis on which it lies at position 0 the low neighbour. No others exist for the tile itself.
TileSet tilesForValueWENO(VoxelOffsetType in_offset, int in_x, int in_y, int in_z);

/// The haloed tiles of a WENO sampler, one a depth, each value made when it is asked for: what
/// `evalWENOHaloedTile` would hold, without its cost. Belongs to one thread.
template <typename T>
class HalosWENO {
public:
    /// Borrows both. `in_near` is to stand near the tiles that are asked for.
    HalosWENO(const VoxelLayout::ConstAccessor& in_near, const VoxelChannel<T>& in_channel);

    /// The neighbours of a tile.
    TileNeighbours<T>& neighbours(const TileIndex& in_tile);
    /// The 64 values of the stencil of a cell, -1 to 4 on each axis: from one below to two above.
    void readBlock(const TileIndex& in_tile, const int (&in_cell)[3], BlockWENO& out_block);

private:
    static constexpr int kSide = 9;  ///< values on a side of a haloed tile
    struct Entry {
        TileNeighbours<T> around;
        std::bitset<kSide * kSide * kSide> made;  ///< values that are not copies and stand there
        VoxelTile<T, 2, 5> values;
    };

    /// Values of a tile that are no copies, by their positions.
    struct Missing {
        int count = 0;
        vec3i position[64];
    };

    /// The tiles that a stencil's copies need.
    TileSet tilesOfStencil(const int (&in_cell)[3]) const;
    void readAcross(const TileBlock<T>& in_block, const int (&in_cell)[3],
                    BlockWENO& out_block) const;
    /// The same where some of the values are no copies.
    void readMixed(const TileIndex& in_tile, const int (&in_cell)[3], BlockWENO& out_block);
    /// Makes those that do not stand in the tile's entry yet.
    void makeValues(const TileIndex& in_tile, const Missing& in_missing);

    const VoxelLayout::ConstAccessor* m_near;
    const VoxelChannel<T>* m_channel;
    VoxelOffsetType m_offset;
    Entry m_entries[kNumDepths];
};

extern template class HalosWENO<float>;

}  // namespace Skelvar::Detail
