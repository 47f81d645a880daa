#include <skelvar/io/MemoryStreamBuf.h>

#include <algorithm>

namespace Skelvar {

namespace {

constexpr std::size_t kFirstCapacity = 4096;

}  // namespace

char* MemoryStreamBuf::append(std::size_t in_count)
{
    const std::size_t start = size();
    if (!grow(start + in_count)) {
        return nullptr;
    }
    setWritten(start + in_count);
    return m_data.get() + start;
}

void MemoryStreamBuf::release()
{
    m_data.reset();
    m_capacity = 0;
    setp(nullptr, nullptr);
    setg(nullptr, nullptr, nullptr);
}

unsigned long long MemoryStreamBuf::remaining()
{
    return size() - static_cast<std::size_t>(gptr() - eback());
}

void MemoryStreamBuf::gather(std::size_t)
{
    setg(m_data.get(), m_data.get() + (gptr() - eback()), m_data.get() + size());
}

MemoryStreamBuf::int_type MemoryStreamBuf::overflow(int_type in_char)
{
    if (traits_type::eq_int_type(in_char, traits_type::eof())) {
        return traits_type::not_eof(in_char);
    }
    const char byte = traits_type::to_char_type(in_char);
    return xsputn(&byte, 1) == 1 ? in_char : traits_type::eof();
}

std::streamsize MemoryStreamBuf::xsputn(const char* in_bytes, std::streamsize in_count)
{
    char* const place = append(static_cast<std::size_t>(in_count));
    if (place == nullptr) {
        return 0;
    }
    std::copy_n(in_bytes, in_count, place);  // of nothing too, from nowhere
    return in_count;
}

MemoryStreamBuf::pos_type MemoryStreamBuf::seekoff(off_type in_offset,
                                                   std::ios_base::seekdir in_from,
                                                   std::ios_base::openmode in_which)
{
    if (in_from == std::ios_base::end) {
        in_offset += static_cast<off_type>(size());
    } else if (in_from == std::ios_base::cur) {
        const bool reading = (in_which & std::ios_base::in) != 0;
        in_offset += reading ? gptr() - eback() : static_cast<off_type>(size());
    }
    return seekpos(pos_type(in_offset), in_which);
}

MemoryStreamBuf::pos_type MemoryStreamBuf::seekpos(pos_type in_position,
                                                   std::ios_base::openmode in_which)
{
    const off_type target = in_position;
    const off_type end = static_cast<off_type>(size());
    const bool reading = (in_which & std::ios_base::in) != 0;
    const bool writing = (in_which & std::ios_base::out) != 0;
    // Bytes are written at the end only, so the write position cannot be elsewhere.
    if (target < 0 || target > end || (writing && target != end)) {
        return pos_type(off_type(-1));
    }
    if (reading) {
        setg(m_data.get(), m_data.get() + target, m_data.get() + end);
    }
    return in_position;
}

bool MemoryStreamBuf::grow(std::size_t in_capacity)
{
    if (in_capacity <= m_capacity) {
        return true;
    }
    const std::size_t written = size();
    const std::size_t read = static_cast<std::size_t>(gptr() - eback());
    const std::size_t capacity = std::max({in_capacity, 2 * m_capacity, kFirstCapacity});
    // For large blocks this moves pages, not bytes.
    char* const data = static_cast<char*>(std::realloc(m_data.get(), capacity));
    if (data == nullptr) {
        return false;
    }
    static_cast<void>(m_data.release());
    m_data.reset(data);
    m_capacity = capacity;
    setg(data, data + read, data + written);
    setWritten(written);
    return true;
}

void MemoryStreamBuf::setWritten(std::size_t in_size)
{
    // The put area begins at the end of what is written: its length does not fit `pbump`.
    setp(m_data.get() + in_size, m_data.get() + m_capacity);
}

}  // namespace Skelvar
