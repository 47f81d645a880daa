#pragma once

#include <tools/kvf/geometry/TriangleMesh.h>

#include <string>

namespace Skelvar::Tool {

/// Reads a mesh file of any kind that Assimp knows. All meshes of its scene become one: faces are
/// cut into triangles, the transforms of the scene's nodes are applied, vertices at the very same
/// place are joined, and triangles that collapse by that are dropped. Lines and points are left
/// out. Axes stay as the file has them.
/// Throws `ToolError`: unreadable for a file that cannot be opened or parsed, `eDataSaysNo` for
/// one without a triangle or with a coordinate that is not finite.
TriangleMesh readMesh(const std::string& in_path);

}  // namespace Skelvar::Tool
