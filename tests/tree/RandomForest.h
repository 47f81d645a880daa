#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include "tests/support/Random.h"

#include <memory>

namespace Skelvar::Test {

/// A point near one of a few centres, so that branches become dense.
inline vec3i randomPoint(Testing::Random& io_random, int in_reach = 400)
{
    static constexpr int kCentres[4] = {-60000, -200, 30000, 194000};
    vec3i point;
    const int centre = kCentres[io_random.integer(0, 3)];
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] = centre + io_random.integer(-in_reach, in_reach);
    }
    return point;
}

/// Adds tiles about the centres, mostly fine ones.
inline void growRandomly(VoxelLayout& io_layout, Testing::Random& io_random, int in_tiles)
{
    for (int n = 0; n < in_tiles; ++n) {
        const vec3i p = randomPoint(io_random);
        const int depth = n % 5 == 0 ? io_random.integer(2, 7) : 7;
        io_layout.addNode(p[0], p[1], p[2], depth);
    }
}

/// Roots of several depths with branches below them. With `in_gaps`, some branches are deleted and
/// their gaps left open.
inline std::shared_ptr<VoxelLayout> randomForest(Testing::Random& io_random, int in_tiles,
                                                 bool in_gaps)
{
    auto layout = std::make_shared<VoxelLayout>("forest");
    for (const int depth : {3, 4, 5}) {
        const vec3i p = randomPoint(io_random);
        layout->addNode(p[0], p[1], p[2], depth);
    }
    growRandomly(*layout, io_random, in_tiles);
    layout->setCompactOnDelete(false);
    for (int n = 0; n < in_tiles / 10 && in_gaps; ++n) {
        const int depth = io_random.integer(5, 7);
        if (layout->numNodes(depth) > 0) {
            layout->deleteNode({io_random.integer(0, layout->numNodes(depth) - 1), depth});
        }
    }
    layout->setCompactOnDelete(true);
    return layout;
}

}  // namespace Skelvar::Test
