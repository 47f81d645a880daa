#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfDump.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Frames.h>
#include <tools/kvf/ShapeFile.h>

#include <memory>

namespace Skelvar::Tool {

namespace {

struct DumpArguments {
    std::string file;
    std::string output;
    FrameOptions frames;
    bool verbose = false;
};

FrameResult dumpFile(const FrameTask& in_task, bool in_verbose)
{
    const QuietOutput quiet;  // the error's text says it all
    OutputFile output(withFolder(in_task.output));
    const bool is_written = kvfDump(in_task.input, output.path(), in_verbose);
    const std::string& error = kvfLastError();
    if (!is_written) {
        const bool is_ours = error.starts_with(output.path());
        throw ToolError(eFileUnreadable,
                        is_ours ? in_task.output + error.substr(output.path().size()) : error);
    }
    output.commit();
    if (!error.empty()) {
        return {in_task.output + "\n", eDataSaysNo,
                error + "; " + in_task.output + " has what could be read"};
    }
    return {in_task.output + "\n"};
}

}  // namespace

void addDumpCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<DumpArguments>();
    Command command = io_tool.command(
        "dump", "Writes what a file holds as text; of a damaged file what can be loaded");
    command.option("FILE", arguments->file, "file to read").required();
    command.option("OUT", arguments->output, "text to write").required();
    command.flag("--verbose", arguments->verbose, "counts for each depth too");
    arguments->frames.may_mix = true;
    addFrameOptions(command, true, arguments->frames);
    command.onRun([arguments, &out_status] {
        const auto tasks = selectFrames(arguments->file, arguments->output, arguments->frames);
        out_status = runFrames("dumping", tasks, arguments->frames, [&](const FrameTask& in_task) {
            return dumpFile(in_task, arguments->verbose);
        });
    });
}

}  // namespace Skelvar::Tool
