#include <bench/support/ZlibChunks.h>

#include <skelvar/base/KvfVersion.h>

#include <tbb/parallel_for.h>
#include <zlib.h>

#include <stdexcept>

namespace Bench {

namespace {

constexpr int kZlibLevel = 9;

void require(bool in_done, const char* in_step)
{
    if (!in_done) {
        throw std::runtime_error(in_step);
    }
}

}  // namespace

ZlibChunks::ZlibChunks(const std::vector<Channel>& in_channels,
                       Skelvar::CompressionQuality in_quality)
{
    for (const Channel& channel : in_channels) {
        m_streams.push_back(std::make_unique<Skelvar::KvfCompressor>());
        Skelvar::KvfCompressor& stream = *m_streams.back();
        stream.setQuality(in_quality);
        stream.setVersion(Skelvar::KvfVersion{4});
        require(channel->save(stream), "save");
        for (const auto& chunk :
             Skelvar::cutIntoChunks(reinterpret_cast<const unsigned char*>(stream.memory().data()),
                                    stream.memory().size())) {
            m_chunks.push_back({chunk, m_size, {}});
            m_size += chunk.size;
        }
    }
    deflateAll();
}

void ZlibChunks::deflateAll()
{
    tbb::parallel_for(std::size_t{0}, m_chunks.size(), [&](std::size_t in_n) {
        Chunk& chunk = m_chunks[in_n];
        uLongf size = compressBound(chunk.data.size);
        chunk.packed.resize(size);
        require(compress2(chunk.packed.data(), &size, chunk.data.data, chunk.data.size,
                          kZlibLevel) == Z_OK,
                "compress2");
        chunk.packed.resize(size);
    });
}

void ZlibChunks::inflateAll(unsigned char* out_bytes) const
{
    tbb::parallel_for(std::size_t{0}, m_chunks.size(), [&](std::size_t in_n) {
        const Chunk& chunk = m_chunks[in_n];
        uLongf size = chunk.data.size;
        require(uncompress(out_bytes + chunk.begin, &size, chunk.packed.data(),
                           static_cast<uLong>(chunk.packed.size())) == Z_OK,
                "uncompress");
    });
}

}  // namespace Bench
