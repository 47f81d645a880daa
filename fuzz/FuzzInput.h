#pragma once

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfDecompressor.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

// What the fuzz targets of classes share. An input starts with three bytes that choose how the rest
// is read: stream version, quality, and the target's own choice.
namespace Skelvar::Fuzz {

inline constexpr std::size_t kChoices = 3;

/// Ends the program, so that the fuzzer keeps the input.
inline void require(bool in_holds, const char* in_what)
{
    if (!in_holds) {
        std::fprintf(stderr, "does not hold: %s\n", in_what);
        std::abort();
    }
}

/// The rest of an input as a stream, as a file's reader would hand it to a class.
class Input {
public:
    Input(const std::uint8_t* in_data, std::size_t in_size)
    {
        const std::size_t choices = std::min(in_size, kChoices);
        std::copy_n(in_data, choices, m_choices);
        m_stream.setVersion(static_cast<KvfVersion>(1 + m_choices[0] % 4));
        m_stream.setQuality(static_cast<CompressionQuality>(m_choices[1] % 4));
        if (in_size > choices) {
            char* const bytes = m_stream.memory().append(in_size - choices);
            require(bytes != nullptr, "memory for the input");
            std::memcpy(bytes, in_data + choices, in_size - choices);
        }
    }

    int choice() const { return m_choices[2]; }
    KvfDecompressor& stream() { return m_stream; }

private:
    std::uint8_t m_choices[kChoices] = {3, 0, 0};
    KvfDecompressor m_stream;
};

/// True if the item, saved, loads into `out_copy`, and that gives the same bytes when saved.
template <typename Item>
bool survivesRoundTrip(const Item& in_item, Item& out_copy)
{
    KvfCompressor first;
    KvfCompressor second;
    KvfDecompressor reader;
    if (!in_item.save(first)) {
        return false;
    }
    std::memcpy(reader.memory().append(first.memory().size()), first.memory().data(),
                first.memory().size());
    if (!out_copy.load(reader) || !out_copy.save(second)) {
        return false;
    }
    return std::ranges::equal(std::span(first.memory().data(), first.memory().size()),
                              std::span(second.memory().data(), second.memory().size()));
}

}  // namespace Skelvar::Fuzz
