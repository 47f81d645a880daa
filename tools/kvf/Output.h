#pragma once

#include <tools/kvf/Interrupt.h>

#include <string>

namespace Skelvar::Tool {

class Canvas;

/// Keeps the library's own messages off standard output, which belongs to the tool's results, as
/// long as one lives. Everything that the process writes there meanwhile is dropped, except by
/// `printOutput`. Any thread.
class QuietOutput {
public:
    QuietOutput();
    ~QuietOutput();
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;
};

/// Writes to standard output, whole, also while another thread keeps it quiet. Any thread.
void printOutput(const std::string& in_text);

/// Writes a failure to standard error as one line, whatever the message holds.
void printFailure(std::string in_message);

/// Whether a file can be read and starts as a KVF file does.
bool isKvfFile(const std::string& in_path);

/// Throws `ToolError` where saving a KVF file would fail, before anything is computed for it:
/// `eMisuse` if the file is there and may not be overwritten, `eFileUnreadable` if it is a folder
/// or would come into one that cannot be made or written in.
void checkMayWrite(const std::string& in_path, bool in_force);

/// A file that appears under its name whole or not at all: a command writes to `path()`, beside the
/// name, and `commit` moves it there. Without that the destructor removes it. An interrupt waits as
/// long as it lives.
class OutputFile {
public:
    /// Throws `ToolError`: `eMisuse` if a KVF file has the name, which nothing of another kind may
    /// replace, `eFileUnreadable` if no plain file has it.
    explicit OutputFile(const std::string& in_name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// In the folder of the name, with its extension.
    const std::string& path() const { return m_path; }
    /// Throws `ToolError` with `eFileUnreadable` if the file cannot be moved.
    void commit();

private:
    InterruptGuard m_guard;
    std::string m_name;
    std::string m_path;
};

/// Throws where making an `OutputFile` and writing to it would, before anything is computed for it.
void checkOutput(const std::string& in_name);

/// Writes a PNG file. Throws `ToolError` with `eFileUnreadable` if that fails.
void writePicture(const Canvas& in_canvas, const std::string& in_path);

}  // namespace Skelvar::Tool
