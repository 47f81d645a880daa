#include <skelvar/voxel/TileMemory.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstring>

namespace Skelvar::Detail {

namespace {

/// Tiles that one thread takes at a time; fewer are not worth a second thread.
constexpr long long kGrain = 200;

/// Bytes that stay in the nearest cache while they are read again and again.
constexpr std::size_t kCachedBytes = 32 * 1024;

/// Calls in_body(begin, end) for pieces of [0, in_count).
template <typename Body>
void forRanges(long long in_count, const Body& in_body)
{
    if (in_count <= kGrain) {
        in_body(0LL, in_count);
        return;
    }
    // The caller may hold a lock: its thread must not pick up foreign work that wants the same one.
    tbb::this_task_arena::isolate([&] {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<long long>(0, in_count, kGrain),
            [&](const tbb::blocked_range<long long>& in_range) {
                in_body(in_range.begin(), in_range.end());
            },
            tbb::auto_partitioner{}, context);
    });
}

/// A few tiles are written one by one; from there on the memory is its own source, which lies in
/// the cache, in pieces that are long enough for the fastest way to copy.
void fillRange(const char* in_tile, std::size_t in_tile_bytes, std::size_t in_bytes,
               char* out_tiles)
{
    const std::size_t tiles_cached = std::max<std::size_t>(1, kCachedBytes / in_tile_bytes);
    const std::size_t head = std::min(in_bytes, tiles_cached * in_tile_bytes);
    for (std::size_t n = 0; n < head; n += in_tile_bytes) {
        std::memcpy(out_tiles + n, in_tile, in_tile_bytes);
    }
    for (std::size_t n = head; n < in_bytes; n += head) {
        std::memcpy(out_tiles + n, out_tiles, std::min(head, in_bytes - n));
    }
}

}  // namespace

void fillTiles(void* out_tiles, long long in_count, const void* in_tile, std::size_t in_tile_bytes)
{
    char* const tiles = static_cast<char*>(out_tiles);
    const char* const tile = static_cast<const char*>(in_tile);
    forRanges(in_count, [=](long long in_begin, long long in_end) {
        fillRange(tile, in_tile_bytes, (in_end - in_begin) * in_tile_bytes,
                  tiles + in_begin * in_tile_bytes);
    });
}

void moveTiles(void* io_tiles, long long in_count, const std::vector<TileIndex>& in_moves,
               std::size_t in_tile_bytes)
{
    char* const tiles = static_cast<char*>(io_tiles);
    const auto is_inside = [=](int in_index) { return in_index >= 0 && in_index < in_count; };
    forRanges(static_cast<long long>(in_moves.size()), [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            const TileIndex move = in_moves[n];
            if (is_inside(move.first) && is_inside(move.second) && move.first != move.second) {
                std::memcpy(tiles + move.first * in_tile_bytes, tiles + move.second * in_tile_bytes,
                            in_tile_bytes);
            }
        }
    });
}

void forEachTile(const std::vector<int>& in_indices, const std::function<void(int)>& in_body)
{
    forRanges(static_cast<long long>(in_indices.size()), [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            in_body(in_indices[n]);
        }
    });
}

}  // namespace Skelvar::Detail
