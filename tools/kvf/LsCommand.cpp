#include <skelvar/io/Kvf.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Format.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>

namespace Skelvar::Tool {

namespace {

using nlohmann::json;

constexpr long long kMostListed = 1000000;  ///< missing frames named one by one

struct LsArguments {
    std::string pattern;
    std::string frames;
    bool as_json = false;
};

/// A file of the sequence, judged by its header and the sizes in it.
struct Listed {
    FrameFile file;
    unsigned long long bytes = 0;
    std::string fault;  ///< empty for a file that is all there
};

/// What is wrong with the sizes that a file states; empty if nothing is.
std::string faultOf(const std::string& in_path, unsigned long long in_bytes)
{
    std::vector<KvfChannelSize> sizes;
    const QuietOutput quiet;
    if (!kvfChannelSizes(in_path, sizes)) {
        const std::string& error = kvfLastError();
        const std::string start = in_path + ": ";
        return error.starts_with(start) ? error.substr(start.size()) : error;
    }
    const unsigned long long end =
        sizes.empty() ? in_bytes : sizes.back().offset + sizes.back().diskBytes;
    return end == in_bytes ? ""
                           : "the last channel ends at byte " + std::to_string(end) +
                                 ", and the file has " + std::to_string(in_bytes);
}

/// The frames of the range that have no file; without a range those between first and last.
std::vector<FrameRange> holesBetween(const std::vector<Listed>& in_files,
                                     const FrameRange& in_range)
{
    std::vector<FrameRange> holes;
    long long next = in_range.first;
    const auto leaveOut = [&](long long in_end) {
        if (next < in_end) {
            holes.push_back({next, in_end - in_range.step, in_range.step});
        }
    };
    for (const Listed& listed : in_files) {
        leaveOut(listed.file.frame);
        next = listed.file.frame + in_range.step;
    }
    leaveOut(in_range.last + in_range.step);
    return holes;
}

std::string textOf(const FrameRange& in_range)
{
    std::string text = std::to_string(in_range.first);
    if (in_range.last > in_range.first) {
        text += "-" + std::to_string(in_range.last);
        text += in_range.step > 1 ? "x" + std::to_string(in_range.step) : "";
    }
    return text;
}

struct Listing {
    std::vector<Listed> files;
    std::vector<FrameRange> holes;

    const Listed* lastComplete() const
    {
        const auto last = std::find_if(files.rbegin(), files.rend(),
                                       [](const Listed& in_file) { return in_file.fault.empty(); });
        return last == files.rend() ? nullptr : &*last;
    }
    long long numMissing() const
    {
        long long count = 0;
        for (const FrameRange& hole : holes) {
            count += hole.count();
        }
        return count;
    }
};

Listing list(const LsArguments& in_arguments)
{
    if (!hasFramePattern(in_arguments.pattern)) {
        throw ToolError(eMisuse, in_arguments.pattern +
                                     " holds no frame pattern; write # for the number, as in "
                                     "name.#.kvf");
    }
    FrameOptions options;
    options.frames = in_arguments.frames;
    std::optional<FrameRange> range;
    if (!in_arguments.frames.empty()) {
        range = parseFrameRange(in_arguments.frames);
    }
    Listing listing;
    for (const FrameFile& file : findFrames(in_arguments.pattern)) {
        if (!range || range->holds(file.frame)) {
            std::error_code error;
            const auto bytes = std::filesystem::file_size(file.path, error);
            listing.files.push_back({file, bytes, faultOf(file.path, bytes)});
        }
    }
    if (listing.files.empty()) {
        selectFrames(in_arguments.pattern, {}, options);  // says what is missing, and ends here
    }
    listing.holes =
        holesBetween(listing.files, range.value_or(FrameRange{listing.files.front().file.frame,
                                                              listing.files.back().file.frame, 1}));
    return listing;
}

json toJson(const Listing& in_listing, const std::string& in_pattern)
{
    if (in_listing.numMissing() > kMostListed) {
        throw ToolError(eDataSaysNo, std::to_string(in_listing.numMissing()) +
                                         " frames are missing, too many to name; narrow the "
                                         "range with --frames");
    }
    json frames = json::array(), missing = json::array(), damaged = json::array();
    json files = json::array();
    for (const Listed& listed : in_listing.files) {
        frames.push_back(listed.file.frame);
        json entry{
            {"frame", listed.file.frame}, {"file", listed.file.path}, {"bytes", listed.bytes}};
        if (!listed.fault.empty()) {
            damaged.push_back(listed.file.frame);
            entry["fault"] = listed.fault;
        }
        files.push_back(std::move(entry));
    }
    for (const FrameRange& hole : in_listing.holes) {
        for (long long frame = hole.first; frame <= hole.last; frame += hole.step) {
            missing.push_back(frame);
        }
    }
    const Listed* const last = in_listing.lastComplete();
    return {{"pattern", in_pattern},
            {"frames", std::move(frames)},
            {"missing", std::move(missing)},
            {"damaged", std::move(damaged)},
            {"last_complete", last ? json(last->file.frame) : json(nullptr)},
            {"files", std::move(files)}};
}

std::string toText(const Listing& in_listing)
{
    std::ostringstream text;
    unsigned long long bytes = 0;
    std::size_t num_damaged = 0;
    for (const Listed& listed : in_listing.files) {
        bytes += listed.bytes;
        num_damaged += listed.fault.empty() ? 0 : 1;
        text << padLeft(std::to_string(listed.file.frame), 8)
             << padLeft(humanBytes(double(listed.bytes)), 10) << "  " << listed.file.path
             << (listed.fault.empty() ? "" : "  damaged: " + listed.fault) << "\n";
    }
    text << in_listing.files.size() << " frames, " << humanBytes(double(bytes)) << ", "
         << num_damaged << " damaged, " << in_listing.numMissing() << " missing";
    constexpr std::size_t kMostRanges = 20;
    for (std::size_t n = 0; n < std::min(in_listing.holes.size(), kMostRanges); ++n) {
        text << (n == 0 ? ": " : ", ") << textOf(in_listing.holes[n]);
    }
    text << (in_listing.holes.size() > kMostRanges ? ", ...\n" : "\n");
    if (const Listed* const last = in_listing.lastComplete()) {
        text << "last complete frame: " << last->file.frame << "\n";
    } else {
        text << "no frame is complete\n";
    }
    return text.str();
}

void run(const LsArguments& in_arguments)
{
    const Listing listing = list(in_arguments);
    printOutput(in_arguments.as_json
                    ? toJson(listing, in_arguments.pattern)
                              .dump(2, ' ', false, json::error_handler_t::replace) +
                          "\n"
                    : toText(listing));
}

}  // namespace

void addLsCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<LsArguments>();
    Command command = io_tool.command(
        "ls", "Lists the frames of a sequence: sizes, holes, files that are cut short or damaged");
    command.option("PATTERN", arguments->pattern, "path with a frame pattern: name.#.kvf")
        .required();
    command.option("--frames", arguments->frames,
                   "frames that should be there, as A-B or A-BxS (the first to the last)");
    command.flag("--json", arguments->as_json,
                 "print JSON: frames, missing, damaged, last_complete, files");
    command.onRun([arguments, &out_status] {
        run(*arguments);
        out_status = eDone;
    });
}

}  // namespace Skelvar::Tool
