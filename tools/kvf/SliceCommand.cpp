#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Commands.h>
#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/SliceRequest.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

namespace Skelvar::Tool {

namespace {

struct Arguments {
    std::string file;
    std::optional<int> frame;
    std::string axis = "z";
    SliceRequest request;
};

void run(Arguments& io_arguments)
{
    const ShapeFile file = loadShapeFile(framePath(io_arguments.file, io_arguments.frame));
    SliceRequest& request = io_arguments.request;
    request.axis = io_arguments.axis[0] - 'x';
    if (request.output.empty()) {
        request.output = std::filesystem::path(file.path).stem().string() + ".png";
    }
    writeSlice(file, request);
    std::cout << request.output << "\n";
}

}  // namespace

void addSliceCommand(CLI::App& io_app, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<Arguments>();
    SliceRequest& request = arguments->request;
    CLI::App* command = io_app.add_subcommand(
        "slice",
        "Draws a plane through a channel: finest values (or with --kind a smooth field), outlines "
        "of tiles, the zero line");
    command->add_option("FILE", arguments->file, "file to read")->required();
    command->add_option("--channel", request.channel, "channel to show")->required();
    command->add_option("--axis", arguments->axis, "axis across which the plane lies")
        ->check(CLI::IsMember({"x", "y", "z"}))
        ->capture_default_str();
    command->add_option("--at", request.at, "world coordinate of the plane (the middle)");
    addKindOption(*command, request.kind);
    command->add_option("-o", request.output, "picture to write (FILE's name with .png)");
    command->add_option("--size", request.width, "width of the picture in pixels")
        ->check(CLI::Range(kLeastSliceWidth, kGreatestSliceWidth))
        ->capture_default_str();
    command->add_option("--frame", arguments->frame, "frame of a path with a frame pattern");
    command->callback([arguments, &out_status] {
        run(*arguments);
        out_status = eDone;
    });
}

}  // namespace Skelvar::Tool
