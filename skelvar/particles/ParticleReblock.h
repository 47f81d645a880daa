#pragma once

#include <skelvar/particles/ParticleToFrom.h>

#include <functional>
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

    /// Calls in_body(begin, end) on ranges that cover a list of runs, in parallel if it is worth
    /// it.
    static void forRuns(const std::vector<Run>& in_runs,
                        const std::function<void(const Run* in_begin, const Run* in_end)>& in_body);

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
