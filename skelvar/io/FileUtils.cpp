#include <skelvar/io/FileUtils.h>

#include <boost/filesystem.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace Skelvar::FileUtils {

namespace {

constexpr const char* kSeparators = "/\\";
constexpr int kTempFolderTries = 100;

bool isFolder(const std::string& in_path)
{
    struct stat status;
    return ::stat(in_path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

const char* describeStatError(int in_errno)
{
    switch (in_errno) {
        case EACCES:
            return " (Access denied)";
        case EBADF:
            return " (Bad file description)";
        case EFAULT:
            return " (Bad address)";
        case ELOOP:
            return " (Too many symbolic links)";
        case ENAMETOOLONG:
            return " (Name too long)";
        case ENOENT:
            return " (Part of path doesn't exist)";
        case ENOMEM:
            return " (Out of kernel memory)";
        case ENOTDIR:
            return " (Part of path prefix is not a directory)";
        case EOVERFLOW:
            return " (Overflow on file size)";
        default:
            return " (Unknown error)";
    }
}

/// The frame number, padded with zeros to the width; a minus sign counts towards it.
std::string padFrame(int in_frame, std::size_t in_width)
{
    const long long frame = in_frame;
    const std::string digits = std::to_string(std::abs(frame));
    const std::string sign = frame < 0 ? "-" : "";
    const std::size_t used = sign.size() + digits.size();
    return sign + std::string(used < in_width ? in_width - used : 0, '0') + digits;
}

}  // namespace

std::string forwardSlashes(std::string in_path)
{
    std::replace(in_path.begin(), in_path.end(), '\\', '/');
    return in_path;
}

std::string backwardSlashes(std::string in_path)
{
    std::replace(in_path.begin(), in_path.end(), '/', '\\');
    return in_path;
}

std::string normalizePath(std::string in_path, bool in_as_folder)
{
    std::string path = forwardSlashes(std::move(in_path));
    if (in_as_folder && !isPathFolderSyntax(path)) {
        path += '/';
    }
    return path;
}

std::string normalizeFolderPath(std::string in_path)
{
    return normalizePath(std::move(in_path), true);
}

std::string normalizeFilePath(std::string in_path)
{
    return normalizePath(std::move(in_path), false);
}

std::string extractFolderPath(const std::string& in_path)
{
    return in_path.substr(0, in_path.find_last_of(kSeparators) + 1);
}

bool isPathFolderSyntax(const std::string& in_path)
{
    return !in_path.empty() && (in_path.back() == '/' || in_path.back() == '\\');
}

std::string prepPathForWin(std::string in_path)
{
    return backwardSlashes(std::move(in_path));
}

bool pathExists(const std::string& in_path, bool, std::string& out_reason)
{
    struct stat status;
    if (::stat(in_path.c_str(), &status) == 0) {
        return true;
    }
    out_reason = in_path + describeStatError(errno);
    return false;
}

bool filePathExists(const std::string& in_path, std::string& out_reason)
{
    return pathExists(in_path, isPathFolderSyntax(in_path), out_reason);
}

std::string buildFilename(const std::string& in_path, int in_frame)
{
    if (in_path.find_first_of("#@") == std::string::npos) {
        return in_path;
    }
    std::string path = normalizeFilePath(in_path);
    const std::size_t hash = path.find('#');
    if (hash != std::string::npos) {
        return path.replace(hash, 1, padFrame(in_frame, 4));
    }
    for (std::string_view mark = "@@@@";; mark.remove_suffix(1)) {
        const std::size_t place = path.find(mark);
        if (place != std::string::npos) {
            return path.replace(place, mark.size(), padFrame(in_frame, mark.size()));
        }
    }
}

std::string uniqueTempFolder()
{
    boost::system::error_code error;
    const boost::filesystem::path folder = boost::filesystem::temp_directory_path(error);
    if (error) {
        return {};
    }
    const boost::filesystem::path name = boost::filesystem::unique_path("%%-%%-%%-%%", error);
    return error ? std::string() : (folder / name).string();
}

std::string createTempFolder()
{
    for (int n = 0; n < kTempFolderTries; ++n) {
        std::string path = uniqueTempFolder();
        if (path.empty()) {
            return {};
        }
        if (::mkdir(path.c_str(), 0700) == 0) {
            return path;
        }
        if (errno != EEXIST) {
            return {};
        }
    }
    return {};
}

bool createFolder(const std::string& in_path)
{
    if (in_path.empty()) {
        return false;
    }
    // A parent that cannot be made shows in the end, so the results in between do not matter.
    for (std::size_t end = in_path.find('/', 1); end != std::string::npos;
         end = in_path.find('/', end + 1)) {
        ::mkdir(in_path.substr(0, end).c_str(), 0777);
    }
    ::mkdir(in_path.c_str(), 0777);
    return isFolder(in_path);
}

bool deleteFolder(const std::string& in_path)
{
    if (in_path.empty() || in_path.find_first_not_of('/') == std::string::npos) {
        return false;
    }
    boost::system::error_code error;
    boost::filesystem::remove_all(in_path, error);
    return !error;
}

}  // namespace Skelvar::FileUtils
