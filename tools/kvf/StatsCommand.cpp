#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

#include <memory>
#include <sstream>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

struct StatsArguments {
    std::string file;
    FrameOptions frames;
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

std::string table(const TreeChannel3DBase& in_channel)
{
    std::ostringstream text;
    text << in_channel.name() << "  " << in_channel.typeMeta()->typeName() << "\n"
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
            text << padLeft(std::to_string(depth) + padRight(axis, 2), 7)
                 << padLeft(std::to_string(in_channel.numTiles(depth)), 10) << number(stats.min)
                 << number(stats.max) << number(stats.mean)
                 << padLeft(std::to_string(stats.nan), 10) << padLeft(std::to_string(stats.inf), 10)
                 << "\n";
        }
    }
    return text.str();
}

std::string tables(const ShapeFile& in_file)
{
    std::string text;
    for (const std::string& name : in_file.channelNames()) {
        text += (text.empty() ? "" : "\n") + table(*in_file.channel(name));
    }
    return text;
}

json toJson(const ShapeFile& in_file)
{
    json channels = json::array();
    for (const std::string& name : in_file.channelNames()) {
        channels.push_back(toJson(*in_file.channel(name)));
    }
    return {{"file", in_file.path}, {"channels", std::move(channels)}};
}

ExitStatus run(const StatsArguments& in_arguments)
{
    const auto tasks = selectFrames(in_arguments.file, {}, in_arguments.frames);
    const bool is_sequence = tasks.size() != 1;
    std::vector<json> reports(tasks.size());
    const ExitStatus status =
        runFrames("reading", tasks, in_arguments.frames, [&](const FrameTask& in_task) {
            const ShapeFile file = loadShapeFile(in_task.input);
            if (in_arguments.as_json) {
                reports[static_cast<std::size_t>(&in_task - tasks.data())] = toJson(file);
                return FrameResult{};
            }
            return FrameResult{(is_sequence ? file.path + "\n" : "") + tables(file)};
        });
    if (in_arguments.as_json) {
        const json report = is_sequence ? json(reports) : reports.front();
        printOutput(report.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
    }
    return status;
}

}  // namespace

void addStatsCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<StatsArguments>();
    Command command = io_tool.command("stats",
                                      "Tells least, greatest and mean finite value, and "
                                      "NaN and Inf counts, by channel and depth");
    command.option("FILE", arguments->file, "file to read").required();
    addFrameOptions(command, false, arguments->frames);
    command.flag("--json", arguments->as_json, "print JSON, an array for a sequence");
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
