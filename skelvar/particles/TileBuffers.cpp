#include <skelvar/particles/TileBuffers.h>

#include <skelvar/particles/ParticleReblock.h>
#include <skelvar/tree/BulkLoop.h>

#include <cstring>
#include <numeric>

namespace Skelvar::Detail {

namespace {

using Run = ParticleReblock::Run;

/// Takes the elements of a run out of their tile and fills the holes from its end. The run is
/// sorted by index; indices that name no element are passed over.
template <typename E>
void removeElements(const ParticleToFrom* in_first, const ParticleToFrom* in_end,
                    TileBuffer& io_tile)
{
    E* const elements = static_cast<E*>(io_tile.data);
    unsigned long size = io_tile.size;
    const ParticleToFrom* first = in_first;
    const ParticleToFrom* last = in_end - 1;
    while (first <= last && size > 0) {
        // The element that fills a hole must be one that stays.
        while (last != first && last->index >= size - 1) {
            if (last->index == size - 1) {
                --size;
            }
            --last;
        }
        if (first->index < size) {
            elements[first->index] = elements[--size];
        }
        ++first;
    }
    io_tile.size = size;
}

/// Writes the elements of a run behind the end of a tile that has room for them; the tile's size
/// stays, since other threads may read it. Gives their number.
template <typename E>
unsigned long copyElements(const ParticleToFrom* in_first, const ParticleToFrom* in_end,
                           ConstTileBuffers in_sources, const TileBuffer& in_target)
{
    E* const begin = static_cast<E*>(in_target.data) + in_target.size;
    E* out = begin;
    for (const ParticleToFrom* entry = in_first; entry != in_end; ++entry) {
        const std::size_t from = static_cast<unsigned>(entry->from);
        if (from < in_sources.size() && entry->index < in_sources[from].size) {
            *out++ = static_cast<const E*>(in_sources[from].data)[entry->index];
        }
    }
    return static_cast<unsigned long>(out - begin);
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

/// In passes, each done before the next begins: a tile that grows may be one that others read.
void reblockTiles(const ParticleReblock& in_reblock, unsigned long in_bytes, TileBuffers io_sources,
                  TileBuffers io_targets)
{
    const std::vector<Run>& arriving = in_reblock.arriving_runs;
    const ParticleToFrom* const arrivals = in_reblock.arriving.data();
    const auto isIn = [](TileBuffers in_tiles, const Run& in_run) {
        return static_cast<std::size_t>(in_run.tile) < in_tiles.size();
    };

    ParticleReblock::forRuns(arriving, [&](const Run* in_begin, const Run* in_end) {
        for (const Run* run = in_begin; run != in_end; ++run) {
            if (isIn(io_targets, *run)) {
                TileBuffer& tile = io_targets[run->tile];
                tile.reserve(tile.size + static_cast<unsigned long>(run->end - run->begin),
                             in_bytes);
            }
        }
    });

    std::vector<unsigned long> num_copied(arriving.size());
    ParticleReblock::forRuns(arriving, [&](const Run* in_begin, const Run* in_end) {
        withElement(in_bytes, [&]<typename E>(E) {
            for (const Run* run = in_begin; run != in_end; ++run) {
                if (isIn(io_targets, *run)) {
                    num_copied[run - arriving.data()] =
                        copyElements<E>(arrivals + run->begin, arrivals + run->end, io_sources,
                                        io_targets[run->tile]);
                }
            }
        });
    });
    for (std::size_t n = 0; n < arriving.size(); ++n) {
        if (isIn(io_targets, arriving[n])) {
            io_targets[arriving[n].tile].size += num_copied[n];
        }
    }

    ParticleReblock::forRuns(in_reblock.leaving_runs, [&](const Run* in_begin, const Run* in_end) {
        withElement(in_bytes, [&]<typename E>(E) {
            for (const Run* run = in_begin; run != in_end; ++run) {
                if (isIn(io_sources, *run)) {
                    TileBuffer& tile = io_sources[run->tile];
                    removeElements<E>(in_reblock.leaving + run->begin,
                                      in_reblock.leaving + run->end, tile);
                    tile.repack(1.0f, in_bytes);
                }
            }
        });
    });
}

}  // namespace Skelvar::Detail
