#pragma once

#include <skelvar/tree/TileIndex.h>

#include <cstddef>
#include <functional>
#include <vector>

// Bulk work on flat arrays of tiles as plain memory, whatever their element type: in parallel over
// ranges of tiles, since nearly all data stands in the array of one depth. A tile has
// `in_tile_bytes` bytes. Nothing here fails.
namespace Skelvar::Detail {

/// Writes `in_count` copies of one tile.
void fillTiles(void* out_tiles, long long in_count, const void* in_tile, std::size_t in_tile_bytes);

/// Copies the tile at `second` of each pair over the tile at `first`. No place is in two pairs.
/// Pairs that reach outside the array of `in_count` tiles are left out.
void moveTiles(void* io_tiles, long long in_count, const std::vector<TileIndex>& in_moves,
               std::size_t in_tile_bytes);

/// Calls the body once for each index, in no order, on several threads.
void forEachTile(const std::vector<int>& in_indices, const std::function<void(int)>& in_body);

}  // namespace Skelvar::Detail
