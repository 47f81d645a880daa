#include <skelvar/base/StreamReader.h>

namespace Skelvar {

StreamReader::StreamReader(const std::string& in_bytes)
    : m_text(in_bytes, std::ios::in | std::ios::binary)
{
    setStream(&m_text);
}

}  // namespace Skelvar
