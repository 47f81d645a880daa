#include <skelvar/particles/ParticleReblock.h>

#include <skelvar/particles/TileSort.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>

#include <atomic>
#include <cassert>
#include <limits>

namespace Skelvar {

/// Neighbouring entries of the same tile: [begin, end).
struct ParticleReblock::Run {
    int tile;
    long long begin;
    long long end;
};

namespace {

/// Calls in_body(piece, begin, end) for some pieces of [0, in_count), in parallel.
template <typename Body>
void forPieces(long long in_count, long long in_num_pieces, const Body& in_body)
{
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<long long>(0, in_num_pieces, 1),
        [&](const tbb::blocked_range<long long>& in_pieces) {
            for (long long piece = in_pieces.begin(); piece < in_pieces.end(); ++piece) {
                in_body(piece, in_count * piece / in_num_pieces,
                        in_count * (piece + 1) / in_num_pieces);
            }
        },
        tbb::simple_partitioner{}, context);
}

/// The runs of equal `in_tile(entry)` of a list. `in_ordered(a, b)` is asked of neighbours; false
/// for any clears `out_ordered`.
template <typename Run, typename Tile, typename Ordered>
std::vector<Run> runsOf(const ParticleToFrom* in_list, long long in_count, const Tile& in_tile,
                        const Ordered& in_ordered, bool& out_ordered)
{
    constexpr long long kPiece = 1 << 16;
    const long long num_pieces = (in_count + kPiece - 1) / kPiece;
    std::vector<std::vector<Run>> runs(static_cast<std::size_t>(num_pieces));
    std::atomic<bool> ordered = true;
    forPieces(in_count, num_pieces, [&](long long piece, long long in_begin, long long in_end) {
        bool piece_ordered = true;
        for (long long n = in_begin; n < in_end; ++n) {
            if (n == 0 || in_tile(in_list[n]) != in_tile(in_list[n - 1])) {
                runs[piece].push_back({in_tile(in_list[n]), n, in_count});
            }
            piece_ordered = piece_ordered && (n == 0 || in_ordered(in_list[n - 1], in_list[n]));
        }
        if (!piece_ordered) {
            ordered = false;
        }
    });
    std::vector<Run> all;
    for (const std::vector<Run>& of_piece : runs) {
        all.insert(all.end(), of_piece.begin(), of_piece.end());
    }
    for (std::size_t n = 1; n < all.size(); ++n) {
        all[n - 1].end = all[n].begin;
    }
    out_ordered = ordered;
    return all;
}

}  // namespace

ParticleReblock::ParticleReblock(const std::vector<ParticleToFrom>& in_list,
                                 const std::vector<unsigned long>& in_indices, int in_from_depth,
                                 int in_to_depth)
    : from_depth(in_from_depth), to_depth(in_to_depth)
{
    // The places belong to the list as it was given.
    for (const unsigned long place : in_indices) {
        if (place < in_list.size() && in_list[place].to >= 0) {
            arriving.push_back(in_list[place]);
        }
    }
    // One thread handles a tile only if its entries stand together.
    const auto runsByTo = [&](bool& out_ordered) {
        return runsOf<Run>(
            arriving.data(), static_cast<long long>(arriving.size()),
            [](const ParticleToFrom& in_entry) { return in_entry.to; },
            [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
                return in_a.to <= in_b.to;
            },
            out_ordered);
    };
    bool is_ordered = true;
    std::vector<Run> arriving_runs = runsByTo(is_ordered);
    if (!is_ordered) {
        std::stable_sort(arriving.begin(), arriving.end(),
                         [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
                             return in_a.to < in_b.to;
                         });
        arriving_runs = runsByTo(is_ordered);
    }
    joinRuns(arriving_runs, sortLeaving(in_list));
}

