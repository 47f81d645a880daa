#include <skelvar/particles/TileMemory.h>

#include <skelvar/base/ScalableMemory.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>

namespace Skelvar::Detail {

namespace {

struct TileSlab;

/// Stands before each block, and keeps its alignment.
struct alignas(16) BlockHead {
    TileSlab* slab;
    BlockHead* next_free;
};

/// Blocks of one size. Those with room are in the list of their class.
struct TileSlab {
    TileSlab* previous = nullptr;
    TileSlab* next = nullptr;
    BlockHead* free = nullptr;  ///< blocks given back
    int num_begun = 0;          ///< blocks ever given, so that the others stay untouched
    int num_used = 0;

    BlockHead* block(int in_number, std::size_t in_size)
    {
        char* const first = reinterpret_cast<char*>(this) + sizeof(BlockHead) * 4;
        return reinterpret_cast<BlockHead*>(first + static_cast<std::size_t>(in_number) * in_size);
    }
};
static_assert(sizeof(TileSlab) <= 4 * sizeof(BlockHead));

constexpr int kBlocksOfSlab = 32;
constexpr std::size_t kMostSmallBytes = 8128;  ///< the allocator packs these well
constexpr std::size_t kMostSlabBytes = 65536 - sizeof(BlockHead);
constexpr int kClassesOfDoubling = 8;
constexpr int kNumClasses = 3 * kClassesOfDoubling;

/// By the size of a block with its head, to 2^16 bytes.
int classOf(std::size_t in_bytes)
{
    const std::size_t last = std::max<std::size_t>(in_bytes + sizeof(BlockHead) - 1, 1 << 13);
    const int doubling = std::bit_width(last) - 1;
    return (doubling - 14) * kClassesOfDoubling + static_cast<int>(last >> (doubling - 3));
}
std::size_t blockSize(int in_class)
{
    const int doubling = 13 + in_class / kClassesOfDoubling;
    return static_cast<std::size_t>(kClassesOfDoubling + in_class % kClassesOfDoubling + 1)
           << (doubling - 3);
}

/// All slabs with room of one size of block.
class SizeClass {
public:
    void* allocate(std::size_t in_size)
    {
        const std::lock_guard lock(m_mutex);
        if (m_first == nullptr && !addSlab(in_size)) {
            return nullptr;
        }
        TileSlab& slab = *m_first;
        BlockHead* block = slab.free;
        if (block != nullptr) {
            slab.free = block->next_free;
        } else {
            block = new (slab.block(slab.num_begun++, in_size)) BlockHead{&slab, nullptr};
        }
        if (++slab.num_used == kBlocksOfSlab) {
            unlink(slab);
        }
        return block + 1;
    }
    void release(void* io_memory)
    {
        BlockHead* const block = static_cast<BlockHead*>(io_memory) - 1;
        TileSlab& slab = *block->slab;
        const std::lock_guard lock(m_mutex);
        block->next_free = slab.free;
        slab.free = block;
        if (slab.num_used-- == kBlocksOfSlab) {
            link(slab);
        }
        if (slab.num_used == 0) {
            unlink(slab);
            releaseMemory(&slab);
        }
    }

private:
    bool addSlab(std::size_t in_size)
    {
        void* const memory = allocateMemory(4 * sizeof(BlockHead) + kBlocksOfSlab * in_size);
        if (memory != nullptr) {
            link(*new (memory) TileSlab);
        }
        return memory != nullptr;
    }
    void link(TileSlab& io_slab)
    {
        io_slab.previous = nullptr;
        io_slab.next = m_first;
        if (m_first != nullptr) {
            m_first->previous = &io_slab;
        }
        m_first = &io_slab;
    }
    void unlink(TileSlab& io_slab)
    {
        (io_slab.previous != nullptr ? io_slab.previous->next : m_first) = io_slab.next;
        if (io_slab.next != nullptr) {
            io_slab.next->previous = io_slab.previous;
        }
    }

    std::mutex m_mutex;
    TileSlab* m_first = nullptr;
};

/// Never destroyed: tiles may be released at the end of the program.
constinit SizeClass s_size_classes[kNumClasses];

bool isOfSlab(std::size_t in_bytes)
{
#ifdef SKELVAR_ADDRESS_SANITIZER
    return in_bytes > kMostBytes;  // never: it is to see where each tile ends
#else
    return in_bytes > kMostSmallBytes && in_bytes <= kMostSlabBytes;
#endif
}

}  // namespace

void* allocateTileMemory(std::size_t in_bytes)
{
    if (!isOfSlab(in_bytes)) {
        return allocateMemory(in_bytes);
    }
    const int size_class = classOf(in_bytes);
    return s_size_classes[size_class].allocate(blockSize(size_class));
}

void releaseTileMemory(void* io_memory, std::size_t in_bytes)
{
    if (io_memory == nullptr || !isOfSlab(in_bytes)) {
        releaseMemory(io_memory);
    } else {
        s_size_classes[classOf(in_bytes)].release(io_memory);
    }
}

void* resizeTileMemory(void* io_memory, std::size_t in_old_bytes, std::size_t in_bytes)
{
    const bool was_of_slab = io_memory != nullptr && isOfSlab(in_old_bytes);
    if (!was_of_slab && !isOfSlab(in_bytes)) {
        return resizeMemory(io_memory, in_bytes);
    }
    if (was_of_slab && isOfSlab(in_bytes) && classOf(in_old_bytes) == classOf(in_bytes)) {
        return io_memory;
    }
    void* const memory = allocateTileMemory(in_bytes);
    if (memory != nullptr && io_memory != nullptr) {
        std::memcpy(memory, io_memory, std::min(in_old_bytes, in_bytes));
        releaseTileMemory(io_memory, in_old_bytes);
    }
    return memory;
}

}  // namespace Skelvar::Detail
