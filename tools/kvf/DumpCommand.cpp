#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfDump.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/ShapeFile.h>

#include <memory>

namespace Skelvar::Tool {

namespace {

struct DumpArguments {
    std::string file;
    std::string output;
    bool verbose = false;
};

ExitStatus run(const DumpArguments& in_arguments)
{
    const QuietOutput quiet;  // the error's text says it all
    if (!kvfDump(in_arguments.file, withFolder(in_arguments.output), in_arguments.verbose)) {
        throw ToolError(eFileUnreadable, kvfLastError());
    }
    return eDone;
}

}  // namespace

void addDumpCommand(Command& io_tool, ExitStatus& out_status)
{
    const auto arguments = std::make_shared<DumpArguments>();
    Command command = io_tool.command(
        "dump", "Writes what a file holds as text; of a damaged file what can be loaded");
    command.option("file", arguments->file, "the file").required();
    command.option("output", arguments->output, "the text to write").required();
    command.flag("--verbose", arguments->verbose, "counts for each depth too");
    command.onRun([arguments, &out_status] { out_status = run(*arguments); });
}

}  // namespace Skelvar::Tool
