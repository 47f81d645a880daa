#include <skelvar/io/FileStreamBuf.h>

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Skelvar {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

}  // namespace

FileStreamBuf::~FileStreamBuf()
{
    close();
}

bool FileStreamBuf::open(const std::string& in_path, const char* in_mode)
{
    close();
    m_error.clear();
    m_failed = false;
    m_size = 0;
    m_offset = 0;
    m_writing = in_mode[0] != 'r';
    m_file = std::fopen(in_path.c_str(), in_mode);
    if (m_file == nullptr) {
        noteError();
        return false;
    }
    struct stat status;
    if (::fstat(::fileno(m_file), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            errno = EISDIR;
            noteError();
            close();
            return false;
        }
        m_size = !m_writing && S_ISREG(status.st_mode)
                     ? static_cast<unsigned long long>(status.st_size)
                     : 0;
    }
    // One buffer is enough: ours, which bulk readers can see into.
    std::setvbuf(m_file, nullptr, _IONBF, 0);
    m_buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    if (m_writing) {
        setp(m_buffer.get(), m_buffer.get() + kBufferSize);
    } else {
        setg(m_buffer.get(), m_buffer.get(), m_buffer.get());
    }
    return true;
}

bool FileStreamBuf::close()
{
    if (m_file == nullptr) {
        return !m_failed;
    }
    flushBuffer();
    if (std::fclose(m_file) != 0) {
        noteError();
        m_failed = true;
    }
    m_file = nullptr;
    m_buffer.reset();
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    return !m_failed;
}

unsigned long long FileStreamBuf::position() const
{
    return m_writing ? m_offset + static_cast<unsigned long long>(pptr() - pbase())
                     : m_offset - static_cast<unsigned long long>(egptr() - gptr());
}

unsigned long long FileStreamBuf::remaining()
{
    const unsigned long long here = position();
    return m_size > here ? m_size - here : 0;
}

bool FileStreamBuf::readAt(unsigned long long in_offset, std::size_t in_count,
                           char* out_bytes) const
{
    while (in_count > 0) {
        const ::ssize_t got =
            ::pread(::fileno(m_file), out_bytes, in_count, static_cast<::off_t>(in_offset));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        out_bytes += got;
        in_offset += static_cast<unsigned long long>(got);
        in_count -= static_cast<std::size_t>(got);
    }
    return true;
}

void FileStreamBuf::gather(std::size_t in_count)
{
    if (m_file == nullptr || m_writing) {
        return;
    }
    std::size_t held = static_cast<std::size_t>(egptr() - gptr());
    std::memmove(m_buffer.get(), gptr(), held);
    while (held < in_count) {
        const std::size_t got = std::fread(m_buffer.get() + held, 1, kBufferSize - held, m_file);
        if (got == 0) {
            if (std::ferror(m_file) != 0) {
                noteError();
            }
            break;
        }
        held += got;
        m_offset += got;
    }
    setg(m_buffer.get(), m_buffer.get(), m_buffer.get() + held);
}

std::streamsize FileStreamBuf::xsgetn(char* out_bytes, std::streamsize in_count)
{
    std::streamsize done = 0;
    while (done < in_count) {
        if (gptr() == egptr()) {
            const std::size_t left = static_cast<std::size_t>(in_count - done);
            if (left >= kBufferSize && m_file != nullptr && !m_writing) {
                const std::size_t got = std::fread(out_bytes + done, 1, left, m_file);
                m_offset += got;
                return done + static_cast<std::streamsize>(got);
            }
            gather(1);
            if (gptr() == egptr()) {
                break;
            }
        }
        const std::streamsize piece = std::min<std::streamsize>(egptr() - gptr(), in_count - done);
        std::memcpy(out_bytes + done, gptr(), static_cast<std::size_t>(piece));
        skip(static_cast<std::size_t>(piece));
        done += piece;
    }
    return done;
}

FileStreamBuf::int_type FileStreamBuf::overflow(int_type in_char)
{
    if (m_file == nullptr || !m_writing || !flushBuffer()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(in_char, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(in_char);
        pbump(1);
    }
    return traits_type::not_eof(in_char);
}

std::streamsize FileStreamBuf::xsputn(const char* in_bytes, std::streamsize in_count)
{
    if (m_file == nullptr || !m_writing) {
        return 0;
    }
    const std::size_t count = static_cast<std::size_t>(in_count);
    if (count > static_cast<std::size_t>(epptr() - pptr())) {
        if (!flushBuffer()) {
            return 0;
        }
        if (count >= kBufferSize) {
            return writeOut(in_bytes, count) ? in_count : 0;
        }
    }
    std::copy_n(in_bytes, count, pptr());  // of nothing too, from nowhere
    pbump(static_cast<int>(count));
    return in_count;
}

int FileStreamBuf::sync()
{
    return flushBuffer() ? 0 : -1;
}

FileStreamBuf::pos_type FileStreamBuf::seekoff(off_type in_offset, std::ios_base::seekdir in_from,
                                               std::ios_base::openmode in_which)
{
    const off_type here = static_cast<off_type>(position());
    if (in_from == std::ios_base::cur) {
        in_offset += here;
    } else if (in_from == std::ios_base::end) {
        in_offset += static_cast<off_type>(m_writing ? position() : m_size);
    }
    return in_offset == here && m_file != nullptr ? pos_type(here)
                                                  : seekpos(pos_type(in_offset), in_which);
}

FileStreamBuf::pos_type FileStreamBuf::seekpos(pos_type in_position, std::ios_base::openmode)
{
    const off_type target = in_position;
    const off_type held_end = static_cast<off_type>(m_offset);
    if (m_file != nullptr && !m_writing && target <= held_end &&
        target >= held_end - (egptr() - eback())) {
        setg(eback(), egptr() - (held_end - target), egptr());
        return in_position;
    }
    if (m_file == nullptr || m_writing || target < 0 ||
        ::fseeko(m_file, static_cast<::off_t>(target), SEEK_SET) != 0) {
        return pos_type(off_type(-1));
    }
    m_offset = static_cast<unsigned long long>(target);
    setg(m_buffer.get(), m_buffer.get(), m_buffer.get());
    return in_position;
}

bool FileStreamBuf::flushBuffer()
{
    if (!m_writing) {
        return true;
    }
    const std::size_t count = static_cast<std::size_t>(pptr() - pbase());
    setp(pbase(), epptr());
    return writeOut(pbase(), count);
}

bool FileStreamBuf::writeOut(const char* in_bytes, std::size_t in_count)
{
    const std::size_t written = in_count > 0 ? std::fwrite(in_bytes, 1, in_count, m_file) : 0;
    m_offset += written;
    if (written != in_count) {
        noteError();
        m_failed = true;
    }
    return !m_failed;
}

void FileStreamBuf::noteError()
{
    m_error = std::strerror(errno);
}

}  // namespace Skelvar
