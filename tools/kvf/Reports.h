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

/// Tells of each file in text, headed by its path, or of all that can be read in one JSON array.
/// The paths may be of sequences. Gives the greatest status; throws `ToolError` as `selectFrames`
/// does, and if there is but one file and it fails.
ExitStatus runReports(const std::vector<std::string>& in_paths, const FrameOptions& in_options,
                      bool in_as_json, const Reporter& in_reporter);

}  // namespace Skelvar::Tool
