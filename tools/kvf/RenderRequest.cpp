#include <tools/kvf/RenderRequest.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Progress.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/picture/SurfacePicture.h>

#include <cmath>

namespace Skelvar::Tool {

void writeRender(const ShapeFile& in_file, const RenderRequest& in_request)
{
    const auto shape = in_file.voxelShape();
    const auto channel = in_file.channel(in_request.channel);
    if (!channel->isCastableTo(VoxelChannel<float>::typeName())) {
        throw ToolError(eDataSaysNo, "channel " + channel->name() + " holds no distances: it is " +
                                         channel->typeMeta()->typeName());
    }
    if (shape->layout().empty() || !channel->blockDataPtr()) {
        throw ToolError(eDataSaysNo, in_file.path + ": the layout has no tiles");
    }
    if (!std::isfinite(in_request.azimuth + in_request.elevation + in_request.zoom) ||
        !(in_request.zoom > 0.0f)) {
        throw ToolError(eMisuse, "the camera wants finite numbers, and a zoom above 0");
    }
    checkOutput(in_request.output);
    const SurfaceView view =
        chooseSurfaceView(*shape, in_request.azimuth, in_request.elevation, in_request.zoom,
                          float(in_request.width) / float(in_request.height));
    // Where roots meet, qbspline reads the background.
    const std::string kind = !in_request.kind.empty()          ? in_request.kind
                             : shape->layout().numRoots() == 1 ? "qbspline"
                                                               : "linear";
    bool found = false;
    Progress progress("Tracing", 2LL * in_request.height);
    const Canvas canvas = drawSurface(
        *shape, static_cast<const VoxelChannel<float>&>(*channel), kind, view, in_request.width,
        in_request.height, [&] { progress.advance(1); }, found);
    if (!found) {
        throw ToolError(eDataSaysNo, "channel " + channel->name() +
                                         " has no surface in sight: nowhere on the way does its "
                                         "sign change");
    }
    writePicture(canvas, in_request.output);
}

}  // namespace Skelvar::Tool
