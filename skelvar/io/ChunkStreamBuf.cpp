#include <skelvar/io/ChunkStreamBuf.h>

#include <skelvar/io/ChannelBody.h>
#include <skelvar/io/Deflate.h>
#include <skelvar/io/FileStreamBuf.h>

#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>

namespace Skelvar {

namespace {

/// Bytes of the first window and of the largest, where a chunk is not larger: bytes that are read
/// on end are soon worth all threads, and still stay in the cache until they are decoded.
constexpr std::size_t kFirstWindow = 1;
constexpr std::size_t kLargestWindow = 8 * 1024 * 1024;
constexpr std::size_t kLeastRecordPass = 2;  ///< chunks

/// Memory that grows and is used again and again: fresh memory costs more than its contents.
class Buffer {
public:
    char* atLeast(std::size_t in_size)
    {
        if (in_size > m_size) {
            m_bytes.reset();
            m_size = 0;
            m_bytes = std::make_unique_for_overwrite<char[]>(in_size);
            m_size = in_size;
        }
        return m_bytes.get();
    }

private:
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
};

template <typename T>
void lowerTo(T in_value, std::atomic<T>& io_least)
{
    T seen = io_least;
    while (in_value < seen && !io_least.compare_exchange_weak(seen, in_value)) {
    }
}

}  // namespace

/// What each thread inflates from and to.
struct ChunkStreamBuf::Scratch {
    struct OfThread {
        Buffer compressed;
        Buffer inflated;
    };
    tbb::enumerable_thread_specific<OfThread> threads;
};

/// The records up to the end of the last chunk that lies before the end of a run of records. Each
/// chunk is inflated and decoded by one thread, in the order of the file; a record that lies across
/// the boundary of two chunks is put together from what both leave of it, at the end.
class ChunkStreamBuf::RecordPass {
public:
    /// Record 0 begins at the stream's position, of which less than a record is at hand.
    RecordPass(ChunkStreamBuf& io_stream, unsigned long long in_count, std::size_t in_size)
        : m_stream(&io_stream), m_size(in_size)
    {
        const std::vector<ChannelBody::Chunk>& chunks = io_stream.m_body->chunks;
        m_starts.push_back(static_cast<unsigned long long>(io_stream.egptr() - io_stream.gptr()));
        for (std::size_t n = io_stream.m_next_chunk; n < chunks.size(); ++n) {
            // A record lies across no more than one boundary, and no chunk takes much memory of
            // each thread.
            if (chunks[n].size < kMaxPeek || chunks[n].size > kLargestWindow ||
                m_starts.back() + chunks[n].size > in_count * in_size) {
                break;
            }
            m_starts.push_back(m_starts.back() + chunks[n].size);
        }
    }

    std::size_t numChunks() const { return m_starts.size() - 1; }
    unsigned long long numRecords() const { return m_starts.back() / m_size; }
    unsigned long long size() const { return m_starts.back() - m_starts.front(); }
    /// The beginning of the record behind these.
    std::span<const char> rest() const
    {
        return {joint(numChunks()), static_cast<std::size_t>(m_starts.back() % m_size)};
    }

    /// Gives the number of records in front of the first that was refused or lies in a bad chunk.
    unsigned long long run(const DecodeRecord& in_decode)
    {
        m_joints = std::make_unique_for_overwrite<char[]>(m_starts.size() * m_size);
        std::copy(m_stream->gptr(), m_stream->egptr(), joint(0));
        m_good = numRecords();
        tbb::task_group_context context;
        tbb::parallel_for(
            0, tbb::this_task_arena::max_concurrency(),
            [&](int) {
                for (std::size_t n = m_next++; n < numChunks(); n = m_next++) {
                    decodeChunk(n, in_decode);
                }
            },
            tbb::simple_partitioner{}, context);
        for (std::size_t n = 0; n < numChunks(); ++n) {
            const unsigned long long record = m_starts[n] / m_size;
            if (m_starts[n] % m_size != 0 && record < m_good && !in_decode(record, joint(n))) {
                m_good = record;
            }
        }
        return m_good;
    }

private:
    /// The record across the start of chunk `in_n`, if one lies there.
    char* joint(std::size_t in_n) const { return m_joints.get() + in_n * m_size; }

    void decodeChunk(std::size_t in_n, const DecodeRecord& in_decode)
    {
        const unsigned long long start = m_starts[in_n];
        const unsigned long long end = m_starts[in_n + 1];
        if (start / m_size >= m_good) {
            return;  // the reader will not get so far
        }
        const char* bytes = nullptr;
        try {
            bytes = inflate(in_n, end - start);
        } catch (const std::exception&) {  // no memory for the chunk
        }
        if (bytes == nullptr) {
            lowerTo(start / m_size, m_good);
            return;
        }
        const std::size_t into_record = start % m_size;
        unsigned long long record = start / m_size;
        if (into_record != 0) {
            std::copy_n(bytes, m_size - into_record, joint(in_n) + into_record);
            ++record;
        }
        for (; record < end / m_size; ++record) {
            if (!in_decode(record, bytes + (record * m_size - start))) {
                lowerTo(record, m_good);
                break;
            }
        }
        const std::size_t rest = end % m_size;
        std::copy_n(bytes + (end - rest - start), rest, joint(in_n + 1));
    }

