#pragma once

#include <cstddef>
#include <mutex>

namespace Skelvar::Detail {

/// Large blocks of memory that were released, for arrays to come: the system clears fresh pages at
/// their first touch, which takes longer than to fill them. Keeps the last four at most, and a
/// sixteenth of the machine's memory; and the system may take their pages away when it runs short.
/// Smaller blocks, up to 64 MB, the allocator keeps itself. Any thread.
class KeptBlocks {
public:
    /// Blocks from here on are worth to be kept, in bytes.
    static constexpr std::size_t kLeastBytes = std::size_t(64) << 20;

    /// A block for so many bytes, a quarter larger at most; null if there is none.
    void* take(std::size_t in_bytes);
    /// Takes over memory of `allocateMemory`, of at least so many bytes.
    void keep(void* in_memory, std::size_t in_bytes);
    /// Gives all back. False if there were none.
    bool drop();

private:
    struct Block {
        void* memory;
        std::size_t bytes;
    };
    static constexpr int kMost = 4;

    /// Gives the memory of a block and forgets it.
    void* remove(int in_n);

    std::mutex m_mutex;
    Block m_blocks[kMost]{};  ///< the oldest first
    int m_count = 0;
    std::size_t m_bytes = 0;  ///< of all
};

}  // namespace Skelvar::Detail
