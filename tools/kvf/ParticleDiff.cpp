#include <tools/kvf/ParticleDiff.h>

#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tools/kvf/RunningDiff.h>
#include <tools/kvf/ToolError.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>
#include <tbb/parallel_sort.h>

#include <type_traits>

namespace Skelvar::Tool {

namespace {

constexpr int kPairGrain = 4096;  ///< fixed, so that sums are rounded alike on every machine

struct Numbered {
    unsigned long long id;
    ParticleMatch::Place place;
};

/// All particles of a shape, by rising id; those of one id in the order of the tiles.
template <typename T>
std::vector<Numbered> sortById(const ParticleShape& in_shape, const ParticleChannel<T>& in_ids)
{
    std::vector<Numbered> particles;
    particles.reserve(in_shape.numParticles());
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int n = 0; n < in_ids.numTiles(depth); ++n) {
            const auto& tile = in_ids.tile(n, depth);
            for (unsigned int index = 0; index < tile.size(); ++index) {
                particles.push_back(
                    {static_cast<unsigned long long>(tile[index]), {{n, depth}, index}});
            }
        }
    }
    tbb::parallel_sort(
        particles.begin(), particles.end(), [](const Numbered& in_left, const Numbered& in_right) {
            const auto key = [](const Numbered& in_particle) {
                const ParticleMatch::Place& place = in_particle.place;
                return std::tuple(in_particle.id, place.tile.second, place.tile.first, place.index);
            };
            return key(in_left) < key(in_right);
        });
    return particles;
}

template <typename T>
constexpr bool isNumber()
{
    return std::is_integral_v<T> && sizeof(T) > 1;
}

std::vector<Numbered> sortById(const ParticleShape& in_shape, const TreeChannel3DBase& in_ids)
{
    std::vector<Numbered> particles;
    bool is_done = false;
    visitParticleChannel(in_ids, [&]<typename T>(const ParticleChannel<T>& in_typed) {
        if constexpr (isNumber<T>()) {
            particles = sortById(in_shape, in_typed);
            is_done = true;
        }
    });
    if (!is_done) {
        throw ToolError(eDataSaysNo, "channel " + in_ids.name() + " holds no ids: it is a " +
                                         in_ids.typeMeta()->typeName());
    }
    return particles;
}

}  // namespace

ParticleMatch::ParticleMatch(const ParticleShape& in_shape_a, const TreeChannel3DBase& in_ids_a,
                             const ParticleShape& in_shape_b, const TreeChannel3DBase& in_ids_b)
    : m_shape_a(&in_shape_a)
{
    const std::vector<Numbered> all_a = sortById(in_shape_a, in_ids_a);
    const std::vector<Numbered> all_b = sortById(in_shape_b, in_ids_b);
    auto a = all_a.begin();
    auto b = all_b.begin();
    while (a != all_a.end() && b != all_b.end()) {
        if (a->id == b->id) {
            m_pairs.push_back({(a++)->place, (b++)->place});
        } else {
            ++(a->id < b->id ? a : b);
        }
    }
    m_only_a = all_a.size() - m_pairs.size();
    m_only_b = all_b.size() - m_pairs.size();
}

ChannelDiff ParticleMatch::diff(const TreeChannel3DBase& in_a, const TreeChannel3DBase& in_b,
                                const Tolerance& in_tolerance) const
{
    RunningDiff all;
    visitParticleChannel(in_a, [&](const auto& in_typed) {
        const auto& other = static_cast<const std::decay_t<decltype(in_typed)>&>(in_b);
        all = tbb::parallel_deterministic_reduce(
            tbb::blocked_range<std::size_t>(0, m_pairs.size(), kPairGrain), RunningDiff{},
            [&](const tbb::blocked_range<std::size_t>& in_range, RunningDiff io_sums) {
                for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
                    const Pair& pair = m_pairs[n];
                    io_sums.add(in_typed.tile(pair.a.tile)[pair.a.index],
                                other.tile(pair.b.tile)[pair.b.index], in_tolerance, pair.a.tile,
                                pair.a.index);
                }
                return io_sums;
            },
            [](RunningDiff io_left, const RunningDiff& in_right) {
                io_left.add(in_right);
                return io_left;
            });
    });
    ChannelDiff result = all.finished();
    const auto position = positionChannel(*m_shape_a);
    if (position && all.tile.first >= 0) {
        result.place = m_shape_a->wsx(position->tile(all.tile)[all.element]);
    }
    return result;
}

}  // namespace Skelvar::Tool
