#pragma once

#include <tbb/scalable_allocator.h>

#include <cstddef>
#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SKELVAR_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define SKELVAR_ADDRESS_SANITIZER
#endif

// Memory of the scalable allocator; null if there is none. The address sanitizer watches the memory
// of the system's allocator alone, and gets that.
namespace Skelvar::Detail {

/// The most bytes to ask for: more than a process can address.
inline constexpr std::size_t kMostBytes = std::size_t(1) << 47;

#ifdef SKELVAR_ADDRESS_SANITIZER
inline void* allocateMemory(std::size_t in_bytes)
{
    return std::malloc(in_bytes);
}
inline void* resizeMemory(void* io_memory, std::size_t in_bytes)
{
    return std::realloc(io_memory, in_bytes);
}
inline void releaseMemory(void* io_memory)
{
    std::free(io_memory);
}
#else
inline void* allocateMemory(std::size_t in_bytes)
{
    return scalable_malloc(in_bytes);
}
inline void* resizeMemory(void* io_memory, std::size_t in_bytes)
{
    return scalable_realloc(io_memory, in_bytes);
}
inline void releaseMemory(void* io_memory)
{
    scalable_free(io_memory);
}
#endif

}  // namespace Skelvar::Detail
