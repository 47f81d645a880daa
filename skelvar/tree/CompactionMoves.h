#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/tree/TileIndex.h>

#include <array>
#include <vector>

namespace Skelvar {

class TreeLayout3DBase;

/// The moves that close the gaps of an array of `in_size` elements: destinations are the deleted
/// places in rising order, sources the live elements from the end in falling order, as long as the
/// destination is below the source. `first` is the destination, `second` the source. No place is
/// both, so the moves may be done in any order and in parallel; after them the array is cut to
/// `in_size` less the number of deleted. `in_deleted` is sorted, without duplicates, in range.
SKELVAR_API std::vector<TileIndex> compactionMoves(const std::vector<int>& in_deleted, int in_size);

/// The same for the arrays of each depth, from the list of each depth's deleted places. The layout
/// has closed its gaps already.
SKELVAR_API std::array<std::vector<TileIndex>, kNumDepths> compactionMoves(
    const std::vector<int>* in_deleted, const TreeLayout3DBase& in_layout);

}  // namespace Skelvar
