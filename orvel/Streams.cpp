#include <orvel/Streams.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <istream>
#include <limits>
#include <ostream>
#include <type_traits>

namespace orvel::compute {

namespace {

constexpr unsigned int kUncheckedTextBytes = 4096;   ///< longer texts are held against length()
constexpr unsigned int kTextPieceBytes = 64 * 1024;  ///< a text's memory grows piece by piece

/// The value's bytes, most significant first, whatever the order of the host.
template <typename T>
bool writeBigEndian(COutStreamWrapper& io_stream, T in_value)
{
    static_assert(std::is_unsigned_v<T>);
    char bytes[sizeof(T)];
    for (unsigned int n = 0; n < sizeof(T); ++n) {
        bytes[n] = static_cast<char>((in_value >> (8 * (sizeof(T) - 1 - n))) & 0xFF);
    }
    return io_stream.writebytes(sizeof(T), bytes);
}

/// The mirror of `writeBigEndian`; 0 on a short read.
template <typename T>
bool readBigEndian(CInStreamWrapper& io_stream, T& out_value)
{
    static_assert(std::is_unsigned_v<T>);
    unsigned char bytes[sizeof(T)];
    out_value = 0;
    if (!io_stream.readbytes(sizeof(T), reinterpret_cast<char*>(bytes))) {
        return false;
    }
    for (const unsigned char byte : bytes) {
        out_value = static_cast<T>((static_cast<unsigned long long>(out_value) << 8) | byte);
    }
    return true;
}

/// Reads the bits of a value of another type of the same size.
template <typename Bits, typename T>
bool readBits(CInStreamWrapper& io_stream, T& out_value)
{
    Bits bits = 0;
    const bool ok = readBigEndian(io_stream, bits);
    out_value = std::bit_cast<T>(bits);
    return ok;
}

}  // namespace

bool CBaseOutStreamWrapper::hasWrittenID(unsigned long long in_id) const
{
    return m_written.count(in_id) != 0;
}

bool CBaseOutStreamWrapper::writeID(unsigned long long in_id, bool& out_is_new)
{
    out_is_new = m_written.insert(in_id).second;
    return write(in_id);
}

void CBaseOutStreamWrapper::hint(unsigned long long) {}

bool CBaseInStreamWrapper::readID(unsigned long long& out_id, bool& out_is_new)
{
    out_is_new = false;
    if (!read(out_id)) {
        return false;
    }
    out_is_new = m_data.emplace(out_id, nullptr).second;
    return true;
}

void CBaseInStreamWrapper::associateMetaDataToID(unsigned long long in_id, void* in_data)
{
    m_data[in_id] = in_data;
}

void* CBaseInStreamWrapper::getIDMetaData(unsigned long long in_id) const
{
    const auto found = m_data.find(in_id);
    return found == m_data.end() ? nullptr : found->second;
}

bool COutStreamWrapper::write(float in_value)
{
    return writeBigEndian(*this, std::bit_cast<unsigned int>(in_value));
}

bool COutStreamWrapper::write(double in_value)
{
    return writeBigEndian(*this, std::bit_cast<unsigned long long>(in_value));
}

bool COutStreamWrapper::write(unsigned int in_value)
{
    return writeBigEndian(*this, in_value);
}

bool COutStreamWrapper::write(unsigned long long in_value)
{
    return writeBigEndian(*this, in_value);
}

bool COutStreamWrapper::write(int in_value)
{
    return writeBigEndian(*this, static_cast<unsigned int>(in_value));
}

bool COutStreamWrapper::write(long long in_value)
{
    return writeBigEndian(*this, static_cast<unsigned long long>(in_value));
}

bool COutStreamWrapper::write(signed char in_value)
{
    return writeBigEndian(*this, static_cast<unsigned char>(in_value));
}

bool COutStreamWrapper::write(unsigned char in_value)
{
    return writeBigEndian(*this, in_value);
}

bool COutStreamWrapper::write(bool in_value)
{
    return writeBigEndian(*this, static_cast<unsigned char>(in_value));
}

bool COutStreamWrapper::write(unsigned short in_value)
{
    return writeBigEndian(*this, in_value);
}

bool COutStreamWrapper::write(short in_value)
{
    return writeBigEndian(*this, static_cast<unsigned short>(in_value));
}

bool COutStreamWrapper::write(const std::string& in_text)
{
    if (in_text.size() > std::numeric_limits<unsigned int>::max()) {
        if (m_stream != nullptr) {
            m_stream->setstate(std::ios::failbit);
        }
        return false;
    }
    return write(static_cast<unsigned int>(in_text.size())) &&
           writebytes(in_text.size(), in_text.data());
}

bool COutStreamWrapper::write(const char* in_text)
{
    return write(std::string(in_text));
}

bool COutStreamWrapper::writebytes(unsigned long in_count, const char* in_bytes)
{
    if (m_stream == nullptr) {
        return false;
    }
    m_stream->write(in_bytes, static_cast<std::streamsize>(in_count));
    return !m_stream->fail();
}

bool CInStreamWrapper::read(float& out_value)
{
    return readBits<unsigned int>(*this, out_value);
}

bool CInStreamWrapper::read(double& out_value)
{
    return readBits<unsigned long long>(*this, out_value);
}

bool CInStreamWrapper::read(unsigned int& out_value)
{
    return readBigEndian(*this, out_value);
}

bool CInStreamWrapper::read(unsigned long long& out_value)
{
    return readBigEndian(*this, out_value);
}

bool CInStreamWrapper::read(int& out_value)
{
    return readBits<unsigned int>(*this, out_value);
}

bool CInStreamWrapper::read(long long& out_value)
{
    return readBits<unsigned long long>(*this, out_value);
}

bool CInStreamWrapper::read(unsigned char& out_value)
{
    return readBigEndian(*this, out_value);
}

bool CInStreamWrapper::read(signed char& out_value)
{
    return readBits<unsigned char>(*this, out_value);
}

bool CInStreamWrapper::read(bool& out_value)
{
    unsigned char byte = 0;
    const bool ok = readBigEndian(*this, byte);
    out_value = byte != 0;
    return ok;
}

bool CInStreamWrapper::read(short& out_value)
{
    return readBits<unsigned short>(*this, out_value);
}

bool CInStreamWrapper::read(unsigned short& out_value)
{
    return readBigEndian(*this, out_value);
}

bool CInStreamWrapper::read(std::string& out_text)
{
    out_text.clear();
    unsigned int count = 0;
    if (!read(count)) {
        return false;
    }
    if (count > kUncheckedTextBytes && count > length()) {
        m_stream->setstate(std::ios::failbit);
        return false;
    }
    while (out_text.size() < count) {
        const std::size_t start = out_text.size();
        const std::size_t piece = std::min<std::size_t>(kTextPieceBytes, count - start);
        out_text.resize(start + piece);
        if (!readbytes(piece, out_text.data() + start)) {
            out_text.clear();
            return false;
        }
    }
    return true;
}

bool CInStreamWrapper::readbytes(unsigned long in_count, char* out_bytes)
{
    if (in_count == 0) {
        return true;
    }
    if (m_stream == nullptr) {
        return false;
    }
    m_stream->read(out_bytes, static_cast<std::streamsize>(in_count));
    return !m_stream->fail();
}

unsigned long CInStreamWrapper::length() const
{
    if (m_stream == nullptr || m_stream->fail()) {
        return 0;
    }
    std::streambuf* const buffer = m_stream->rdbuf();
    const std::streamoff here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here < 0) {
        return 0;
    }
    const std::streamoff end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
    if (buffer->pubseekoff(here, std::ios::beg, std::ios::in) != here) {
        m_stream->setstate(std::ios::failbit);
        return 0;
    }
    return end > here ? static_cast<unsigned long>(end - here) : 0;
}

}  // namespace orvel::compute
