#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/ShapeFile.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>
#include <optional>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

struct Arguments {
    std::string file;
    std::optional<int> frame;
    bool as_json = false;
};

json toJson(const ComponentStats& in_stats)
{
    json entry{{"values", in_stats.finite}, {"nan", in_stats.nan}, {"inf", in_stats.inf}};
    for (const auto& [key, value] : {std::pair{"min", in_stats.min}, std::pair{"max", in_stats.max},
                                     std::pair{"mean", in_stats.mean}}) {
        entry[key] = in_stats.finite > 0 ? json(value) : json(nullptr);
    }
    return entry;
}

json toJson(const TreeChannel3DBase& in_channel)
{
    json depths = json::array();
    for (int depth = 0; depth <= in_channel.maxDepth(); ++depth) {
        if (in_channel.numTiles(depth) > 0) {
            json components = json::array();
            for (const ComponentStats& stats : channelStats(in_channel, depth)) {
                components.push_back(toJson(stats));
            }
            depths.push_back({{"depth", depth},
                              {"tiles", in_channel.numTiles(depth)},
                              {"components", std::move(components)}});
        }
    }
    return {{"name", in_channel.name()},
            {"type", in_channel.typeMeta()->typeName()},
            {"depths", std::move(depths)}};
}

void printTable(const TreeChannel3DBase& in_channel)
{
    std::cout << in_channel.name() << "  " << in_channel.typeMeta()->typeName() << "\n"
              << "  depth     tiles            min            max           mean"
                 "       NaN       Inf\n";
    for (int depth = 0; depth <= in_channel.maxDepth(); ++depth) {
        if (in_channel.numTiles(depth) == 0) {
            continue;
        }
        const std::vector<ComponentStats> components = channelStats(in_channel, depth);
        for (std::size_t c = 0; c < components.size(); ++c) {
            const ComponentStats& stats = components[c];
            const std::string axis =
                components.size() > 1 ? std::string(1, '.') + "xyzw"[c] : std::string();
            const auto number = [&](double in_value) {
                return padLeft(stats.finite > 0 ? shortNumber(in_value, 7) : "-", 15);
            };
            std::cout << padLeft(std::to_string(depth) + padRight(axis, 2), 7)
                      << padLeft(std::to_string(in_channel.numTiles(depth)), 10)
                      << number(stats.min) << number(stats.max) << number(stats.mean)
                      << padLeft(std::to_string(stats.nan), 10)
                      << padLeft(std::to_string(stats.inf), 10) << "\n";
        }
    }
}

void run(const Arguments& in_arguments)
{
    const ShapeFile file = loadShapeFile(framePath(in_arguments.file, in_arguments.frame));
    file.voxelShape();
    json channels = json::array();
    bool first = true;
    for (const std::string& name : file.channelNames()) {
        const auto channel = file.channel(name);
        if (in_arguments.as_json) {
            channels.push_back(toJson(*channel));
        } else {
            std::cout << (first ? "" : "\n");
            printTable(*channel);
        }
        first = false;
    }
    if (in_arguments.as_json) {
        const json report{{"file", file.path}, {"channels", std::move(channels)}};
        std::cout << report.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
    }
}

}  // namespace

void addStatsCommand(CLI::App& io_app, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = io_app.add_subcommand("stats",
                                              "Tells least, greatest and mean finite value, and "
                                              "NaN and Inf counts, by channel and depth");
    command->add_option("FILE", arguments->file, "file to read")->required();
    command->add_option("--frame", arguments->frame, "frame of a path with a frame pattern");
    command->add_flag("--json", arguments->as_json, "print JSON");
    command->callback([arguments, &out_status] {
        run(*arguments);
        out_status = eDone;
    });
}

}  // namespace Skelvar::Tool
