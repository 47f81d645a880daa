#pragma once

#include <skelvar/io/FileStreamBuf.h>
#include <skelvar/io/KvfStreaming.h>

#include <istream>
#include <string>

namespace Skelvar {

/// Input from a file. Owns the file. One thread at a time.
class SKELVAR_API KvfReader : public KvfStreaming::StreamReader {
public:
    KvfReader() = default;
    KvfReader(const KvfReader&) = delete;
    KvfReader& operator=(const KvfReader&) = delete;

    /// Opens the file for reading, with forward slashes in its path and no frame pattern. False
    /// with a message on standard output if it is not there or cannot be opened.
    bool init(const std::string& in_path);

    const std::string& path() const { return m_path; }
    /// Bytes read so far.
    unsigned long long position() const { return m_buffer.position(); }
    /// The file below, for reads at a place of their own.
    const FileStreamBuf& file() const { return m_buffer; }
    /// Moves the read position forward. False, and the stream fails, beyond the end.
    bool skip(unsigned long long in_count);

private:
    FileStreamBuf m_buffer;
    std::istream m_file{&m_buffer};
    std::string m_path;
};

}  // namespace Skelvar
