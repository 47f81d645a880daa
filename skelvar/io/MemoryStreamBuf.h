#pragma once

#include <skelvar/io/ByteStreamBuf.h>

#include <cstdlib>
#include <memory>

namespace Skelvar {

/// A growing run of bytes in memory that is written at its end and read from its start, each with a
/// position of its own. Growth moves no bytes by hand and writes none, so that a large run costs
/// about its own pages. One thread at a time.
class SKELVAR_API MemoryStreamBuf : public ByteStreamBuf {
public:
    MemoryStreamBuf() = default;
    MemoryStreamBuf(const MemoryStreamBuf&) = delete;
    MemoryStreamBuf& operator=(const MemoryStreamBuf&) = delete;

    /// The bytes written so far. Stale after the next write.
    const char* data() const { return m_data.get(); }
    std::size_t size() const { return static_cast<std::size_t>(pptr() - m_data.get()); }

    /// Appends room for `in_count` bytes, to be filled by the caller before the next operation.
    /// Null if there is no memory for them.
    char* append(std::size_t in_count);
    /// Frees all bytes and starts anew.
    void release();

    unsigned long long remaining() override;

protected:
    void gather(std::size_t in_count) override;
    int_type overflow(int_type in_char) override;
    std::streamsize xsputn(const char* in_bytes, std::streamsize in_count) override;
    pos_type seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                     std::ios_base::openmode in_which) override;
    pos_type seekpos(pos_type in_position, std::ios_base::openmode in_which) override;

private:
    struct Free {
        void operator()(char* in_bytes) const { std::free(in_bytes); }
    };

    bool grow(std::size_t in_capacity);
    void setWritten(std::size_t in_size);

    std::unique_ptr<char, Free> m_data;
    std::size_t m_capacity = 0;
};

}  // namespace Skelvar
