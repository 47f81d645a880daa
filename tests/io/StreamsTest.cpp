#include <tests/support/TempFolder.h>

#include <skelvar/io/FileStreamBuf.h>
#include <skelvar/io/KvfCompressor.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/io/KvfWriter.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace Skelvar {
namespace {

using namespace Test;

using namespace std::string_literals;

/// The bytes of one value, written through the library's stream.
template <typename T>
std::string bytesOf(const T& in_value)
{
    std::ostringstream out;
    KvfStreaming::StreamWriter writer(&out);
    EXPECT_TRUE(writer.write(in_value));
    return out.str();
}

/// Numbers are the platform's affair.
TEST(StreamWriter, WritesVectorsByComponentsAndAMatrixAsItLiesInMemory)
{
    EXPECT_EQ(
        "\x00\x00\x00\x02"
        "hi"s,
        bytesOf<const char*>("hi"));
    EXPECT_EQ("\x3f\x80\x00\x00\x40\x00\x00\x00\x40\x40\x00\x00"s, bytesOf(vec3f{1, 2, 3}));
    EXPECT_EQ("\x00\x00\x00\x01\xff\xff\xff\xff"s, bytesOf(vec2i{1, -1}));
    const std::string matrix = bytesOf(mat4f{});
    EXPECT_EQ(64u, matrix.size());
    EXPECT_EQ("\x00\x00\x80\x3f"s, matrix.substr(0, 4));
}

TEST(StreamReader, StaysFailedAfterAShortRead)
{
    KvfCompressor memory;
    memory.write(static_cast<unsigned short>(1));
    KvfStreaming::StreamReader reader(&memory.stream());
    unsigned int number = 7;
    unsigned char byte = 0;

    EXPECT_EQ(2u, reader.length());
    EXPECT_FALSE(reader.read(number));

    EXPECT_EQ(0u, reader.length());
    EXPECT_FALSE(reader.read(byte));
    EXPECT_TRUE(reader.readbytes(0, nullptr));
}

TEST(StreamWriter, ServesTheRuntimeOnTheSameBytes)
{
    const TempFolder folder;
    bool is_new = false;
    {
        KvfWriter writer;
        ASSERT_TRUE(writer.init(folder.file("a.kvf"), 0));
        orvel::compute::IOutputStream& runtime = writer;
        OutputStream& ours = writer;
        EXPECT_TRUE(ours.write(1u));
        EXPECT_TRUE(runtime.writeID(9, is_new));
        EXPECT_TRUE(is_new);
        EXPECT_TRUE(ours.write(2u));
        EXPECT_TRUE(runtime.writeID(9, is_new));
        EXPECT_FALSE(is_new);
    }
    EXPECT_EQ("\0\0\0\1\0\0\0\0\0\0\0\x09\0\0\0\2\0\0\0\0\0\0\0\x09"s,
              readFile(folder.file("a.kvf")));

    KvfReader reader;
    ASSERT_TRUE(reader.init(folder.file("a.kvf")));
    orvel::compute::IInputStream& runtime = reader;
    unsigned int first = 0;
    unsigned long long id = 0;
    EXPECT_TRUE(reader.read(first) && runtime.readID(id, is_new));
    EXPECT_EQ(9u, id);
    EXPECT_TRUE(is_new);
    EXPECT_TRUE(reader.read(first) && runtime.readID(id, is_new));
    EXPECT_EQ(2u, first);
    EXPECT_FALSE(is_new);
}

TEST(FileStreams, KeepTheOrderOfSmallAndLargePieces)
{
    const TempFolder folder;
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::string expected;
    {
        KvfWriter writer;
        ASSERT_TRUE(writer.init(folder.file("a"), 0));
        for (int n = 0; n < 300; ++n) {
            std::string piece(random() % (n % 50 == 0 ? 700000 : 3000), '\0');
            for (char& byte : piece) {
                byte = static_cast<char>(random());
            }
            EXPECT_TRUE(writer.writebytes(piece.size(), piece.data()));
            expected += piece;
            EXPECT_EQ(expected.size(), writer.position());
        }
        EXPECT_TRUE(writer.close());
    }
    ASSERT_EQ(expected, readFile(folder.file("a")));

    KvfReader reader;
    ASSERT_TRUE(reader.init(folder.file("a")));
    std::size_t place = 0;
    while (place < expected.size()) {
        std::string piece(std::min<std::size_t>(random() % (random() % 9 == 0 ? 900000 : 5000),
                                                expected.size() - place),
                          '\0');
        if (random() % 4 == 0) {
            ASSERT_TRUE(reader.skip(piece.size()));
        } else {
            ASSERT_TRUE(reader.readbytes(piece.size(), piece.data()));
            ASSERT_EQ(expected.compare(place, piece.size(), piece), 0);
        }
        place += piece.size();
        ASSERT_EQ(place, reader.position());
        ASSERT_EQ(expected.size() - place, reader.length());
    }
    EXPECT_FALSE(reader.skip(1));
}

TEST(FileStreams, ReadBehindFourGibibytes)
{
    const TempFolder folder;
    const unsigned long long far = 5ull << 30;
    writeFile(folder.file("sparse"), "");
    std::filesystem::resize_file(folder.file("sparse"), far);
    {
        std::ofstream(folder.file("sparse"), std::ios::app) << "tail";
    }
    KvfReader reader;
    ASSERT_TRUE(reader.init(folder.file("sparse")));

    EXPECT_EQ(far + 4, reader.length());
    ASSERT_TRUE(reader.skip(far));

    char tail[4];
    EXPECT_TRUE(reader.readbytes(4, tail));
    EXPECT_EQ("tail", std::string(tail, 4));
    EXPECT_EQ(far + 4, reader.position());
    char again[4];
    EXPECT_TRUE(reader.file().readAt(far, 4, again));
    EXPECT_EQ("tail", std::string(again, 4));
    EXPECT_FALSE(reader.file().readAt(far + 1, 4, again));
}

TEST(FileStreamBuf, TellsThatAWriteFailedWhenItCloses)
{
    FileStreamBuf buffer;
    ASSERT_TRUE(buffer.open("/dev/full", "wb"));
    EXPECT_EQ(3, buffer.sputn("abc", 3));  // held in the buffer

    EXPECT_FALSE(buffer.close());

    EXPECT_EQ("No space left on device", buffer.errorText());
}

TEST(KvfWriter, NeedsAFolderPartAndMakesTheFolder)
{
    const TempFolder folder;
    KvfWriter writer;

    testing::internal::CaptureStdout();
    EXPECT_FALSE(writer.init("bare.kvf", 0));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_TRUE(writer.init(folder.file("new/sub/a.#.kvf"), 12));

    EXPECT_EQ(folder.file("new/sub/a.0012.kvf"), writer.path());
    EXPECT_TRUE(std::filesystem::exists(writer.path()));
}

}  // namespace
}  // namespace Skelvar
