#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileIndex.h>

#include <vector>

namespace Skelvar {

/// The moves that close the gaps of an array of `in_size` elements: destinations are the deleted
/// places in rising order, sources the live elements from the end in falling order, as long as the
/// destination is below the source. `first` is the destination, `second` the source. No place is
/// both, so the moves may be done in any order and in parallel; after them the array is cut to
/// `in_size` less the number of deleted. `in_deleted` is sorted, without duplicates, in range.
SKELVAR_API std::vector<TileIndex> compactionMoves(const std::vector<int>& in_deleted, int in_size);

}  // namespace Skelvar
