#include <tools/kvf/ChannelValues.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar::Tool {

namespace {

constexpr int kStatsGrain = 256;  ///< tiles; fixed, so that sums are rounded alike on every machine

/// A running count of one component.
struct RunningStats {
    double min = std::numeric_limits<double>::infinity();
    double max = -std::numeric_limits<double>::infinity();
    double sum = 0.0;
    long long finite = 0;
    long long nan = 0;
    long long inf = 0;

    void add(double in_value)
    {
        if (std::isfinite(in_value)) {
            min = std::min(min, in_value);
            max = std::max(max, in_value);
            sum += in_value;
            ++finite;
        } else {
            ++(std::isnan(in_value) ? nan : inf);
        }
    }
    void add(const RunningStats& in_other)
    {
        min = std::min(min, in_other.min);
        max = std::max(max, in_other.max);
        sum += in_other.sum;
        finite += in_other.finite;
        nan += in_other.nan;
        inf += in_other.inf;
    }
    ComponentStats stats() const
    {
        if (finite == 0) {
            return {0.0, 0.0, 0.0, 0, nan, inf};
        }
        return {min, max, sum / static_cast<double>(finite), finite, nan, inf};
    }
};

template <typename T>
std::vector<ComponentStats> statsOf(const TreeChannel3DBase& in_channel, int in_depth)
{
    using Components = ValueComponents<T>;
    using AllStats = std::array<RunningStats, Components::kCount>;
    const AllStats total = tbb::parallel_deterministic_reduce(
        tbb::blocked_range<int>(0, in_channel.numTiles(in_depth), kStatsGrain), AllStats{},
        [&](const tbb::blocked_range<int>& in_range, AllStats io_sums) {
            for (int n = in_range.begin(); n != in_range.end(); ++n) {
                unsigned long count = 0;
                const T* values =
                    static_cast<const T*>(in_channel.tileArrayPtr({n, in_depth}, count));
                for (unsigned long v = 0; v < count; ++v) {
                    for (int c = 0; c < Components::kCount; ++c) {
                        io_sums[c].add(Components::get(values[v], c));
                    }
                }
            }
            return io_sums;
        },
        [](AllStats io_left, const AllStats& in_right) {
            for (int c = 0; c < Components::kCount; ++c) {
                io_left[c].add(in_right[c]);
            }
            return io_left;
        });
    std::vector<ComponentStats> stats;
    for (const RunningStats& sums : total) {
        stats.push_back(sums.stats());
    }
    return stats;
}

}  // namespace

std::vector<ComponentStats> channelStats(const TreeChannel3DBase& in_channel, int in_depth)
{
    std::vector<ComponentStats> stats;
    const std::string& element = in_channel.elementTypeMeta()->typeName();
#define SKELVAR_TRY(T)                            \
    if (element == typeNameOf<T>()) {             \
        stats = statsOf<T>(in_channel, in_depth); \
    }
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_TRY)
#undef SKELVAR_TRY
    return stats;
}

}  // namespace Skelvar::Tool
