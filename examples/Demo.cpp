// From a mesh to voxels on the adaptive tree, to files and back, and to pictures. Frame by frame:
// the mesh turns, is voxelised anew, saved in two ways, loaded again and compared bit by bit. Then
// the tree of the first frame is graded, and its field is drawn as cells, smoothly, and as a
// surface.

#include <skelvar/io/FileUtils.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/Grading.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Format.h>
#include <tools/kvf/Progress.h>
#include <tools/kvf/RenderRequest.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/SliceRequest.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/geometry/MeshReader.h>
#include <tools/kvf/geometry/Voxelizer.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

using namespace Skelvar;
using namespace Skelvar::Tool;

namespace {

constexpr int kFrames = 4;
constexpr double kTurnPerFrame = 20.0;  ///< degrees about the upright axis

double secondsSince(std::chrono::steady_clock::time_point in_start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - in_start).count();
}

/// Runs the work and adds the seconds that it took.
template <typename Work>
auto timed(double& io_seconds, const Work& in_work)
{
    const auto start = std::chrono::steady_clock::now();
    auto result = in_work();
    io_seconds += secondsSince(start);
    return result;
}

TriangleMesh turned(TriangleMesh in_mesh, double in_degrees)
{
    const double angle = in_degrees * std::numbers::pi / 180.0;
    const float c = float(std::cos(angle)), s = float(std::sin(angle));
    for (vec3f& v : in_mesh.vertices) {
        v = {c * v[0] + s * v[2], v[1], c * v[2] - s * v[0]};
    }
    return in_mesh;
}

/// The axis across which a slice shows most of the mesh.
int thinnestAxis(const TriangleMesh& in_mesh)
{
    vec3f lo, hi;
    findBounds(in_mesh, lo, hi);
    const vec3f extent = hi - lo;
    return static_cast<int>(std::min_element(extent.e, extent.e + 3) - extent.e);
}

template <typename T>
bool sameBits(const TreeShape3DBase& in_a, const TreeShape3DBase& in_b, const std::string& in_name)
{
    const auto a = std::dynamic_pointer_cast<VoxelChannel<T>>(in_a.channelBasePtr(in_name));
    const auto b = std::dynamic_pointer_cast<VoxelChannel<T>>(in_b.channelBasePtr(in_name));
    bool same = a && b && a->offsetType() == b->offsetType();
    for (int depth = 0; same && depth <= a->maxDepth(); ++depth) {
        const auto bytes = static_cast<std::size_t>(a->tiles(depth).size()) *
                           sizeof(typename VoxelChannel<T>::Tile);
        same =
            a->numTiles(depth) == b->numTiles(depth) &&
            (bytes == 0 || std::memcmp(a->tiles(depth).data(), b->tiles(depth).data(), bytes) == 0);
    }
    return same;
}

bool sameTree(const VoxelLayout& in_a, const VoxelLayout& in_b)
{
    bool same = in_a.MVS() == in_b.MVS() && in_a.numNodes() == in_b.numNodes() &&
                in_a.numRoots() == in_b.numRoots();
    for (int depth = 0; same && depth <= in_a.maxDepth(); ++depth) {
        same = in_a.numNodes(depth) == in_b.numNodes(depth);
        for (int n = 0; same && n < in_a.numNodes(depth); ++n) {
            const VoxelLayoutNode& a = in_a.node(n, depth);
            const VoxelLayoutNode& b = in_b.node(n, depth);
            same = a.id() == b.id() && a.parent() == b.parent() && a.index() == b.index() &&
                   a.branchSize() == b.branchSize();
        }
    }
    return same;
}

struct Totals {
    double voxelize = 0.0, save = 0.0, load = 0.0, compare = 0.0, grade = 0.0, draw = 0.0;
    double bytes[2] = {0.0, 0.0};  ///< on disk, by quality
    double memory = 0.0;           ///< of the channels' values
    long long tiles = 0;
};

/// Saves one frame at one quality, loads it, and throws unless all came back.
void roundTrip(VoxelState& in_state, const VoxelizeResult& in_voxels, const std::string& in_pattern,
               int in_frame, int in_quality, Totals& io_totals)
{
    const std::string path = timed(io_totals.save, [&] {
        return saveShapeFile(in_state, in_pattern, in_voxels.shape_name, in_voxels.channel_names,
                             in_frame, in_quality);
    });
    const ShapeFile loaded = timed(io_totals.load, [&] { return loadShapeFile(path); });
    const bool same = timed(io_totals.compare, [&] {
        std::shared_ptr<TreeShape3DBase> shape;
        in_state.shapeRef(in_voxels.shape_name, shape);
        return sameTree(static_cast<VoxelShape&>(*shape).layout(), loaded.voxelShape()->layout()) &&
               sameBits<float>(*shape, *loaded.shape, in_voxels.channel_names[0]) &&
               sameBits<vec3f>(*shape, *loaded.shape, in_voxels.channel_names[1]);
    });
    if (!same) {
        throw ToolError(eDataSaysNo, path + " did not come back as it was saved");
    }
    io_totals.bytes[in_quality] += double(std::filesystem::file_size(path));
}

struct Pictures {
    std::size_t added_tiles = 0;
    std::vector<std::string> paths;
};

