#include <skelvar/io/KvfStreaming.h>

#include <skelvar/io/ByteStreamBuf.h>

#include <cstring>
#include <istream>
#include <utility>

namespace Skelvar::KvfStreaming {

namespace {

template <int N, typename T>
bool writeComponents(StreamWriter& io_stream, const orvel::Math::vec<N, T>& in_value)
{
    bool ok = true;
    for (int a = 0; a < N; ++a) {
        ok &= io_stream.write(in_value[a]);
    }
    return ok;
}

template <int N, typename T>
bool readComponents(StreamReader& io_stream, orvel::Math::vec<N, T>& out_value)
{
    bool ok = true;
    for (int a = 0; a < N; ++a) {
        ok &= io_stream.read(out_value[a]);
    }
    return ok;
}

}  // namespace

bool StreamWriter::write(float in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(double in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(unsigned short in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(short in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(unsigned int in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(unsigned long long in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(int in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(long long in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(signed char in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(unsigned char in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::write(const std::string& in_text)
{
    return COutStreamWrapper::write(in_text);
}

bool StreamWriter::write(const char* in_text)
{
    return COutStreamWrapper::write(in_text);
}

bool StreamWriter::write(bool in_value)
{
    return COutStreamWrapper::write(in_value);
}

bool StreamWriter::writebytes(unsigned long in_count, const char* in_bytes)
{
    return COutStreamWrapper::writebytes(in_count, in_bytes);
}

bool StreamWriter::write(const vec2f& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const vec3f& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const vec4f& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const vec2i& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const vec3i& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const vec4i& in_value)
{
    return writeComponents(*this, in_value);
}

bool StreamWriter::write(const mat4f& in_value)
{
    return writebytes(sizeof(in_value), reinterpret_cast<const char*>(&in_value));
}

void StreamReader::setStream(std::istream* in_stream)
{
    CInStreamWrapper::setStream(in_stream);
    m_bytes = in_stream != nullptr ? dynamic_cast<ByteStreamBuf*>(in_stream->rdbuf()) : nullptr;
}

ByteStreamBuf* StreamReader::bytes() const
{
    return m_stream != nullptr && m_stream->good() ? m_bytes : nullptr;
}

bool StreamReader::fail()
{
    if (m_stream != nullptr) {
        m_stream->setstate(std::ios::failbit);
    }
    return false;
}

bool StreamReader::read(float& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(double& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(unsigned short& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(short& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(unsigned int& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(unsigned long long& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(int& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(long long& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(unsigned char& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(signed char& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(bool& out_value)
{
    return CInStreamWrapper::read(out_value);
}

bool StreamReader::read(std::string& out_text)
{
    return CInStreamWrapper::read(out_text);
}

bool StreamReader::readbytes(unsigned long in_count, char* out_bytes)
{
    ByteStreamBuf* const buffer = bytes();
    const char* const held = buffer != nullptr ? buffer->take(in_count) : nullptr;
    if (held == nullptr || in_count == 0) {
        return CInStreamWrapper::readbytes(in_count, out_bytes);
    }
    std::memcpy(out_bytes, held, in_count);
    return true;
}

unsigned long StreamReader::length()
{
    return std::as_const(*this).length();
}

unsigned long StreamReader::length() const
{
    ByteStreamBuf* const buffer = bytes();
    return buffer != nullptr ? static_cast<unsigned long>(buffer->remaining())
                             : CInStreamWrapper::length();
}

bool StreamReader::read(vec2f& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(vec3f& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(vec4f& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(vec2i& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(vec3i& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(vec4i& out_value)
{
    return readComponents(*this, out_value);
}

bool StreamReader::read(mat4f& out_value)
{
    return readbytes(sizeof(out_value), reinterpret_cast<char*>(&out_value));
}

}  // namespace Skelvar::KvfStreaming
