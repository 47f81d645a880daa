#include <skelvar/io/Kvf.h>
#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace Skelvar::Tool {

namespace {

struct CheckArguments {
    std::vector<std::string> files;
    FrameOptions frames;
};

/// Throws `ToolError` with `eFileUnreadable` if the file cannot be opened or is of another kind.
void checkReadable(const std::string& in_path)
{
    std::error_code error;
    if (std::filesystem::is_directory(in_path, error)) {
        throw ToolError(eFileUnreadable, in_path + " is a folder");
    }
    if (!std::ifstream(in_path)) {
        throw ToolError(eFileUnreadable, in_path + " cannot be opened");
    }
    if (!isKvfFile(in_path)) {
        throw ToolError(eFileUnreadable, in_path + " is not a KVF file");
    }
}

/// Throws `ToolError` with what is wrong if what the file says of itself is not what it holds.
void checkContents(const ShapeFile& in_file)
{
    const auto complain = [&](const std::string& in_text) {
        throw ToolError(eDataSaysNo, in_file.path + ": " + in_text);
    };
    const VoxelLayout& layout = in_file.layout();
    std::ostringstream violations;
    if (!isLayoutConsistent(layout, &violations)) {
        std::string text = violations.str();
        std::replace(text.begin(), text.end(), '\n', ' ');
        complain("the tree is not consistent: " + text);
    }
    for (const KVFInfo::ChannelInfo& stated : in_file.info.channels) {
        const auto names = in_file.channelNames();
        if (std::find(names.begin(), names.end(), stated.name) == names.end()) {
            complain("channel " + stated.name + " is missing");
        }
        const auto channel = in_file.channel(stated.name);
        if (channel->numTiles() != stated.numTiles) {
            complain("channel " + stated.name + " has " + std::to_string(channel->numTiles()) +
                     " tiles, and the header says " + std::to_string(stated.numTiles));
        }
        if (static_cast<int>(channel->numElements()) != stated.numElements) {
            complain("channel " + stated.name + " has " + std::to_string(channel->numElements()) +
                     " elements, and the header says " + std::to_string(stated.numElements));
        }
        for (int depth = 0; depth <= layout.maxDepth(); ++depth) {
            if (channel->numTiles(depth) != layout.numNodes(depth)) {
                complain("channel " + stated.name + " has " +
                         std::to_string(channel->numTiles(depth)) + " tiles at depth " +
                         std::to_string(depth) + ", and the layout has " +
                         std::to_string(layout.numNodes(depth)));
            }
        }
    }
    std::vector<KvfChannelSize> sizes;
    unsigned long long end = 0;
    const QuietOutput quiet;
    if (!kvfChannelSizes(in_file.path, sizes, &end)) {
        complain(kvfLastError());
    }
    const unsigned long long length = std::filesystem::file_size(in_file.path);
    if (end != length) {
        complain("at byte " + std::to_string(end) + ": all that the file holds ends here, and it " +
                 "has " + std::to_string(length) + " bytes");
    }
}

/// The message without the path that it starts with: the line has it already.
std::string withoutPath(const std::string& in_message, const std::string& in_path)
{
    const std::string start = in_path + ": ";
    return in_message.rfind(start, 0) == 0 ? in_message.substr(start.size()) : in_message;
}

/// One line for the file, and what it amounts to.
FrameResult checkFile(const FrameTask& in_task)
{
    checkReadable(in_task.input);
    try {
        checkContents(loadShapeFile(in_task.input));
    } catch (const ToolError& error) {
        return {in_task.input + ": damaged: " + withoutPath(error.what(), in_task.input) + "\n",
                eDataSaysNo};
    }
    return {in_task.input + ": ok\n"};
}

/// The worst outcome decides: unreadable over damaged over sound.
ExitStatus run(const CheckArguments& in_arguments)
{
    return runFrames("checking", selectFrames(in_arguments.files, in_arguments.frames),
                     in_arguments.frames, checkFile);
}

}  // namespace

void addCheckCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<CheckArguments>();
    Command command = io_tool.command(
        "check", "Reads files with every check on and tells which are damaged, and where");
    command.option("FILE", arguments->files, "files to read").required();
    arguments->frames.may_mix = true;
    addFrameOptions(command, false, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
