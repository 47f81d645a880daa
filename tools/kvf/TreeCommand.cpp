#include <skelvar/tree/Grading.h>
#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

struct TreeArguments {
    std::vector<std::string> files;
    std::optional<int> frame;
    bool as_json = false;
};

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

TreeReport inspect(const ShapeFile& in_file)
{
    const auto layout = std::dynamic_pointer_cast<VoxelLayout>(in_file.shape->layoutPtr());
    if (!layout) {
        throw ToolError(eDataSaysNo, in_file.path + ": the shape has no layout");
    }
    TreeReport report;
    report.roots = layout->numRoots();
    report.graded = isTreeGraded(layout.get());
    report.violations = checkLayout(*layout);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        report.depths[depth].nodes = layout->numNodes(depth);
        for (const VoxelLayoutNode& node : layout->nodes(depth)) {
            report.depths[depth].bytes += node.memUsage(MemUsage::eMemUsed, true);
        }
    }
    for (const std::string& name : in_file.channelNames()) {
        const auto channel = in_file.channel(name);
        const unsigned long long bytes = channel->memUsage(MemUsage::eMemUsed, false);
        // All tiles of a voxel channel have one size.
        const int tiles = std::max(channel->numTiles(), 1);
        for (int depth = 0; depth < kNumDepths; ++depth) {
            report.depths[depth].tiles += channel->numTiles(depth);
            report.depths[depth].bytes += bytes / static_cast<unsigned>(tiles) *
                                          static_cast<unsigned>(channel->numTiles(depth));
        }
    }
    return report;
}

json toJson(const std::string& in_path, const TreeReport& in_report)
{
    json depths = json::array();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const DepthReport& entry = in_report.depths[depth];
        depths.push_back({{"depth", depth},
                          {"nodes", entry.nodes},
                          {"tiles", entry.tiles},
                          {"bytes", entry.bytes}});
    }
    return {{"file", in_path},
            {"depths", std::move(depths)},
            {"roots", in_report.roots},
            {"graded", in_report.graded},
            {"consistent", in_report.violations.total() == 0},
            {"violations", in_report.violations.total()}};
}

void printRow(const std::string& in_name, const DepthReport& in_depth)
{
    std::cout << padLeft(in_name, 5) << padLeft(std::to_string(in_depth.nodes), 12)
              << padLeft(std::to_string(in_depth.tiles), 12)
              << padLeft(humanBytes(double(in_depth.bytes)), 12) << "\n";
}

void print(const std::string& in_path, const TreeReport& in_report)
{
    std::cout << in_path << "\n"
              << padLeft("depth", 5) << padLeft("nodes", 12) << padLeft("tiles", 12)
              << padLeft("bytes", 12) << "\n";
    for (int depth = 0; depth < kNumDepths; ++depth) {
        printRow(std::to_string(depth), in_report.depths[depth]);
    }
    printRow("all", in_report.total());
    std::cout << "roots: " << in_report.roots << "\n"
              << (in_report.graded ? "graded" : "not graded") << "\n";
    const long long violations = in_report.violations.total();
    std::cout << (violations == 0 ? "consistent"
                                  : "not consistent, violations: " + std::to_string(violations))
              << "\n";
}

void run(const TreeArguments& in_arguments)
{
    json all = json::array();
    for (std::size_t f = 0; f < in_arguments.files.size(); ++f) {
        const std::string path = framePath(in_arguments.files[f], in_arguments.frame);
        const TreeReport report = inspect(loadShapeFile(path));
        if (in_arguments.as_json) {
            all.push_back(toJson(path, report));
        } else {
            std::cout << (f > 0 ? "\n" : "");
            print(path, report);
        }
    }
    if (in_arguments.as_json) {
        std::cout << all.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
    }
}

}  // namespace

void addTreeCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<TreeArguments>();
    Command command = io_tool.command(
        "tree", "Tells what the tree of a file is like: its depths, roots, grading and soundness");
    command.option("FILE", arguments->files, "files to read").required();
    command.option("--frame", arguments->frame, "frame of a path with a frame pattern");
    command.flag("--json", arguments->as_json, "print a JSON array, one entry a file");
    command.onRun([arguments, &out_status] {
        run(*arguments);
        out_status = eDone;
    });
}

}  // namespace Skelvar::Tool
