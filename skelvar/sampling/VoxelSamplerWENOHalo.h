#pragma once

#include <skelvar/sampling/StencilAcross.h>
#include <skelvar/sampling/TileFinder.h>
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

/// Takes the 64 values of a stencil from its tiles.
template <typename T>
inline void readBlockWENO(const StencilAcross<T, 4>& in_values, BlockWENO& out_block)
{
    for (int i = 0; i < 4; ++i) {
        const auto line = [&](int in_j) {
            return AxisFloats{in_values(i, in_j, 0), in_values(i, in_j, 1), in_values(i, in_j, 2),
                              in_values(i, in_j, 3)};
        };
        for (int half = 0; half < 2; ++half) {
            out_block.rows[i][half] =
                __builtin_shufflevector(line(2 * half), line(2 * half + 1), 0, 1, 2, 3, 4, 5, 6, 7);
        }
    }
}

/// The haloed tiles of a WENO sampler, one a depth, each value made when it is asked for: what
/// `evalWENOHaloedTile` would hold, without its cost. Belongs to one thread.
template <typename T>
class HalosWENO {
public:
    /// Borrows both.
    HalosWENO(TileFinder& io_finder, const VoxelChannel<T>& in_channel);

    /// The 64 values of the stencil of a cell, -1 to 4 on each axis: from one below to two above.
    /// The tile is one of the finder's.
    void readBlock(TileNeighbours& io_around, const int (&in_cell)[3], BlockWENO& out_block);

private:
    static constexpr int kSide = 9;  ///< values on a side of a haloed tile
    struct Entry {
        int tile = -1;                            ///< whose values stand there
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
    const VoxelTile<T, 0, 5>* tilesOf(const TileNeighbours& in_around) const
    {
        return m_channel->tilePtr(0, in_around.depth());
    }
    /// The same where some of the values are no copies.
    void readMixed(TileNeighbours& io_around, const int (&in_cell)[3], BlockWENO& out_block);
    /// Makes those that do not stand in the entry of the tile's depth yet.
    void makeValues(const TileNeighbours& in_around, const Missing& in_missing);

    TileFinder* m_finder;
    const VoxelChannel<T>* m_channel;
    VoxelOffsetType m_offset;
    Entry m_entries[kNumDepths];
};

extern template class HalosWENO<float>;

}  // namespace Skelvar::Detail
