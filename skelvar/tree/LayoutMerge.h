#pragma once

#include <skelvar/tree/VoxelLayout.h>

namespace Skelvar {

/// A forest of tiles in flat arrays, one for each depth.
struct TileForest {
    struct Depth {
        array1<TileId> ids;
        array1<int> parents;  ///< index of the parent in the array of the depth above; none at 0
    };
    Depth depths[kNumDepths];
};

/// Adds the tiles of other forests to a layout, depth by depth from the top: where a tile has its
/// place is known from its parent, so that nothing is looked up but roots. New nodes stand in the
/// order in which their depth of the other forest has them.
class LayoutMerge {
public:
    /// `out_added`, which may be null, gets the ids of new nodes appended.
    LayoutMerge(VoxelLayout& io_layout, std::vector<TileId>* out_added)
        : m_layout(io_layout), m_added(out_added)
    {
    }

    /// The live nodes of other layouts.
    void add(const std::vector<const VoxelLayout*>& in_others);
    /// A tree whose root is the root tile, or nothing.
    void add(const TileForest& in_forest);
    /// Brings the branch sizes up to date and raises the one event.
    void finish();

    /// Indices of the new nodes, but for those that single insertions have told of.
    std::vector<int> m_indices[kNumDepths];

private:
    template <typename Source>
    void addAll(const Source& in_source);
    /// Puts roots of the other forests in by single insertions if they have to be linked with
    /// nodes, here or of each other's, that are not next to them. Comes before all bulk work, of
    /// which observers do not hear until the end.
    void adoptRoots(std::vector<TileId> in_ids);

    VoxelLayout& m_layout;
    std::vector<TileId>* m_added;
};

}  // namespace Skelvar
