#pragma once

#include <skelvar/io/FileStreamBuf.h>
#include <skelvar/io/KvfStreaming.h>

#include <ostream>
#include <string>

namespace Skelvar {

/// Output into a file. Owns the file, which its destructor closes. One thread at a time.
class SKELVAR_API KvfWriter : public KvfStreaming::StreamWriter {
public:
    KvfWriter() = default;
    /// Discards a file opened by `initBeside` that was not committed.
    ~KvfWriter() override;
    KvfWriter(const KvfWriter&) = delete;
    KvfWriter& operator=(const KvfWriter&) = delete;

    /// Makes the folder of the path and opens the file of the frame for writing, empty. False with
    /// a message on standard output if that fails, without one if the path has no folder part.
    bool init(const std::string& in_path, int in_frame);

    /// As `init`, but writes to a new file in the same folder, which `commit` renames to the path;
    /// until then a file that stands there stays as it is. Where the system can do that the new
    /// file has no name before, so that not even a process that is killed leaves it. What is there
    /// and is no plain file (a device, a pipe) is opened itself.
    bool initBeside(const std::string& in_path, int in_frame);

    /// The path for which the writer was initialised, with the frame in its place.
    const std::string& path() const { return m_path; }
    /// Bytes written so far.
    unsigned long long position() const { return m_buffer.position(); }

    /// Flushes and closes. False if any byte did not get to the file.
    bool close();
    /// Closes, and gives the file its name. False, with no file left behind, if a write or this
    /// failed.
    bool commit();
    /// Closes and deletes what `init` or `initBeside` made.
    void discard();

private:
    bool prepare(const std::string& in_path, int in_frame);
    void closeNameless();
    bool openFile(const std::string& in_file, const char* in_mode);

    FileStreamBuf m_buffer;
    std::ostream m_file{&m_buffer};
    std::string m_path;
    std::string m_target;  ///< the path behind links, to which `commit` renames
    std::string m_beside;  ///< the file written by `initBeside` until `commit`; else empty
    int m_nameless = -1;   ///< the same where the system has files without a name
    bool m_plain_file = false;
};

}  // namespace Skelvar
