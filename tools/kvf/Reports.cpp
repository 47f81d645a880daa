#include <tools/kvf/Reports.h>

#include <tools/kvf/Output.h>

#include <nlohmann/json.hpp>

#include <memory>

namespace Skelvar::Tool {

namespace {

struct ReportArguments {
    std::vector<std::string> files;
    FrameOptions frames;
    bool as_json = false;
};

ExitStatus runReports(const ReportArguments& in_arguments, const Reporter& in_reporter)
{
    using nlohmann::json;
    const std::vector<FrameTask> tasks = selectFrames(in_arguments.files, in_arguments.frames);
    std::vector<json> entries(tasks.size());
    const auto report = [&](const FrameTask& in_task) -> FrameResult {
        const auto place = static_cast<std::size_t>(&in_task - tasks.data());
        if (in_arguments.as_json) {
            entries[place] = in_reporter.json(in_task.input);
            return {};
        }
        return {(place > 0 ? "\n" : "") + in_task.input + "\n" + in_reporter.text(in_task.input)};
    };
    const ExitStatus status = runFrames(in_reporter.title, tasks, in_arguments.frames, report);
    if (in_arguments.as_json) {
        std::erase_if(entries, [](const json& in_entry) { return in_entry.is_null(); });
        // A name in a file may hold any bytes: those that are no UTF-8 are replaced.
        printOutput(json(entries).dump(2, ' ', false, json::error_handler_t::replace) + "\n");
    }
    return status;
}

}  // namespace

void addReportCommand(Command& io_tool, const std::string& in_name, const std::string& in_help,
                      bool in_may_mix, const Reporter& in_reporter, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<ReportArguments>();
    Command command = io_tool.command(in_name, in_help);
    command.option("FILE", arguments->files, "files to read").required();
    arguments->frames.may_mix = in_may_mix;
    addFrameOptions(command, false, arguments->frames);
    command.flag("--json", arguments->as_json, "print a JSON array, one entry a file");
    command.onRun([arguments, in_reporter, &out_status] {
        out_status = runReports(*arguments, in_reporter);
    });
}

}  // namespace Skelvar::Tool
