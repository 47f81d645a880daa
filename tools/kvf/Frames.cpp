#include <tools/kvf/Frames.h>

#include <skelvar/io/Kvf.h>

#include <tools/kvf/ShapeFile.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace Skelvar::Tool {

namespace {

/// The one step of a path that is no sequence.
FrameTask singleTask(const std::string& in_input, const std::string& in_output,
                     const FrameOptions& in_options)
{
    if (!in_options.frames.empty() || !in_options.shard.empty()) {
        throw ToolError(eMisuse,
                        "--frames and --shard want a path with a frame pattern, as in "
                        "name.#.kvf, and no --frame; this is " +
                            in_input);
    }
    FrameTask task{in_options.frame, framePath(in_input, in_options.frame), in_output};
    if (in_options.are_meshes) {
        task.frame = in_options.frame.value_or(0);
    }
    if (hasFramePattern(in_output)) {
        task.output = framePath(in_output, task.frame ? *task.frame : readHeader(task.input).frame);
    }
    return task;
}

std::string describe(const std::vector<FrameFile>& in_files)
{
    const std::string first = std::to_string(in_files.front().frame);
    return in_files.size() == 1 ? "frame " + first
                                : std::to_string(in_files.size()) + " frames from " + first +
                                      " to " + std::to_string(in_files.back().frame);
}

/// Says which frames of the range have no file; the rest of the work goes on without them.
void tellMissing(const FrameRange& in_range, const std::vector<FrameFile>& in_files)
{
    const long long missing = in_range.count() - static_cast<long long>(in_files.size());
    if (missing > 0) {
        long long first = in_range.first;
        for (const FrameFile& file : in_files) {
            first += file.frame == first ? in_range.step : 0;
        }
        std::cerr << "kvf: " << missing << " of " << in_range.count()
                  << " frames have no file, the first of them is frame " << first << "\n";
    }
}

/// The files of a sequence that the range and the shard leave.
std::vector<FrameFile> filesOf(const std::string& in_input, const FrameOptions& in_options)
{
    const bool all_frames = in_options.frames.empty();
    const FrameRange range = all_frames ? FrameRange{} : parseFrameRange(in_options.frames);
    const Shard shard = in_options.shard.empty() ? Shard{} : parseShard(in_options.shard);
    const std::vector<FrameFile> all = findFrames(in_input);
    if (all.empty()) {
        throw ToolError(eFileUnreadable, "no file has the pattern " + in_input +
                                             "; is its folder right, and has the name the frame in "
                                             "four digits, as name.0001.kvf?");
    }
    std::vector<FrameFile> in_range;
    std::vector<FrameFile> in_shard;
    for (const FrameFile& file : all) {
        if (!all_frames && !range.holds(file.frame)) {
            continue;
        }
        const long long place = all_frames ? static_cast<long long>(in_range.size())
                                           : (file.frame - range.first) / range.step;
        in_range.push_back(file);
        if (place % shard.count == shard.number - 1) {
            in_shard.push_back(file);
        }
    }
    if (in_range.empty()) {
        throw ToolError(eFileUnreadable, "there is no frame of " + in_options.frames + "; " +
                                             in_input + " has " + describe(all));
    }
    if (!all_frames) {
        tellMissing(range, in_range);
    }
    return in_shard;
}

/// Throws if the files hold shapes of different names or kinds. A header that cannot be read is
/// told when its frame comes.
void checkOneShape(const std::string& in_input, const std::vector<FrameFile>& in_files)
{
    const auto shapeIn = [](const FrameFile& in_file) -> std::string {
        KVFInfo info{};
        const QuietOutput quiet;
        return kvfInfo(in_file.path, info) ? info.shapeType + " " + info.shapeName : "";
    };
    const FrameFile* first = nullptr;
    std::string shape;
    for (const FrameFile& file : in_files) {
        const std::string other = shapeIn(file);
        if (!first && !other.empty()) {
            first = &file;
            shape = other;
        } else if (first && !other.empty() && other != shape) {
            throw ToolError(eDataSaysNo, in_input + " mixes shapes: frame " +
                                             std::to_string(first->frame) + " holds " + shape +
                                             ", frame " + std::to_string(file.frame) + " holds " +
                                             other + "; narrow the range with --frames");
        }
    }
}

}  // namespace

void addFrameOptions(Command& io_command, bool in_writes_files, FrameOptions& io_options)
{
    io_command.option("--frame", io_options.frame,
                      "one frame: stands in for the pattern, and in new files");
    io_command
        .option("--frames", io_options.frames,
                "frames of a path with a frame pattern, as A-B or A-BxS (all that are there)")
        .excludes("--frame");
    io_command.option("--shard", io_options.shard,
                      "I/N: only the I-th part of the frames, of N parts");
    io_command.option("--jobs", io_options.jobs, "frames worked on at once")
        .inRange(1, 256)
        .showDefault();
    if (in_writes_files) {
        io_command.flag("--skip-existing", io_options.skip_existing,
                        "leave out frames whose output is there");
    }
}

bool isSequence(const std::string& in_input, const FrameOptions& in_options)
{
    std::error_code error;
    return hasFramePattern(in_input) && !in_options.frame &&
           !(in_options.frames.empty() && std::filesystem::is_regular_file(in_input, error));
}

std::vector<FrameTask> selectFrames(const std::string& in_input, const std::string& in_output,
                                    const FrameOptions& in_options)
{
    std::vector<FrameTask> tasks;
    if (!isSequence(in_input, in_options)) {
        tasks.push_back(singleTask(in_input, in_output, in_options));
    } else {
        if (!in_output.empty() && !hasFramePattern(in_output)) {
            throw ToolError(eMisuse, "every frame would go to " + in_output +
                                         "; give it a frame pattern, as in name.#.kvf");
        }
        const std::vector<FrameFile> files = filesOf(in_input, in_options);
        if (!in_options.may_mix && !in_options.are_meshes) {
            checkOneShape(in_input, files);
        }
        for (const FrameFile& file : files) {
            const std::string output = in_output.empty() ? "" : framePath(in_output, file.frame);
            tasks.push_back({file.frame, file.path, output});
        }
    }
    return tasks;
}

std::vector<FrameTask> selectFrames(const std::vector<std::string>& in_inputs,
                                    const FrameOptions& in_options)
{
    std::vector<FrameTask> tasks;
    for (const std::string& input : in_inputs) {
        const std::vector<FrameTask> more = selectFrames(input, "", in_options);
        tasks.insert(tasks.end(), more.begin(), more.end());
    }
    return tasks;
}

std::string besideName(const std::string& in_input, const std::string& in_ending)
{
    return std::filesystem::path(in_input).stem().string() + in_ending;
}

}  // namespace Skelvar::Tool
