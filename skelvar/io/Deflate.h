#pragma once

namespace Skelvar::Deflate {

/// The most bytes that a zlib stream of so many bytes can hold: deflate packs no more than 1032
/// bytes into one. Whatever claims more is damaged.
inline constexpr unsigned long long mostInflated(unsigned long long in_compressed)
{
    return 1032 * in_compressed + 64;
}

/// Whether a frame's sizes can be true where so many bytes are left.
inline constexpr bool isPossible(unsigned long long in_size, unsigned long long in_compressed,
                                 unsigned long long in_left)
{
    return in_compressed <= in_left && in_size <= mostInflated(in_compressed);
}

/// Inflates one zlib stream, which must give exactly `in_size` bytes. Any thread.
bool inflateExactly(const char* in_compressed, unsigned long long in_compressed_size,
                    unsigned long long in_size, char* out_bytes);

}  // namespace Skelvar::Deflate
