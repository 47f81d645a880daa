#pragma once

#include <skelvar/base/VoxelStateResult.h>
#include <skelvar/io/KvfFormat.h>

#include <tools/kvf/Output.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Skelvar {

class ParticleShape;
class TreeChannel3DBase;
class TreeShape3DBase;
class VoxelLayout;
class VoxelShape;
class VoxelState;

namespace Tool {

/// A new state server that is the caller's alone: it goes, from the registry too, with the last
/// pointer to it.
std::shared_ptr<VoxelState> makeServer();

/// The path of one frame. Throws `ToolError` with `eFileUnreadable` if the path holds a pattern, no
/// frame is given and there is no file of that very name.
std::string framePath(const std::string& in_path, const std::optional<int>& in_frame);

/// The path with a folder part, "./" if it had none: saving wants one.
std::string withFolder(const std::string& in_path);

/// The header of a file. Throws `ToolError` with `eFileUnreadable` and where the reading failed.
KVFInfo readHeader(const std::string& in_path);

/// A file's contents, in a server of their own.
struct ShapeFile {
    std::string path;
    KVFInfo info;
    std::shared_ptr<VoxelState> state;
    std::shared_ptr<TreeShape3DBase> shape;

    /// Throws `ToolError` with `eDataSaysNo` if the shape has no layout.
    const VoxelLayout& layout() const;
    /// The shape as one of voxels. Throws `ToolError` with `eDataSaysNo` for another kind.
    std::shared_ptr<VoxelShape> voxelShape() const;
    /// The shape as one of particles, likewise.
    std::shared_ptr<ParticleShape> particleShape() const;
    /// The channel of that full name, or else the only one whose name ends so behind its last `/`.
    /// Throws `ToolError`: `eDataSaysNo`, with the names that there are, if there is none,
    /// `eMisuse` if there are several.
    std::shared_ptr<TreeChannel3DBase> channel(const std::string& in_name) const;
    std::vector<std::string> channelNames() const;
};

/// Loads a file. Throws `ToolError` with `eFileUnreadable` and where the reading failed.
ShapeFile loadShapeFile(const std::string& in_path);

/// Saves a shape with its channels, under a path that may hold a frame pattern, and gives the path
/// of the file. Throws `ToolError` with `eFileUnreadable` and why it failed.
std::string saveShapeFile(const VoxelState& in_state, const std::string& in_path,
                          const std::string& in_shape_name,
                          const std::vector<std::string>& in_channel_names, int in_frame,
                          int in_quality);

/// Throws `ToolError` with `eDataSaysNo` if the store did not make an item of that name.
void requireNew(VoxelStateResult in_result, const std::string& in_name);

}  // namespace Tool
}  // namespace Skelvar
