#include <tools/kvf/geometry/Voxelizer.h>

#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/Grading.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Progress.h>
#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/ToolError.h>
#include <tools/kvf/geometry/SignedDistance.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>

namespace Skelvar::Tool {

namespace {

using DistanceChannel = VoxelChannel<float>;
using NormalChannel = VoxelChannel<vec3f>;

constexpr double kGiga = 1e9;

/// Letters, digits and `_` stay, any other character becomes `_`.
std::string withoutSigns(std::string in_text)
{
    for (char& c : in_text) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0) {
            c = '_';
        }
    }
    return in_text;
}

void checkObjectName(const std::string& in_name)
{
    if (in_name.empty() || withoutSigns(in_name) != in_name) {
        throw ToolError(eMisuse,
                        "the name \"" + in_name + "\" may hold only letters, digits and _");
    }
}

void checkOptions(const VoxelizeOptions& in_options)
{
    if (!(in_options.voxel_size >= 0.0f) || !std::isfinite(in_options.voxel_size)) {
        throw ToolError(eMisuse, "the voxel size must be a positive number");
    }
    if (!(in_options.band >= 1.0f && in_options.band <= 1000.0f)) {
        throw ToolError(eMisuse, "the band must be 1 to 1000 cells");
    }
    checkObjectName(in_options.name);
}

double areaOf(const TriangleMesh& in_mesh)
{
    double area = 0.0;
    for (const vec3i& triangle : in_mesh.triangles) {
        const vec3f& base = in_mesh.vertices[triangle[0]];
        const vec3f normal =
            cross(in_mesh.vertices[triangle[1]] - base, in_mesh.vertices[triangle[2]] - base);
        area += 0.5 * std::sqrt(double(dot(normal, normal)));
    }
    return area;
}

/// Fewer finest tiles than that cannot cover the surface: none holds more of a plane than its
/// diagonal cut, which is less than twice its face.
double leastTiles(const TriangleMesh& in_mesh, float in_voxel_size)
{
    const double side = double(in_voxel_size) * kTileWidth;
    return areaOf(in_mesh) / (2.0 * side * side);
}

/// Refuses what the machine cannot hold, before it starts to swap.
void checkMemory(double in_tiles, float in_voxel_size)
{
    const double needed =
        in_tiles * (sizeof(DistanceChannel::Tile) + sizeof(NormalChannel::Tile) + 1000.0);
    const double there = double(sysconf(_SC_PHYS_PAGES)) * double(sysconf(_SC_PAGESIZE));
    if (needed > 0.8 * there) {
        char text[160];
        std::snprintf(text, sizeof text,
                      "a voxel size of %g makes %.3g tiles, %.3g GB, and this machine has %.1f GB",
                      double(in_voxel_size), in_tiles, needed / kGiga, there / kGiga);
        throw ToolError(eDataSaysNo, text);
    }
}

/// The items that the mesh becomes. The layout is filled before the channels are made, so that each
/// takes its memory in one step.
struct Items {
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<DistanceChannel> distance;
    std::shared_ptr<NormalChannel> normal;
};

int rootSide(const TilesByDepth& in_tiles)
{
    int depth = 0;
    while (in_tiles[depth].empty()) {
        ++depth;
    }
    return kTileSideLUT[depth];
}

template <typename T>
std::shared_ptr<VoxelChannel<T>> makeChannel(VoxelState& io_state, const std::string& in_name,
                                             const std::string& in_shape, const T& in_background)
{
    requireNew(io_state.newVoxelChannel<T>(in_name, in_shape, eOffsetCentre, in_background),
               in_name);
    std::shared_ptr<TreeChannel3DBase> channel;
    io_state.channelRef(in_name, channel);
    return std::static_pointer_cast<VoxelChannel<T>>(channel);
}

/// The tiles with all tiles above their root, so that each tile that grading adds finds a parent
/// and the layout keeps one root.
TilesByDepth upToTheTop(TilesByDepth in_tiles)
{
    int depth = 0;
    while (in_tiles[depth].empty()) {
        ++depth;
    }
    const vec3i root = in_tiles[depth].front();
    while (depth-- > 0) {
        vec3i corner;
        int found = 0;
        idToTileCoords(tileCoordsToId(root[0], root[1], root[2], depth), corner[0], corner[1],
                       corner[2], found);
        in_tiles[depth].push_back(corner);
    }
    return in_tiles;
}

