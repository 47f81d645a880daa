#include <skelvar/io/KvfWriter.h>

#include <skelvar/io/FileUtils.h>
#include <skelvar/io/KvfError.h>

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace Skelvar {

namespace {

/// The path behind links; the path itself if nothing stands there.
std::string resolveLinks(const std::string& in_path)
{
    struct Free {
        void operator()(char* in_text) const { std::free(in_text); }
    };
    const std::unique_ptr<char, Free> real(::realpath(in_path.c_str(), nullptr));
    return real ? std::string(real.get()) : in_path;
}

/// A name of no file yet, in the folder of the path. Of fixed length, so that a long name of the
/// path is no hindrance.
std::string nameBeside(const std::string& in_path)
{
    return FileUtils::extractFolderPath(in_path) +
           boost::filesystem::unique_path(".kvf-%%%%-%%%%-%%%%.tmp").string();
}

/// A path to an open file that may have none of its own.
std::string pathOf(int in_file)
{
    return "/proc/self/fd/" + std::to_string(in_file);
}

}  // namespace

KvfWriter::~KvfWriter()
{
    if (!m_beside.empty() || m_nameless >= 0) {
        discard();
    }
}

bool KvfWriter::init(const std::string& in_path, int in_frame)
{
    return prepare(in_path, in_frame) && openFile(m_path, "wb");
}

bool KvfWriter::initBeside(const std::string& in_path, int in_frame)
{
    if (!prepare(in_path, in_frame)) {
        return false;
    }
    struct stat status;
    const bool exists = ::stat(m_target.c_str(), &status) == 0;
    // What is no plain file cannot be replaced, and what may not be written is not either.
    if (exists && (!S_ISREG(status.st_mode) || ::access(m_target.c_str(), W_OK) != 0)) {
        return openFile(m_path, "wb");
    }
    m_nameless = ::open(FileUtils::extractFolderPath(m_target).c_str(),
                        O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    // Not every file system can do that, nor is there a /proc everywhere.
    if (m_nameless < 0 || ::access(pathOf(m_nameless).c_str(), W_OK) != 0 ||
        !openFile(pathOf(m_nameless), "wb")) {
        closeNameless();
        const std::string beside = nameBeside(m_target);
        if (!openFile(beside, "wbx")) {
            return false;
        }
        m_beside = beside;
    }
    if (exists) {
        ::chmod((m_nameless >= 0 ? pathOf(m_nameless) : m_beside).c_str(), status.st_mode & 07777);
    }
    return true;
}

bool KvfWriter::close()
{
    if (m_buffer.close()) {
        return true;
    }
    return KvfError::failAt(m_path, m_buffer.position(), "cannot write: " + m_buffer.errorText());
}

bool KvfWriter::commit()
{
    if (!close()) {
        discard();
        return false;
    }
    if (m_nameless >= 0) {
        // A name of its own first: a link cannot take the place of a file that is there.
        m_beside = nameBeside(m_target);
        if (::linkat(AT_FDCWD, pathOf(m_nameless).c_str(), AT_FDCWD, m_beside.c_str(),
                     AT_SYMLINK_FOLLOW) != 0) {
            const std::string reason = std::strerror(errno);
            m_beside.clear();
            discard();
            return KvfError::fail(m_path, "cannot give the file a name: " + reason);
        }
        closeNameless();
    }
    if (m_beside.empty()) {
        return true;
    }
    if (std::rename(m_beside.c_str(), m_target.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        discard();
        return KvfError::fail(m_path, "cannot give the file its name: " + reason);
    }
    m_beside.clear();
    return true;
}

void KvfWriter::discard()
{
    m_buffer.close();
    if (m_nameless >= 0) {
        closeNameless();  // with that it is gone
    } else if (!m_beside.empty()) {
        std::remove(m_beside.c_str());
        m_beside.clear();
    } else if (m_plain_file) {
        std::remove(m_path.c_str());
    }
    m_plain_file = false;
}

void KvfWriter::closeNameless()
{
    if (m_nameless >= 0) {
        ::close(m_nameless);
        m_nameless = -1;
    }
}

bool KvfWriter::prepare(const std::string& in_path, int in_frame)
{
    if (!m_beside.empty() || m_nameless >= 0) {
        discard();
    }
    m_buffer.close();
    m_plain_file = false;
    m_path = FileUtils::buildFilename(in_path, in_frame);
    const std::string folder = FileUtils::extractFolderPath(m_path);
    if (folder.empty()) {
        return KvfError::fail(in_path, "a path to write to needs a folder part, as in ./" + m_path);
    }
    FileUtils::createFolder(folder);
    std::string reason;
    if (!FileUtils::filePathExists(folder, reason)) {
        KvfError::print(reason);
        return KvfError::fail(m_path, "no such folder, and it cannot be made: " + reason);
    }
    m_target = resolveLinks(m_path);
    return true;
}

bool KvfWriter::openFile(const std::string& in_file, const char* in_mode)
{
    m_file.clear();
    if (!m_buffer.open(in_file, in_mode)) {
        KvfError::print("Failed to open file for writing:" + m_path);
        return KvfError::fail(m_path, "cannot be opened for writing: " + m_buffer.errorText());
    }
    struct stat status;
    m_plain_file = ::stat(in_file.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    setStream(&m_file);
    return true;
}

}  // namespace Skelvar
