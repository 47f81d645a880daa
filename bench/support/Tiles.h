#pragma once

#include <bench/support/Inputs.h>

#include <functional>
#include <vector>

namespace Bench {

using TileIds = std::vector<unsigned long long>;
using TilesByDepth = std::vector<std::vector<vec3i>>;

/// The depth-7 tiles that meet the box [floor(p - 1), floor(p + 1)] of some point, each once, by
/// rising id. Works in parallel, and fastest where points near each other stand together.
TileIds tilesAround(const std::vector<vec3f>& in_points);

/// The depth-7 tiles with a cell for which `in_holds` is true, by rising id, among the cells not
/// more than `in_reach` from the origin on each axis. `in_holds` is called from all threads.
TileIds tilesHolding(int in_reach, const std::function<bool(const vec3i&)>& in_holds);

/// Corners of the depth-7 tiles and of all their ancestors up to the one tile that holds them all,
/// by depth, each once, by rising id: the argument of a bulk insertion. `in_ids` rises.
TilesByDepth withAncestors(const TileIds& in_ids);

/// Number of tiles over all depths.
long long countTiles(const TilesByDepth& in_tiles);

}  // namespace Bench
