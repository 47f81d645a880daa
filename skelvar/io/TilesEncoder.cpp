#include <skelvar/io/TilesEncoder.h>

#include <skelvar/io/ByteStreamBuf.h>
#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/TileEncoder.h>
#include <skelvar/tree/TileId.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

namespace Skelvar {

namespace {

constexpr long long kPlaneRecord = 8 + 4 * kTileSize;  ///< plane length and four planes
constexpr unsigned long kBatchBytes = 32 * 1024;       ///< encoded at once: stays in the cache
constexpr unsigned long kSerialTiles = 99;             ///< at most so many are not worth tasks
constexpr unsigned long kRunAfterOdd = 64;  ///< records tried at once where one was of another form

void putBigEndian(unsigned long long in_value, int in_bytes, char* out_bytes)
{
    for (int n = 0; n < in_bytes; ++n) {
        out_bytes[n] = static_cast<char>(in_value >> 8 * (in_bytes - 1 - n));
    }
}

/// The head of a plain record: the tile's version, where the stream has one, and its byte count.
struct PlainHead {
    char bytes[6];
    int size = 0;

    PlainHead(KvfVersion in_stream_version, unsigned int in_tile_bytes)
    {
        constexpr unsigned short kTileVersion = 2;
        if (in_stream_version >= kKvfVersion2) {
            putBigEndian(kTileVersion, 2, bytes);
            size = 2;
        }
        putBigEndian(in_tile_bytes, 4, bytes + size);
        size += 4;
    }
};

/// Writes `in_count` records of one size. in_encode(n, bytes) fills record n: in parallel, at its
/// place, where the stream is memory; else in large pieces.
template <typename Encode>
bool writeRecords(unsigned long in_count, unsigned long in_record, OutputStream& io_stream,
                  const Encode& in_encode)
{
    if (auto* const compressor = dynamic_cast<KvfCompressor*>(&io_stream);
        compressor != nullptr && in_count > 0) {
        char* const records = compressor->memory().append(in_count * in_record);
        if (records != nullptr) {
            tbb::task_group_context context;
            tbb::parallel_for(
                tbb::blocked_range<unsigned long>(0, in_count, kSerialTiles),
                [&](const tbb::blocked_range<unsigned long>& in_range) {
                    for (unsigned long n = in_range.begin(); n < in_range.end(); ++n) {
                        in_encode(n, records + n * in_record);
                    }
                },
                context);
        }
        return records != nullptr;
    }
    const unsigned long batch = std::max(kBatchBytes / in_record, 1ul);
    const auto buffer = std::make_unique_for_overwrite<char[]>(batch * in_record);
    bool ok = true;
    for (unsigned long first = 0; first < in_count; first += batch) {
        const unsigned long last = std::min(first + batch, in_count);
        for (unsigned long n = first; n < last; ++n) {
            in_encode(n, buffer.get() + (n - first) * in_record);
        }
        ok &= io_stream.writebytes((last - first) * in_record, buffer.get());
    }
    return ok;
}

/// Reads `in_count` records. They go from the memory of the stream through in_decode(n, bytes),
/// which gives false for a record of another form; such a record, and one that cannot be had from
/// there, goes through in_load(n), which reads from the stream.
template <typename Decode, typename Load>
bool readRecords(unsigned long in_count, unsigned long in_record, InputStream& io_stream,
                 const Decode& in_decode, const Load& in_load)
{
    auto* const reader = dynamic_cast<KvfStreaming::StreamReader*>(&io_stream);
    unsigned long most = in_count;
    unsigned long done = 0;
    while (done < in_count) {
        if (ByteStreamBuf* const bytes = reader != nullptr ? reader->bytes() : nullptr) {
            done += bytes->decodeRecords(std::min(most, in_count - done), in_record,
                                         [&, done](unsigned long long n, const char* in_bytes) {
                                             return in_decode(done + n, in_bytes);
                                         });
        }
        if (done < in_count) {
            if (!in_load(done)) {
                return false;
            }
            ++done;
            most = kRunAfterOdd;
        }
    }
    return true;
}

bool holdsBools(const char* in_bytes, std::size_t in_count)
{
    return std::all_of(in_bytes, in_bytes + in_count,
                       [](char in_byte) { return in_byte == 0 || in_byte == 1; });
}

/// Zero values for tiles that a damaged stream left without any.
template <typename Tile>
bool readOrClear(bool in_read, unsigned long in_count, array1<Tile>& io_tiles)
{
    if (!in_read && in_count > 0) {
        std::memset(static_cast<void*>(io_tiles.data()), 0, in_count * sizeof(Tile));
    }
    return in_read;
}

}  // namespace

template <typename T>
bool PlainTilesEncoder<T>::encode(unsigned long in_count, const array1<Tile>& in_tiles,
                                  OutputStream& io_stream)
{
    const PlainHead head(kKvfVersion4, sizeof(Tile));
    return writeRecords(in_count, static_cast<unsigned long>(head.size) + sizeof(Tile), io_stream,
                        [&](unsigned long n, char* out_bytes) {
                            std::memcpy(out_bytes, head.bytes, sizeof(head.bytes));
                            std::memcpy(out_bytes + head.size, &in_tiles[n], sizeof(Tile));
                        });
}

template <typename T>
bool PlainTilesEncoder<T>::decode(unsigned long in_count, array1<Tile>& io_tiles,
                                  InputStream& io_stream)
{
    if (in_count > static_cast<unsigned long>(io_tiles.size())) {
        return false;
    }
    const PlainHead head(io_stream.version(), sizeof(Tile));
    const std::size_t head_size = static_cast<std::size_t>(head.size);
    const bool ok = readRecords(
        in_count, head_size + sizeof(Tile), io_stream,
        [&](unsigned long n, const char* in_bytes) {
            const char* const values = in_bytes + head_size;
            // Bytes that are no bool need the tile's own care.
            if (std::memcmp(in_bytes, head.bytes, head_size) != 0 ||
                (std::is_same_v<T, bool> && !holdsBools(values, sizeof(Tile)))) {
                return false;
            }
            std::memcpy(static_cast<void*>(&io_tiles[n]), values, sizeof(Tile));
            return true;
        },
        [&](unsigned long n) { return io_tiles[n].load(io_stream); });
    return readOrClear(ok, in_count, io_tiles);
}

bool TilesEncoder<VoxelChannel<float>>::encodef(unsigned long in_count,
                                                const array1<Tile>& in_tiles,
                                                OutputStream& io_stream)
{
    return writeRecords(in_count, kPlaneRecord, io_stream, [&](unsigned long n, char* out_bytes) {
        putBigEndian(kTileSize, 8, out_bytes);
        splitIntoPlanes(in_tiles[n].data(), kTileSize,
                        reinterpret_cast<unsigned char*>(out_bytes + 8));
    });
}

bool TilesEncoder<VoxelChannel<float>>::decodef(unsigned long in_count, array1<Tile>& io_tiles,
                                                InputStream& io_stream)
{
    if (in_count > static_cast<unsigned long>(io_tiles.size())) {
        return false;
    }
    char length[8];
    putBigEndian(kTileSize, 8, length);
    const auto decodeRecord = [&](unsigned long n, const char* in_bytes) {
        if (std::memcmp(in_bytes, length, sizeof(length)) != 0) {
            return false;
        }
        joinPlanes(reinterpret_cast<const unsigned char*>(in_bytes + sizeof(length)), kTileSize,
                   io_tiles[n].data());
        return true;
    };
    const bool ok =
        readRecords(in_count, kPlaneRecord, io_stream, decodeRecord, [&](unsigned long n) {
            char record[kPlaneRecord];
            return io_stream.readbytes(sizeof(record), record) && decodeRecord(n, record);
        });
    return readOrClear(ok, in_count, io_tiles);
}

#define SKELVAR_INSTANTIATE(T) template struct PlainTilesEncoder<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
