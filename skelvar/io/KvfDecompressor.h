#pragma once

#include <skelvar/io/KvfStreaming.h>
#include <skelvar/io/MemoryStreamBuf.h>

#include <istream>
#include <limits>

namespace Skelvar {

/// Input from memory, from which a channel reads itself. Starts empty, with quality 0, version 4
/// and user data 0. One thread at a time.
///
/// Both reading operations take one frame from another stream: the uncompressed and the compressed
/// size, unsigned 64, and one zlib stream. They trust neither size: what the stream cannot deliver
/// or a zlib stream cannot hold (more than 1032 bytes from one) is refused before memory is taken.
class SKELVAR_API KvfDecompressor : public KvfStreaming::StreamReader {
public:
    KvfDecompressor() { setStream(&m_stream); }
    KvfDecompressor(const KvfDecompressor&) = delete;
    KvfDecompressor& operator=(const KvfDecompressor&) = delete;

    /// The bytes to read from.
    MemoryStreamBuf& memory() { return m_memory; }
    /// The standard stream over the same bytes, for reading and writing.
    std::iostream& stream() { return m_stream; }

    /// Reads one frame from the stream into `out_bytes`, which has room for `in_capacity` bytes and
    /// does not move; `out_size` is the uncompressed size. False if the stream is at its end, on a
    /// size that cannot be, on a short read or if the stream is damaged.
    static bool decompress(InputStream& io_stream, unsigned char*& out_bytes,
                           unsigned long& out_size,
                           unsigned long in_capacity = std::numeric_limits<unsigned long>::max());

    /// Reads one frame from the stream and appends its bytes to the memory. False as above.
    bool inflate(InputStream& io_stream);

private:
    MemoryStreamBuf m_memory;
    std::iostream m_stream{&m_memory};
};

}  // namespace Skelvar
