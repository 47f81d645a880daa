#include <skelvar/io/KvfDecompressor.h>

#include <skelvar/io/Deflate.h>

#include <libdeflate.h>

#include <memory>

namespace Skelvar {

namespace Deflate {

bool inflateExactly(const char* in_compressed, unsigned long long in_compressed_size,
                    unsigned long long in_size, char* out_bytes)
{
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    return decompressor != nullptr &&
           libdeflate_zlib_decompress(decompressor.get(), in_compressed, in_compressed_size,
                                      out_bytes, in_size, nullptr) == LIBDEFLATE_SUCCESS;
}

}  // namespace Deflate

namespace {

/// The sizes and the compressed bytes of a frame.
struct Frame {
    unsigned long long size = 0;
    unsigned long long compressed_size = 0;
    std::unique_ptr<char[]> compressed;

    bool read(InputStream& io_stream, unsigned long long in_capacity)
    {
        if (io_stream.length() == 0 || !io_stream.read(size) || !io_stream.read(compressed_size) ||
            !Deflate::isPossible(size, compressed_size, io_stream.length()) || size > in_capacity) {
            return false;
        }
        compressed = std::make_unique_for_overwrite<char[]>(compressed_size);
        return io_stream.readbytes(compressed_size, compressed.get());
    }
    bool inflate(char* out_bytes) const
    {
        return Deflate::inflateExactly(compressed.get(), compressed_size, size, out_bytes);
    }
};

}  // namespace

bool KvfDecompressor::decompress(InputStream& io_stream, unsigned char*& out_bytes,
                                 unsigned long& out_size, unsigned long in_capacity)
{
    out_size = 0;
    Frame frame;
    if (!frame.read(io_stream, in_capacity)) {
        return false;
    }
    out_size = frame.size;
    return frame.inflate(reinterpret_cast<char*>(out_bytes));
}

bool KvfDecompressor::inflate(InputStream& io_stream)
{
    Frame frame;
    if (m_stream.fail() || !frame.read(io_stream, std::numeric_limits<unsigned long>::max())) {
        return false;
    }
    char* const place = m_memory.append(frame.size);
    return place != nullptr && frame.inflate(place);
}

}  // namespace Skelvar
