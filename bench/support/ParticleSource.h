#pragma once

#include <bench/support/Inputs.h>

#include <map>
#include <memory>
#include <vector>

namespace Bench {

/// Positions, the way of each in one step as its velocity, and numbers.
struct ParticleSource {
    std::vector<vec3f> positions;
    std::vector<vec3f> velocities;
    std::vector<unsigned long long> ids;

    explicit ParticleSource(std::size_t in_count) : positions(particles(in_count))
    {
        for (const vec3f& p : positions) {
            velocities.push_back(displacement(p));
            ids.push_back(ids.size());
        }
    }
};

/// Made at the first call for a count, and kept.
inline const ParticleSource& particleSource(std::size_t in_count)
{
    static std::map<std::size_t, std::unique_ptr<ParticleSource>> s_sources;
    std::unique_ptr<ParticleSource>& entry = s_sources[in_count];
    if (!entry) {
        entry = std::make_unique<ParticleSource>(in_count);
    }
    return *entry;
}

}  // namespace Bench
