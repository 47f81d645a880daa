#pragma once

#include <skelvar/particles/ParticleToFrom.h>
#include <skelvar/tree/TileId.h>

#include <tbb/enumerable_thread_specific.h>

#include <array>
#include <vector>

namespace Skelvar {

/// Requests to remove elements, by depth. Each thread writes to lists of its own, so that a request
/// waits for no other.
class ParticleRemovals {
public:
    using Lists = std::array<std::vector<ParticleToFrom>, kNumDepths>;

    /// Any thread. A depth that does not exist is passed over.
    void add(int in_tile, int in_depth, unsigned long in_index);
    /// Gathers what the threads have asked for into the lists, and sorts these.
    void sort();
    /// Eight lists, sorted as of the last `sort`.
    const std::vector<ParticleToFrom>* lists() const { return m_sorted.data(); }
    void clear();

private:
    tbb::enumerable_thread_specific<Lists> m_requests;
    Lists m_sorted;
};

}  // namespace Skelvar
