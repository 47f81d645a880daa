#include <tools/kvf/Output.h>

#include <skelvar/io/KvfFormat.h>

#include <tools/kvf/ToolError.h>
#include <tools/kvf/picture/Canvas.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <random>
#include <system_error>

namespace Skelvar::Tool {

namespace {

/// Standard output, while it is kept quiet.
struct KeptOutput {
    std::mutex lock;
    int users = 0;  ///< of the silence; guarded by lock, as is the next
    int file = -1;  ///< a copy of the true standard output, -1 if there is none
};

KeptOutput& kept()
{
    static KeptOutput s_kept;
    return s_kept;
}

void flushOutput()
{
    std::cout.flush();
    std::fflush(stdout);
}

void writeAll(int in_file, const std::string& in_text)
{
    std::size_t done = 0;
    while (done < in_text.size()) {
        const ssize_t written = write(in_file, in_text.data() + done, in_text.size() - done);
        if (written < 0) {
            std::cout.setstate(std::ios::badbit);  // told at the end of the program
            return;
        }
        done += static_cast<std::size_t>(written);
    }
}

/// Of the folders on the way to a file the last that is there.
std::filesystem::path folderThatIsThere(const std::string& in_path)
{
    std::error_code error;
    std::filesystem::path folder = std::filesystem::absolute(in_path, error).parent_path();
    while (!std::filesystem::exists(folder, error) && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    return folder;
}

}  // namespace

QuietOutput::QuietOutput()
{
    const std::lock_guard<std::mutex> guard(kept().lock);
    if (kept().users++ > 0) {
        return;
    }
    flushOutput();
    kept().file = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

QuietOutput::~QuietOutput()
{
    const std::lock_guard<std::mutex> guard(kept().lock);
    if (--kept().users > 0) {
        return;
    }
    flushOutput();
    if (kept().file >= 0) {
        dup2(kept().file, STDOUT_FILENO);
        close(kept().file);
    }
}

void printOutput(const std::string& in_text)
{
    const std::lock_guard<std::mutex> guard(kept().lock);
    if (kept().users == 0) {
        std::cout << in_text << std::flush;
    } else if (kept().file >= 0) {
        writeAll(kept().file, in_text);
    }
}

void printFailure(std::string in_message)
{
    // What a file is made of may be part of it, and must not speak to the terminal.
    std::replace_if(
        in_message.begin(), in_message.end(),
        [](char in_char) { return static_cast<unsigned char>(in_char) < 0x20 || in_char == 0x7f; },
        ' ');
    std::fprintf(stderr, "kvf: %s\n", in_message.c_str());
}

bool isKvfFile(const std::string& in_path)
{
    std::ifstream stream(in_path, std::ios::binary);
    unsigned int magic = 0;
    for (int n = 0; n < 4; ++n) {
        magic = magic << 8 | static_cast<unsigned char>(stream.get());
    }
    return stream && magic == kKvfMagic;
}

void checkMayWrite(const std::string& in_path, bool in_force)
{
    std::error_code error;
    if (std::filesystem::exists(in_path, error)) {
        if (!in_force) {
            throw ToolError(eMisuse, in_path + " exists; -f overwrites it");
        }
        if (std::filesystem::is_directory(in_path, error)) {
            throw ToolError(eFileUnreadable, in_path + " cannot be written: it is a folder");
        }
        return;
    }
    const std::filesystem::path folder = folderThatIsThere(in_path);
    if (!std::filesystem::is_directory(folder, error) || access(folder.c_str(), W_OK | X_OK) != 0) {
        throw ToolError(eFileUnreadable, in_path + " cannot be written: " + folder.string() +
                                             " is no folder that may be written in");
    }
}

OutputFile::OutputFile(const std::string& in_name) : m_name(in_name)
{
    // A rename would put a plain file in the place of a device or of a link.
    if (std::error_code error; std::filesystem::exists(in_name, error)) {
        if (!std::filesystem::is_regular_file(in_name, error)) {
            throw ToolError(eFileUnreadable, in_name + " cannot be written: it is no plain file");
        }
        if (isKvfFile(in_name)) {
            throw ToolError(eMisuse, in_name + " is a KVF file; give the output another name");
        }
        m_name = std::filesystem::canonical(in_name).string();
    }
    // Other machines may write into the folder too: the process and a count would not do.
    std::random_device random;
    const std::filesystem::path name(m_name);
    const std::string unique = ".kvf-" + std::to_string(random()) + "-" + std::to_string(random());
    m_path = (name.parent_path() / (unique + name.extension().string())).string();
}

OutputFile::~OutputFile()
{
    if (!m_path.empty()) {
        std::remove(m_path.c_str());
    }
}

void OutputFile::commit()
{
    std::error_code error;
    std::filesystem::rename(m_path, m_name, error);
    if (error) {
        throw ToolError(eFileUnreadable, m_name + " cannot be written: " + error.message());
    }
    m_path.clear();
}

void checkOutput(const std::string& in_name)
{
    const OutputFile output(in_name);
    if (!std::ofstream(output.path())) {
        throw ToolError(eFileUnreadable,
                        in_name + " cannot be written: " + std::generic_category().message(errno));
    }
}

void writePicture(const Canvas& in_canvas, const std::string& in_path)
{
    OutputFile picture(in_path);
    std::string reason;
    if (!in_canvas.writePng(picture.path(), reason)) {
        throw ToolError(eFileUnreadable, "picture " + in_path + " cannot be written: " + reason);
    }
    picture.commit();
}

}  // namespace Skelvar::Tool
