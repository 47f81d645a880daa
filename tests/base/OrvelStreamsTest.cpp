#include <orvel/Streams.h>

#include <tests/support/Bytes.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using orvel::compute::CInStreamWrapper;
using orvel::compute::COutStreamWrapper;
using Skelvar::Testing::bytes;

/// Writes the value, holds the bytes against the expected, and reads it back.
template <typename T>
void expectBytes(const std::string& in_expected, const T& in_value)
{
    std::stringstream text;
    COutStreamWrapper out(&text);
    CInStreamWrapper in(&text);
    T value{};

    EXPECT_TRUE(out.write(in_value));
    EXPECT_EQ(in_expected, text.str());
    EXPECT_EQ(in_expected.size(), in.length());
    EXPECT_TRUE(in.read(value));
    EXPECT_EQ(in_value, value);
    EXPECT_EQ(0u, in.length());
}

TEST(StreamWrappers, NumbersAreBigEndian)
{
    expectBytes(bytes({0x01, 0x02, 0x03, 0x04}), 0x01020304u);
    expectBytes(bytes({0xff, 0xff, 0xff, 0xfe}), -2);
    expectBytes(bytes({0x3f, 0x80, 0x00, 0x00}), 1.0f);
    expectBytes(bytes({0xbf, 0xf0, 0, 0, 0, 0, 0, 0}), -1.0);
    expectBytes(bytes({1, 2, 3, 4, 5, 6, 7, 8}), 0x0102030405060708ull);
    expectBytes(bytes({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfd}), -3ll);
    expectBytes<unsigned short>(bytes({0x12, 0x34}), 0x1234);
    expectBytes<short>(bytes({0xff, 0xfb}), -5);
    expectBytes<signed char>(bytes({0xfa}), -6);
    expectBytes<unsigned char>(bytes({0xfa}), 0xfa);
    expectBytes(bytes({1}), true);
    expectBytes(bytes({0, 0, 0, 2, 'h', 'i'}), std::string("hi"));
    expectBytes(bytes({0, 0, 0, 0}), std::string());
    expectBytes(bytes({0, 3, 0x0d, 0x40}) + std::string(200000, 'x'), std::string(200000, 'x'));
}

TEST(StreamWrappers, StayFailedAfterAShortRead)
{
    std::istringstream text("abc");
    CInStreamWrapper in(&text);
    unsigned int value = 5;
    unsigned char byte = 6;

    EXPECT_FALSE(in.read(value));
    EXPECT_EQ(0u, value);
    EXPECT_FALSE(in.read(byte));
    EXPECT_EQ(0u, in.length());
    EXPECT_TRUE(in.readbytes(0, nullptr));
}

TEST(StreamWrappers, FailWithoutAStream)
{
    COutStreamWrapper out;
    CInStreamWrapper in;
    int value = 1;

    EXPECT_FALSE(out.write(1));
    EXPECT_FALSE(in.read(value));
    EXPECT_EQ(0u, in.length());
}

TEST(StreamWrappers, RefuseATextLongerThanTheStream)
{
    for (const unsigned int count : {5u, 4097u, 0xffffffffu}) {
        SCOPED_TRACE(count);
        std::stringstream bytes;
        COutStreamWrapper(&bytes).write(count);
        bytes << "four";
        CInStreamWrapper in(&bytes);
        std::string text = "old";

        EXPECT_FALSE(in.read(text));
        EXPECT_EQ("", text);
        EXPECT_TRUE(bytes.fail());
    }
}

TEST(StreamWrappers, WriteAnIdEachTimeAndKeepAPointerForEachRead)
{
    std::stringstream text;
    COutStreamWrapper out(&text);
    CInStreamWrapper in(&text);
    int object = 0;
    for (const bool is_first : {true, false}) {
        unsigned long long id = 0;
        bool is_new = !is_first;
        EXPECT_TRUE(out.writeID(7, is_new));
        EXPECT_EQ(is_first, is_new);
        EXPECT_EQ(bytes({0, 0, 0, 0, 0, 0, 0, 7}), text.str().substr(is_first ? 0 : 8));

        EXPECT_TRUE(in.readID(id, is_new));
        EXPECT_EQ(is_first, is_new);
        EXPECT_EQ(7u, id);
        EXPECT_EQ(is_first ? nullptr : &object, in.getIDMetaData(id));
        in.associateMetaDataToID(id, &object);
    }
    unsigned long long id = 0;
    bool is_new = true;
    EXPECT_FALSE(in.readID(id, is_new));
    EXPECT_FALSE(is_new);
    EXPECT_TRUE(out.hasWrittenID(7));
    EXPECT_FALSE(out.hasWrittenID(8));
}

}  // namespace
