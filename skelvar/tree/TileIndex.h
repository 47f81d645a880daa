#pragma once

#include <compare>

namespace Skelvar {

/// The running reference to a node of one layout: its place in the array of its depth, and the
/// depth. Changes when the layout closes gaps, unlike a tile id. The default, (-1, -1), stands for
/// all nodes or for nothing found yet, as each operation says. Ordered by place, then depth.
struct TileIndex {
    int first = -1;   ///< place in the array of the depth
    int second = -1;  ///< depth

    friend constexpr auto operator<=>(const TileIndex&, const TileIndex&) = default;
};

/// What a lookup gives that found no tile. Failed lookups are told by `first < 0`.
inline constexpr TileIndex kNoTileIndex{-2, -1};

/// A cell: its tile, and its place in the tile, x fastest. `tile.first < 0` if there is none.
struct CellIndex {
    TileIndex tile = kNoTileIndex;
    int cell = 0;

    friend constexpr bool operator==(const CellIndex&, const CellIndex&) = default;
};

}  // namespace Skelvar
