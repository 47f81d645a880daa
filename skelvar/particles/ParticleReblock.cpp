#include <skelvar/particles/ParticleReblock.h>

#include <skelvar/particles/TileSort.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>

#include <atomic>
#include <cassert>
#include <limits>
#include <stdexcept>

namespace Skelvar {

/// Neighbouring entries of the same tile: [begin, end).
struct ParticleReblock::Run {
    int tile;
    long long begin;
    long long end;
};

ParticleReblock::ParticleReblock(ParticleMoves in_moves,
                                 std::span<const Detail::TileBuffer> in_sources, int in_num_targets,
                                 int in_from_depth, int in_to_depth)
    : from_depth(in_from_depth), to_depth(in_to_depth)
{
    std::vector<Run> leaving_runs;
    if (!findLeaving(in_moves, in_sources, in_num_targets, leaving_runs)) {
        assert(!"a list of particles is sorted by tile and index");
        std::vector<ParticleToFrom> sorted;
        for (const auto& piece : in_moves) {
            sorted.insert(sorted.end(), piece.begin(), piece.end());
        }
        tbb::parallel_sort(sorted.begin(), sorted.end(), ParticleToFrom::compareIndex);
        const std::span<const ParticleToFrom> whole = sorted;
        findLeaving({&whole, 1}, in_sources, in_num_targets, leaving_runs);
    }
    joinRuns(findPlaces(in_num_targets), leaving_runs);
}

/// Fills `leaving`; each place is that of the tile to go to, `in_num_targets` if there is none.
/// Gives the runs of equal `from`. False if the list is not sorted.
bool ParticleReblock::findLeaving(ParticleMoves in_moves,
                                  std::span<const Detail::TileBuffer> in_sources,
                                  int in_num_targets, std::vector<Run>& out_runs)
{
    std::vector<long long> begins = {0};
    for (const auto& piece : in_moves) {
        begins.push_back(begins.back() + static_cast<long long>(piece.size()));
    }
    if (begins.back() >= kNowhere) {
        throw std::runtime_error("ParticleReblock: too many particles: " +
                                 std::to_string(begins.back()));
    }
    leaving.resize(begins.back());
    const auto find = [&](const ParticleToFrom& in_entry) -> Leaving {
        const std::size_t from = static_cast<unsigned>(in_entry.from);
        if (from >= in_sources.size() ||
            in_entry.index >= std::min<unsigned long>(in_sources[from].size, kNowhere)) {
            return {kNowhere, static_cast<unsigned>(in_num_targets)};
        }
        const bool has_target = in_entry.to >= 0 && in_entry.to < in_num_targets;
        return {static_cast<unsigned>(in_entry.index),
                static_cast<unsigned>(has_target ? in_entry.to : in_num_targets)};
    };
    std::vector<std::vector<Run>> runs(in_moves.size());
    std::atomic<bool> is_sorted = true;
    tbb::parallel_for(std::size_t(0), in_moves.size(), [&](std::size_t in_piece) {
        const std::span<const ParticleToFrom> entries = in_moves[in_piece];
        long long place = begins[in_piece];
        for (std::size_t n = 0; n < entries.size(); ++n, ++place) {
            leaving[place] = find(entries[n]);
            if (n == 0 || entries[n].from != entries[n - 1].from) {
                runs[in_piece].push_back({entries[n].from, place, begins.back()});
            }
            if (n > 0 && ParticleToFrom::compareIndex(entries[n], entries[n - 1])) {
                is_sorted = false;
            }
        }
    });
    out_runs.clear();
    const ParticleToFrom* last = nullptr;
    for (std::size_t piece = 0; piece < in_moves.size(); ++piece) {
        for (const Run& run : runs[piece]) {
            if (out_runs.empty() || out_runs.back().tile != run.tile) {
                if (!out_runs.empty()) {
                    out_runs.back().end = run.begin;
                }
                out_runs.push_back(run);
            }
        }
        if (!in_moves[piece].empty()) {
            if (last != nullptr && ParticleToFrom::compareIndex(in_moves[piece].front(), *last)) {
                is_sorted = false;
            }
            last = &in_moves[piece].back();
        }
    }
    return is_sorted;
}

/// Turns the tiles to go to into places. Gives the runs of those that arrive at one tile.
std::vector<ParticleReblock::Run> ParticleReblock::findPlaces(int in_num_targets)
{
    const auto key = [&](long long n) { return leaving[n].place; };
    const Detail::TileSort sort(leaving.size(), in_num_targets + 1LL, key);
    const std::vector<long long>& begins = sort.begins();
    num_arriving = begins[in_num_targets];
    sort.place(key, [&](long long in_place, long long n) {
        leaving[n].place = in_place < num_arriving ? static_cast<unsigned>(in_place) : kNowhere;
    });
    std::vector<Run> runs;
    for (int tile = 0; tile < in_num_targets; ++tile) {
        if (begins[tile] < begins[tile + 1]) {
            runs.push_back({tile, begins[tile], begins[tile + 1]});
        }
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
