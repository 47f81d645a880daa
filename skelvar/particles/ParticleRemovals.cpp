#include <skelvar/particles/ParticleRemovals.h>

#include <skelvar/particles/TileSort.h>

#include <tbb/parallel_sort.h>

namespace Skelvar {

namespace {

/// By tile with a counting sort, then by index in each tile. Lists that name far more tiles than
/// they have entries are sorted as they are.
void sortList(std::vector<ParticleToFrom>& io_list)
{
    constexpr long long kFewEntries = 1000;
    const long long count = static_cast<long long>(io_list.size());
    const auto [lowest, highest] = std::minmax_element(
        io_list.begin(), io_list.end(), [](const ParticleToFrom& in_a, const ParticleToFrom& in_b) {
            return in_a.from < in_b.from;
        });
    if (count < kFewEntries || lowest->from < 0 || highest->from > 8 * count) {
        tbb::parallel_sort(io_list.begin(), io_list.end(), ParticleToFrom::compareIndex);
        return;
    }
    const long long num_tiles = highest->from + 1LL;
    const auto key = [&](long long n) { return io_list[n].from; };
    const Detail::TileSort sort(count, num_tiles, key);
    std::vector<ParticleToFrom> sorted(io_list.size());
    sort.place(key, [&](long long in_place, long long n) { sorted[in_place] = io_list[n]; });
    const std::vector<long long>& begin = sort.begins();
    Detail::bulkLoop(num_tiles, [&](long long in_first, long long in_last) {
        for (long long tile = in_first; tile < in_last; ++tile) {
            std::sort(sorted.begin() + begin[tile], sorted.begin() + begin[tile + 1],
                      ParticleToFrom::compareIndex);
        }
    });
    io_list = std::move(sorted);
}

}  // namespace

void ParticleRemovals::add(int in_tile, int in_depth, unsigned long in_index)
{
    if (in_depth >= 0 && in_depth < kNumDepths) {
        m_requests.local()[in_depth].push_back({-1, in_tile, in_index});
    }
}

void ParticleRemovals::sort()
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        std::vector<ParticleToFrom>& list = m_sorted[depth];
        const std::size_t old_size = list.size();
        for (Lists& requests : m_requests) {
            list.insert(list.end(), requests[depth].begin(), requests[depth].end());
            requests[depth].clear();
        }
        if (list.size() > old_size) {
            sortList(list);
        }
    }
}

void ParticleRemovals::clear()
{
    m_requests.clear();
    m_sorted = {};
}

}  // namespace Skelvar
