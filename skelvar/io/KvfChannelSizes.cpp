#include <skelvar/io/ChannelBody.h>
#include <skelvar/io/Kvf.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfLoader.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/io/LayoutSkip.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelStateSMP.h>

#include <exception>

namespace Skelvar {

namespace {

/// Leaves the reader behind the channel's body. Only version 1 has no sizes to go by.
bool measure(KvfReader& io_reader, KvfLoader& io_loader, const KVFInfo::ChannelInfo& in_info,
             KvfChannelSize& out_size)
{
    out_size.name = in_info.name;
    out_size.type = in_info.type;
    out_size.offset = io_reader.position();
    ChannelBody body;
    const bool is_plain = io_reader.version() == kKvfVersion1;
    if (is_plain ? !io_loader.loadChannel(in_info) : !body.read(io_reader, in_info.name)) {
        return false;
    }
    out_size.diskBytes = io_reader.position() - out_size.offset;
    out_size.memoryBytes = is_plain ? out_size.diskBytes : body.size;
    out_size.chunks = body.chunks.size();
    return true;
}

}  // namespace

bool kvfChannelSizes(const std::string& in_path, std::vector<KvfChannelSize>& out_sizes,
                     unsigned long long* out_end)
{
    KvfError::clear();
    out_sizes.clear();
    try {
        KvfReader reader;
        KVFInfo info{};
        if (!reader.init(in_path) || !loadKvfHeader(reader, info)) {
            return false;
        }
        if (info.version < 1 || info.version > kvfVersion()) {
            return KvfError::failAt(
                reader.path(), 4,
                "File version " + std::to_string(info.version) + " is not supported");
        }
        // What lies ahead of the channels has no stated size. Where it cannot be skipped it is read
        // into a state of its own.
        VoxelStateSMP state(StateServerManager::invalidId);
        KvfLoader loader(reader, state, info);
        const bool is_plain = info.version == kKvfVersion1;
        if ((is_plain || !skipLayoutAndShape(reader)) &&
            (!reader.init(in_path) || !loadKvfHeader(reader, info) || !loader.loadFrame())) {
            return false;
        }
        for (const KVFInfo::ChannelInfo& channel : info.channels) {
            KvfChannelSize size;
            if (!measure(reader, loader, channel, size)) {
                return false;
            }
            out_sizes.push_back(size);
        }
        if (out_end != nullptr) {
            *out_end = reader.position();
        }
        return true;
    } catch (const std::exception& error) {
        return KvfError::fail(in_path, std::string("given up: ") + error.what());
    }
}

}  // namespace Skelvar
