#pragma once

#include <stdexcept>
#include <string>

namespace Skelvar::Tool {

/// What the program leaves behind for a script to read.
enum ExitStatus : int {
    eDone = 0,
    eDataSaysNo = 1,      ///< the files could be read, and what they hold does not allow the work
    eMisuse = 2,          ///< the command line makes no sense
    eFileUnreadable = 3,  ///< a file could not be opened, read or written
    eInterrupted = 130    ///< by a signal, between two frames
};

/// A failure on its way to the one line that the user sees. `what()` is that line without the
/// leading "kvf: ", without a line end.
class ToolError : public std::runtime_error {
public:
    ToolError(ExitStatus in_status, const std::string& in_message)
        : std::runtime_error(in_message), m_status(in_status)
    {
    }
    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

}  // namespace Skelvar::Tool
