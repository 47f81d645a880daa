#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/Points.h>
#include <tools/kvf/RenderRequest.h>
#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/ShapeFile.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace Skelvar::Tool {

namespace {

struct RenderArguments {
    std::string file;
    FrameOptions frames;
    std::string size;
    std::string camera;
    RenderRequest request;
};

/// Reads "960x720".
void parseSize(const std::string& in_text, RenderRequest& io_request)
{
    int used = 0;
    if (std::sscanf(in_text.c_str(), "%5dx%5d%n", &io_request.width, &io_request.height, &used) !=
            2 ||
        std::size_t(used) != in_text.size() || std::min(io_request.width, io_request.height) < 16 ||
        std::max(io_request.width, io_request.height) > 8000) {
        throw ToolError(eMisuse,
                        "--size wants WxH, each 16 to 8000 pixels, not \"" + in_text + "\"");
    }
}

ExitStatus run(RenderArguments& io_arguments)
{
    RenderRequest& request = io_arguments.request;
    if (!io_arguments.size.empty()) {
        parseSize(io_arguments.size, request);
    }
    if (!io_arguments.camera.empty()) {
        const std::vector<float> camera = parseNumbers(io_arguments.camera, 3, "--camera");
        request.azimuth = camera[0];
        request.elevation = camera[1];
        request.zoom = camera[2];
    }
    if (request.output.empty()) {
        request.output = besideName(io_arguments.file, "-render.png");
    }
    const auto tasks = selectFrames(io_arguments.file, request.output, io_arguments.frames);
    return runFrames("rendering", tasks, io_arguments.frames, [&](const FrameTask& in_task) {
        RenderRequest one = request;
        one.output = in_task.output;
        writeRender(loadShapeFile(in_task.input), one);
        return FrameResult{in_task.output + "\n"};
    });
}

}  // namespace

void addRenderCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<RenderArguments>();
    RenderRequest& request = arguments->request;
    Command command = io_tool.command(
        "render",
        "Draws the surface where a signed distance is zero, shaded by the sampler's gradient");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("--channel", request.channel, "channel of distances, in world units").required();
    addKindOption(command, request.kind,
                  "; weno has no gradient and is shaded by differences over a cell (qbspline for a "
                  "tree of one root, else linear, whose gradient jumps from cell to cell)");
    command.option("--size", arguments->size, "pixels, as WxH (960x720)");
    command.option("--camera", arguments->camera,
                   "from where to look, as AZIMUTH,ELEVATION,ZOOM: degrees about the upright "
                   "axis y and above the ground, and 1 to see all (35,20,1)");
    command.option("-o", request.output, "picture to write (FILE's name with -render.png)")
        .endingIn(".png");
    addFrameOptions(command, true, arguments->frames);
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
