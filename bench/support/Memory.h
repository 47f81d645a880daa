#pragma once

#include <cstddef>
#include <memory>

namespace Bench {

/// Plain memory, for what the machine itself can do: uninitialised after a resize, which keeps the
/// memory if the size stays.
class MemoryBlock {
public:
    void resize(std::size_t in_bytes);
    std::size_t size() const { return m_size; }
    unsigned char* data() { return m_data.get(); }
    const unsigned char* data() const { return m_data.get(); }
    float* floats() { return reinterpret_cast<float*>(m_data.get()); }
    const float* floats() const { return reinterpret_cast<const float*>(m_data.get()); }

private:
    std::unique_ptr<unsigned char[]> m_data;
    std::size_t m_size = 0;
};

/// The first `in_bytes` of one block to the start of the other, by `memcpy` on all threads.
void copyParallel(const MemoryBlock& in_from, MemoryBlock& io_to, std::size_t in_bytes);
/// Every byte, by `memset` on all threads.
void fillParallel(MemoryBlock& io_block, int in_byte);
/// c := a + s b over three arrays of floats, on all threads.
void triadParallel(const MemoryBlock& in_a, const MemoryBlock& in_b, float in_s, MemoryBlock& io_c);

}  // namespace Bench
