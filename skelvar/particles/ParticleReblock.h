#pragma once

#include <skelvar/particles/ParticleToFrom.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <vector>

namespace Skelvar {

/// A request to move elements from tiles of one depth to tiles of another, made ready once and
/// carried out by each channel of a shape. Entries of one tile stand together, so that one thread
/// handles a tile.
struct ParticleReblock {
    /// Neighbouring entries of the same tile: [begin, end).
    struct Run {
        int tile;
        long long begin;
        long long end;
    };

    /// `in_list` must outlive the request, unless it is not sorted, in which case it is copied.
    /// `in_indices` as of `ParticleChannel::syncShapeParticleReblock`.
    ParticleReblock(const std::vector<ParticleToFrom>& in_list,
                    const std::vector<unsigned long>& in_indices, int in_from_depth,
                    int in_to_depth);
    /// The same, with the order by `to` found here. `in_num_tiles`: tiles of `in_to_depth`.
    ParticleReblock(const std::vector<ParticleToFrom>& in_list, int in_num_tiles, int in_from_depth,
                    int in_to_depth);
    ParticleReblock(const ParticleReblock&) = delete;
    ParticleReblock& operator=(const ParticleReblock&) = delete;

    /// Calls in_body(n) for each place of a list of runs, in parallel if that is worth it.
    template <typename Body>
    static void forRuns(const std::vector<Run>& in_runs, const Body& in_body)
    {
        constexpr long long kSerialEntries = 99;
        const long long count = static_cast<long long>(in_runs.size());
        const auto serial = [&](long long in_begin, long long in_end) {
            for (long long n = in_begin; n < in_end; ++n) {
                in_body(n);
            }
        };
        if (count == 0 || in_runs.back().end - in_runs.front().begin <= kSerialEntries) {
            serial(0, count);
            return;
        }
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<long long>(0, count),
            [&](const tbb::blocked_range<long long>& in_range) {
                serial(in_range.begin(), in_range.end());
            },
            tbb::auto_partitioner{}, context);
    }

    int from_depth;
    int to_depth;
    const ParticleToFrom* leaving;         ///< all entries, by `from` and `index`
    std::vector<Run> leaving_runs;         ///< by `from`
    std::vector<ParticleToFrom> arriving;  ///< those with a destination, by `to`
    std::vector<Run> arriving_runs;        ///< by `to`

private:
    void sortLeaving(const std::vector<ParticleToFrom>& in_list);

    std::vector<ParticleToFrom> m_sorted;  ///< of a list that was not
};

}  // namespace Skelvar
