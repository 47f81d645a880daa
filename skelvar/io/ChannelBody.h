#pragma once

#include <skelvar/io/ByteStreamBuf.h>
#include <skelvar/io/KvfStreaming.h>

#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class FileStreamBuf;
class KvfReader;

/// Where the compressed bytes of a channel stand in a file. Versions 2 and 3 have one chunk.
struct ChannelBody {
    struct Chunk {
        unsigned long long offset = 0;      ///< of the zlib stream in the file
        unsigned long long size = 0;        ///< of its contents
        unsigned long long compressed = 0;  ///< of the zlib stream
    };

    unsigned long long offset = 0;  ///< of the body in the file
    unsigned long long size = 0;    ///< of the channel's serialised form: the sum over the chunks
    std::vector<Chunk> chunks;

    /// Reads all sizes of the body at the reader's position and leaves the reader behind the body.
    /// No size stays that the file cannot back. False with a note of the error, in which
    /// `in_channel` names the channel.
    bool read(KvfReader& io_reader, const std::string& in_channel);
};

/// The serialised bytes of a channel, inflated from its chunks as they are read: a window of chunks
/// at a time, on all threads, so that the whole never stands in memory. Borrows the file and the
/// body. One thread at a time.
class ChunkStreamBuf : public ByteStreamBuf {
public:
    ChunkStreamBuf(const FileStreamBuf& in_file, const ChannelBody& in_body)
        : m_file(&in_file), m_body(&in_body)
    {
    }

    unsigned long long position() const;
    unsigned long long remaining() override { return m_body->size - position(); }
    /// The first chunk that could not be inflated; -1 if all so far could.
    long long damagedChunk() const { return m_damaged; }

protected:
    void gather(std::size_t in_count) override;
    pos_type seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                     std::ios_base::openmode in_which) override;

private:
    bool inflateWindow();
    bool inflateChunk(std::size_t in_chunk, char* out_bytes) const;

    const FileStreamBuf* m_file;
    const ChannelBody* m_body;
    std::unique_ptr<char[]> m_buffer;  ///< room for a rest of kMaxPeek bytes, then the window
    std::size_t m_window_capacity = 0;
    std::size_t m_next_chunk = 0;
    unsigned long long m_inflated = 0;  ///< bytes in front of the end of the window
    long long m_damaged = -1;
};

/// The stream over these bytes, for a channel's `load`.
class ChannelBodyReader : public KvfStreaming::StreamReader {
public:
    ChannelBodyReader(const FileStreamBuf& in_file, const ChannelBody& in_body)
        : m_buffer(in_file, in_body)
    {
        setStream(&m_stream);
    }

    const ChunkStreamBuf& buffer() const { return m_buffer; }
    /// Inflates and drops what is left, so that damage in it shows.
    void inflateRest();

private:
    ChunkStreamBuf m_buffer;
    std::istream m_stream{&m_buffer};
};

}  // namespace Skelvar
