#pragma once

#include <skelvar/base/Api.h>

#include <cstddef>
#include <functional>
#include <span>
#include <streambuf>

namespace Skelvar {

/// A stream buffer that can show the bytes that it holds next, so that bulk readers decode them in
/// place instead of copying them out first. One thread at a time.
class SKELVAR_API ByteStreamBuf : public std::streambuf {
public:
    /// The most bytes for which `peek` can be asked.
    static constexpr std::size_t kMaxPeek = 4096;

    ~ByteStreamBuf() override;

    /// All bytes at hand behind the read position; at least `in_count` of them, unless the stream
    /// ends or fails before. They stay until the next operation.
    std::span<const char> peek(std::size_t in_count);
    /// Moves the read position behind `in_count` of the bytes that `peek` showed.
    void skip(std::size_t in_count) { setg(eback(), gptr() + in_count, egptr()); }
    /// The next bytes if they are at hand, and the read position behind them; else null.
    const char* take(std::size_t in_count)
    {
        const char* const bytes = gptr();
        if (static_cast<std::size_t>(egptr() - gptr()) < in_count) {
            return nullptr;
        }
        skip(in_count);
        return bytes;
    }

    /// Decodes a record and says whether it has the expected form.
    using DecodeRecord = std::function<bool(unsigned long long in_number, const char* in_bytes)>;
    /// Hands out the next `in_count` records of `in_size` bytes each (at most `kMaxPeek`), numbered
    /// from 0, in any order and on any threads. Gives the number of records in front of the first
    /// that was refused or that the stream does not hold as a whole, and leaves the read position
    /// behind them; records further on may have been handed out too.
    virtual unsigned long long decodeRecords(unsigned long long in_count, std::size_t in_size,
                                             const DecodeRecord& in_decode);

    /// Bytes between the read position and the end.
    virtual unsigned long long remaining() = 0;

protected:
    /// Brings at least `in_count` bytes between the read position and the end of the get area, if
    /// the stream still has as many, else all that it has.
    virtual void gather(std::size_t in_count) = 0;
    /// As `decodeRecords`, for records that are at hand.
    unsigned long long decodeHeld(unsigned long long in_first, unsigned long long in_count,
                                  std::size_t in_size, const DecodeRecord& in_decode);

    int_type underflow() override;
    std::streamsize showmanyc() override;
};

}  // namespace Skelvar
