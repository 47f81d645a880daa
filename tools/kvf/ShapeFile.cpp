#include <tools/kvf/ShapeFile.h>

#include <skelvar/io/FileUtils.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ToolError.h>

namespace Skelvar::Tool {

namespace {

/// What the file layer said last, or a plain sentence if it said nothing.
std::string lastFileError(const std::string& in_path, const char* in_fallback)
{
    const std::string& error = kvfLastError();
    return error.empty() ? in_path + ": " + in_fallback : error;
}

std::string joinNames(const std::vector<std::string>& in_names)
{
    std::string text;
    for (const std::string& name : in_names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

}  // namespace

std::shared_ptr<VoxelState> makeServer()
{
    StateServerManager& registry = StateServerManager::instance();
    const std::shared_ptr<VoxelState> server = registry.createNewStateServer();
    return {server.get(),
            [&registry, server](VoxelState*) { registry.removeStateServer(server->getId()); }};
}

std::string framePath(const std::string& in_path, const std::optional<int>& in_frame)
{
    if (in_frame) {
        std::string resolved;
        kvfResolvePath(in_path, *in_frame, resolved);
        return resolved;
    }
    std::string reason;
    if (in_path.find_first_of("#@") != std::string::npos &&
        !FileUtils::filePathExists(in_path, reason)) {
        throw ToolError(eFileUnreadable,
                        reason + "; if the path holds a frame pattern, say which with --frame");
    }
    return in_path;
}

std::string withFolder(const std::string& in_path)
{
    return FileUtils::extractFolderPath(in_path).empty() ? "./" + in_path : in_path;
}

KVFInfo readHeader(const std::string& in_path)
{
    KVFInfo info;
    const QuietOutput quiet;
    if (!kvfInfo(in_path, info)) {
        throw ToolError(eFileUnreadable, lastFileError(in_path, "the header cannot be read"));
    }
    return info;
}

const VoxelLayout& ShapeFile::layout() const
{
    // The store keeps the layout alive.
    const auto layout = std::dynamic_pointer_cast<VoxelLayout>(shape->layoutPtr());
    if (!layout) {
        throw ToolError(eDataSaysNo, path + ": the shape has no layout");
    }
    return *layout;
}

std::shared_ptr<VoxelShape> ShapeFile::voxelShape() const
{
    if (!shape->isCastableTo(VoxelShape::typeName())) {
        throw ToolError(eDataSaysNo,
                        path + " holds a " + info.shapeType + ", and this needs a VoxelShape");
    }
    return std::static_pointer_cast<VoxelShape>(shape);
}

std::shared_ptr<ParticleShape> ShapeFile::particleShape() const
{
    if (!shape->isCastableTo(ParticleShape::typeName())) {
        throw ToolError(eDataSaysNo,
                        path + " holds a " + info.shapeType + ", and this needs a ParticleShape");
    }
    return std::static_pointer_cast<ParticleShape>(shape);
}

std::shared_ptr<TreeChannel3DBase> ShapeFile::channel(const std::string& in_name) const
{
    if (shape->hasChannel(in_name)) {
        return shape->channelBasePtr(in_name);
    }
    std::vector<std::string> found;
    for (const std::string& name : channelNames()) {
        const std::size_t slash = name.rfind('/');
        if (slash != std::string::npos && name.substr(slash + 1) == in_name) {
            found.push_back(name);
        }
    }
    if (found.empty()) {
        throw ToolError(eDataSaysNo, path + " has no channel " + in_name + "; it has " +
                                         joinNames(channelNames()));
    }
    if (found.size() > 1) {
        throw ToolError(eMisuse, "channel " + in_name + " may be any of " + joinNames(found));
    }
    return shape->channelBasePtr(found.front());
}

std::vector<std::string> ShapeFile::channelNames() const
{
    return shape->channelNames();
}

ShapeFile loadShapeFile(const std::string& in_path)
{
    ShapeFile file;
    file.path = in_path;
    file.info = readHeader(in_path);
    file.state = makeServer();
    const QuietOutput quiet;
    if (!kvfLoad(*file.state, in_path)) {
        throw ToolError(eFileUnreadable, lastFileError(in_path, "the file is damaged"));
    }
    file.state->shapeRef(file.info.shapeName, file.shape);
    if (!file.shape) {
        throw ToolError(eFileUnreadable,
                        in_path + ": the file holds no shape " + file.info.shapeName);
    }
    return file;
}

std::string saveShapeFile(const VoxelState& in_state, const std::string& in_path,
                          const std::string& in_shape_name,
                          const std::vector<std::string>& in_channel_names, int in_frame,
                          int in_quality)
{
    std::string resolved;
    const InterruptGuard guard;
    const QuietOutput quiet;
    if (!kvfSave(in_state, withFolder(in_path), in_shape_name, in_channel_names, in_frame,
                 static_cast<CompressionQuality>(in_quality), resolved)) {
        throw ToolError(eFileUnreadable, lastFileError(in_path, "the file cannot be written"));
    }
    return resolved;
}

void requireNew(VoxelStateResult in_result, const std::string& in_name)
{
    if (in_result != kVoxelStateOk) {
        throw ToolError(eDataSaysNo, "the name " + in_name + " is taken");
    }
}

}  // namespace Skelvar::Tool
