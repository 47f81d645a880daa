#include <skelvar/particles/TileBuffer.h>

#include <tbb/scalable_allocator.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SKELVAR_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define SKELVAR_ADDRESS_SANITIZER
#endif

namespace Skelvar::Detail {

namespace {

// The address sanitizer watches the memory of the system's allocator alone.
#ifdef SKELVAR_ADDRESS_SANITIZER
void* resizeMemory(void* io_memory, unsigned long in_bytes)
{
    return std::realloc(io_memory, in_bytes);
}
void releaseMemory(void* io_memory)
{
    std::free(io_memory);
}
#else
void* resizeMemory(void* io_memory, unsigned long in_bytes)
{
    return scalable_realloc(io_memory, in_bytes);
}
void releaseMemory(void* io_memory)
{
    scalable_free(io_memory);
}
#endif

constexpr unsigned long kMostBytes = 1UL << 47;  ///< more than a process can address

}  // namespace

void TileBuffer::setCapacity(unsigned long in_capacity, unsigned long in_element_bytes)
{
    if (in_capacity == 0) {
        releaseMemory(data);
        data = nullptr;
    } else {
        void* const memory = in_capacity <= kMostBytes / in_element_bytes
                                 ? resizeMemory(data, in_capacity * in_element_bytes)
                                 : nullptr;
        if (memory == nullptr) {
            throw std::runtime_error("Out of memory.");
        }
        data = memory;
    }
    capacity = in_capacity;
}

void TileBuffer::repack(float in_factor, unsigned long in_element_bytes)
{
    const float bound = (in_factor + 1.0f) * static_cast<float>(size);
    if (capacity <= static_cast<unsigned long long>(bound)) {
        return;
    }
    // Fresh memory: the allocator may shrink a block without giving anything back.
    TileBuffer exact;
    exact.setCapacity(size, in_element_bytes);
    if (size > 0) {
        std::memcpy(exact.data, data, size * in_element_bytes);
    }
    exact.size = size;
    releaseMemory(data);
    *this = exact;
}

}  // namespace Skelvar::Detail