/// Draws the distance as the cells that there are, then, after the tree has been graded, smoothly,
/// and the surface where it is zero.
Pictures drawPictures(const ShapeFile& in_file, int in_axis, const std::string& in_folder,
                      Totals& io_totals)
{
    Pictures pictures;
    SliceRequest slice;
    slice.channel = "distance";
    slice.axis = in_axis;
    slice.output = in_folder + "/demo.png";
    timed(io_totals.draw, [&] { return writeSlice(in_file, slice), 0; });
    pictures.paths.push_back(slice.output);

    RenderRequest render;
    render.channel = "distance";
    render.azimuth = 215.0f;  // the sample looks to where z falls
    render.zoom = 1.2f;
    render.output = in_folder + "/demo-surface.png";
    timed(io_totals.draw, [&] { return writeRender(in_file, render), 0; });
    pictures.paths.push_back(render.output);

    // New tiles take the field of the tiles above them.
    const auto shape = in_file.voxelShape();
    for (const auto& [name, channel] : shape->channels()) {
        if (auto* const voxels = dynamic_cast<VoxelChannelBase*>(channel.get())) {
            voxels->setTileInitializer(eTileInitializerLinear);
        }
    }
    std::vector<TileId> added;
    timed(io_totals.grade, [&] { return computeGradedTree(&shape->layout(), &added), 0; });
    pictures.added_tiles = added.size();
    slice.kind = "linear";
    slice.output = in_folder + "/demo-graded.png";
    timed(io_totals.draw, [&] { return writeSlice(in_file, slice), 0; });
    pictures.paths.push_back(slice.output);
    return pictures;
}

void run(const std::string& in_mesh_path, const std::string& in_folder)
{
    const bool has_mesh = !in_mesh_path.empty();
    const TriangleMesh mesh = has_mesh ? readMesh(in_mesh_path) : makeTorusKnot();
    std::cout << "mesh      " << (has_mesh ? in_mesh_path : "a torus knot, made on the spot")
              << ": " << mesh.triangles.size() << " triangles\n";
    // "#" stands for the frame in four digits.
    const std::string patterns[2] = {in_folder + "/demo.#.kvf", in_folder + "/demo-planes.#.kvf"};

    Totals totals;
    std::optional<Progress> progress(std::in_place, "Turning, saving, loading", 3 * kFrames);
    for (int frame = 0; frame < kFrames; ++frame) {
        const auto state = makeServer();
        VoxelizeOptions options;
        options.name = "demo";
        const VoxelizeResult voxels = timed(totals.voxelize, [&] {
            return voxelize(*state, turned(mesh, frame * kTurnPerFrame), options);
        });
        progress->advance(1);
        totals.tiles += voxels.tiles;
        totals.memory += double(voxels.tiles) * 125.0 * (sizeof(float) + sizeof(vec3f));
        for (int quality = 0; quality < 2; ++quality) {
            roundTrip(*state, voxels, patterns[quality], frame, quality, totals);
            progress->advance(1);
        }
    }
    progress.reset();

    std::string path, report;
    kvfResolvePath(patterns[0], 0, path);
    if (!kvfInfo(path, report)) {
        throw ToolError(eFileUnreadable, kvfLastError());
    }
    const Pictures pictures =
        drawPictures(loadShapeFile(path), thinnestAxis(mesh), in_folder, totals);

    std::cout << "\n" << path << "\n" << report << "\n";
    std::cout << "frames    " << kFrames << ", the mesh turned by " << kTurnPerFrame
              << " degrees each, " << totals.tiles << " tiles, " << humanBytes(totals.memory)
              << " of values\n";
    for (int quality = 0; quality < 2; ++quality) {
        std::cout << "quality " << quality << " " << patterns[quality] << ", "
                  << humanBytes(totals.bytes[quality]) << " on disk\n";
    }
    std::cout << "times     voxelize " << shortNumber(totals.voxelize, 3) << " s, save "
              << shortNumber(totals.save, 3) << " s, load " << shortNumber(totals.load, 3)
              << " s, compare " << shortNumber(totals.compare, 3) << " s, grade "
              << shortNumber(totals.grade, 3) << " s, draw " << shortNumber(totals.draw, 3)
              << " s\n";
    std::cout << "all " << 2 * kFrames
              << " files came back with every bit of layout and channels\n";
    std::cout << "graded    tiles that touch differ by one depth at most, with "
              << (pictures.added_tiles == 0 ? "none" : std::to_string(pictures.added_tiles))
              << " added\n";
    for (const std::string& picture : pictures.paths) {
        std::cout << "picture   " << picture << "\n";
    }
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    CLI::App app("Turns a mesh into voxels, saves, loads, compares, and draws a slice.", "demo");
    std::string mesh, folder = "out";
    app.add_option("--mesh", mesh, "mesh to use (a sample, or a torus knot)");
    app.add_option("--out", folder, "folder for the results")->capture_default_str();
    CLI11_PARSE(app, in_argc, in_argv);
    try {
        if (mesh.empty() && std::filesystem::exists(DEMO_DEFAULT_MESH)) {
            mesh = std::filesystem::path(DEMO_DEFAULT_MESH).lexically_normal().string();
        }
        if (!FileUtils::createFolder(folder)) {
            throw ToolError(eFileUnreadable, "the folder " + folder + " cannot be made");
        }
        run(mesh, folder);
        return eDone;
    } catch (const ToolError& error) {
        std::cerr << "demo: " << error.what() << "\n";
        return error.status();
    } catch (const std::exception& error) {
        std::cerr << "demo: " << error.what() << "\n";
        return eDataSaysNo;
    }
}
