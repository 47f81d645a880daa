#pragma once

#include <tools/kvf/Frames.h>

#include <nlohmann/json_fwd.hpp>

namespace Skelvar::Tool {

/// How a command tells of one file.
struct Reporter {
    std::string title;  ///< of the bar
    std::function<std::string(const std::string& in_path)> text;
    std::function<nlohmann::json(const std::string& in_path)> json;
};

/// Adds a command that tells of each file in text, headed by its path, or with --json of all that
/// can be read in one JSON array. The paths may be of sequences, and those be of several shapes if
/// they may mix. The status is the greatest of all files; the command throws `ToolError` as
/// `selectFrames` does, and if there is but one file and it fails.
void addReportCommand(Command& io_tool, const std::string& in_name, const std::string& in_help,
                      bool in_may_mix, const Reporter& in_reporter, ExitStatus& out_status);

}  // namespace Skelvar::Tool
