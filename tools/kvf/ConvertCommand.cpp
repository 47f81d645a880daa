#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/ShapeFile.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

namespace Skelvar::Tool {

namespace {

struct Arguments {
    std::string file;
    std::string output;
    std::optional<int> frame;
    std::optional<int> quality;
    bool force = false;
};

void run(const Arguments& in_arguments)
{
    const std::string path = framePath(in_arguments.file, in_arguments.frame);
    const int frame = in_arguments.frame ? *in_arguments.frame : readHeader(path).frame;
    const std::string target = withFolder(framePath(in_arguments.output, frame));
    std::error_code error;
    if (!in_arguments.force && std::filesystem::exists(target, error)) {
        throw ToolError(eMisuse, target + " exists; -f overwrites it");
    }
    const ShapeFile file = loadShapeFile(path);
    const int quality = in_arguments.quality.value_or(static_cast<int>(file.info.quality % 4));
    const std::string written =
        saveShapeFile(*file.state, target, file.shape->name(), file.channelNames(), frame, quality);
    std::cout << path << " (version " << file.info.version << ", quality " << file.info.quality
              << ", " << humanBytes(double(std::filesystem::file_size(path))) << ") -> " << written
              << " (version 4, quality " << quality << ", "
              << humanBytes(double(std::filesystem::file_size(written))) << ")\n";
}

}  // namespace

void addConvertCommand(CLI::App& io_app, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command =
        io_app.add_subcommand("convert", "Reads a file of any version and writes the current one");
    command->add_option("FILE", arguments->file, "file to read")->required();
    command->add_option("OUT", arguments->output, "file to write; may hold a frame pattern")
        ->required();
    command->add_option("--frame", arguments->frame,
                        "frame of paths with a frame pattern, and of the new file");
    command->add_option("--quality", arguments->quality, "0 to 3 (as the file has it)")
        ->check(CLI::Range(0, 3));
    command->add_flag("-f,--force", arguments->force, "overwrite OUT if it is there");
    command->callback([arguments, &out_status] {
        run(*arguments);
        out_status = eDone;
    });
}

}  // namespace Skelvar::Tool
