#pragma once

#include <tools/kvf/ToolError.h>

namespace Skelvar::Tool {

class Command;

// Each adds one command to the program. A command that runs leaves its status in `out_status`, or
// throws a `ToolError`. `out_status` must live until the command line has been parsed.

void addVoxelizeCommand(Command& io_tool, ExitStatus& out_status);
void addScatterCommand(Command& io_tool, ExitStatus& out_status);
void addExportCommand(Command& io_tool, ExitStatus& out_status);
void addInfoCommand(Command& io_tool, ExitStatus& out_status);
void addCheckCommand(Command& io_tool, ExitStatus& out_status);
void addConvertCommand(Command& io_tool, ExitStatus& out_status);
void addStatsCommand(Command& io_tool, ExitStatus& out_status);
void addLsCommand(Command& io_tool, ExitStatus& out_status);
void addDiffCommand(Command& io_tool, ExitStatus& out_status);
void addSliceCommand(Command& io_tool, ExitStatus& out_status);
void addSampleCommand(Command& io_tool, ExitStatus& out_status);
void addRenderCommand(Command& io_tool, ExitStatus& out_status);
void addSolveCommand(Command& io_tool, ExitStatus& out_status);
void addTreeCommand(Command& io_tool, ExitStatus& out_status);
void addDumpCommand(Command& io_tool, ExitStatus& out_status);

/// The whole program: parses, runs, prints one line "kvf: ..." on standard error for a failure, and
/// gives the exit status.
int runTool(int in_argc, const char* const* in_argv);

}  // namespace Skelvar::Tool
