#include <skelvar/io/ChannelCompressor.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tbb/parallel_for_each.h>
#include <tbb/task_group.h>

#include <stdexcept>

namespace Skelvar {

namespace {

void compressChunk(ChannelCompressor::ChunkData& io_chunk, std::atomic<bool>& io_success)
{
    if (!KvfCompressor::compress(io_chunk.data, io_chunk.size, io_chunk.compressed)) {
        io_success = false;
    }
}

}  // namespace

std::shared_ptr<TreeChannel3DBase> channelOrNull(const TreeShape3DBase& in_shape,
                                                 const std::string& in_name)
{
    try {
        return in_shape.channelBasePtr(in_name);
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

std::vector<ChannelCompressor::ChunkData> cutIntoChunks(const unsigned char* in_bytes,
                                                        unsigned long long in_size)
{
    using Compressor = ChannelCompressor;
    if (in_size == 0) {
        return {};
    }
    const unsigned long long count = std::max(in_size / Compressor::kChunkSize, 1ull);
    std::vector<Compressor::ChunkData> chunks(count);
    for (unsigned long long n = 0; n < count; ++n) {
        chunks[n].data = in_bytes + n * Compressor::kChunkSize;
        chunks[n].size = Compressor::kChunkSize;
    }
    chunks.back().size = static_cast<unsigned int>(in_size - (count - 1) * Compressor::kChunkSize);
    return chunks;
}

ChannelCompressor::ChannelCompressor(const TreeShape3DBase& in_shape,
                                     const std::vector<KVFInfo::ChannelInfo>& in_channels,
                                     CompressionQuality in_quality, KvfVersion in_version)
{
    for (const KVFInfo::ChannelInfo& info : in_channels) {
        std::shared_ptr<TreeChannel3DBase> channel = channelOrNull(in_shape, info.name);
        if (!channel) {
            continue;
        }
        auto entry = std::make_unique<Entry>();
        entry->channel = std::move(channel);
        entry->stream.setQuality(kvfQuality(in_quality));
        entry->stream.setVersion(in_version);
        m_entries.push_back(std::move(entry));
    }
}

ChannelCompressor::~ChannelCompressor() = default;

void ChannelCompressor::RootCompressTask::execute()
{
    tbb::task_group tasks;
    for (const std::unique_ptr<Entry>& entry : *entries) {
        tasks.run([&entry] { CompressTask{entry.get()}.execute(); });
    }
    tasks.wait();
}

void ChannelCompressor::CompressTask::execute()
{
    SkelvarProfiler::Scope scope("ChannelCompressor::CompressTask");
    entry->success = entry->channel->save(entry->stream);
    MemoryStreamBuf& memory = entry->stream.memory();
    entry->size = memory.size();
    if (!entry->success || entry->size == 0) {
        return;
    }
    entry->chunks =
        cutIntoChunks(reinterpret_cast<const unsigned char*>(memory.data()), entry->size);
    if (entry->chunks.size() == 1) {
        compressChunk(entry->chunks.front(), entry->success);
    } else {
        tbb::task_group_context context;
        tbb::parallel_for_each(
            entry->chunks.begin(), entry->chunks.end(),
            [&](ChunkData& io_chunk) { compressChunk(io_chunk, entry->success); }, context);
    }
    memory.release();
}

}  // namespace Skelvar
