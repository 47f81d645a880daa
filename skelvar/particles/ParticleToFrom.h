#pragma once

#include <tuple>

namespace Skelvar {

/// One particle that changes its tile or goes.
struct ParticleToFrom {
    int to = -1;                   ///< destination tile, -1 for removal
    int from = -1;                 ///< tile that it stands in
    unsigned long long index = 0;  ///< its place in that tile

    /// The order that lists have: by `from`, then by `index`.
    static bool compareIndex(const ParticleToFrom& in_a, const ParticleToFrom& in_b)
    {
        return std::tie(in_a.from, in_a.index) < std::tie(in_b.from, in_b.index);
    }
};

static_assert(sizeof(ParticleToFrom) == 16, "lists of millions of them are walked");

}  // namespace Skelvar
