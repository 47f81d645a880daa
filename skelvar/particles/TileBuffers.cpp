#include <skelvar/particles/TileBuffers.h>

#include <skelvar/particles/ParticleReblock.h>
#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace Skelvar::Detail {

namespace {

using Change = ParticleReblock::Change;
using Leaving = ParticleReblock::Leaving;

/// Copies the elements of a tile that move to their places among all that do.
template <typename E>
void takeOut(const TileBuffer& in_tile, const Leaving* in_leaving, const Leaving* in_end,
             E* out_moved)
{
    const E* const elements = static_cast<const E*>(in_tile.data);
    for (const Leaving* entry = in_leaving; entry != in_end; ++entry) {
        if (entry->place != ParticleReblock::kNowhere) {
            out_moved[entry->place] = entry->index < in_tile.size ? elements[entry->index] : E{};
        }
    }
}

/// Appends elements to a tile and takes others out, whose holes are filled from the end. Those that
/// leave are sorted by index; indices that name no element are passed over. As if all were appended
/// before the first one leaves, but what fills a hole goes there straight away.
template <typename E>
void changeTile(E* io_arrived, unsigned long in_num_arrived, const Leaving* in_leaving,
                const Leaving* in_leaving_end, TileBuffer& io_tile)
{
    E* const old_elements = static_cast<E*>(io_tile.data);
    const unsigned long old_size = io_tile.size;
    const auto element = [&](unsigned long in_index) -> E& {
        return in_index < old_size ? old_elements[in_index] : io_arrived[in_index - old_size];
    };
    unsigned long size = old_size + in_num_arrived;
    const Leaving* first = in_leaving;
    const Leaving* last = in_leaving_end;
    while (first < last && size > 0) {
        // The element that fills a hole must be one that stays.
        while (last - 1 != first && last[-1].index >= size - 1) {
            if (last[-1].index == size - 1) {
                --size;
            }
            --last;
        }
        if (first->index < size) {
            element(first->index) = element(--size);
        }
        ++first;
    }
    if (size > old_size) {
        io_tile.reserve(size, sizeof(E));
        std::copy(io_arrived, io_arrived + (size - old_size),
                  static_cast<E*>(io_tile.data) + old_size);
    }
    io_tile.size = size;
}

}  // namespace

void forTiles(long long in_count, const std::function<void(long long, long long)>& in_body)
{
    bulkLoop(in_count, in_body);
}

unsigned long long numElements(ConstTileBuffers in_tiles)
{
    return std::transform_reduce(in_tiles.begin(), in_tiles.end(), 0ULL, std::plus<>(),
                                 [](const TileBuffer& in_tile) { return in_tile.size; });
}

std::vector<unsigned long long> countElements(ConstTileBuffers in_tiles)
{
    std::vector<unsigned long long> counts(in_tiles.size());
    std::transform(in_tiles.begin(), in_tiles.end(), counts.begin(),
                   [](const TileBuffer& in_tile) { return in_tile.size; });
    return counts;
}

unsigned long long memUsage(ConstTileBuffers in_tiles, unsigned long in_bytes,
                            MemUsage::Type in_type)
{
    unsigned long long count = 0;
    for (const TileBuffer& tile : in_tiles) {
        count += in_type == MemUsage::eMemAllocated ? tile.capacity : tile.size;
    }
    return count * in_bytes;
}

void resizeTiles(const std::vector<unsigned long long>& in_counts, const void* in_value,
                 unsigned long in_bytes, TileBuffers io_tiles)
{
    const auto fill = [&](TileBuffer& io_tile, unsigned long in_old_size) {
        withElement(in_bytes, [&]<typename E>(E value) {
            std::memcpy(&value, in_value, sizeof(E));
            E* const elements = static_cast<E*>(io_tile.data);
            std::fill(elements + in_old_size, elements + io_tile.size, value);
        });
    };
    forTiles(static_cast<long long>(io_tiles.size()), [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            TileBuffer& tile = io_tiles[n];
            const unsigned long count =
                static_cast<std::size_t>(n) < in_counts.size() ? in_counts[n] : 0;
            const unsigned long old_size = tile.size;
            tile.reserve(count, in_bytes);
            tile.size = count;
            if (count > old_size) {
                fill(tile, old_size);
            }
        }
    });
}

void copyTiles(ConstTileBuffers in_tiles, unsigned long in_bytes, TileBuffers out_tiles)
{
    forTiles(static_cast<long long>(in_tiles.size()), [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            if (in_tiles[n].size > 0) {
                out_tiles[n].reserve(in_tiles[n].size, in_bytes);
                std::memcpy(out_tiles[n].data, in_tiles[n].data, in_tiles[n].size * in_bytes);
                out_tiles[n].size = in_tiles[n].size;
            }
        }
    });
}

namespace {

/// In two passes, since what one tile gives away another may need: first all that moves is copied
/// out, then each tile takes in its share and closes its gaps.
template <typename E>
void reblockElements(const ParticleReblock& in_reblock, TileBuffers io_sources,
                     TileBuffers io_targets)
{
    const std::vector<Change>& changes = in_reblock.changes;
    const Leaving* const leaving = in_reblock.leaving.data();
    array1<E> moved(in_reblock.num_arriving);
    const auto tileOf = [&](const Change& in_change) {
        const TileBuffers tiles = in_change.depth == in_reblock.to_depth ? io_targets : io_sources;
        return static_cast<std::size_t>(in_change.tile) < tiles.size() ? &tiles[in_change.tile]
                                                                       : nullptr;
    };
    in_reblock.forChanges([&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            const Change& change = changes[n];
            if (const TileBuffer* const tile = tileOf(change)) {
                takeOut(*tile, leaving + change.leaving_begin, leaving + change.leaving_end,
                        moved.data());
            }
        }
    });
    in_reblock.forChanges([&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            const Change& change = changes[n];
            if (TileBuffer* const tile = tileOf(change)) {
                changeTile(moved.data() + change.arriving_begin,
                           static_cast<unsigned long>(change.arriving_end - change.arriving_begin),
                           leaving + change.leaving_begin, leaving + change.leaving_end, *tile);
                if (change.leaving_begin < change.leaving_end) {
                    tile->repack(1.0f, sizeof(E));
                }
            }
        }
    });
}

}  // namespace

void reblockTiles(const ParticleReblock& in_reblock, unsigned long in_bytes, TileBuffers io_sources,
                  TileBuffers io_targets)
{
    withElement(in_bytes,
                [&]<typename E>(E) { reblockElements<E>(in_reblock, io_sources, io_targets); });
}

}  // namespace Skelvar::Detail
