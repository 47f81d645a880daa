#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Reports.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

#include <sstream>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

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

std::string statsText(const std::string& in_path)
{
    const ShapeFile file = loadShapeFile(in_path);
    std::string text;
    for (const std::string& name : file.channelNames()) {
        text += (text.empty() ? "" : "\n") + table(*file.channel(name));
    }
    return text;
}

json statsJson(const std::string& in_path)
{
    const ShapeFile file = loadShapeFile(in_path);
    json channels = json::array();
    for (const std::string& name : file.channelNames()) {
        channels.push_back(toJson(*file.channel(name)));
    }
    return {{"file", in_path}, {"channels", std::move(channels)}};
}

}  // namespace

void addStatsCommand(Command& io_tool, ExitStatus& out_status)
{
    addReportCommand(
        io_tool, "stats",
        "Tells least, greatest and mean finite value, and NaN and Inf counts, by channel and depth",
        false, {"reading", statsText, statsJson}, out_status);
}

}  // namespace Skelvar::Tool
