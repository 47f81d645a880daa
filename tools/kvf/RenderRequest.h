#pragma once

#include <string>

namespace Skelvar::Tool {

struct ShapeFile;

/// Which surface to draw, from where, and where to.
struct RenderRequest {
    std::string channel;  ///< in full, or the part behind the last "/"
    std::string kind;     ///< of sampler; empty: qbspline for a tree of one root, else linear
    int width = 960;      ///< of the picture in pixels
    int height = 720;
    float azimuth = 35.0f;    ///< of the eye about the axis y, degrees from z toward x
    float elevation = 20.0f;  ///< of the eye above the plane of x and z, degrees
    float zoom = 1.0f;        ///< 1 shows all of the finest tiles
    std::string output;       ///< the file to write, a PNG
};

/// Draws the surface where a channel of distances is zero into a file. Parallel; shows a bar on a
/// terminal. Throws `ToolError` if the channel is not there or is none of float voxels, if no
/// surface is in sight, or if the picture cannot be written.
void writeRender(const ShapeFile& in_file, const RenderRequest& in_request);

}  // namespace Skelvar::Tool
