#include <skelvar/state/SkelvarAsciiWriter.h>

#include <iterator>

namespace Skelvar {

SkelvarAsciiWriter::SkelvarAsciiWriter(std::ostream& io_stream, const std::string& in_prefix)
    : m_stream(&io_stream), m_prefix(in_prefix)
{
}

template <typename T>
bool SkelvarAsciiWriter::line(const T& in_value)
{
    *m_stream << m_prefix << in_value << '\n';
    return m_stream->good();
}

template <typename T>
bool SkelvarAsciiWriter::lineOf(const T* in_values, int in_count)
{
    *m_stream << m_prefix;
    for (int n = 0; n < in_count; ++n) {
        *m_stream << (n > 0 ? " " : "") << in_values[n];
    }
    *m_stream << '\n';
    return m_stream->good();
}

bool SkelvarAsciiWriter::write(float in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(double in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(unsigned short in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(unsigned int in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(unsigned long long in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(int in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(long long in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(signed char in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(unsigned char in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::write(const std::string& in_text)
{
    return line(in_text);
}

bool SkelvarAsciiWriter::write(const char* in_text)
{
    return line(in_text);
}

bool SkelvarAsciiWriter::write(bool in_value)
{
    return line(in_value);
}

bool SkelvarAsciiWriter::writebytes(unsigned long in_count, const char* in_bytes)
{
    for (unsigned long n = 0; n < in_count; ++n) {
        line(in_bytes[n]);
    }
    return m_stream->good();
}

bool SkelvarAsciiWriter::write(const vec2f& in_value)
{
    return lineOf(in_value.e, 2);
}

bool SkelvarAsciiWriter::write(const vec3f& in_value)
{
    return lineOf(in_value.e, 3);
}

bool SkelvarAsciiWriter::write(const vec4f& in_value)
{
    return lineOf(in_value.e, 4);
}

bool SkelvarAsciiWriter::write(const vec2i& in_value)
{
    return lineOf(in_value.e, 2);
}

bool SkelvarAsciiWriter::write(const vec3i& in_value)
{
    return lineOf(in_value.e, 3);
}

bool SkelvarAsciiWriter::write(const vec4i& in_value)
{
    return lineOf(in_value.e, 4);
}

bool SkelvarAsciiWriter::write(const mat4f& in_value)
{
    return lineOf(in_value.e, static_cast<int>(std::size(in_value.e)));
}

}  // namespace Skelvar
