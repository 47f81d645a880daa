#pragma once

#include <skelvar/tree/TileId.h>

namespace Skelvar {

/// Order of the roots of a layout: by id, but a tile and each of its ancestors count as equal. So a
/// search for any tile finds the root whose branch would hold it. A search for a tile above roots
/// finds one of those: who looks for one very root compares the key found.
struct RootMapLT {
    bool operator()(TileId in_a, TileId in_b) const
    {
        return in_a < in_b && !isParentTile(in_a, in_b);
    }
};

}  // namespace Skelvar