Items makeItems(VoxelState& io_state, std::string in_name, float in_voxel_size,
                const TilesByDepth& in_tiles, bool in_graded)
{
    Items items;
    const std::string shape_name = in_name + "-volume";
    const std::string layout_name = shape_name + "layout";
    std::shared_ptr<TreeLayout3DBase> layout;
    requireNew(io_state.newObject(in_name), in_name);
    requireNew(io_state.newLayout(layout_name, in_voxel_size, layout), layout_name);
    items.layout = std::static_pointer_cast<VoxelLayout>(layout);
    if (in_graded) {
        items.layout->addNodes(upToTheTop(in_tiles), nullptr);
        computeGradedTree(items.layout.get());
    } else {
        items.layout->addNodes(in_tiles, nullptr);
    }
    requireNew(io_state.newVoxelShape(shape_name, layout_name, &in_name, items.shape), shape_name);
    // What lies outside of the tree is on the outer side, as far away as the root is wide.
    const float far = in_voxel_size * static_cast<float>(rootSide(in_tiles));
    items.distance = makeChannel<float>(io_state, shape_name + "/distance", shape_name, far);
    items.normal = makeChannel<vec3f>(io_state, shape_name + "/normal", shape_name, vec3f{});
    return items;
}

/// Fills the two tiles of one node. Goes to and fro through the cells, so that each step is short
/// and the walker's memory serves.
void fillTile(const VoxelLayoutNode& in_node, float in_voxel_size,
              SignedDistance::Walker& io_walker, DistanceChannel::Tile& out_distance,
              NormalChannel::Tile& out_normal)
{
    constexpr int kWidth = DistanceChannel::tileWidth();
    const float cell = static_cast<float>(kTileSideLUT[in_node.depth() + 1]);
    const auto world = [&](int in_corner, int in_step) {
        return (static_cast<float>(in_corner) + (static_cast<float>(in_step) + 0.5f) * cell) *
               in_voxel_size;
    };
    for (int k = 0; k < kWidth; ++k) {
        for (int n = 0; n < kWidth; ++n) {
            const int j = k % 2 == 0 ? n : kWidth - 1 - n;
            for (int m = 0; m < kWidth; ++m) {
                const int i = (n + k) % 2 == 0 ? m : kWidth - 1 - m;
                const SignedDistance::Value value = io_walker.at(
                    {world(in_node.i(), i), world(in_node.j(), j), world(in_node.k(), k)});
                out_distance(i, j, k) = value.distance;
                out_normal(i, j, k) = value.normal;
            }
        }
    }
}

void fillChannels(const Items& in_items, const SignedDistance& in_distance)
{
    const VoxelLayout& layout = *in_items.layout;
    Progress progress("Voxelizing", layout.numNodes());
    for (int depth = 0; depth <= layout.maxDepth(); ++depth) {
        const int count = layout.numNodes(depth);
        tbb::parallel_for(tbb::blocked_range<int>(0, count), [&](const auto& in_range) {
            SignedDistance::Walker walker(in_distance);
            for (int n = in_range.begin(); n != in_range.end(); ++n) {
                fillTile(layout.node(n, depth), layout.MVS(), walker,
                         in_items.distance->tile(n, depth), in_items.normal->tile(n, depth));
            }
            progress.advance(in_range.end() - in_range.begin());
        });
    }
}

}  // namespace

VoxelizeResult voxelize(VoxelState& io_state, TriangleMesh in_mesh,
                        const VoxelizeOptions& in_options)
{
    checkOptions(in_options);
    VoxelizeResult result;
    result.voxel_size =
        in_options.voxel_size > 0.0f ? in_options.voxel_size : longestSide(in_mesh) / 100.0f;
    if (!(result.voxel_size >= std::numeric_limits<float>::min()) ||
        !std::isfinite(result.voxel_size)) {
        throw ToolError(eDataSaysNo, "the mesh has no extent, or one beyond all numbers");
    }
    result.topology = findTopology(in_mesh);
    result.repair = orientOutward(in_mesh);

    const bool closed = findTopology(in_mesh).isClosed();
    checkMemory(leastTiles(in_mesh, result.voxel_size), result.voxel_size);
    const TriangleBvh tree(in_mesh);
    const TilesByDepth tiles = findSurfaceTiles(tree, result.voxel_size, in_options.band);
    result.tiles = countTiles(tiles);
    checkMemory(double(result.tiles), result.voxel_size);
    const Items items =
        makeItems(io_state, in_options.name, result.voxel_size, tiles, in_options.graded);
    result.tiles = items.layout->numNodes();
    fillChannels(items, SignedDistance(tree, closed));

    result.shape_name = items.shape->name();
    result.channel_names = {items.distance->name(), items.normal->name()};
    return result;
}

std::string objectNameOf(const std::string& in_mesh, const std::string& in_given)
{
    if (!in_given.empty()) {
        checkObjectName(in_given);
        return in_given;
    }
    const std::string stem = std::filesystem::path(in_mesh).stem().string();
    const std::string kept = stem.substr(0, stem.find_last_not_of("#@._-") + 1);
    return kept.empty() ? "mesh" : withoutSigns(kept);
}

}  // namespace Skelvar::Tool
