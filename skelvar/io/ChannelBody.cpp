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

}  // namespace Skelvar
