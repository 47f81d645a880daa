#include <skelvar/io/ChannelBody.h>

#include <skelvar/io/Deflate.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfReader.h>

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace Skelvar {

namespace {

/// Bytes of a window, if its chunks are not larger. Small enough to stay in the cache until it is
/// decoded, large enough to keep some tens of threads busy.
constexpr unsigned long long kWindowSize = 8 * 1024 * 1024;
constexpr unsigned long long kChunkHeaderSize = 16;

std::string chunkName(const std::string& in_channel, unsigned long long in_chunk)
{
    return "(channel \"" + in_channel + "\", chunk " + std::to_string(in_chunk) + "): ";
}

unsigned long long bigEndian64(const unsigned char* in_bytes)
{
    unsigned long long value = 0;
    for (int n = 0; n < 8; ++n) {
        value = value << 8 | in_bytes[n];
    }
    return value;
}

/// Reads the sizes of one chunk, at most `in_most` bytes when inflated, and skips its zlib stream.
bool readChunk(KvfReader& io_reader, unsigned long long in_most, const std::string& in_name,
               ChannelBody::Chunk& out_chunk)
{
    // Read at its place: the reader's buffer would fetch all that is skipped.
    const unsigned long long start = io_reader.position();
    unsigned char header[kChunkHeaderSize];
    if (!io_reader.file().readAt(start, sizeof(header), reinterpret_cast<char*>(header)) ||
        !io_reader.skip(sizeof(header))) {
        return KvfError::failAt(io_reader.path(), start, in_name + "the file ends in its sizes");
    }
    out_chunk.size = bigEndian64(header);
    out_chunk.compressed = bigEndian64(header + 8);
    out_chunk.offset = start + sizeof(header);
    const unsigned long long left = io_reader.length();
    if (out_chunk.compressed > left) {
        return KvfError::failAt(io_reader.path(), start,
                                in_name + "compressed size " +
                                    std::to_string(out_chunk.compressed) + " exceeds the " +
                                    std::to_string(left) + " bytes left");
    }
    if (out_chunk.size > in_most ||
        !Deflate::isPossible(out_chunk.size, out_chunk.compressed, left)) {
        return KvfError::failAt(
            io_reader.path(), start,
            in_name + "size " + std::to_string(out_chunk.size) + " exceeds the " +
                std::to_string(in_most) + " bytes left of the channel, or what " +
                std::to_string(out_chunk.compressed) + " compressed bytes can hold");
    }
    return io_reader.skip(out_chunk.compressed);
}

}  // namespace

bool ChannelBody::read(KvfReader& io_reader, const std::string& in_channel)
{
    const std::string name = "(channel \"" + in_channel + "\"): ";
    offset = io_reader.position();
    chunks.clear();
    if (io_reader.version() < kKvfVersion4) {
        Chunk chunk;
        const unsigned long long most = Deflate::mostInflated(io_reader.length());
        if (!readChunk(io_reader, most, name, chunk)) {
            return false;
        }
        size = chunk.size;
        chunks.push_back(chunk);
        return true;
    }

    unsigned long long count = 0;
    if (!io_reader.read(size) || !io_reader.read(count)) {
        return KvfError::failAt(io_reader.path(), offset, name + "the file ends in its sizes");
    }
    const unsigned long long left = io_reader.length();
    if (count > left / kChunkHeaderSize || size > Deflate::mostInflated(left)) {
        return KvfError::failAt(io_reader.path(), offset,
                                name + std::to_string(size) + " bytes in " + std::to_string(count) +
                                    " chunks cannot come from the " + std::to_string(left) +
                                    " bytes left");
    }
    unsigned long long missing = size;
    for (unsigned long long n = 0; n < count; ++n) {
        Chunk chunk;
        if (!readChunk(io_reader, missing, chunkName(in_channel, n), chunk)) {
            return false;
        }
        missing -= chunk.size;
        chunks.push_back(chunk);
    }
    if (missing != 0) {
        return KvfError::failAt(io_reader.path(), offset,
                                name + "its chunks hold " + std::to_string(size - missing) +
                                    " of " + std::to_string(size) + " bytes");
    }
    return true;
}

unsigned long long ChunkStreamBuf::position() const
{
    return m_inflated - static_cast<unsigned long long>(egptr() - gptr());
}

void ChunkStreamBuf::gather(std::size_t in_count)
{
    try {
        while (static_cast<std::size_t>(egptr() - gptr()) < in_count && inflateWindow()) {
        }
    } catch (const std::exception&) {  // no memory for the chunk, which ends the stream as well
        m_damaged = static_cast<long long>(m_next_chunk);
    }
}

/// Inflates the next chunks behind the bytes that are still unread. False at the end, and on
/// damage.
bool ChunkStreamBuf::inflateWindow()
{
    const std::vector<ChannelBody::Chunk>& chunks = m_body->chunks;
    if (m_damaged >= 0 || m_next_chunk == chunks.size()) {
        return false;
    }
    std::vector<std::size_t> starts;  // of the chunks within the window
    std::size_t size = 0;
    const std::size_t first = m_next_chunk;
    for (std::size_t n = first; n < chunks.size(); ++n) {
        if (n > first && size + chunks[n].size > kWindowSize) {
            break;
        }
        starts.push_back(size);
        size += chunks[n].size;
    }

    const std::size_t rest = static_cast<std::size_t>(egptr() - gptr());
    if (!m_buffer || size > m_window_capacity) {
        auto buffer = std::make_unique_for_overwrite<char[]>(kMaxPeek + size);
        std::copy(gptr(), egptr(), buffer.get() + kMaxPeek - rest);
        m_buffer = std::move(buffer);
        m_window_capacity = size;
    } else {
        std::memmove(m_buffer.get() + kMaxPeek - rest, gptr(), rest);
    }
    char* const window = m_buffer.get() + kMaxPeek;

    std::vector<unsigned char> good(starts.size());
    tbb::task_group_context context;
    tbb::parallel_for(
        std::size_t(0), starts.size(),
        [&](std::size_t n) { good[n] = inflateChunk(first + n, window + starts[n]); }, context);

    const std::size_t good_count =
        static_cast<std::size_t>(std::find(good.begin(), good.end(), 0) - good.begin());
    if (good_count < good.size()) {
        m_damaged = static_cast<long long>(first) + static_cast<long long>(good_count);
        size = starts[good_count];
    }
    m_next_chunk = first + good_count;
    m_inflated += size;
    setg(window - rest, window - rest, window + size);
    return true;
}

bool ChunkStreamBuf::inflateChunk(std::size_t in_chunk, char* out_bytes) const
{
    const ChannelBody::Chunk& chunk = m_body->chunks[in_chunk];
    const auto compressed = std::make_unique_for_overwrite<char[]>(chunk.compressed);
    return m_file->readAt(chunk.offset, chunk.compressed, compressed.get()) &&
           Deflate::inflateExactly(compressed.get(), chunk.compressed, chunk.size, out_bytes);
}

ChunkStreamBuf::pos_type ChunkStreamBuf::seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                                                 std::ios_base::openmode)
{
    // The position can be asked for, not moved.
    return in_offset == 0 && in_from == std::ios_base::cur
               ? pos_type(static_cast<off_type>(position()))
               : pos_type(off_type(-1));
}

void ChannelBodyReader::inflateRest()
{
    for (auto held = m_buffer.peek(1); !held.empty(); held = m_buffer.peek(1)) {
        m_buffer.skip(held.size());
    }
}

}  // namespace Skelvar
