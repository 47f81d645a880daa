// A file of which only the header, and where its channels stand, is asked for.
#include <fuzz/MemoryFile.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfFormat.h>

using namespace Skelvar;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return Fuzz::silenceStandardOutput();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    const Fuzz::MemoryFile file(in_data, in_size);
    KVFInfo info{};
    std::string report;
    const bool ok = kvfInfo(file.path(), info);
    Fuzz::require(kvfInfo(file.path(), report) == ok, "both forms agree");
    std::vector<KvfChannelSize> sizes;
    if (kvfChannelSizes(file.path(), sizes)) {
        Fuzz::require(ok && sizes.size() == info.channels.size(), "a size for each channel");
    }
    for (const KvfChannelSize& size : sizes) {
        Fuzz::require(size.offset + size.diskBytes <= in_size, "a body inside of the file");
    }
    return 0;
}
