#pragma once

#include <skelvar/io/KvfStreaming.h>
#include <skelvar/io/MemoryStreamBuf.h>

#include <istream>
#include <vector>

namespace Skelvar {

/// Output into memory, in which a channel serialises itself before it is compressed. Starts with
/// quality 0, version 4 and user data 0. One thread at a time.
class SKELVAR_API KvfCompressor : public KvfStreaming::StreamWriter {
public:
    KvfCompressor() { setStream(&m_stream); }
    KvfCompressor(const KvfCompressor&) = delete;
    KvfCompressor& operator=(const KvfCompressor&) = delete;

    /// The bytes written so far; stale after the next write.
    const MemoryStreamBuf& memory() const { return m_memory; }
    MemoryStreamBuf& memory() { return m_memory; }
    /// The standard stream over the same bytes, for reading and writing.
    std::iostream& stream() { return m_stream; }

    /// One zlib stream of the bytes, level 9, into `out_compressed`. False, and that empty, for a
    /// size of 0, if there is no memory or if zlib fails. Any thread.
    static bool compress(const unsigned char* in_bytes, unsigned long in_size,
                         std::vector<unsigned char>& out_compressed);

private:
    MemoryStreamBuf m_memory;
    std::iostream m_stream{&m_memory};
};

}  // namespace Skelvar
