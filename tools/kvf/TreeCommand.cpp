#include <skelvar/tree/Grading.h>
#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Reports.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

/// What one depth of a tree holds.
struct DepthReport {
    long long nodes = 0;
    long long tiles = 0;           ///< of all channels
    unsigned long long bytes = 0;  ///< of nodes and tiles in memory
};

struct TreeReport {
    DepthReport depths[kNumDepths];
    int roots = 0;
    bool graded = false;
    LayoutConsistency violations;

    DepthReport total() const
    {
        DepthReport sum;
        for (const DepthReport& depth : depths) {
            sum.nodes += depth.nodes;
            sum.tiles += depth.tiles;
            sum.bytes += depth.bytes;
        }
        return sum;
    }
};

/// Memory of the tiles of one depth.
unsigned long long tileBytes(const TreeChannel3DBase& in_channel, int in_depth)
{
    unsigned long long bytes = 0;
    visitVoxelChannel(in_channel, [&](const auto& in_typed) {
        using Tile = typename std::decay_t<decltype(in_typed)>::Tile;
        bytes = sizeof(Tile) * static_cast<unsigned int>(in_typed.numTiles(in_depth));
    });
    visitParticleChannel(in_channel, [&](const auto& in_typed) {
        for (int n = 0; n < in_typed.numTiles(in_depth); ++n) {
            const auto& tile = in_typed.tile(n, in_depth);
            bytes += sizeof(tile) + tile.memUsage(MemUsage::eMemUsed);
        }
    });
    return bytes;
}

TreeReport inspect(const ShapeFile& in_file)
{
    const VoxelLayout& layout = in_file.layout();
    TreeReport report;
    report.roots = layout.numRoots();
    report.graded = isTreeGraded(&layout);
    report.violations = checkLayout(layout);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        report.depths[depth].nodes = layout.numNodes(depth);
        report.depths[depth].bytes = layout.nodes(depth).memUsage(MemUsage::eMemUsed, true);
    }
    for (const std::string& name : in_file.channelNames()) {
        const auto channel = in_file.channel(name);
        for (int depth = 0; depth < kNumDepths; ++depth) {
            report.depths[depth].tiles += channel->numTiles(depth);
            report.depths[depth].bytes += tileBytes(*channel, depth);
        }
    }
    return report;
}

json treeJson(const std::string& in_path)
{
    const TreeReport report = inspect(loadShapeFile(in_path));
    json depths = json::array();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const DepthReport& entry = report.depths[depth];
        depths.push_back({{"depth", depth},
                          {"nodes", entry.nodes},
                          {"tiles", entry.tiles},
                          {"bytes", entry.bytes}});
    }
    return {{"file", in_path},
            {"depths", std::move(depths)},
            {"roots", report.roots},
            {"graded", report.graded},
            {"consistent", report.violations.total() == 0},
            {"violations", report.violations.total()}};
}

std::string row(const std::string& in_name, const DepthReport& in_depth)
{
    return padLeft(in_name, 5) + padLeft(std::to_string(in_depth.nodes), 12) +
           padLeft(std::to_string(in_depth.tiles), 12) +
           padLeft(humanBytes(double(in_depth.bytes)), 12) + "\n";
}

std::string treeText(const std::string& in_path)
{
    const TreeReport report = inspect(loadShapeFile(in_path));
    std::string text = padLeft("depth", 5) + padLeft("nodes", 12) + padLeft("tiles", 12) +
                       padLeft("bytes", 12) + "\n";
    for (int depth = 0; depth < kNumDepths; ++depth) {
        text += row(std::to_string(depth), report.depths[depth]);
    }
    text += row("all", report.total());
    text += "roots: " + std::to_string(report.roots) + "\n";
    text += report.graded ? "graded\n" : "not graded\n";
    const long long violations = report.violations.total();
    return text + (violations == 0
                       ? "consistent\n"
                       : "not consistent, violations: " + std::to_string(violations) + "\n");
}

}  // namespace

void addTreeCommand(Command& io_tool, ExitStatus& out_status)
{
    addReportCommand(
        io_tool, "tree",
        "Tells what the tree of a file is like: nodes, the tiles of all channels and the bytes of "
        "both by depth, roots, grading and soundness",
        true, {"reading", treeText, treeJson}, out_status);
}

}  // namespace Skelvar::Tool
