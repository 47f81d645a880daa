#include <skelvar/io/Kvf.h>

#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Reports.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

std::vector<KvfChannelSize> readSizes(const std::string& in_path)
{
    std::vector<KvfChannelSize> sizes;
    const QuietOutput quiet;
    if (!kvfChannelSizes(in_path, sizes)) {
        throw ToolError(eFileUnreadable, kvfLastError());
    }
    return sizes;
}

std::string readReport(const std::string& in_path)
{
    std::string report;
    const QuietOutput quiet;
    if (!kvfInfo(in_path, report)) {
        throw ToolError(eFileUnreadable, kvfLastError());
    }
    return report;
}

json infoJson(const std::string& in_path)
{
    const KVFInfo info = readHeader(in_path);
    const std::vector<KvfChannelSize> sizes = readSizes(in_path);
    json channels = json::array();
    for (std::size_t c = 0; c < info.channels.size(); ++c) {
        const KVFInfo::ChannelInfo& channel = info.channels[c];
        json entry{{"name", channel.name},
                   {"type", channel.type},
                   {"tiles", channel.numTiles},
                   {"elements", channel.numElements},
                   {"maxDepth", channel.maxDepth}};
        if (c < sizes.size()) {
            entry["offset"] = sizes[c].offset;
            entry["diskBytes"] = sizes[c].diskBytes;
            entry["memoryBytes"] = sizes[c].memoryBytes;
            entry["chunks"] = sizes[c].chunks;
        }
        channels.push_back(std::move(entry));
    }
    return {{"file", in_path},
            {"version", info.version},
            {"frame", info.frame},
            {"quality", info.quality},
            {"shape",
             {{"name", info.shapeName},
              {"object", info.objectName},
              {"type", info.shapeType},
              {"layout", info.layoutName}}},
            {"channels", std::move(channels)}};
}

std::string sizesTable(const std::vector<KvfChannelSize>& in_sizes)
{
    std::size_t longest = 7;
    for (const KvfChannelSize& size : in_sizes) {
        longest = std::max(longest, size.name.size());
    }
    const int width = static_cast<int>(longest);
    std::string text = "\n" + padRight("Sizes", width) + padLeft("on disk", 12) +
                       padLeft("in memory", 12) + padLeft("ratio", 8) + padLeft("chunks", 8) + "\n";
    for (const KvfChannelSize& size : in_sizes) {
        const double ratio =
            size.diskBytes > 0 ? double(size.memoryBytes) / double(size.diskBytes) : 0.0;
        text += padRight(size.name, width) + padLeft(humanBytes(double(size.diskBytes)), 12) +
                padLeft(humanBytes(double(size.memoryBytes)), 12) +
                padLeft(shortNumber(ratio, 3), 8) + padLeft(std::to_string(size.chunks), 8) + "\n";
    }
    return text;
}

std::string infoText(const std::string& in_path)
{
    return readReport(in_path) + sizesTable(readSizes(in_path));
}

}  // namespace

void addInfoCommand(Command& io_tool, ExitStatus& out_status)
{
    addReportCommand(io_tool, "info",
                     "Tells what files hold and how large it is, without loading them", true,
                     {"reading headers", infoText, infoJson}, out_status);
}

}  // namespace Skelvar::Tool
