#include <skelvar/state/VoxelState.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/geometry/MeshReader.h>
#include <tools/kvf/geometry/Voxelizer.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>

namespace Skelvar::Tool {

namespace {

struct VoxelizeArguments {
    std::string mesh;
    std::string output;
    std::optional<float> voxel_size;
    float band = 3.0f;
    std::string name;
    FrameOptions frames;
    int quality = 0;
    bool graded = false;
};

/// What is out of the ordinary about the mesh, in words; nothing for a closed, consistent one.
void tellMeshNotes(const VoxelizeResult& in_result, std::ostream& io_text)
{
    const MeshTopology& topology = in_result.topology;
    if (topology.boundary_edges > 0) {
        io_text << "  the mesh has holes (" << topology.boundary_edges
                << " open edges): inside is where it winds round more than half\n";
    }
    if (topology.inconsistent_edges > 0) {
        io_text << "  the mesh disagrees on its outer side at " << topology.inconsistent_edges
                << " edges: " << in_result.repair.turned_triangles
                << " triangles were turned round\n";
    }
    if (in_result.repair.was_inside_out) {
        io_text << "  the mesh was inside out and has been turned round\n";
    }
}

FrameResult voxelizeMesh(const FrameTask& in_task, const VoxelizeArguments& in_arguments)
{
    if (in_arguments.voxel_size && !(*in_arguments.voxel_size > 0.0f)) {
        throw ToolError(eMisuse, "the voxel size must be a positive number");
    }
    VoxelizeOptions options;
    options.voxel_size = in_arguments.voxel_size.value_or(0.0f);
    options.band = in_arguments.band;
    options.graded = in_arguments.graded;
    options.name = objectNameOf(in_arguments.mesh, in_arguments.name);

    checkMayWrite(in_task.output, true);
    TriangleMesh mesh = readMesh(in_task.input);
    const std::size_t vertices = mesh.vertices.size(), triangles = mesh.triangles.size();
    const auto state = makeServer();
    const VoxelizeResult result = voxelize(*state, std::move(mesh), options);
    const std::string path =
        saveShapeFile(*state, in_task.output, result.shape_name, result.channel_names,
                      *in_task.frame, in_arguments.quality);

    std::ostringstream text;
    text << in_task.input << ": " << vertices << " vertices, " << triangles << " triangles\n";
    tellMeshNotes(result, text);
    text << path << ": " << result.tiles << " tiles of "
         << shortNumber(5.0 * double(result.voxel_size)) << " and up, voxel size "
         << shortNumber(double(result.voxel_size)) << ", "
         << humanBytes(double(std::filesystem::file_size(path))) << "\n";
    return {text.str()};
}

}  // namespace

void addVoxelizeCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<VoxelizeArguments>();
    Command command = io_tool.command(
        "voxelize",
        "Turns a mesh into voxels: signed distance and normal, finest near the surface");
    command.option("MESH", arguments->mesh, "any mesh file that Assimp reads, or a sequence")
        .required();
    command.option("OUT", arguments->output, "file to write; may hold a frame pattern").required();
    command.option("--voxel-size", arguments->voxel_size,
                   "side of a finest cell in world units (longest side of the mesh / 100)");
    command.option("--band", arguments->band, "finest cells on each side of the surface")
        .showDefault();
    command.flag("--graded", arguments->graded,
                 "add tiles until those that touch differ by at most one depth");
    command.option("--name", arguments->name, "name of the object (the mesh file's name)");
    arguments->frames.are_meshes = true;
    addFrameOptions(command, true, arguments->frames);
    command.option("--quality", arguments->quality, "0 plain, 1 byte planes for floats")
        .inRange(0, 3)
        .showDefault();
    command.onRun([arguments, &out_status] {
        const auto tasks = selectFrames(arguments->mesh, arguments->output, arguments->frames);
        out_status =
            runFrames("voxelizing", tasks, arguments->frames,
                      [&](const FrameTask& in_task) { return voxelizeMesh(in_task, *arguments); });
    });
}

}  // namespace Skelvar::Tool
