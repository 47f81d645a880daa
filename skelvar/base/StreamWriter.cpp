#include <skelvar/base/StreamWriter.h>

namespace Skelvar {

StreamWriter::StreamWriter() : m_text(std::ios::out | std::ios::binary)
{
    setStream(&m_text);
}

std::string StreamWriter::bytes() const
{
    return m_text.str();
}

}  // namespace Skelvar
