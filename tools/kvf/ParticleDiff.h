#pragma once

#include <skelvar/tree/TileIndex.h>

#include <tools/kvf/ChannelDiff.h>

#include <vector>

namespace Skelvar {

class ParticleShape;

namespace Tool {

/// The particles of two shapes, matched by their ids. Refers to the shapes, whose particles must
/// stay as they are as long as it lives.
class ParticleMatch {
public:
    /// The channels hold the ids, of one type of whole numbers without components; throws
    /// `ToolError` with `eDataSaysNo` for others. Of an id that comes twice in a shape each
    /// particle finds one partner at most, in the order of the tiles.
    ParticleMatch(const ParticleShape& in_shape_a, const TreeChannel3DBase& in_ids_a,
                  const ParticleShape& in_shape_b, const TreeChannel3DBase& in_ids_b);

    /// Particles of the first shape whose id the second has not, and the other way round.
    unsigned long long numOnlyInA() const { return m_only_a; }
    unsigned long long numOnlyInB() const { return m_only_b; }

    /// Compares two particle channels of one type, one of each shape, over the matched particles.
    /// Parallel, and the same however many threads there are.
    ChannelDiff diff(const TreeChannel3DBase& in_a, const TreeChannel3DBase& in_b,
                     const Tolerance& in_tolerance) const;

    /// Where a particle is.
    struct Place {
        TileIndex tile;
        unsigned int index;  ///< in the tile
    };

private:
    struct Pair {
        Place a;
        Place b;
    };

    const ParticleShape* m_shape_a;
    std::vector<Pair> m_pairs;  ///< by rising id
    unsigned long long m_only_a = 0;
    unsigned long long m_only_b = 0;
};

}  // namespace Tool
}  // namespace Skelvar
