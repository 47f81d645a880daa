#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/SliceRequest.h>

#include <memory>

namespace Skelvar::Tool {

namespace {

struct SliceArguments {
    std::string file;
    FrameOptions frames;
    std::string axis = "z";
    SliceRequest request;
};

FrameResult drawFrame(const FrameTask& in_task, const SliceArguments& in_arguments)
{
    SliceRequest request = in_arguments.request;
    request.axis = in_arguments.axis[0] - 'x';
    request.output = in_task.output;
    writeSlice(loadShapeFile(in_task.input), request);
    return {request.output + "\n"};
}

}  // namespace

void addSliceCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<SliceArguments>();
    SliceRequest& request = arguments->request;
    Command command = io_tool.command(
        "slice",
        "Draws a plane through a channel: finest values (or with --kind a smooth field) or "
        "particles, outlines of tiles, the zero line");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("--channel", request.channel, "channel to show").required();
    command.option("--axis", arguments->axis, "axis across which the plane lies")
        .oneOf({"x", "y", "z"})
        .showDefault();
    command.option("--at", request.at, "world coordinate of the plane (the middle)");
    addKindOption(command, request.kind);
    command.option("-o", request.output, "picture to write (FILE's name with .png)")
        .endingIn(".png");
    command.option("--size", request.width, "width of the picture in pixels")
        .inRange(kLeastSliceWidth, kGreatestSliceWidth)
        .showDefault();
    addFrameOptions(command, true, arguments->frames);
    command.onRun([arguments, &out_status] {
        std::string& output = arguments->request.output;
        if (output.empty()) {
            output = besideName(arguments->file, ".png");
        }
        const auto tasks = selectFrames(arguments->file, output, arguments->frames);
        out_status = runFrames("drawing", tasks, arguments->frames, [&](const FrameTask& in_task) {
            return drawFrame(in_task, *arguments);
        });
    });
}

}  // namespace Skelvar::Tool
