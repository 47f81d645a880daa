#include <bench/support/Memory.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <cstring>

namespace Bench {

namespace {

constexpr std::size_t kGrain = std::size_t{1} << 20;  ///< elements of one task

template <typename Body>
void forRanges(std::size_t in_count, const Body& in_body)
{
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, in_count, kGrain),
                      [&](const tbb::blocked_range<std::size_t>& in_range) {
                          in_body(in_range.begin(), in_range.size());
                      });
}

}  // namespace

void MemoryBlock::resize(std::size_t in_bytes)
{
    if (in_bytes != m_size) {
        m_data.reset(new unsigned char[in_bytes]);
        m_size = in_bytes;
    }
}

void copyParallel(const MemoryBlock& in_from, MemoryBlock& io_to, std::size_t in_bytes)
{
    forRanges(in_bytes, [&](std::size_t in_begin, std::size_t in_size) {
        std::memcpy(io_to.data() + in_begin, in_from.data() + in_begin, in_size);
    });
}

void fillParallel(MemoryBlock& io_block, int in_byte)
{
    forRanges(io_block.size(), [&](std::size_t in_begin, std::size_t in_size) {
        std::memset(io_block.data() + in_begin, in_byte, in_size);
    });
}

void triadParallel(const MemoryBlock& in_a, const MemoryBlock& in_b, float in_s, MemoryBlock& io_c)
{
    const float* const a = in_a.floats();
    const float* const b = in_b.floats();
    float* const c = io_c.floats();
    forRanges(io_c.size() / sizeof(float), [=](std::size_t in_begin, std::size_t in_size) {
        for (std::size_t n = in_begin; n < in_begin + in_size; ++n) {
            c[n] = a[n] + in_s * b[n];
        }
    });
}

}  // namespace Bench
