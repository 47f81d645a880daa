#include <skelvar/base/array1.h>

#include <tbb/scalable_allocator.h>

#include <limits>
#include <stdexcept>

namespace Skelvar::Detail {

void* allocateArray(long long in_count, std::size_t in_size)
{
    if (in_count == 0) {
        return nullptr;
    }
    void* memory = nullptr;
    if (in_count > 0 &&
        static_cast<std::size_t>(in_count) <= std::numeric_limits<std::size_t>::max() / in_size) {
        memory = scalable_malloc(static_cast<std::size_t>(in_count) * in_size);
    }
    if (memory == nullptr) {
        throw std::runtime_error("Out of memory.");
    }
    return memory;
}

void releaseArray(void* in_memory)
{
    scalable_free(in_memory);
}

}  // namespace Skelvar::Detail
