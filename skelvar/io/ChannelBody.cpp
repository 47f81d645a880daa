#include <skelvar/io/ChannelBody.h>

#include <skelvar/io/Deflate.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfReader.h>

namespace Skelvar {

namespace {

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

/// Reads the sizes of the chunk at `io_position`, at most `in_most` bytes when inflated, and moves
/// the position behind its zlib stream. `in_name()` names the chunk in a failure: a large file has
/// thousands, which take longer to name than to read.
template <typename Name>
bool readChunk(const KvfReader& in_reader, unsigned long long in_most, const Name& in_name,
               unsigned long long& io_position, ChannelBody::Chunk& out_chunk)
{
    // Read at its place: the reader's buffer would fetch all that is skipped.
    const unsigned long long start = io_position;
    const unsigned long long size = in_reader.file().size();
    unsigned char header[kChunkHeaderSize];
    if (!in_reader.file().readAt(start, sizeof(header), reinterpret_cast<char*>(header))) {
        return KvfError::failAt(in_reader.path(), start, in_name() + "the file ends in its sizes");
    }
    out_chunk.size = bigEndian64(header);
    out_chunk.compressed = bigEndian64(header + 8);
    out_chunk.offset = start + sizeof(header);
    const unsigned long long left = size > out_chunk.offset ? size - out_chunk.offset : 0;
    if (out_chunk.compressed > left) {
        return KvfError::failAt(in_reader.path(), start,
                                in_name() + "compressed size " +
                                    std::to_string(out_chunk.compressed) + " exceeds the " +
                                    std::to_string(left) + " bytes left");
    }
    if (out_chunk.size > in_most ||
        !Deflate::isPossible(out_chunk.size, out_chunk.compressed, left)) {
        return KvfError::failAt(
            in_reader.path(), start,
            in_name() + "size " + std::to_string(out_chunk.size) + " exceeds the " +
                std::to_string(in_most) + " bytes left of the channel, or what " +
                std::to_string(out_chunk.compressed) + " compressed bytes can hold");
    }
    io_position = out_chunk.offset + out_chunk.compressed;
    return true;
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
        unsigned long long position = offset;
        const auto channel_name = [&]() -> const std::string& { return name; };
        if (!readChunk(io_reader, most, channel_name, position, chunk)) {
            return false;
        }
        size = chunk.size;
        chunks.push_back(chunk);
        return io_reader.skip(position - offset);
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
    const unsigned long long first = io_reader.position();
    unsigned long long position = first;
    for (unsigned long long n = 0; n < count; ++n) {
        Chunk chunk;
        const auto chunk_name = [&] { return chunkName(in_channel, n); };
        if (!readChunk(io_reader, missing, chunk_name, position, chunk)) {
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
    return io_reader.skip(position - first);
}

}  // namespace Skelvar
