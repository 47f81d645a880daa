#pragma once

#include <fuzz/FuzzInput.h>

#include <sys/mman.h>
#include <unistd.h>

#include <string>

namespace Skelvar::Fuzz {

/// Bytes that can be opened by a path and never reach a disk.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* in_data, std::size_t in_size)
        : m_descriptor(memfd_create("input.kvf", 0))
    {
        require(m_descriptor >= 0, "a file in memory");
        require(write(m_descriptor, in_data, in_size) == static_cast<ssize_t>(in_size),
                "room for it");
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};

/// The file layer tells on standard output what a user may mend; here that is noise.
inline int silenceStandardOutput()
{
    require(std::freopen("/dev/null", "w", stdout) != nullptr, "/dev/null");
    return 0;
}

}  // namespace Skelvar::Fuzz
