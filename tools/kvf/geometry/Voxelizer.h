#pragma once

#include <tools/kvf/geometry/SurfaceLayout.h>
#include <tools/kvf/geometry/TriangleMesh.h>

#include <string>
#include <vector>

namespace Skelvar {

class VoxelState;

namespace Tool {

struct VoxelizeOptions {
    float voxel_size = 0.0f;  ///< side of a finest cell, world units; 0: the longest side over 100
    float band = 3.0f;        ///< finest cells on each side of the surface, at least 1
    std::string name = "mesh";
    bool graded = false;  ///< tiles that touch differ by at most one depth
};

/// What `voxelize` made, and what it found out about the mesh.
struct VoxelizeResult {
    std::string shape_name;
    std::vector<std::string> channel_names;
    float voxel_size = 0.0f;
    long long tiles = 0;
    MeshTopology topology;  ///< of the mesh as it came
    OrientationRepair repair;
};

/// Makes a shape out of a mesh: an object of the given name, and in it `NAME-volume` on
/// `NAME-volumelayout`, with the channels `NAME-volume/distance` (float, world units, negative
/// inside) and `NAME-volume/normal` (the unit vector in which the distance grows), both at cell
/// centres and exact at every depth. The layout is that of `findSurfaceTiles`; a graded one reaches
/// up to depth 0. The mesh needs a triangle. Parallel; shows a bar on a terminal. Throws
/// `ToolError` if an option makes no sense (`eMisuse`), if the mesh has no extent, does not fit
/// into the tree or would not fit into memory, or if a name is taken (`eDataSaysNo`).
VoxelizeResult voxelize(VoxelState& io_state, TriangleMesh in_mesh,
                        const VoxelizeOptions& in_options);

/// The name of the object that is made of a mesh: the given one, or else that of the file without
/// its ending and a frame pattern before it, with `_` for each sign that is no letter or digit.
/// Throws `ToolError` with `eMisuse` if the given one has such signs.
std::string objectNameOf(const std::string& in_mesh, const std::string& in_given);

}  // namespace Tool
}  // namespace Skelvar
