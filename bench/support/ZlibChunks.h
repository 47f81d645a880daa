#pragma once

#include <skelvar/io/ChannelCompressor.h>
#include <skelvar/io/KvfCompressor.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

#include <memory>
#include <vector>

namespace Bench {

/// Channels as they stand in a file before compression, cut into its chunks, and what zlib alone
/// makes of these at the level of files. All chunks are worked on in parallel.
class ZlibChunks {
public:
    using Channel = std::shared_ptr<Skelvar::TreeChannel3DBase>;

    /// Deflates for a first time.
    ZlibChunks(const std::vector<Channel>& in_channels, Skelvar::CompressionQuality in_quality);

    unsigned long long size() const { return m_size; }
    void deflateAll();
    /// Puts the chunks one behind another into `size()` bytes.
    void inflateAll(unsigned char* out_bytes) const;

private:
    struct Chunk {
        Skelvar::ChannelCompressor::ChunkData data;
        unsigned long long begin;           ///< place among all bytes
        std::vector<unsigned char> packed;  ///< by zlib
    };

    std::vector<std::unique_ptr<Skelvar::KvfCompressor>> m_streams;
    std::vector<Chunk> m_chunks;
    unsigned long long m_size = 0;
};

}  // namespace Bench
