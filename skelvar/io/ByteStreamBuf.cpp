#include <skelvar/io/ByteStreamBuf.h>

#include <cassert>

namespace Skelvar {

ByteStreamBuf::~ByteStreamBuf() = default;

std::span<const char> ByteStreamBuf::peek(std::size_t in_count)
{
    assert(in_count <= kMaxPeek);
    if (static_cast<std::size_t>(egptr() - gptr()) < in_count) {
        gather(in_count);
    }
    return {gptr(), egptr()};
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
