#include <skelvar/particles/ParticleReblock.h>

#include <skelvar/particles/TileSort.h>

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

/// The runs of equal `in_tile(entry)` of a list.
template <typename Tile>
std::vector<Run> runsOf(const ParticleToFrom* in_list, long long in_count, const Tile& in_tile)
{
    constexpr long long kPiece = 1 << 16;
    const long long num_pieces = (in_count + kPiece - 1) / kPiece;
    std::vector<std::vector<Run>> runs(static_cast<std::size_t>(num_pieces));
    forPieces(in_count, num_pieces, [&](long long piece, long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            if (n == 0 || in_tile(in_list[n]) != in_tile(in_list[n - 1])) {
                runs[piece].push_back({in_tile(in_list[n]), n, in_count});
            }
        }
    });
    std::vector<Run> all;
    for (const std::vector<Run>& of_piece : runs) {
        all.insert(all.end(), of_piece.begin(), of_piece.end());
    }
    for (std::size_t n = 1; n < all.size(); ++n) {
        all[n - 1].end = all[n].begin;
    }
    return all;
}

bool isSorted(const std::vector<ParticleToFrom>& in_list)
{
    std::atomic<bool> is_sorted = true;
    Detail::bulkLoop(static_cast<long long>(in_list.size()), [&](long long begin, long long end) {
        const auto first = in_list.begin() + std::max(begin - 1, 0LL);
        if (!std::is_sorted(first, in_list.begin() + end, ParticleToFrom::compareIndex)) {
            is_sorted = false;
        }
    });
    return is_sorted;
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
    const auto by_tile = [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
        return in_a.to < in_b.to;
    };
    if (!std::is_sorted(arriving.begin(), arriving.end(), by_tile)) {
        std::stable_sort(arriving.begin(), arriving.end(), by_tile);
    }
    arriving_runs = runsOf(arriving.data(), static_cast<long long>(arriving.size()),
                           [](const ParticleToFrom& in_entry) { return in_entry.to; });
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
    std::vector<long long> begin;
    const std::vector<unsigned long> places =
        Detail::sortedPlaces<unsigned long>(count, in_num_tiles + 1LL, key, &begin);
    const long long first = begin[1];
    arriving.resize(static_cast<std::size_t>(count - first));
    Detail::bulkLoop(count - first, [&](long long in_begin, long long in_end) {
        for (long long n = in_begin; n < in_end; ++n) {
            arriving[n] = leaving[places[first + n]];
        }
    });
    for (int tile = 0; tile < in_num_tiles; ++tile) {
        if (begin[tile + 1] < begin[tile + 2]) {
            arriving_runs.push_back({tile, begin[tile + 1] - first, begin[tile + 2] - first});
        }
    }
}

void ParticleReblock::sortLeaving(const std::vector<ParticleToFrom>& in_list)
{
    leaving = in_list.data();
    if (!isSorted(in_list)) {
        assert(!"a list of particles is sorted by tile and index");
        m_sorted = in_list;
        tbb::parallel_sort(m_sorted.begin(), m_sorted.end(), ParticleToFrom::compareIndex);
        leaving = m_sorted.data();
    }
    leaving_runs = runsOf(leaving, static_cast<long long>(in_list.size()),
                          [](const ParticleToFrom& in_entry) { return in_entry.from; });
}

}  // namespace Skelvar
