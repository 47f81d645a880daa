#include <tools/kvf/Reports.h>

#include <tools/kvf/Output.h>

#include <nlohmann/json.hpp>

namespace Skelvar::Tool {

ExitStatus runReports(const std::vector<std::string>& in_paths, const FrameOptions& in_options,
                      bool in_as_json, const Reporter& in_reporter)
{
    using nlohmann::json;
    const std::vector<FrameTask> tasks = selectFrames(in_paths, in_options);
    std::vector<json> entries(tasks.size());
    const auto report = [&](const FrameTask& in_task) -> FrameResult {
        const auto place = static_cast<std::size_t>(&in_task - tasks.data());
        if (in_as_json) {
            entries[place] = in_reporter.json(in_task.input);
            return {};
        }
        return {(place > 0 ? "\n" : "") + in_task.input + "\n" + in_reporter.text(in_task.input)};
    };
    const ExitStatus status = runFrames(in_reporter.title, tasks, in_options, report);
    if (in_as_json) {
        std::erase_if(entries, [](const json& in_entry) { return in_entry.is_null(); });
        // A name in a file may hold any bytes: those that are no UTF-8 are replaced.
        printOutput(json(entries).dump(2, ' ', false, json::error_handler_t::replace) + "\n");
    }
    return status;
}

}  // namespace Skelvar::Tool
