#include <skelvar/particles/ParticleBins.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/geometry/MeshReader.h>
#include <tools/kvf/geometry/Scatter.h>
#include <tools/kvf/geometry/Voxelizer.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <sstream>

namespace Skelvar::Tool {

namespace {

struct ScatterArguments {
    std::string mesh;
    std::string output;
    std::string name;
    FrameOptions frames;
    int quality = 0;
    ScatterOptions options;
};

/// What became of the points.
struct ScatterResult {
    std::string shape_name;
    std::vector<std::string> channel_names;
    unsigned long long particles = 0;
    unsigned long long strays = 0;
    int tiles = 0;
};

template <typename T>
std::shared_ptr<ParticleChannel<T>> makeChannel(VoxelState& io_state, const std::string& in_name,
                                                const T& in_background, ScatterResult& io_result)
{
    const std::string name = io_result.shape_name + "/" + in_name;
    requireNew(io_state.newParticleChannel<T>(name, io_result.shape_name, in_background), name);
    io_result.channel_names.push_back(name);
    std::shared_ptr<TreeChannel3DBase> channel;
    io_state.channelRef(name, channel);
    return std::static_pointer_cast<ParticleChannel<T>>(channel);
}

/// Makes the shape: particles at rest with density 1, numbered in the order of the tiles.
ScatterResult makeParticles(VoxelState& io_state, std::string in_name, float in_voxel_size,
                            std::vector<vec3f> in_points)
{
    ScatterResult result;
    result.shape_name = in_name + "-particles";
    const std::string layout_name = result.shape_name + "layout";
    std::shared_ptr<TreeLayout3DBase> layout_base;
    std::shared_ptr<ParticleShape> shape;
    requireNew(io_state.newObject(in_name), in_name);
    requireNew(io_state.newLayout(layout_name, in_voxel_size, layout_base), layout_name);
    VoxelLayout& layout = static_cast<VoxelLayout&>(*layout_base);

    for (vec3f& point : in_points) {
        point *= 1.0f / in_voxel_size;
    }
    const ParticleBins bins(in_points.data(), in_points.size());
    bins.addTiles(layout);
    requireNew(io_state.newParticleShape(result.shape_name, layout_name, &in_name, shape),
               result.shape_name);
    const auto position = makeChannel<vec3f>(io_state, "position", {}, result);
    makeChannel<vec3f>(io_state, "velocity", {}, result);
    const auto id = makeChannel<unsigned long long>(io_state, "id", 0, result);
    makeChannel<float>(io_state, "density", 1.0f, result);
    bins.append(in_points.data(), *position);
    position->syncShapeParticleCounts();
    for (unsigned long long& number : *id) {
        number = shape->nextParticleId();
    }
    result.particles = shape->numParticles();
    result.strays = bins.numStrays();
    result.tiles = layout.numNodes();
    return result;
}

FrameResult scatterMesh(const FrameTask& in_task, const std::string& in_name,
                        const ScatterArguments& in_arguments)
{
    ScatterOptions options = in_arguments.options;
    const bool has_size = options.voxel_size != 0.0f;
    if (has_size && !(options.voxel_size > 0.0f && std::isfinite(options.voxel_size))) {
        throw ToolError(eMisuse, "the voxel size must be a positive number");
    }
    checkMayWrite(in_task.output, true);
    TriangleMesh mesh = readMesh(in_task.input);
    if (!has_size) {
        options.voxel_size = longestSide(mesh) / 50.0f;
        if (!std::isnormal(options.voxel_size)) {
            throw ToolError(eDataSaysNo, "the mesh has no extent, or one beyond all numbers");
        }
    }
    const auto state = makeServer();
    const ScatterResult result =
        makeParticles(*state, in_name, options.voxel_size, scatterPoints(std::move(mesh), options));
    if (result.particles == 0 && result.strays > 0) {
        throw ToolError(eDataSaysNo, "all " + std::to_string(result.strays) +
                                         " positions are outside of the tree's domain");
    }
    const std::string path =
        saveShapeFile(*state, in_task.output, result.shape_name, result.channel_names,
                      *in_task.frame, in_arguments.quality);
    std::ostringstream text;
    if (result.strays > 0) {
        text << leftOutNote(result.strays);
    }
    text << path << ": " << result.particles << " particles in " << result.tiles
         << " tiles, voxel size " << shortNumber(double(options.voxel_size)) << ", "
         << humanBytes(double(std::filesystem::file_size(path))) << "\n";
    return {text.str()};
}

}  // namespace

void addScatterCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<ScatterArguments>();
    ScatterOptions& options = arguments->options;
    Command command =
        io_tool.command("scatter", "Fills a closed mesh with particles, or its surroundings");
    command.option("MESH", arguments->mesh, "any mesh file that Assimp reads, or a sequence")
        .required();
    command.option("OUT", arguments->output, "file to write; may hold a frame pattern").required();
    command.option("--count", options.count, "particles in all").inRange(0LL, 4000000000LL);
    command.option("--per-cell", options.per_cell, "particles of each finest cell")
        .inRange(1, 1000)
        .excludes("--count")
        .showDefault();
    command.option("--voxel-size", options.voxel_size,
                   "side of a finest cell in world units (longest side of the mesh / 50)");
    command.flag("--shell", options.shell,
                 "around the surface, up to a finest cell away: for meshes that are not closed");
    command.option("--seed", options.seed, "of the random places").showDefault();
    command.option("--name", arguments->name, "name of the object (the mesh file's name)");
    arguments->frames.are_meshes = true;
    addFrameOptions(command, true, arguments->frames);
    command
        .option("--quality", arguments->quality,
                "0 plain, 1 byte planes for floats, 2 and 3 also positions in 16 and 8 bits")
        .inRange(0, 3)
        .showDefault();
    command.onRun([arguments, &out_status] {
        const std::string name = objectNameOf(arguments->mesh, arguments->name);
        const auto tasks = selectFrames(arguments->mesh, arguments->output, arguments->frames);
        out_status = runFrames(
            "scattering", tasks, arguments->frames,
            [&](const FrameTask& in_task) { return scatterMesh(in_task, name, *arguments); });
    });
}

}  // namespace Skelvar::Tool
