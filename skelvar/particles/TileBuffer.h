#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar::Detail {

/// A growing array of elements that can be moved as bytes: what a particle tile is, whatever the
/// type of its elements. Its memory is that of the scalable allocator (`TileMemory.h`);
/// `ParticleTile` owns it.
struct SKELVAR_API TileBuffer {
    void* data = nullptr;
    unsigned long size = 0;
    unsigned long capacity = 0;

    /// Room for exactly that many elements, where they stand if that can be; 0 gives all memory
    /// back. Throws `std::runtime_error` with "Out of memory." if there is none; the old memory
    /// stays then.
    void setCapacity(unsigned long in_capacity, unsigned long in_element_bytes);
    /// Room for at least that many elements, exactly that many if it has to grow.
    void reserve(unsigned long in_capacity, unsigned long in_element_bytes)
    {
        if (in_capacity > capacity) {
            setCapacity(in_capacity, in_element_bytes);
        }
    }
    /// As of `DynamicParticleTile::repack`.
    void repack(float in_factor, unsigned long in_element_bytes);
};

}  // namespace Skelvar::Detail
