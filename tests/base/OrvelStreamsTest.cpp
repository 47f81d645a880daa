#include <orvel/Streams.h>

#include <tests/support/Bytes.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using orvel::compute::CInStreamWrapper;
using orvel::compute::COutStreamWrapper;
using Skelvar::Testing::bytes;

template <typename T>
std::string written(const T& in_value)
{
    std::ostringstream text;
    COutStreamWrapper stream(&text);
    EXPECT_TRUE(stream.write(in_value));
    return text.str();
}

TEST(StreamWrappers, WriteNumbersBigEndian)
{
    EXPECT_EQ(bytes({0x01, 0x02, 0x03, 0x04}), written(0x01020304u));
    EXPECT_EQ(bytes({0xff, 0xff, 0xff, 0xfe}), written(-2));
    EXPECT_EQ(bytes({0x3f, 0x80, 0x00, 0x00}), written(1.0f));
    EXPECT_EQ(bytes({0xbf, 0xf0, 0, 0, 0, 0, 0, 0}), written(-1.0));
    EXPECT_EQ(bytes({1, 2, 3, 4, 5, 6, 7, 8}), written(0x0102030405060708ull));
    EXPECT_EQ(bytes({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfd}), written(-3ll));
    EXPECT_EQ(bytes({0x12, 0x34}), written<unsigned short>(0x1234));
    EXPECT_EQ(bytes({0xff, 0xfb}), written<short>(-5));
    EXPECT_EQ(bytes({0xfa}), written<signed char>(-6));
    EXPECT_EQ(bytes({0xfa}), written<unsigned char>(0xfa));
    EXPECT_EQ(bytes({1}), written(true));
    EXPECT_EQ(bytes({0, 0, 0, 2, 'h', 'i'}), written(std::string("hi")));
    EXPECT_EQ(bytes({0, 0, 0, 2, 'h', 'i'}), written("hi"));
    EXPECT_EQ(bytes({0, 0, 0, 0}), written(std::string()));
}

TEST(StreamWrappers, ReadBackWhatWasWritten)
{
    const std::string long_text(200000, 'x');
    std::stringstream text;
    COutStreamWrapper out(&text);
    out.write(1.5f);
    out.write(-2.5e300);
    out.write(4000000000u);
    out.write(~0ull);
    out.write(-7);
    out.write(-8ll);
    out.write(static_cast<unsigned char>(200));
    out.write(static_cast<signed char>(-100));
    out.write(true);
    out.write(long_text);
    out.write(static_cast<short>(-300));
    out.write(static_cast<unsigned short>(60000));
    CInStreamWrapper in(&text);

    const auto expect_read = [&](auto in_expected) {
        auto value = decltype(in_expected)();
        EXPECT_TRUE(in.read(value));
        EXPECT_EQ(in_expected, value);
    };
    expect_read(1.5f);
    expect_read(-2.5e300);
    expect_read(4000000000u);
    expect_read(~0ull);
    expect_read(-7);
    expect_read(-8ll);
    expect_read(static_cast<unsigned char>(200));
    expect_read(static_cast<signed char>(-100));
    expect_read(true);
    expect_read(long_text);
    expect_read(static_cast<short>(-300));
    expect_read(static_cast<unsigned short>(60000));
    EXPECT_EQ(0u, in.length());
}

TEST(StreamWrappers, ReadAnyByteButZeroAsTrue)
{
    std::istringstream text(bytes({2, 0}));
    CInStreamWrapper in(&text);
    bool value = false;

    EXPECT_TRUE(in.read(value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(in.read(value));
    EXPECT_FALSE(value);
}

TEST(StreamWrappers, LengthCountsWhatIsLeftAndMovesNothing)
{
    std::istringstream text("abcdef");
    CInStreamWrapper in(&text);
    char byte = 0;

    EXPECT_EQ(6u, in.length());
    EXPECT_TRUE(in.readbytes(1, &byte));
    EXPECT_EQ(5u, in.length());
    EXPECT_TRUE(in.readbytes(1, &byte));
    EXPECT_EQ('b', byte);
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

TEST(StreamWrappers, WriteAnIdEachTimeAndTellItsFirst)
{
    std::stringstream text;
    COutStreamWrapper out(&text);
    bool is_new = false;

    EXPECT_TRUE(out.writeID(7, is_new));
    EXPECT_TRUE(is_new);
    EXPECT_TRUE(out.writeID(7, is_new));
    EXPECT_FALSE(is_new);
    EXPECT_TRUE(out.hasWrittenID(7));
    EXPECT_FALSE(out.hasWrittenID(8));
    EXPECT_EQ(bytes({0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 7}), text.str());
}

TEST(StreamWrappers, KeepAPointerForEachIdRead)
{
    std::istringstream text(bytes({0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 7}));
    CInStreamWrapper in(&text);
    unsigned long long id = 0;
    bool is_new = false;
    int object = 0;

    EXPECT_TRUE(in.readID(id, is_new));
    EXPECT_TRUE(is_new);
    EXPECT_EQ(nullptr, in.getIDMetaData(id));
    in.associateMetaDataToID(id, &object);
    EXPECT_TRUE(in.readID(id, is_new));
    EXPECT_FALSE(is_new);
    EXPECT_EQ(&object, in.getIDMetaData(id));
    EXPECT_FALSE(in.readID(id, is_new));
    EXPECT_FALSE(is_new);
}

TEST(StreamWrappers, PointAtAnotherStream)
{
    std::ostringstream first;
    std::ostringstream second;
    COutStreamWrapper out(&first);

    out.write(static_cast<unsigned char>('a'));
    out.setStream(&second);
    out.write(static_cast<unsigned char>('b'));

    EXPECT_EQ("a", first.str());
    EXPECT_EQ("b", second.str());
}

}  // namespace
