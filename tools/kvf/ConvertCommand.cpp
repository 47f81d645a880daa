#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>

namespace Skelvar::Tool {

namespace {

struct ConvertArguments {
    std::string file;
    std::string output;
    FrameOptions frames;
    std::optional<int> quality;
    bool force = false;
};

FrameResult convert(const FrameTask& in_task, const ConvertArguments& in_arguments)
{
    checkMayWrite(in_task.output, in_arguments.force);
    const ShapeFile file = loadShapeFile(in_task.input);
    const int frame = in_task.frame.value_or(file.info.frame);
    const int quality = in_arguments.quality.value_or(kvfQuality(file.info.quality));
    const std::string written = saveShapeFile(*file.state, in_task.output, file.shape->name(),
                                              file.channelNames(), frame, quality);
    std::ostringstream text;
    text << in_task.input << " (version " << file.info.version << ", quality " << file.info.quality
         << ", " << humanBytes(double(std::filesystem::file_size(in_task.input))) << ") -> "
         << written << " (version 4, quality " << quality << ", "
         << humanBytes(double(std::filesystem::file_size(written))) << ")\n";
    return {text.str()};
}

}  // namespace

void addConvertCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<ConvertArguments>();
    Command command =
        io_tool.command("convert", "Reads a file of any version and writes the current one");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("OUT", arguments->output, "file to write; may hold a frame pattern").required();
    addFrameOptions(command, true, arguments->frames);
    command.option("--quality", arguments->quality, "0 to 3 (as the file has it)").inRange(0, 3);
    command.flag("-f,--force", arguments->force, "overwrite OUT if it is there");
    command.onRun([arguments, &out_status] {
        const auto tasks = selectFrames(arguments->file, arguments->output, arguments->frames);
        out_status =
            runFrames("converting", tasks, arguments->frames,
                      [&](const FrameTask& in_task) { return convert(in_task, *arguments); });
    });
}

}  // namespace Skelvar::Tool
