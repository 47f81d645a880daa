#include <skelvar/io/ByteStreamBuf.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cassert>

namespace Skelvar {

namespace {

constexpr unsigned long long kSerialRecords = 99;  ///< at most so many are not worth tasks

}  // namespace

ByteStreamBuf::~ByteStreamBuf() = default;

std::span<const char> ByteStreamBuf::peek(std::size_t in_count)
{
    assert(in_count <= kMaxPeek);
    if (static_cast<std::size_t>(egptr() - gptr()) < in_count) {
        gather(in_count);
    }
    return {gptr(), egptr()};
}

unsigned long long ByteStreamBuf::decodeRecords(unsigned long long in_count, std::size_t in_size,
                                                const DecodeRecord& in_decode)
{
    unsigned long long done = 0;
    while (done < in_count) {
        const unsigned long long at_hand = peek(in_size).size() / in_size;
        const unsigned long long asked = std::min(at_hand, in_count - done);
        const unsigned long long decoded = decodeHeld(done, asked, in_size, in_decode);
        done += decoded;
        if (asked == 0 || decoded < asked) {
            break;
        }
    }
    return done;
}

unsigned long long ByteStreamBuf::decodeHeld(unsigned long long in_first,
                                             unsigned long long in_count, std::size_t in_size,
                                             const DecodeRecord& in_decode)
{
    const char* const bytes = gptr();
    std::atomic<unsigned long long> good{in_count};
    const auto decodeRange = [&](unsigned long long in_begin, unsigned long long in_end) {
        for (unsigned long long n = in_begin; n < in_end; ++n) {
            if (in_decode(in_first + n, bytes + n * in_size)) {
                continue;
            }
            unsigned long long seen = good;
            while (n < seen && !good.compare_exchange_weak(seen, n)) {
            }
            return;
        }
    };
    if (in_count <= kSerialRecords) {
        decodeRange(0, in_count);
    } else {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<unsigned long long>(0, in_count, kSerialRecords),
            [&](const tbb::blocked_range<unsigned long long>& in_range) {
                decodeRange(in_range.begin(), in_range.end());
            },
            context);
    }
    skip(good * in_size);
    return good;
}

ByteStreamBuf::int_type ByteStreamBuf::underflow()
{
    if (gptr() == egptr()) {
        gather(1);
    }
    return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

std::streamsize ByteStreamBuf::showmanyc()
{
    const unsigned long long left = remaining();
    return left > 0 ? static_cast<std::streamsize>(left) : -1;
}

}  // namespace Skelvar
