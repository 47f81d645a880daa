#pragma once

#include <fuzz/FuzzInput.h>
#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayout.h>

#include <vector>

namespace Skelvar::Fuzz {

/// Edits a layout in each of the ways that follow links, and tests the tree after each.
inline void editAndCheck(VoxelLayout& io_layout)
{
    const auto check = [&](const char* in_what) {
        require(checkLayout(io_layout).total() == 0, in_what);
    };
    check("the tree as loaded");
    io_layout.addNode(0, 0, 0, 7);
    io_layout.addNode(-195312, 195312, 0, 3);
    check("the tree with single tiles added");
    io_layout.addNodes({{1000, 1000, 1000}, {1005, 1000, 1000}}, 7);
    io_layout.deleteNode(io_layout.nodeIndex<false>(0, 0, 0, 7));
    check("the tree with a tile deleted");
    std::vector<std::vector<int>> every_third(kNumDepths);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int index = 0; index < io_layout.numNodes(depth); index += 3) {
            every_third[depth].push_back(index);
        }
    }
    io_layout.deleteNodes(every_third);
    check("the tree with every third tile deleted");
}

}  // namespace Skelvar::Fuzz
