#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TileId.h>

namespace Skelvar {

/// Reciprocal of `kTileSideLUT`: of the side of a cell of depth d at entry d + 1.
inline constexpr float kInvTileSideLUT[9] = {1.0f / 390625.0f, 1.0f / 78125.0f, 1.0f / 15625.0f,
                                             1.0f / 3125.0f,   1.0f / 625.0f,   1.0f / 125.0f,
                                             1.0f / 25.0f,     1.0f / 5.0f,     1.0f};

namespace Detail {

/// True if the position lies strictly inside the range of coordinates on each axis. False for NaN.
inline bool isInDomain(const vec3f& in_position)
{
    constexpr float edge = kTileOrigin;
    return in_position[0] > -edge && in_position[0] < edge &&  //
           in_position[1] > -edge && in_position[1] < edge &&  //
           in_position[2] > -edge && in_position[2] < edge;
}

/// The coordinate of the cell that a position is looked up in: truncated, and one below that for
/// negative positions, whole ones too (-3.0 gives -4).
inline int cellCoordinate(float in_position)
{
    return static_cast<int>(in_position) - (in_position >= 0.0f ? 0 : 1);
}

inline vec3i cellCoordinates(const vec3f& in_position)
{
    return {cellCoordinate(in_position[0]), cellCoordinate(in_position[1]),
            cellCoordinate(in_position[2])};
}

/// Minimum corner of the tile of a depth that holds a point in range.
inline vec3i tileCorner(const vec3i& in_point, int in_depth)
{
    vec3i corner;
    for (int a = 0; a < 3; ++a) {
        const unsigned place = in_point[a] + kTileOrigin;
        // A constant divisor where it matters.
        const unsigned above =
            in_depth == kMaxTileDepth ? place % kTileWidth : place % kTileSideLUT[in_depth];
        corner[a] = in_point[a] - static_cast<int>(above);
    }
    return corner;
}

}  // namespace Detail

}  // namespace Skelvar
