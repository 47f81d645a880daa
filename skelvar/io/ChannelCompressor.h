#pragma once

#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfFormat.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class TreeChannel3DBase;
class TreeShape3DBase;

/// Serialises and compresses the channels of one file, all at once on all threads: one task for
/// each channel, which cuts the channel's bytes into chunks and compresses these in parallel. Lives
/// while the file is written. The caller keeps others from changing the channels.
class SKELVAR_API ChannelCompressor {
public:
    /// Bytes of a chunk. The remainder joins the last chunk, so that only the one chunk of a
    /// smaller channel is smaller, and none is twice as large.
    static constexpr unsigned long kChunkSize = 0x20000;

    /// A piece of a channel's bytes, and its zlib stream.
    struct ChunkData {
        const unsigned char* data = nullptr;  ///< borrowed; stale once the channel is compressed
        unsigned int size = 0;
        std::vector<unsigned char> compressed;
    };

    /// One channel of the file.
    struct SKELVAR_API Entry {
        virtual ~Entry() = default;

        std::vector<ChunkData> chunks;
        std::shared_ptr<TreeChannel3DBase> channel;
        KvfCompressor stream;             ///< empty again once the channel is compressed
        std::atomic<bool> success{true};  ///< only ever cleared
        unsigned long long size = 0;      ///< of the serialised form
    };

    /// Compresses all entries and waits for the end.
    struct RootCompressTask {
        std::vector<std::unique_ptr<Entry>>* entries = nullptr;
        void execute();
    };
    /// Serialises one channel and compresses its chunks.
    struct CompressTask {
        Entry* entry = nullptr;
        void execute();
    };

    /// Looks up the channels, in order; one that is gone is skipped. A quality above 3 counts as 0.
    ChannelCompressor(const TreeShape3DBase& in_shape,
                      const std::vector<KVFInfo::ChannelInfo>& in_channels,
                      CompressionQuality in_quality, KvfVersion in_version);
    ~ChannelCompressor();

    void run() { RootCompressTask{&m_entries}.execute(); }
    std::vector<std::unique_ptr<Entry>>& entries() { return m_entries; }

private:
    std::vector<std::unique_ptr<Entry>> m_entries;
};

/// Cuts bytes into the chunks of the format, in order. None for a size of 0.
SKELVAR_API std::vector<ChannelCompressor::ChunkData> cutIntoChunks(const unsigned char* in_bytes,
                                                                    unsigned long long in_size);

/// The channel of the name; null if the shape has none, or has none any more.
std::shared_ptr<TreeChannel3DBase> channelOrNull(const TreeShape3DBase& in_shape,
                                                 const std::string& in_name);

}  // namespace Skelvar
