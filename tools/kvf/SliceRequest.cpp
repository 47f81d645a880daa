#include <tools/kvf/SliceRequest.h>

#include <skelvar/particles/ParticleShape.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Format.h>
#include <tools/kvf/Output.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/picture/SlicePicture.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

/// Throws if the plane lies outside of the layout, with the range that it may lie in.
void checkMeets(const TreeShape3DBase& in_shape, const SlicePlane& in_plane)
{
    vec3f lo, hi;
    in_shape.worldBounds(lo, hi);
    const float at = in_plane.centre[in_plane.axis];
    if (!(at >= lo[in_plane.axis] && at <= hi[in_plane.axis])) {
        throw ToolError(eDataSaysNo, "the plane at " + shortNumber(double(at)) +
                                         " misses the layout, which spans " +
                                         shortNumber(double(lo[in_plane.axis])) + " to " +
                                         shortNumber(double(hi[in_plane.axis])));
    }
}

}  // namespace

void writeSlice(const ShapeFile& in_file, const SliceRequest& in_request)
{
    const std::shared_ptr<TreeShape3DBase> shape = in_file.shape;
    const bool is_particles = shape->isCastableTo(ParticleShape::typeName());
    if (!is_particles) {
        in_file.voxelShape();
    } else if (!in_request.kind.empty()) {
        throw ToolError(eMisuse, "--kind reads between values of voxels, and " + in_file.path +
                                     " holds particles");
    }
    const auto channel = in_file.channel(in_request.channel);
    const VoxelLayout& layout = static_cast<const VoxelLayout&>(shape->layout());
    if (layout.empty() || !channel->blockDataPtr()) {
        throw ToolError(eDataSaysNo, in_file.path + ": the layout has no tiles");
    }
    const SlicePlane plane =
        chooseSlicePlane(*shape, in_request.axis, in_request.at ? &*in_request.at : nullptr);
    checkMeets(*shape, plane);
    checkOutput(in_request.output);
    const SliceFrame frame(in_request.width);
    const SliceField field =
        is_particles
            ? sampleParticles(*in_file.particleShape(), *channel, plane, frame.plot_side)
            : sampleSlice(*in_file.voxelShape(), *channel, plane, frame.plot_side, in_request.kind);
    SliceCaption caption;
    caption.title = channel->name();
    caption.subtitle = in_file.path + "   frame " + std::to_string(in_file.info.frame) + "   " +
                       std::to_string(layout.numNodes()) + " tiles" +
                       (in_request.kind.empty() ? "" : "   " + in_request.kind);
    const vec3f unit = shape->wsx(vec3f{1.0f, 0.0f, 0.0f}) - shape->wsx(vec3f{});
    caption.voxel_size = std::sqrt(dot(unit, unit));
    writePicture(drawSlice(field, frame, caption), in_request.output);
}

}  // namespace Skelvar::Tool
