#pragma once

#include <cstddef>

// Memory of particle tiles, of the scalable allocator. That gives what is larger than 8 KB in steps
// of 8 KB, most of them half empty; blocks from there to 64 KB are cut here from larger ones, in
// steps of an eighth of their size or less. Any thread may call, also for blocks of another.
namespace Skelvar::Detail {

/// Null if there is none.
void* allocateTileMemory(std::size_t in_bytes);
/// `in_bytes` is the size that the block was allocated with. Nothing happens to null.
void releaseTileMemory(void* io_memory, std::size_t in_bytes);
/// A block of another size with the first bytes of the old one, which goes, unless the result is
/// null. Without an old block as `allocateTileMemory`.
void* resizeTileMemory(void* io_memory, std::size_t in_old_bytes, std::size_t in_bytes);

}  // namespace Skelvar::Detail
