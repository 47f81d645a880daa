#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include <tests/support/TempFolder.h>

namespace Skelvar::Tool::Test {

using Skelvar::Test::TempFolder;

/// What a program left behind.
struct Outcome {
    int status = -1;  ///< exit status, -1 if it was killed
    std::string output;
    std::string error;
};

/// Runs a command of the shell inside of a folder.
inline Outcome runProgram(const TempFolder& in_folder, const std::string& in_command)
{
    const std::string line =
        "cd '" + in_folder.path() + "' && " + in_command + " >.stdout 2>.stderr </dev/null";
    const int result = std::system(line.c_str());
    return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, in_folder.read(".stdout"),
            in_folder.read(".stderr")};
}

}  // namespace Skelvar::Tool::Test
