#pragma once

#include <skelvar/voxel/VoxelChannel.h>

#include <tools/kvf/picture/Canvas.h>

#include <functional>
#include <string>

namespace Skelvar {

class VoxelShape;

namespace Tool {

/// An eye in the world and what it looks at. y is upright.
struct SurfaceView {
    vec3f eye{};
    vec3f right{};  ///< unit vectors, as are the next two
    vec3f up{};
    vec3f forward{};
    float half_height = 0.3f;  ///< of the picture at distance 1
};

/// Looks at the middle of the finest tiles of a shape, from outside of them. Angles in degrees;
/// with zoom 1 all of them are in a picture of the aspect, its width over its height. The layout
/// must have a node.
SurfaceView chooseSurfaceView(const VoxelShape& in_shape, float in_azimuth, float in_elevation,
                              float in_zoom, float in_aspect);

/// Draws the surface where a channel of signed distances, in world units, is zero: rays are traced
/// by the distance through the finest tiles' bounds, and what they meet is shaded by the gradient
/// of a sampler of the kind (of linear and weno, by its mean over a cell). Parallel by rows, in two
/// passes, one ray a pixel and then some more on edges; `in_row_done` is called for each row of
/// both, from any thread. `out_found`: whether any ray met the surface.
Canvas drawSurface(const VoxelShape& in_shape, const VoxelChannel<float>& in_channel,
                   const std::string& in_kind, const SurfaceView& in_view, int in_width,
                   int in_height, const std::function<void()>& in_row_done, bool& out_found);

}  // namespace Tool
}  // namespace Skelvar
