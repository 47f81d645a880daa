#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

namespace Skelvar::Detail {

/// Work on this many items or fewer is not worth tasks.
inline constexpr long long kSerialItems = 99;

/// Calls `in_body(begin, end)` on ranges that cover 0 to `in_count`, in parallel above the
/// threshold of bulk work.
template <typename Body>
void bulkLoop(long long in_count, const Body& in_body)
{
    if (in_count <= kSerialItems) {
        in_body(0LL, in_count);
        return;
    }
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<long long>(0, in_count),
        [&](const tbb::blocked_range<long long>& range) { in_body(range.begin(), range.end()); },
        tbb::auto_partitioner{}, context);
}

}  // namespace Skelvar::Detail
