#include <skelvar/Version.h>

#include <tools/kvf/CommandLine.h>
#include <tools/kvf/Commands.h>
#include <tools/kvf/Interrupt.h>
#include <tools/kvf/Output.h>

#include <CLI/CLI.hpp>

#include <iostream>
#include <new>
#include <string>

namespace Skelvar::Tool {

namespace {

int fail(ExitStatus in_status, const std::string& in_message)
{
    std::cout.flush();
    printFailure(in_message);
    return in_status;
}

/// Says plainly that there is no such command: the parser would only ask for one.
void checkCommand(const CLI::App& in_app, int in_argc, const char* const* in_argv)
{
    const std::string first = in_argc > 1 ? in_argv[1] : "-";
    const auto named = in_app.get_subcommands(
        [&](const CLI::App* in_command) { return in_command->get_name() == first; });
    if (first[0] != '-' && named.empty()) {
        throw ToolError(eMisuse, "there is no command " + first + " (kvf --help lists them)");
    }
}

/// The command line that tells about the command at which parsing stopped.
std::string helpAbout(const CLI::App& in_app)
{
    const auto parsed = in_app.get_subcommands();
    return in_app.get_name() + (parsed.empty() ? "" : " " + parsed.back()->get_name()) + " --help";
}

}  // namespace

int runTool(int in_argc, const char* const* in_argv)
{
    wipeLineOnInterrupt();
    ExitStatus status = eDone;
    CLI::App app("Makes, inspects and draws voxel files (.kvf)", "kvf");
    app.set_version_flag("--version", "kvf " SKELVAR_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 1 the data says no, 2 misuse, 3 a file cannot be read or written,\n"
        "130 interrupted between two frames.\n"
        "A channel is named in full or by the part behind its last \"/\".\n"
        "A path may hold a frame pattern: # or @@@@ stands for the frame in four digits. Then a\n"
        "command goes over all frames that are there, or over those of --frames and --shard.");
    Command kvf(app);
    addVoxelizeCommand(kvf, status);
    addScatterCommand(kvf, status);
    addInfoCommand(kvf, status);
    addLsCommand(kvf, status);
    addCheckCommand(kvf, status);
    addConvertCommand(kvf, status);
    addStatsCommand(kvf, status);
    addDiffCommand(kvf, status);
    addSliceCommand(kvf, status);
    addSampleCommand(kvf, status);
    addRenderCommand(kvf, status);
    addSolveCommand(kvf, status);
    addTreeCommand(kvf, status);
    addDumpCommand(kvf, status);
    addExportCommand(kvf, status);
    try {
        checkCommand(app, in_argc, in_argv);
        app.parse(in_argc, in_argv);
        if (!std::cout.flush()) {
            return fail(eFileUnreadable, "standard output cannot be written");
        }
        return status;
    } catch (const CLI::Success& request) {  // --help and --version
        app.exit(request);
        return eDone;
    } catch (const CLI::ParseError& error) {
        return fail(eMisuse, std::string(error.what()) + " (" + helpAbout(app) + " tells more)");
    } catch (const ToolError& error) {
        return fail(error.status(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(eDataSaysNo, "out of memory");
    } catch (const std::exception& error) {
        return fail(eDataSaysNo, error.what());
    }
}

}  // namespace Skelvar::Tool
