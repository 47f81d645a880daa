#pragma once

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/ToolError.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Skelvar::Tool {

/// Frames `first`, `first` + `step`, and so on, up to `last`.
struct FrameRange {
    long long first = 0;
    long long last = 0;
    long long step = 1;

    bool holds(long long in_frame) const;
    long long count() const { return (last - first) / step + 1; }
};

/// Reads "7", "1-100" or "1-100x5"; a number may be negative, as in "-10--1". Throws `ToolError`
/// with `eMisuse` for any other text, for a range that runs backwards and for a step below 1.
FrameRange parseFrameRange(const std::string& in_text);

/// One machine's part of the work: every `count`-th frame, from the `number`-th on (1 to `count`).
struct Shard {
    int number = 1;
    int count = 1;
};

/// Reads "2/8". Throws `ToolError` with `eMisuse` for another text or a number out of its range.
Shard parseShard(const std::string& in_text);

/// What the user said about frames. `addFrameOptions` fills it.
struct FrameOptions {
    std::optional<int> frame;
    std::string frames;  ///< as given, to be read by `selectFrames`; as is the next
    std::string shard;
    int jobs = 1;
    bool skip_existing = false;
    bool may_mix = false;     ///< set by a command that does not mind several shapes in a sequence
    bool are_meshes = false;  ///< set by a command whose inputs tell neither frame nor shape
};

/// Adds --frame, --frames, --shard and --jobs to a command, and --skip-existing to one that writes
/// a file for each frame. The options must live until the command has run.
void addFrameOptions(Command& io_command, bool in_writes_files, FrameOptions& io_options);

/// Whether a path holds a frame pattern: `#` or `@@@@`.
bool hasFramePattern(const std::string& in_path);

/// A file of a sequence.
struct FrameFile {
    int frame = 0;
    std::string path;
};

/// The files that stand under a path with a frame pattern, by rising frame. Throws `ToolError` with
/// `eFileUnreadable` if the folder cannot be read.
std::vector<FrameFile> findFrames(const std::string& in_pattern);

/// Whether a path stands for all of its frames: it has a pattern, no frame of it is asked for, and
/// no file has that very name.
bool isSequence(const std::string& in_input, const FrameOptions& in_options);

/// One step of a command: a file to read, and the file that comes of it.
struct FrameTask {
    std::optional<int> frame;  ///< empty if nothing names one
    std::string input;
    std::string output;  ///< with the frame in its place; empty if none is made
};

/// The steps that a command line asks for, by rising frame: one for a path without a pattern or
/// with --frame; else one for each file of the sequence, within --frames and the shard. Pass an
/// empty `in_output` if the command writes no file; the frame of a lone file goes into a pattern
/// there too (0 for a mesh). With --frames, which shard a frame falls to does not depend on the
/// files that are there; frames of the range without a file are told in one line on standard error.
/// Throws `ToolError` if a part of the options makes no sense, if several frames would go to one
/// output, if there is no file at all, or if the files hold different shapes.
std::vector<FrameTask> selectFrames(const std::string& in_input, const std::string& in_output,
                                    const FrameOptions& in_options);

/// The steps of a command that only reads, over several paths one after another.
std::vector<FrameTask> selectFrames(const std::vector<std::string>& in_inputs,
                                    const FrameOptions& in_options);

/// The name of an output that the user did not name: that of the input without its folder, with
/// another ending. Holds the pattern that the input's name holds.
std::string besideName(const std::string& in_input, const std::string& in_ending);

/// What a step tells the user: its lines for standard output, and its status and line of error if
/// it did not throw.
struct FrameResult {
    std::string text;
    ExitStatus status = eDone;
    std::string error{};  ///< empty for none
};

/// Runs the steps, --jobs of them at once, each on a thread of its own, and prints their texts in
/// order. On a terminal a bar on standard error tells how far the work is. Under --skip-existing a
/// step whose output is there when its turn comes is left out. A step that fails is told in one
/// line, and the others go on; that of a single step is thrown. After an interrupt (SIGINT,
/// SIGTERM) the steps under way are finished and no more are begun. Gives the greatest status.
ExitStatus runFrames(const std::string& in_title, const std::vector<FrameTask>& in_tasks,
                     const FrameOptions& in_options,
                     const std::function<FrameResult(const FrameTask&)>& in_work);

}  // namespace Skelvar::Tool
