#pragma once

#include <tools/kvf/geometry/TriangleMesh.h>

#include <optional>
#include <vector>

namespace Skelvar::Tool {

struct ScatterOptions {
    float voxel_size = 0.0f;         ///< side of a finest cell in world units, above 0
    std::optional<long long> count;  ///< points in all
    int per_cell = 8;                ///< points of each finest cell, if there is no count
    unsigned long long seed = 1;
    bool shell = false;  ///< around the surface, up to one finest cell away, and not inside
};

/// Points at random places inside of a closed mesh, or in a shell around any mesh, in finest cells
/// of the voxel size. The same for a seed, however many threads there are. A cell that the surface
/// cuts gets its points where they fall inside. Parallel; shows a bar on a terminal.
/// Throws `ToolError` with `eDataSaysNo` if the mesh has no extent, encloses nothing, is open while
/// no shell is asked for, or would not fit into memory.
std::vector<vec3f> scatterPoints(TriangleMesh in_mesh, const ScatterOptions& in_options);

}  // namespace Skelvar::Tool
