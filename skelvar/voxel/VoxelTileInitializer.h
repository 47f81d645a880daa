#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileIndex.h>

#include <memory>

namespace Skelvar {

/// Decides what the tiles of new nodes hold, so that a refined tree can keep the field of its
/// coarser tiles. Belongs to one channel, which calls it and must outlive it.
template <typename Channel>
class SKELVAR_API VoxelTileInitializer {
public:
    virtual ~VoxelTileInitializer() = default;

    /// Drops or refreshes what was remembered of the layout. Called once ahead of each batch.
    virtual void reset() = 0;
    /// Fills the tile, those of lower depths being filled. A batch is shared out among threads,
    /// each with a `copy` of its own.
    virtual void initializeTile(const TileIndex& in_index) = 0;
    /// A new initializer of the same class for another channel.
    virtual std::shared_ptr<VoxelTileInitializer> copy(Channel* io_channel) const = 0;
};

}  // namespace Skelvar
