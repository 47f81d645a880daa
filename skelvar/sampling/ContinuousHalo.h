#pragma once

#include <skelvar/sampling/HaloedTile.h>

#include <utility>
#include <vector>

namespace Skelvar {

/// Haloed tiles by depth, each with the index of the tile that it is of, -1 if it is of none.
template <typename T>
using HaloCache = std::vector<std::pair<int, VoxelTile<T, 1, 5>>>;

/// A cache with nothing in it.
template <typename T>
HaloCache<T> makeHaloCache()
{
    HaloCache<T> cache(kNumDepths);
    for (auto& entry : cache) {
        entry.first = -1;
    }
    return cache;
}

namespace Detail {

/// For `updateTileCache`: the halo that keeps the field continuous across depths.
template <typename T>
struct ContinuousHalo {
    static constexpr bool kReadsParentAlways = false;

    static void root(VoxelOffsetType in_offset, const T& in_background,
                     const VoxelTile<T, 0, 5>& in_tile, VoxelTile<T, 1, 5>* out_tile)
    {
        evalContinuousHaloedRootTile<T, 5>(in_offset, in_background, in_tile, out_tile);
    }
    static void tile(VoxelOffsetType in_offset, const VoxelTile<T, 1, 5>& in_parent, int in_ci,
                     int in_cj, int in_ck, const TileBlock<T>& in_block,
                     VoxelTile<T, 1, 5>* out_tile)
    {
        evalContinuousHaloedTile<T, 5>(in_offset, in_parent, in_ci, in_cj, in_ck, in_block,
                                       out_tile);
    }
};

}  // namespace Detail

}  // namespace Skelvar
