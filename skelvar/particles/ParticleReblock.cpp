#include <skelvar/particles/ParticleReblock.h>

#include <skelvar/particles/TileSort.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>

#include <atomic>
#include <cassert>

namespace Skelvar {

namespace {

using Run = ParticleReblock::Run;

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
template <typename Tile, typename Ordered>
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

std::vector<Run> runsByFrom(const ParticleToFrom* in_list, std::size_t in_count, bool& out_ordered)
{
    return runsOf(
        in_list, static_cast<long long>(in_count),
        [](const ParticleToFrom& in_entry) { return in_entry.from; },
        [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
            return !ParticleToFrom::compareIndex(in_b, in_a);
        },
        out_ordered);
}

std::vector<Run> runsByTo(const std::vector<ParticleToFrom>& in_list, bool& out_ordered)
{
    return runsOf(
        in_list.data(), static_cast<long long>(in_list.size()),
        [](const ParticleToFrom& in_entry) { return in_entry.to; },
        [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) { return in_a.to <= in_b.to; },
        out_ordered);
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
    bool is_ordered = true;
    arriving_runs = runsByTo(arriving, is_ordered);
    if (!is_ordered) {
        std::stable_sort(arriving.begin(), arriving.end(),
                         [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
                             return in_a.to < in_b.to;
                         });
        arriving_runs = runsByTo(arriving, is_ordered);
    }
    sortLeaving(in_list);
}

ParticleReblock::ParticleReblock(const std::vector<ParticleToFrom>& in_list, int in_num_tiles,
                                 int in_from_depth, int in_to_depth)
    : from_depth(in_from_depth), to_depth(in_to_depth)
{
    sortLeaving(in_list);
    const long long count = static_cast<long long>(in_list.size());
    // Key 0 is for those that go, and for those whose destination is no tile.
    const auto key = [&](long long n) {
        const int to = leaving[n].to;
        return to >= 0 && to < in_num_tiles ? to + 1 : 0;
    };
    Detail::TileSort sort(count, in_num_tiles + 1LL, key);
    const std::vector<long long>& begin = sort.begins();
    const long long first = begin[1];
    arriving.resize(static_cast<std::size_t>(count - first));
    sort.place([&](long long in_place, long long n) {
        if (in_place >= first) {
            arriving[in_place - first] = leaving[n];
        }
    });
    for (int tile = 0; tile < in_num_tiles; ++tile) {
        if (begin[tile + 1] < begin[tile + 2]) {
            arriving_runs.push_back({tile, begin[tile + 1] - first, begin[tile + 2] - first});
        }
    }
}

void ParticleReblock::forRuns(const std::vector<Run>& in_runs,
                              const std::function<void(const Run*, const Run*)>& in_body)
{
    constexpr long long kSerialEntries = 99;
    const Run* const runs = in_runs.data();
    const long long count = static_cast<long long>(in_runs.size());
    if (count == 0 || in_runs.back().end - in_runs.front().begin <= kSerialEntries) {
        in_body(runs, runs + count);
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<long long>(0, count),
        [&](const tbb::blocked_range<long long>& in_range) {
            in_body(runs + in_range.begin(), runs + in_range.end());
        },
        tbb::auto_partitioner{}, context);
}

void ParticleReblock::sortLeaving(const std::vector<ParticleToFrom>& in_list)
{
    bool is_ordered = true;
    leaving = in_list.data();
    leaving_runs = runsByFrom(leaving, in_list.size(), is_ordered);
    if (!is_ordered) {
        assert(!"a list of particles is sorted by tile and index");
        m_sorted = in_list;
        tbb::parallel_sort(m_sorted.begin(), m_sorted.end(), ParticleToFrom::compareIndex);
        leaving = m_sorted.data();
        leaving_runs = runsByFrom(leaving, m_sorted.size(), is_ordered);
    }
}

}  // namespace Skelvar
