#include <skelvar/base/array1.h>

#include <skelvar/base/KeptBlocks.h>
#include <skelvar/base/ScalableMemory.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace Skelvar::Detail {

namespace {

constexpr std::size_t kHugePage = std::size_t(2) << 20;

/// From here on an array asks for huge pages and is copied in parallel.
constexpr std::size_t kLargeBytes = 2 * kHugePage;

/// Asks for huge pages in the inner part of a large block. The first touch of fresh memory costs
/// more than the data that go into it: with pages of 4 KiB a fresh copy ran at 2.4 GB/s on two
/// threads, with huge pages at 5.2, into warm memory at 8.5. A kernel that refuses loses nothing
/// but speed.
void adviseHugePages([[maybe_unused]] void* in_memory, [[maybe_unused]] std::size_t in_bytes)
{
#ifdef MADV_HUGEPAGE
    const std::size_t past_page = reinterpret_cast<std::uintptr_t>(in_memory) % kHugePage;
    const std::size_t skipped = past_page == 0 ? 0 : kHugePage - past_page;
    const std::size_t inner = (in_bytes - skipped) / kHugePage * kHugePage;
    madvise(static_cast<char*>(in_memory) + skipped, inner, MADV_HUGEPAGE);
#endif
}

KeptBlocks s_kept;

/// False where the address sanitizer is to see each release.
constexpr bool isKept([[maybe_unused]] std::size_t in_bytes)
{
#ifdef SKELVAR_ADDRESS_SANITIZER
    return false;
#else
    return in_bytes >= KeptBlocks::kLeastBytes;
#endif
}

/// Null if there is none.
void* allocateLarge(std::size_t in_bytes)
{
    void* memory = s_kept.take(in_bytes);
    if (memory == nullptr) {
        memory = allocateMemory(in_bytes);
    }
    if (memory == nullptr && s_kept.drop()) {
        memory = allocateMemory(in_bytes);
    }
    return memory;
}

}  // namespace

void* allocateArray(long long in_count, std::size_t in_size)
{
    if (in_count == 0) {
        return nullptr;
    }
    const bool fits = in_count > 0 && static_cast<std::size_t>(in_count) <= kMostBytes / in_size;
    const std::size_t bytes = fits ? static_cast<std::size_t>(in_count) * in_size : 0;
    void* const memory = !fits           ? nullptr
                         : isKept(bytes) ? allocateLarge(bytes)
                                         : allocateMemory(bytes);
    if (memory == nullptr) {
        throw std::runtime_error("Out of memory.");
    }
    if (bytes >= kLargeBytes) {
        adviseHugePages(memory, bytes);
    }
    return memory;
}

void releaseArray(void* in_memory, std::size_t in_bytes)
{
    if (in_memory != nullptr && isKept(in_bytes)) {
        s_kept.keep(in_memory, in_bytes);
    } else {
        releaseMemory(in_memory);
    }
}

void copyArray(const void* in_bytes, std::size_t in_count, void* out_bytes)
{
    if (in_count == 0) {
        return;  // the pointers may be null
    }
    if (in_count < kLargeBytes) {
        std::memcpy(out_bytes, in_bytes, in_count);
        return;
    }
    const char* const source = static_cast<const char*>(in_bytes);
    char* const target = static_cast<char*>(out_bytes);
    // The caller may hold a lock: its thread must not pick up foreign work that wants the same one.
    tbb::this_task_arena::isolate([&] {
        tbb::parallel_for(tbb::blocked_range<std::size_t>(0, in_count, kHugePage / 2),
                          [&](const tbb::blocked_range<std::size_t>& in_range) {
                              std::memcpy(target + in_range.begin(), source + in_range.begin(),
                                          in_range.size());
                          });
    });
}

}  // namespace Skelvar::Detail
