#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

namespace Skelvar::Detail {

/// Calls `in_body(tile)` for the tiles of a depth, in parallel.
template <typename Body>
void forTiles(int in_count, const Body& in_body)
{
    if (in_count == 0) {
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<int>(0, in_count, 1),
        [&](const tbb::blocked_range<int>& range) {
            for (int tile = range.begin(); tile < range.end(); ++tile) {
                in_body(tile);
            }
        },
        tbb::auto_partitioner{}, context);
}

/// The sum of `in_body(begin, end)` over ranges of the tiles of a depth, in parallel. The order of
/// the summands is not fixed.
template <typename Sum, typename Body>
Sum sumOverTiles(int in_count, const Body& in_body)
{
    if (in_count == 0) {
        return Sum(0);
    }
    tbb::task_group_context context;
    return tbb::parallel_reduce(
        tbb::blocked_range<int>(0, in_count, 1), Sum(0),
        [&](const tbb::blocked_range<int>& range, Sum in_sum) {
            return in_sum + in_body(range.begin(), range.end());
        },
        [](Sum in_a, Sum in_b) { return in_a + in_b; }, tbb::auto_partitioner{}, context);
}

}  // namespace Skelvar::Detail