    const char* inflate(std::size_t in_n, unsigned long long in_size)
    {
        char* const bytes = m_stream->m_scratch->threads.local().inflated.atLeast(in_size);
        return m_stream->inflateChunk(m_stream->m_next_chunk + in_n, bytes) ? bytes : nullptr;
    }

    ChunkStreamBuf* m_stream;
    unsigned long long m_size;                 ///< of a record
    std::vector<unsigned long long> m_starts;  ///< of each chunk from record 0 on; then the end
    std::unique_ptr<char[]> m_joints;          ///< room for a record at each start and at the end
    std::atomic<std::size_t> m_next{0};
    std::atomic<unsigned long long> m_good{0};
};

ChunkStreamBuf::ChunkStreamBuf(const FileStreamBuf& in_file, const ChannelBody& in_body)
    : m_file(&in_file),
      m_body(&in_body),
      m_scratch(std::make_unique<Scratch>()),
      m_window_size(kFirstWindow)
{
}

ChunkStreamBuf::~ChunkStreamBuf() = default;

unsigned long long ChunkStreamBuf::remaining()
{
    return m_body->size - position();
}

unsigned long long ChunkStreamBuf::decodeRecords(unsigned long long in_count, std::size_t in_size,
                                                 const DecodeRecord& in_decode)
{
    unsigned long long done = 0;
    while (done < in_count) {
        const unsigned long long at_hand = static_cast<std::size_t>(egptr() - gptr()) / in_size;
        const unsigned long long asked = std::min(at_hand, in_count - done);
        const unsigned long long decoded = decodeHeld(done, asked, in_size, in_decode);
        done += decoded;
        if (decoded < asked || done == in_count) {
            break;
        }
        RecordPass pass(*this, in_count - done, in_size);
        if (pass.numChunks() < kLeastRecordPass) {
            if (peek(in_size).size() < in_size) {
                break;
            }
            continue;
        }
        const unsigned long long first = done;
        const unsigned long long good =
            pass.run([&in_decode, first](unsigned long long n, const char* in_bytes) {
                return in_decode(first + n, in_bytes);
            });
        done += good;
        if (good < pass.numRecords()) {
            if (good > 0) {
                moveTo(position() + good * in_size);
            }
            break;
        }
        m_next_chunk += pass.numChunks();
        m_inflated += pass.size();
        m_window_size = kFirstWindow;
        const std::span<const char> rest = pass.rest();
        reserveWindow(0);
        char* const window = m_buffer.get() + kMaxPeek;
        std::copy(rest.begin(), rest.end(), window - rest.size());
        setg(window - rest.size(), window - rest.size(), window);
    }
    return done;
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
        if (n > first && size + chunks[n].size > m_window_size) {
            break;
        }
        starts.push_back(size);
        size += chunks[n].size;
    }

    reserveWindow(size);
    char* const window = m_buffer.get() + kMaxPeek;
    char* const held = gptr();  // what is still unread ends where the window begins

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
    setg(held, held, window + size);
    m_window_size = std::min(2 * std::max(size, kFirstWindow), kLargestWindow);
    return true;
}

/// Makes room for a window of so many bytes, and moves in front of it what is still unread.
void ChunkStreamBuf::reserveWindow(std::size_t in_size)
{
    const std::size_t rest = static_cast<std::size_t>(egptr() - gptr());
    std::unique_ptr<char[]> buffer;
    if (!m_buffer || in_size > m_window_capacity) {
        buffer = std::make_unique_for_overwrite<char[]>(kMaxPeek + in_size);
        m_window_capacity = in_size;
    }
    char* const window = (buffer ? buffer : m_buffer).get() + kMaxPeek;
    if (rest > 0) {
        std::memmove(window - rest, gptr(), rest);
    }
    if (buffer) {
        m_buffer = std::move(buffer);
    }
    setg(window - rest, window - rest, window);
}

/// Moves the read position to a place in the chunks that come after the window.
void ChunkStreamBuf::moveTo(unsigned long long in_position)
{
    const std::vector<ChannelBody::Chunk>& chunks = m_body->chunks;
    while (m_inflated + chunks[m_next_chunk].size <= in_position) {
        m_inflated += chunks[m_next_chunk].size;
        ++m_next_chunk;
    }
    const unsigned long long start = m_inflated;
    setg(nullptr, nullptr, nullptr);
    m_window_size = kFirstWindow;
    peek(1);
    skip(std::min<std::size_t>(in_position - start, static_cast<std::size_t>(egptr() - gptr())));
}

/// Any thread.
bool ChunkStreamBuf::inflateChunk(std::size_t in_chunk, char* out_bytes)
{
    const ChannelBody::Chunk& chunk = m_body->chunks[in_chunk];
    char* const compressed = m_scratch->threads.local().compressed.atLeast(chunk.compressed);
    return m_file->readAt(chunk.offset, chunk.compressed, compressed) &&
           Deflate::inflateExactly(compressed, chunk.compressed, chunk.size, out_bytes);
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
