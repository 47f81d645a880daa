#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileId.h>

#include <iosfwd>
#include <vector>

namespace Skelvar {

class VoxelLayout;

// A layout is graded if tiles that touch, by faces, edges or corners, differ by at most one depth:
// for each node of depth 2 or more that is no root, each of the 26 places around it at its own
// depth is covered by a node at most one depth above it.

/// Adds what a layout lacks to be graded, in one sweep from the finest depth upward: every tile
/// with a child at its boundary gets the neighbours that this child touches. Places outside the
/// domain are skipped. `out_added` and `out_added_roots`, which may be null, get ids of new nodes
/// and new roots appended. Raises `nodeAdded` for each node, as `VoxelLayout::addNode` does.
///
/// Where a tile is added above a root, a second run may add more; with one root at depth 0 or 1 a
/// second run adds nothing. The depths 7 and 1 have no pass of their own, so a tile of depth 2 may
/// lack a neighbour of depth 1.
SKELVAR_API void computeGradedTree(VoxelLayout* io_layout, std::vector<TileId>* out_added = nullptr,
                                   std::vector<TileId>* out_added_roots = nullptr);

/// True if the layout is graded. Stricter than `computeGradedTree`: a place that no root covers, or
/// outside the domain, is a violation. Writes each violation and their number to `out_report`,
/// which may be null.
SKELVAR_API bool isTreeGraded(const VoxelLayout* in_layout, std::ostream* out_report = nullptr);

}  // namespace Skelvar
