#pragma once

#include <sys/resource.h>

namespace Skelvar::Testing {

/// The most memory that the process has had in use so far, in bytes.
inline long long peakMemory()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss * 1024ll;
}

}  // namespace Skelvar::Testing
