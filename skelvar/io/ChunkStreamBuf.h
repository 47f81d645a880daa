#pragma once

#include <skelvar/io/ByteStreamBuf.h>
#include <skelvar/io/KvfStreaming.h>

#include <istream>
#include <memory>

namespace Skelvar {

struct ChannelBody;
class FileStreamBuf;

/// The serialised bytes of a channel, inflated from its chunks as they are read, so that the whole
/// never stands in memory. Records are decoded chunk by chunk, on all threads, by the thread that
/// has just inflated the chunk; other bytes come from a window of chunks. Borrows the file and the
/// body. One thread at a time.
class ChunkStreamBuf : public ByteStreamBuf {
public:
    ChunkStreamBuf(const FileStreamBuf& in_file, const ChannelBody& in_body);
    ~ChunkStreamBuf() override;

    unsigned long long position() const;
    unsigned long long remaining() override;
    /// The first chunk that could not be inflated; -1 if all so far could.
    long long damagedChunk() const { return m_damaged; }

    unsigned long long decodeRecords(unsigned long long in_count, std::size_t in_size,
                                     const DecodeRecord& in_decode) override;

protected:
    void gather(std::size_t in_count) override;
    pos_type seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                     std::ios_base::openmode in_which) override;

private:
    struct Scratch;
    class RecordPass;

    bool inflateWindow();
    bool inflateChunk(std::size_t in_chunk, char* out_bytes);
    void reserveWindow(std::size_t in_size);
    void moveTo(unsigned long long in_position);

    const FileStreamBuf* m_file;
    const ChannelBody* m_body;
    std::unique_ptr<Scratch> m_scratch;
    std::unique_ptr<char[]> m_buffer;  ///< room for a rest of kMaxPeek bytes, then the window
    std::size_t m_window_capacity = 0;
    std::size_t m_window_size;  ///< bytes that the next window aims at
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