ParticleReblock::ParticleReblock(const std::vector<ParticleToFrom>& in_list, int in_num_tiles,
                                 int in_from_depth, int in_to_depth)
    : from_depth(in_from_depth), to_depth(in_to_depth)
{
    const std::vector<Run> leaving_runs = sortLeaving(in_list);
    const long long count = static_cast<long long>(in_list.size());
    // Key 0 is for those that go, and for those whose destination is no tile.
    const auto key = [&](long long n) {
        const int to = leaving[n].to;
        return to >= 0 && to < in_num_tiles ? to + 1 : 0;
    };
    const Detail::TileSort sort(count, in_num_tiles + 1LL, key);
    const std::vector<long long>& begin = sort.begins();
    const long long first = begin[1];
    arriving.resize(static_cast<std::size_t>(count - first));
    sort.place(key, [&](long long in_place, long long n) {
        if (in_place >= first) {
            arriving[in_place - first] = leaving[n];
        }
    });
    std::vector<Run> arriving_runs;
    for (int tile = 0; tile < in_num_tiles; ++tile) {
        if (begin[tile + 1] < begin[tile + 2]) {
            arriving_runs.push_back({tile, begin[tile + 1] - first, begin[tile + 2] - first});
        }
    }
    joinRuns(arriving_runs, leaving_runs);
}

std::vector<ParticleReblock::Run> ParticleReblock::sortLeaving(
    const std::vector<ParticleToFrom>& in_list)
{
    const auto runsByFrom = [&](bool& out_ordered) {
        return runsOf<Run>(
            leaving, static_cast<long long>(in_list.size()),
            [](const ParticleToFrom& in_entry) { return in_entry.from; },
            [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
                return !ParticleToFrom::compareIndex(in_b, in_a);
            },
            out_ordered);
    };
    bool is_ordered = true;
    leaving = in_list.data();
    std::vector<Run> runs = runsByFrom(is_ordered);
    if (!is_ordered) {
        assert(!"a list of particles is sorted by tile and index");
        m_sorted = in_list;
        tbb::parallel_sort(m_sorted.begin(), m_sorted.end(), ParticleToFrom::compareIndex);
        leaving = m_sorted.data();
        runs = runsByFrom(is_ordered);
    }
    return runs;
}

/// Both are by rising tile.
void ParticleReblock::joinRuns(const std::vector<Run>& in_arriving,
                               const std::vector<Run>& in_leaving)
{
    const bool is_one_depth = from_depth == to_depth;
    auto leaving_run = in_leaving.begin();
    const auto leaveBefore = [&](long long in_tile) {
        for (; leaving_run != in_leaving.end() && leaving_run->tile < in_tile; ++leaving_run) {
            changes.push_back(
                {from_depth, leaving_run->tile, 0, 0, leaving_run->begin, leaving_run->end});
        }
    };
    for (const Run& run : in_arriving) {
        Change change{to_depth, run.tile, run.begin, run.end};
        if (is_one_depth) {
            leaveBefore(run.tile);
            if (leaving_run != in_leaving.end() && leaving_run->tile == run.tile) {
                change.leaving_begin = leaving_run->begin;
                change.leaving_end = leaving_run->end;
                ++leaving_run;
            }
        }
        changes.push_back(change);
    }
    leaveBefore(std::numeric_limits<long long>::max());
}

void ParticleReblock::forChanges(const std::function<void(long long, long long)>& in_body) const
{
    constexpr long long kSerialEntries = 99;
    long long num_entries = 0;
    for (const Change& change : changes) {
        num_entries +=
            change.arriving_end - change.arriving_begin + change.leaving_end - change.leaving_begin;
    }
    const long long count = static_cast<long long>(changes.size());
    if (num_entries <= kSerialEntries) {
        in_body(0, count);
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<long long>(0, count),
        [&](const tbb::blocked_range<long long>& in_range) {
            in_body(in_range.begin(), in_range.end());
        },
        tbb::auto_partitioner{}, context);
}

}  // namespace Skelvar
