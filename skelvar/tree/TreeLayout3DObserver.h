#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/tree/TileIndex.h>

#include <vector>

namespace Skelvar {

/// What hears of the changes of a layout, so that arrays parallel to its nodes stay in step. When
/// an event arrives the layout already has its new size. Pointer arguments point to eight vectors,
/// one for each depth. Observers of one layout are called at the same time on several threads, each
/// once for each event: they share no unguarded state.
class SKELVAR_API TreeLayout3DObserver {
public:
    virtual ~TreeLayout3DObserver() = default;

    /// One node was appended. It is not linked to its parent yet.
    virtual void nodeAdded(const TileIndex& in_node) = 0;
    /// Nodes were appended: their indices.
    virtual void nodesAdded(const std::vector<int>* in_indices) = 0;
    virtual void nodesCleared() = 0;
    /// No edit of a layout raises this; it is there for whoever raises events of their own.
    virtual void nodeDeleted(const TileIndex& in_node) = 0;
    /// Nodes went: their former indices, sorted. The gaps were closed by `compactionMoves` of them.
    virtual void nodesDeleted(const std::vector<int>* in_indices) = 0;
    /// Nodes went: the moves that closed the gaps. `first` is the destination and `second` the
    /// source, both in the array of that depth.
    virtual void nodesDeleted(const std::vector<TileIndex>* in_moves) = 0;
    /// The size of a coordinate unit changed, to this world length.
    virtual void dxChanged(float in_dx) = 0;
};

}  // namespace Skelvar
