#pragma once

namespace Skelvar {

/// What fills the tile of a new node.
enum VoxelTileInitializerType : int {
    eTileInitializerNOP = 0,         ///< nothing does: the tile keeps what its memory held
    eTileInitializerBackground = 1,  ///< the channel's background value; what a new channel has
    eTileInitializerConstant = 2,    ///< the value of the parent's cell that the tile covers
    eTileInitializerLinear = 3,      ///< the parent's values, interpolated linearly
};

}  // namespace Skelvar
