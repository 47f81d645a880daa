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
    const auto boxes = [&](long long in_begin, long long in_end, Detail::CellBoxes& out_boxes) {
        for (long long n = in_begin; n < in_end; ++n) {
            const VoxelLayoutNode& node = in_source->nodes(in_depth)[n];
            vec3f low;
            vec3f high;
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = static_cast<float>(node.corner()[axis]);
                high[axis] = static_cast<float>(node.corner()[axis] + kTileSideLUT[in_depth]);
            }
            if (!one_space) {
                const vec3f low_there = low;
                const vec3f high_there = high;
                in_source_shape->tsxBBox(low_there, high_there, in_shape, 0.0f, low, high);
            }
            for (int axis = 0; axis < 3; ++axis) {
                out_boxes.lo[axis][n - in_begin] =
                    node.valid() ? low[axis] + kTolerance - in_radius : kNothing;
                out_boxes.hi[axis][n - in_begin] = high[axis] + in_radius - kTolerance;
            }
        }
    };
    Detail::refineAroundBoxes(*io_layout, in_source->numNodes(in_depth), boxes, in_depth,
                              "Refine::refineLayouts_1", out_added);
}

}  // namespace Skelvar
