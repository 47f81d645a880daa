#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TileId.h>

namespace Skelvar {

/// Whether a coordinate lies in a finest cell of the domain. False for what is no number.
constexpr bool isInCells(float in_coordinate)
{
    constexpr float kBound = static_cast<float>(kTileOrigin);
    return in_coordinate >= -kBound && in_coordinate < kBound + 1.0f;
}
inline bool isInCells(const vec3f& in_point)
{
    return isInCells(in_point[0]) && isInCells(in_point[1]) && isInCells(in_point[2]);
}

}  // namespace Skelvar
