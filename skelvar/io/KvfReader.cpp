#include <skelvar/io/KvfReader.h>

#include <skelvar/io/FileUtils.h>
#include <skelvar/io/KvfError.h>

namespace Skelvar {

bool KvfReader::init(const std::string& in_path)
{
    m_path = FileUtils::normalizeFilePath(in_path);
    std::string reason;
    if (!FileUtils::filePathExists(m_path, reason)) {
        KvfError::print(reason);
        return KvfError::fail(m_path, "cannot be found: " + reason);
    }
    m_file.clear();
    if (!m_buffer.open(m_path, "rb")) {
        KvfError::print("Failed to open file for reading:" + m_path);
        return KvfError::fail(m_path, "cannot be opened for reading: " + m_buffer.errorText());
    }
    setStream(&m_file);
    return true;
}

bool KvfReader::skip(unsigned long long in_count)
{
    if (in_count > length()) {
        return fail();
    }
    m_buffer.pubseekpos(static_cast<std::streamoff>(position() + in_count), std::ios::in);
    return true;
}

}  // namespace Skelvar
