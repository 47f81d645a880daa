#include <skelvar/particles/TileBuffer.h>

#include <skelvar/base/ScalableMemory.h>
#include <skelvar/particles/TileMemory.h>

#include <cstring>
#include <stdexcept>

namespace Skelvar::Detail {

void TileBuffer::setCapacity(unsigned long in_capacity, unsigned long in_element_bytes)
{
    if (in_capacity == 0) {
        releaseTileMemory(data, capacity * in_element_bytes);
        data = nullptr;
    } else {
        void* const memory = in_capacity <= kMostBytes / in_element_bytes
                                 ? resizeTileMemory(data, capacity * in_element_bytes,
                                                    in_capacity * in_element_bytes)
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
    releaseTileMemory(data, capacity * in_element_bytes);
    *this = exact;
}

}  // namespace Skelvar::Detail
