#pragma once

#include <bit>
#include <cstring>
#include <type_traits>

// Elements of particles in bulk in the byte order of files: the same bytes as the stream's write of
// each, component after component.
namespace Skelvar::Detail {

inline unsigned char swappedBytes(unsigned char in_word)
{
    return in_word;
}
inline unsigned int swappedBytes(unsigned int in_word)
{
    return __builtin_bswap32(in_word);
}
inline unsigned long long swappedBytes(unsigned long long in_word)
{
    return __builtin_bswap64(in_word);
}

/// An unsigned integer as wide as one component of `T`.
template <typename T>
using ComponentWord = std::conditional_t<
    sizeof(T) == 1, unsigned char,
    std::conditional_t<std::is_integral_v<T> && sizeof(T) == 8, unsigned long long, unsigned int>>;

/// From native to big-endian order or back. The two may be the same memory.
template <typename Word>
void swapWords(const void* in_words, unsigned long in_count, void* out_words)
{
    static_assert(std::endian::native == std::endian::little);
    const char* const source = static_cast<const char*>(in_words);
    char* const target = static_cast<char*>(out_words);
    for (unsigned long n = 0; n < in_count; ++n) {
        Word word;
        std::memcpy(&word, source + n * sizeof(Word), sizeof(Word));
        word = swappedBytes(word);
        std::memcpy(target + n * sizeof(Word), &word, sizeof(Word));
    }
}

template <typename T>
void toBigEndian(const T* in_elements, unsigned long in_count, char* out_bytes)
{
    using Word = ComponentWord<T>;
    swapWords<Word>(in_elements, in_count * sizeof(T) / sizeof(Word), out_bytes);
}

/// In place.
template <typename T>
void fromBigEndian(T* io_elements, unsigned long in_count)
{
    using Word = ComponentWord<T>;
    swapWords<Word>(io_elements, in_count * sizeof(T) / sizeof(Word), io_elements);
}

}  // namespace Skelvar::Detail
