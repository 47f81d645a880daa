#include <skelvar/base/array1.h>

#include <tbb/blocked_range.h>
#include <tbb/concurrent_vector.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>
#include <tbb/parallel_sort.h>
#include <tbb/task_group.h>

#include <functional>
#include <iostream>

// Free of races, in each of the ways in which the library goes parallel. The thread checker must
// stay silent here without any suppression.
int main()
{
    constexpr int kCount = 200000;
    using Range = tbb::blocked_range<int>;

    Skelvar::array1<int> values(kCount);
    tbb::enumerable_thread_specific<long long> sums(0);
    tbb::concurrent_vector<int> sevens;
    tbb::parallel_for(Range(0, kCount), [&](const Range& in_range) {
        for (int n = in_range.begin(); n < in_range.end(); ++n) {
            values[n] = kCount - n;
            sums.local() += values[n];
            if (n % 7 == 0) {
                sevens.push_back(n);
            }
        }
    });
    tbb::parallel_sort(values.begin(), values.end());

    long long background = 0;
    tbb::task_group group;
    group.run([&background] { background = 1; });
    group.wait();

    const auto addRange = [&values](const Range& in_range, long long in_sum) {
        for (int n = in_range.begin(); n < in_range.end(); ++n) {
            in_sum += values[n];
        }
        return in_sum;
    };
    const long long expected = static_cast<long long>(kCount) * (kCount + 1) / 2;
    const long long reduced =
        tbb::parallel_reduce(Range(0, kCount), 0LL, addRange, std::plus<long long>());
    const bool ok = reduced == expected && sums.combine(std::plus<long long>()) == expected &&
                    values[0] == 1 && sevens.size() == (kCount + 6) / 7 && background == 1;
    std::cout << (ok ? "right" : "wrong") << '\n';
    return ok ? 0 : 1;
}
