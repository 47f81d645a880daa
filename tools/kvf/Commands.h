#pragma once

#include <tools/kvf/ToolError.h>

namespace CLI {
class App;
}

namespace Skelvar::Tool {

// Each adds one command to the program. A command that runs leaves its status in `out_status`, or
// throws a `ToolError`. `out_status` must live until the command line has been parsed.

void addVoxelizeCommand(CLI::App& io_app, ExitStatus& out_status);
void addScatterCommand(CLI::App& io_app, ExitStatus& out_status);
void addExportCommand(CLI::App& io_app, ExitStatus& out_status);
void addInfoCommand(CLI::App& io_app, ExitStatus& out_status);
void addCheckCommand(CLI::App& io_app, ExitStatus& out_status);
void addConvertCommand(CLI::App& io_app, ExitStatus& out_status);
void addStatsCommand(CLI::App& io_app, ExitStatus& out_status);
void addLsCommand(CLI::App& io_app, ExitStatus& out_status);
void addDiffCommand(CLI::App& io_app, ExitStatus& out_status);
void addSliceCommand(CLI::App& io_app, ExitStatus& out_status);
void addSampleCommand(CLI::App& io_app, ExitStatus& out_status);
void addRenderCommand(CLI::App& io_app, ExitStatus& out_status);
void addSolveCommand(CLI::App& io_app, ExitStatus& out_status);
void addTreeCommand(CLI::App& io_app, ExitStatus& out_status);
void addDumpCommand(CLI::App& io_app, ExitStatus& out_status);

/// The whole program: parses, runs, prints one line "kvf: ..." on standard error for a failure, and
/// gives the exit status.
int runTool(int in_argc, const char* const* in_argv);

}  // namespace Skelvar::Tool
