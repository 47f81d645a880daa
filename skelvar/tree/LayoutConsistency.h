#pragma once

#include <skelvar/base/Api.h>

#include <iosfwd>

namespace Skelvar {

class VoxelLayout;

/// Counts of what breaks the rules of a tree. All zero for a sound layout.
struct SKELVAR_API LayoutConsistency {
    long long misplaced_nodes = 0;     ///< index or depth is not that of their place
    long long bad_ids = 0;             ///< the id names no tile, or another depth or corner
    long long broken_parents = 0;      ///< the parent is no live node, or its slot leads elsewhere
    long long broken_children = 0;     ///< entries that lead to no live node, or to another's child
    long long stray_roots = 0;         ///< nodes without a parent that the root map does not have
    long long bad_root_entries = 0;    ///< entries of the root map that lead to no such root
    long long wrong_branch_sizes = 0;  ///< not 125 and the sum over the children
    long long miscounted_nodes = 0;    ///< how far the number of nodes is off

    long long total() const
    {
        return misplaced_nodes + bad_ids + broken_parents + broken_children + stray_roots +
               bad_root_entries + wrong_branch_sizes + miscounted_nodes;
    }
    LayoutConsistency& operator+=(const LayoutConsistency& in_other);
};

/// Walks the whole layout, which may hold anything: no link is followed before it is tested.
/// Deleted nodes whose gap is open are passed over. Linear in the nodes; runs in parallel.
SKELVAR_API LayoutConsistency checkLayout(const VoxelLayout& in_layout);

/// True if the check finds nothing. Writes a line "count kind" for each kind of violation that
/// there is, and "num_violations = " with their number, to `out_report`, which may be null.
SKELVAR_API bool isLayoutConsistent(const VoxelLayout& in_layout,
                                    std::ostream* out_report = nullptr);

}  // namespace Skelvar
