#include <skelvar/io/TilesEncoder.h>

#include <skelvar/io/ByteStreamBuf.h>
#include <skelvar/io/KvfStreaming.h>
#include <skelvar/io/TileEncoder.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>

namespace Skelvar {

namespace {

constexpr long long kTileSize = 125;
constexpr long long kPlaneRecord = 8 + 4 * kTileSize;  ///< plane length and four planes
constexpr unsigned long kBatchBytes = 32 * 1024;       ///< encoded at once: stays in the cache
constexpr unsigned long kSerialTiles = 99;             ///< at most so many are not worth tasks

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

/// Writes `in_count` records of one size in large pieces. in_encode(n, bytes) fills record n.
template <typename Encode>
bool writeRecords(unsigned long in_count, unsigned long in_record, OutputStream& io_stream,
                  const Encode& in_encode)
{
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

/// Decodes records that lie one after the other, up to the first that in_decode(n, bytes) refuses,
/// in parallel. Gives the number of records in front of it; those behind may be decoded or not.
template <typename Decode>
unsigned long decodeRun(const char* in_bytes, unsigned long in_count, unsigned long in_record,
                        const Decode& in_decode)
{
    std::atomic<unsigned long> good{in_count};
    const auto decodeRange = [&](unsigned long in_begin, unsigned long in_end) {
        for (unsigned long n = in_begin; n < in_end; ++n) {
            if (in_decode(n, in_bytes + n * in_record)) {
                continue;
            }
            unsigned long seen = good;
            while (n < seen && !good.compare_exchange_weak(seen, n)) {
            }
            return;
        }
    };
    if (in_count <= kSerialTiles) {
        decodeRange(0, in_count);
    } else {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<unsigned long>(0, in_count, kSerialTiles),
            [&](const tbb::blocked_range<unsigned long>& in_range) {
                decodeRange(in_range.begin(), in_range.end());
            },
            context);
    }
    return good;
}

/// Reads `in_count` records. As many as lie in the memory of the stream go through
/// in_decode(n, bytes), which gives false for a record of another form; such a record, and one that
/// is not at hand as a whole, goes through in_load(n), which reads from the stream.
template <typename Decode, typename Load>
bool readRecords(unsigned long in_count, unsigned long in_record, InputStream& io_stream,
                 const Decode& in_decode, const Load& in_load)
{
    auto* const reader = dynamic_cast<KvfStreaming::StreamReader*>(&io_stream);
    unsigned long done = 0;
    while (done < in_count) {
        ByteStreamBuf* const bytes = reader != nullptr ? reader->bytes() : nullptr;
        unsigned long run = 0;
        if (bytes != nullptr) {
            const std::span<const char> held = bytes->peek(in_record);
            run = decodeRun(held.data(),
                            std::min<unsigned long>(held.size() / in_record, in_count - done),
                            in_record, [&](unsigned long n, const char* in_bytes) {
                                return in_decode(done + n, in_bytes);
                            });
            bytes->skip(run * in_record);
        }
        if (run == 0) {
            if (!in_load(done)) {
                return false;
            }
            run = 1;
        }
        done += run;
    }
    return true;
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
            // Bytes that are no bool need the tile's own care.
            if (std::is_same_v<T, bool> || std::memcmp(in_bytes, head.bytes, head_size) != 0) {
                return false;
            }
            std::memcpy(static_cast<void*>(&io_tiles[n]), in_bytes + head_size, sizeof(Tile));
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
