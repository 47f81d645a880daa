#pragma once

#include <skelvar/io/ByteStreamBuf.h>

#include <cstdio>
#include <memory>
#include <string>

namespace Skelvar {

/// A stream buffer over a C file, either for reading or for writing, with 64-bit offsets and a
/// large buffer of its own. Owns the file. Errors of the operating system are kept for `errorText`.
/// One thread at a time, except `readAt`.
class SKELVAR_API FileStreamBuf : public ByteStreamBuf {
public:
    FileStreamBuf() = default;
    FileStreamBuf(const FileStreamBuf&) = delete;
    FileStreamBuf& operator=(const FileStreamBuf&) = delete;
    /// Closes the file; a failure of that is lost, so a writer calls `close` itself.
    ~FileStreamBuf() override;

    /// Closes what is open and opens the path with `fopen` in the given mode, which is a mode of
    /// reading or of writing, not both. False if that fails, or on a folder.
    bool open(const std::string& in_path, const char* in_mode);
    bool isOpen() const { return m_file != nullptr; }
    /// Flushes and closes. False if any write since `open` failed, or the flush or the closing.
    bool close();

    /// Bytes in the file at its opening for reading; 0 if the file has no such thing as a size.
    unsigned long long size() const { return m_size; }
    /// Place in the file of the next byte to read or write.
    unsigned long long position() const;
    unsigned long long remaining() override;

    /// Reads `in_count` bytes from a place in the file, whatever the read position, and leaves that
    /// alone. False if they are not all there. Any number of threads at once.
    bool readAt(unsigned long long in_offset, std::size_t in_count, char* out_bytes) const;

    /// What the operating system said about the last failure, in words; empty without one.
    const std::string& errorText() const { return m_error; }

protected:
    void gather(std::size_t in_count) override;
    std::streamsize xsgetn(char* out_bytes, std::streamsize in_count) override;
    int_type overflow(int_type in_char) override;
    std::streamsize xsputn(const char* in_bytes, std::streamsize in_count) override;
    int sync() override;
    pos_type seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                     std::ios_base::openmode in_which) override;
    pos_type seekpos(pos_type in_position, std::ios_base::openmode in_which) override;

private:
    bool flushBuffer();
    bool writeOut(const char* in_bytes, std::size_t in_count);
    void noteError();

    std::FILE* m_file = nullptr;
    bool m_writing = false;
    bool m_failed = false;  ///< a write has failed since `open`
    unsigned long long m_size = 0;
    unsigned long long m_offset = 0;  ///< place in the file of the end of the get area, or of the
                                      ///< start of the put area
    std::unique_ptr<char[]> m_buffer;
    std::string m_error;
};

}  // namespace Skelvar
