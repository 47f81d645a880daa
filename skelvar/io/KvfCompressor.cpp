#include <skelvar/io/KvfCompressor.h>

#include <zlib.h>

#include <new>

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
        out_compressed.resize(static_cast<unsigned long>((in_size + 12.0) * 1.1));
    } catch (const std::exception&) {  // no memory, or more of it than there can be
        return false;
    }
    uLongf size = out_compressed.size();
    if (::compress2(out_compressed.data(), &size, in_bytes, in_size, kLevel) != Z_OK) {
        out_compressed.clear();
        return false;
    }
    out_compressed.resize(size);
    out_compressed.shrink_to_fit();
    return !out_compressed.empty();
}

}  // namespace Skelvar
