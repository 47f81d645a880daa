#include <skelvar/base/KeptBlocks.h>

#include <skelvar/base/ScalableMemory.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace Skelvar::Detail {

namespace {

std::size_t mostBytesKept()
{
    static const std::size_t s_bytes = static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)) *
                                       static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 16;
    return s_bytes;
}

/// Lets the system have the whole pages of a block, unless they are written to before it does.
void offerPages([[maybe_unused]] void* in_memory, [[maybe_unused]] std::size_t in_bytes)
{
#ifdef MADV_FREE
    const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(in_memory);
    const std::uintptr_t skipped = (page - begin % page) % page;
    madvise(static_cast<char*>(in_memory) + skipped, (in_bytes - skipped) / page * page, MADV_FREE);
#endif
}

}  // namespace

void* KeptBlocks::take(std::size_t in_bytes)
{
    const std::lock_guard lock(m_mutex);
    for (int n = 0; n < m_count; ++n) {
        if (m_blocks[n].bytes >= in_bytes && m_blocks[n].bytes - in_bytes <= in_bytes / 4) {
            return remove(n);
        }
    }
    return nullptr;
}

void KeptBlocks::keep(void* in_memory, std::size_t in_bytes)
{
    if (in_bytes > mostBytesKept()) {
        releaseMemory(in_memory);
        return;
    }
    offerPages(in_memory, in_bytes);
    const std::lock_guard lock(m_mutex);
    while (m_count == kMost || m_bytes + in_bytes > mostBytesKept()) {
        releaseMemory(remove(0));
    }
    m_blocks[m_count++] = {in_memory, in_bytes};
    m_bytes += in_bytes;
}

bool KeptBlocks::drop()
{
    const std::lock_guard lock(m_mutex);
    const bool had_any = m_count > 0;
    while (m_count > 0) {
        releaseMemory(remove(0));
    }
    return had_any;
}

void* KeptBlocks::remove(int in_n)
{
    const Block block = m_blocks[in_n];
    std::copy(m_blocks + in_n + 1, m_blocks + m_count, m_blocks + in_n);
    --m_count;
    m_bytes -= block.bytes;
    return block.memory;
}

}  // namespace Skelvar::Detail
