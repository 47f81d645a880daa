#pragma once

#include <tools/kvf/geometry/TriangleBvh.h>

#include <vector>

namespace Skelvar::Tool {

/// Corner coordinates of tiles, one list for each depth 0 to 7.
using TilesByDepth = std::vector<std::vector<vec3i>>;

/// The tiles of a layout that follows a surface: finest (depth 7) at the surface, coarser ones
/// around them, up to one root, the smallest tile that holds all of the band. Below the root a tile
/// stands wherever one of its cells has its centre within `in_band` cells of its own depth of the
/// surface. So every tile has its parent, tiles that meet differ by a depth or little more, and
/// every point of the root's cube lies in some tile. The result does not depend on threads.
/// `in_voxel_size` is the side of a finest cell in world units, `in_band` at least 1: then every
/// cell that the surface passes through is in. The surface must have a triangle.
/// Throws `ToolError` with `eDataSaysNo` if the surface does not fit into the tree at this size.
TilesByDepth findSurfaceTiles(const TriangleBvh& in_surface, float in_voxel_size, float in_band);

/// Number of tiles of all depths.
long long countTiles(const TilesByDepth& in_tiles);

}  // namespace Skelvar::Tool
