#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TileIndex.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class ParticleShape;
class TreeChannel3DBase;
class TreeShape3DBase;
class VoxelShape;

namespace Tool {

/// A square window in a plane across one axis of the world.
struct SlicePlane {
    int axis = 2;       ///< across which the plane lies: 0 x, 1 y, 2 z
    int right = 0;      ///< the axis that runs to the right in the picture
    int up = 1;         ///< the axis that runs upwards
    vec3f centre{};     ///< of the window, on the plane
    float side = 1.0f;  ///< of the window
};

/// The plane across an axis at the world coordinate `in_at`, with a window around the finest tiles
/// of the shape and some of their surroundings. Without `in_at`, through their middle. The layout
/// must have a node, and be a `VoxelLayout`.
SlicePlane chooseSlicePlane(const TreeShape3DBase& in_shape, int in_axis, const float* in_at);

/// What one pixel of a slice shows.
struct SlicePixel {
    vec3i cell{};                   ///< finest coordinates of the point
    int depth = -1;                 ///< of the finest tile there, -1 where there is none
    bool has_value = true;          ///< false where a tile has nothing to show
    std::array<double, 4> value{};  ///< of the point's cell in that tile, or sampled, by component
    float smooth = 0.0f;  ///< first component, interpolated between cells; for lines of equal value
};

/// A channel over a plane, pixel by pixel from the upper left. Each pixel has the finest value
/// there is at its middle. The shape may stand in the world turned or scaled.
struct SliceField {
    SlicePlane plane;
    int size = 0;  ///< pixels on a side
    int components = 1;
    std::vector<SlicePixel> pixels;

    const SlicePixel& at(int in_x, int in_y) const
    {
        return pixels[static_cast<std::size_t>(in_y) * static_cast<std::size_t>(size) +
                      static_cast<std::size_t>(in_x)];
    }
};

/// Box in the world around the finest tiles of the shape. The layout must have a node.
void finestWorldBounds(const TreeShape3DBase& in_shape, vec3f& out_lo, vec3f& out_hi);

/// Samples the channel. Parallel. The channel must be one of voxels, on the shape. With a kind of
/// sampler each pixel has the value that it gives, inside of the tree. Throws `ToolError` if the
/// channel has no such sampler.
SliceField sampleSlice(const VoxelShape& in_shape, const TreeChannel3DBase& in_channel,
                       const SlicePlane& in_plane, int in_size, const std::string& in_kind = {});

/// The particles within half a finest cell of the plane as dots, each with its value of the
/// channel, and no values between them. The channel must be one of particles, on the shape.
/// Throws `ToolError` if the shape has no channel of positions.
SliceField sampleParticles(const ParticleShape& in_shape, const TreeChannel3DBase& in_channel,
                           const SlicePlane& in_plane, int in_size);

}  // namespace Tool
}  // namespace Skelvar
