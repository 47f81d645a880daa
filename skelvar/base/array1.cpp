#include <skelvar/base/array1.h>

#include <tbb/scalable_allocator.h>

#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace Skelvar::Detail {

namespace {

#ifdef SKELVAR_CHECKED_BUILD
// The checks of memory know the end of a block only if it comes from the standard allocator.
constexpr auto kAllocate = std::malloc;
constexpr auto kRelease = std::free;
#else
constexpr auto kAllocate = scalable_malloc;
constexpr auto kRelease = scalable_free;
#endif

}  // namespace

void* allocateArray(long long in_count, std::size_t in_size)
{
    if (in_count == 0) {
        return nullptr;
    }
    void* memory = nullptr;
    if (in_count > 0 &&
        static_cast<std::size_t>(in_count) <= std::numeric_limits<std::size_t>::max() / in_size) {
        memory = kAllocate(static_cast<std::size_t>(in_count) * in_size);
    }
    if (memory == nullptr) {
        throw std::runtime_error("Out of memory.");
    }
    return memory;
}

void releaseArray(void* in_memory)
{
    kRelease(in_memory);
}

}  // namespace Skelvar::Detail
