#pragma once

#include <skelvar/particles/ParticleToFrom.h>

#include <functional>
#include <vector>

namespace Skelvar {

/// A request to move elements from tiles of one depth to tiles of another, made ready once and
/// carried out by each channel of a shape. Entries of one tile stand together, so that one thread
/// handles a tile.
struct ParticleReblock {
    /// What happens to one tile: entries [begin, end) of `arriving` come, of `leaving` go.
    struct Change {
        int depth;
        int tile;
        long long arriving_begin = 0;
        long long arriving_end = 0;
        long long leaving_begin = 0;
        long long leaving_end = 0;
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

    /// Calls in_body(begin, end) on ranges that cover `changes`, in parallel if it is worth it.
    void forChanges(const std::function<void(long long, long long)>& in_body) const;

    int from_depth;
    int to_depth;
    const ParticleToFrom* leaving;         ///< all entries, by `from` and `index`
    std::vector<ParticleToFrom> arriving;  ///< those with a destination, by `to`
    std::vector<Change> changes;           ///< each tile of a depth once

private:
    struct Run;

    /// Gives the runs of equal `from`.
    std::vector<Run> sortLeaving(const std::vector<ParticleToFrom>& in_list);
    void joinRuns(const std::vector<Run>& in_arriving, const std::vector<Run>& in_leaving);

    std::vector<ParticleToFrom> m_sorted;  ///< of a list that was not
};

}  // namespace Skelvar
