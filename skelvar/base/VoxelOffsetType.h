#pragma once

#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

/// Where in a cell a channel's values stand. Bit 0 set: the x offset is 0; bit 1 the same for y,
/// bit 2 for z; a clear bit means 0.5.
enum VoxelOffsetType : signed char {
    eOffsetCentre = 0,
    eOffsetFaceX = 1,
    eOffsetFaceY = 2,
    eOffsetEdgeZ = 3,
    eOffsetFaceZ = 4,
    eOffsetEdgeY = 5,
    eOffsetEdgeX = 6,
    eOffsetCorner = 7,
};

/// Offset of the value from the cell's minimum corner, in cells, by `VoxelOffsetType`.
inline constexpr vec3f kVoxelOffset[8] = {
    {0.5f, 0.5f, 0.5f}, {0.0f, 0.5f, 0.5f}, {0.5f, 0.0f, 0.5f}, {0.0f, 0.0f, 0.5f},
    {0.5f, 0.5f, 0.0f}, {0.0f, 0.5f, 0.0f}, {0.5f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f},
};

}  // namespace Skelvar
