#pragma once

#include <skelvar/tree/RefineLayout.h>
#include <skelvar/tree/VoxelLayout.h>

#include <cmath>
#include <limits>

namespace Skelvar {

// Bodies of the forms of `refineLayout` that are instantiated over shapes.

template <typename Layout, typename Shape>
void refineLayout(Layout* io_layout, const Layout* in_source, Shape* in_shape,
                  Shape* in_source_shape, float in_radius, int in_depth,
                  std::vector<TileId>* out_added)
{
    if (in_depth < 0 || in_depth > kMaxTileDepth || !(in_radius >= 0.0f) ||
        !std::isfinite(in_radius)) {
        return;
    }
    // The way through world space rounds, and a box that ends at a tile's face must not meet the
    // next tile by that.
    constexpr float kTolerance = 1.0f / 16.0f;
    constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
    const bool one_space =
        in_shape == nullptr || in_source_shape == nullptr || in_shape == in_source_shape;
    const auto boxes = [&](long long in_begin, long long in_end, Detail::CellBox* out_boxes) {
        for (long long n = in_begin; n < in_end; ++n) {
            Detail::CellBox& box = *out_boxes++;
            const VoxelLayoutNode& node = in_source->nodes(in_depth)[n];
            if (!node.valid()) {
                box.lo = {kNothing, kNothing, kNothing};
                continue;
            }
            vec3i low;
            vec3i high;
            node.bounds(low, high);
            for (int axis = 0; axis < 3; ++axis) {
                box.lo[axis] = static_cast<float>(low[axis]);
                box.hi[axis] = static_cast<float>(high[axis]);
            }
            if (!one_space) {
                const Detail::CellBox there = box;
                in_source_shape->tsxBBox(there.lo, there.hi, in_shape, 0.0f, box.lo, box.hi);
            }
            for (int axis = 0; axis < 3; ++axis) {
                box.lo[axis] += kTolerance - in_radius;
                box.hi[axis] += in_radius - kTolerance;
            }
        }
    };
    Detail::refineAroundBoxes(*io_layout, in_source->numNodes(in_depth), boxes, in_depth,
                              "Refine::refineLayouts_1", out_added);
}

}  // namespace Skelvar
