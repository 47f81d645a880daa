#pragma once

#include <skelvar/base/array1.h>
#include <skelvar/particles/ParticleToFrom.h>
#include <skelvar/particles/TileBuffer.h>

#include <functional>
#include <span>
#include <vector>

namespace Skelvar {

/// A list of moves, cut into pieces that follow one another.
using ParticleMoves = std::span<const std::span<const ParticleToFrom>>;

/// A request to move elements from tiles of one depth to tiles of another, made ready once and
/// carried out by each channel of a shape. Entries of one tile stand together, so that one thread
/// handles a tile.
struct ParticleReblock {
    static constexpr unsigned kNowhere = ~0u;
    /// An element that leaves its tile.
    struct Leaving {
        unsigned index;  ///< `kNowhere` if it names no element
        unsigned place;  ///< among all that arrive, or `kNowhere`
    };
    /// What happens to one tile: places [begin, end) arrive, entries [begin, end) of `leaving` go.
    struct Change {
        int depth;
        int tile;
        long long arriving_begin = 0;
        long long arriving_end = 0;
        long long leaving_begin = 0;
        long long leaving_end = 0;
    };

    /// The pieces together are sorted by `ParticleToFrom::compareIndex`; if they are not, a copy of
    /// them is. `in_sources`: the tiles of `in_from_depth`; entries that name none of their
    /// elements are passed over. Those with a `to` that is none of `in_num_targets` tiles go. At
    /// most 2^32 - 2 entries, else throws `std::runtime_error`.
    ParticleReblock(ParticleMoves in_moves, std::span<const Detail::TileBuffer> in_sources,
                    int in_num_targets, int in_from_depth, int in_to_depth);

    /// Calls in_body(begin, end) on ranges that cover `changes`, in parallel if it is worth it.
    void forChanges(const std::function<void(long long, long long)>& in_body) const;

    int from_depth;
    int to_depth;
    long long num_arriving = 0;
    array1<Leaving> leaving;      ///< by tile and index
    std::vector<Change> changes;  ///< each tile of a depth once

private:
    struct Run;

    bool findLeaving(ParticleMoves in_moves, std::span<const Detail::TileBuffer> in_sources,
                     int in_num_targets, std::vector<Run>& out_runs);
    std::vector<Run> findPlaces(int in_num_targets);
    void joinRuns(const std::vector<Run>& in_arriving, const std::vector<Run>& in_leaving);
};

}  // namespace Skelvar
