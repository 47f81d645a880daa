#include <skelvar/io/ChannelCompressor.h>
#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfDecompressor.h>

#include <gtest/gtest.h>

#include <random>

namespace Skelvar {
namespace {

std::vector<unsigned char> randomBytes(std::size_t in_count, unsigned int in_seed = 1)
{
    std::mt19937 random(in_seed);
    std::vector<unsigned char> bytes(in_count);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

/// One frame, ready to be read.
void writeFrame(KvfCompressor& io_stream, unsigned long long in_size,
                const std::vector<unsigned char>& in_compressed)
{
    io_stream.write(in_size);
    io_stream.write(static_cast<unsigned long long>(in_compressed.size()));
    io_stream.writebytes(in_compressed.size(), reinterpret_cast<const char*>(in_compressed.data()));
}

TEST(Chunks, AreCutAtTheStatedSizes)
{
    const struct {
        unsigned long long size;
        std::vector<unsigned int> chunks;
    } rows[] = {
        {0, {}},
        {1, {1}},
        {131071, {131071}},
        {131072, {131072}},
        {262143, {262143}},
        {262144, {131072, 131072}},
        {400000, {131072, 131072, 137856}},
    };
    for (const auto& row : rows) {
        const std::vector<unsigned char> bytes(row.size + 1);
        const auto chunks = cutIntoChunks(bytes.data(), row.size);
        std::vector<unsigned int> sizes;
        const unsigned char* expected = bytes.data();
        for (const auto& chunk : chunks) {
            sizes.push_back(chunk.size);
            EXPECT_EQ(expected, chunk.data);
            expected += chunk.size;
        }
        EXPECT_EQ(row.chunks, sizes) << row.size;
    }
}

TEST(Compress, ComesBackThroughBothReaders)
{
    for (const std::size_t size : {1u, 500u, 131072u, 262143u}) {
        for (const bool is_random : {true, false}) {
            const auto bytes = is_random ? randomBytes(size) : std::vector<unsigned char>(size, 7);
            std::vector<unsigned char> compressed;
            ASSERT_TRUE(KvfCompressor::compress(bytes.data(), bytes.size(), compressed));
            if (is_random) {
                EXPECT_GT(compressed.size(), size) << "zlib adds to what has no pattern";
            }
            KvfCompressor frames;
            writeFrame(frames, size, compressed);
            writeFrame(frames, size, compressed);
            KvfStreaming::StreamReader reader(&frames.stream());

            std::vector<unsigned char> inflated(size);
            unsigned char* place = inflated.data();
            unsigned long reported = 0;
            ASSERT_TRUE(KvfDecompressor::decompress(reader, place, reported));
            EXPECT_EQ(inflated.data(), place);
            EXPECT_EQ(size, reported);
            EXPECT_EQ(bytes, inflated);

            KvfDecompressor memory;
            ASSERT_TRUE(memory.inflate(reader));
            std::vector<unsigned char> read(size);
            EXPECT_EQ(size, memory.length());
            EXPECT_TRUE(memory.readbytes(size, reinterpret_cast<char*>(read.data())));
            EXPECT_EQ(bytes, read);
        }
    }
}

TEST(Decompress, RefusesSizesThatCannotBe)
{
    const std::vector<unsigned char> bytes(1000, 7);
    std::vector<unsigned char> good;
    ASSERT_TRUE(KvfCompressor::compress(bytes.data(), bytes.size(), good));
    std::vector<unsigned char> cut(good.begin(), good.end() - 1);
    std::vector<unsigned char> damaged = good;
    damaged[damaged.size() / 2] ^= 0x55;
    const struct {
        const char* what;
        unsigned long long size;
        const std::vector<unsigned char>& compressed;
        unsigned long capacity;
    } rows[] = {
        {"one byte more than there is", 1001, good, 2000},
        {"one byte less than there is", 999, good, 2000},
        {"more than the room", 1000, good, 999},
        {"more than zlib can have packed", 1ull << 60, good, ~0ul},
        {"cut short", 1000, cut, 2000},
        {"damaged", 1000, damaged, 2000},
    };
    for (const auto& row : rows) {
        KvfCompressor frame;
        writeFrame(frame, row.size, row.compressed);
        std::vector<unsigned char> room(2000);
        unsigned char* place = room.data();
        unsigned long size = 77;
        KvfStreaming::StreamReader reader(&frame.stream());
        EXPECT_FALSE(KvfDecompressor::decompress(reader, place, size, row.capacity)) << row.what;
    }
    for (const bool at_end : {true, false}) {
        KvfCompressor frame;
        if (!at_end) {
            frame.write(1000ull);
            frame.write(~0ull);  // compressed bytes that never come
            frame.write(0ull);
        }
        KvfStreaming::StreamReader reader(&frame.stream());
        unsigned char* place = nullptr;
        unsigned long size = 77;
        EXPECT_FALSE(KvfDecompressor::decompress(reader, place, size));
        EXPECT_EQ(0u, size);
        KvfDecompressor memory;
        EXPECT_FALSE(memory.inflate(reader));
    }
}

}  // namespace
}  // namespace Skelvar
