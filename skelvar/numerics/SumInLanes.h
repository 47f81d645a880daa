#pragma once

namespace Skelvar::Detail {

/// The sum of `in_summand(n)` for n below `in_count`, in a few partial sums side by side.
template <typename Sum, typename Summand>
Sum sumInLanes(int in_count, const Summand& in_summand)
{
    constexpr int kLanes = 8;
    Sum lanes[kLanes] = {};
    int n = 0;
    for (; n + kLanes <= in_count; n += kLanes) {
        for (int lane = 0; lane < kLanes; ++lane) {
            lanes[lane] += in_summand(n + lane);
        }
    }
    for (; n < in_count; ++n) {
        lanes[n % kLanes] += in_summand(n);
    }
    Sum sum = 0;
    for (const Sum lane : lanes) {
        sum += lane;
    }
    return sum;
}

}  // namespace Skelvar::Detail
