#include <skelvar/io/KvfCompressor.h>

#include <zlib.h>

#include <exception>
#include <memory>

namespace Skelvar {

namespace {

constexpr int kLevel = 9;

}  // namespace

bool KvfCompressor::compress(const unsigned char* in_bytes, unsigned long in_size,
                             std::vector<unsigned char>& out_compressed)
{
    out_compressed.clear();
    if (in_size == 0) {
        return false;
    }
    try {
        uLongf size = static_cast<uLongf>((in_size + 12.0) * 1.1);
        const auto room = std::make_unique_for_overwrite<unsigned char[]>(size);
        if (::compress2(room.get(), &size, in_bytes, in_size, kLevel) != Z_OK) {
            return false;
        }
        out_compressed.assign(room.get(), room.get() + size);
        return size > 0;
    } catch (const std::exception&) {  // no memory, or more of it than there can be
        return false;
    }
}

}  // namespace Skelvar
