#pragma once

#include <skelvar/io/FileUtils.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace Skelvar::Test {

inline std::string readFile(const std::string& in_path)
{
    std::ifstream file(in_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& in_path, const std::string& in_bytes)
{
    // A file made anew: some file systems wait for the disk when one is cut and written again.
    std::filesystem::remove(in_path);
    std::ofstream(in_path, std::ios::binary) << in_bytes;
}

/// A folder that goes with its owner, with all that is in it.
class TempFolder {
public:
    TempFolder() : m_path(FileUtils::createTempFolder()) {}
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
        FileUtils::deleteFolder(m_path);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& in_name) const { return m_path + "/" + in_name; }
    /// Writes a file and gives its path.
    std::string write(const std::string& in_name, const std::string& in_bytes) const
    {
        writeFile(file(in_name), in_bytes);
        return file(in_name);
    }
    std::string read(const std::string& in_name) const { return readFile(file(in_name)); }
    /// The names in the folder.
    std::set<std::string> names() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::string m_path;
};

}  // namespace Skelvar::Test
