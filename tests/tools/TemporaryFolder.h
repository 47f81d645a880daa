#pragma once

#include <skelvar/io/FileUtils.h>

#include <fstream>
#include <iterator>
#include <string>

namespace Skelvar::Tool::Test {

/// A folder of its own that is gone at the end.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path(FileUtils::createTempFolder()) {}
    ~TemporaryFolder() { FileUtils::deleteFolder(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path(const std::string& in_name) const { return m_path + "/" + in_name; }

    /// Writes a file and gives its path.
    std::string write(const std::string& in_name, const std::string& in_text) const
    {
        std::ofstream(path(in_name), std::ios::binary) << in_text;
        return path(in_name);
    }

    std::string read(const std::string& in_name) const
    {
        std::ifstream stream(path(in_name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    std::string m_path;
};

}  // namespace Skelvar::Tool::Test
