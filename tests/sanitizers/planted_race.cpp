#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <iostream>

// Wrong on purpose: the iterations add to one plain number without a lock, inside a loop body,
// where hiding the reports of the parallel library would hide this one too.
int main()
{
    int sum = 0;
    tbb::parallel_for(tbb::blocked_range<int>(0, 100000, 100), [&sum](const auto& in_range) {
        for (int n = in_range.begin(); n < in_range.end(); ++n) {
            sum += n & 1;
        }
    });
    std::cout << sum << '\n';
    return 0;
}
