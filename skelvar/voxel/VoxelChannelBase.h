#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/voxel/VoxelTileInitializerType.h>

namespace Skelvar {

/// A voxel channel reached without its element type.
class SKELVAR_API VoxelChannelBase {
public:
    virtual ~VoxelChannelBase() = default;

    /// Chooses what fills new tiles from now on; tiles that are there stay.
    virtual void setTileInitializer(VoxelTileInitializerType in_type) = 0;
};

}  // namespace Skelvar
