#pragma once

#include <optional>
#include <string>

namespace Skelvar::Tool {

struct ShapeFile;

inline constexpr int kLeastSliceWidth = 600;
inline constexpr int kGreatestSliceWidth = 8000;

/// Which plane of which channel to draw, and where to.
struct SliceRequest {
    std::string channel;      ///< in full, or the part behind the last "/"
    int axis = 2;             ///< across which the plane lies: 0 x, 1 y, 2 z
    std::optional<float> at;  ///< world coordinate of the plane; the middle of the finest tiles
    std::string kind;         ///< of sampler; empty: the finest values as they are
    int width = 1100;         ///< of the picture in pixels
    std::string output;       ///< the file to write, a PNG
};

/// Draws a slice into a file. Throws `ToolError` if the channel is not there or is none of voxels,
/// if the plane does not meet the layout, or if the picture cannot be written.
void writeSlice(const ShapeFile& in_file, const SliceRequest& in_request);

}  // namespace Skelvar::Tool
