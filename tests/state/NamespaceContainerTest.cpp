#include <skelvar/state/NamespaceContainer.h>

#include <tests/support/MemoryStream.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Skelvar::NS {
namespace {

using Test::MemoryReader;
using Test::MemoryWriter;

using Names = std::vector<std::string>;

Names namesOf(const NamespaceContainer& in_container)
{
    return {in_container.cbegin(), in_container.cend()};
}

TEST(NamespaceContainer, HoldsUniqueNamesInTheOrderOfTheirNumbers)
{
    NamespaceContainer container;

    EXPECT_EQ("rain", container.addName("rain"));
    EXPECT_EQ("rain1", container.addName("rain"));
    EXPECT_EQ("rain10", container.addName("rain10"));
    EXPECT_EQ("my_rain_x", container.addName("my rain.x"));
    EXPECT_EQ("rain11", container.updateName("my_rain_x", "rain"));
    EXPECT_EQ("", container.updateName("c", "d"));
    EXPECT_TRUE(container.removeName("rain1"));
    EXPECT_FALSE(container.removeName("rain1"));
    container.addName("rain9");

    EXPECT_EQ((Names{"rain", "rain9", "rain10", "rain11"}), namesOf(container));
    EXPECT_TRUE(container.hasName("rain09"));
}

using namespace std::string_literals;

/// Version 1, two names: "a" and "b2".
const std::string kTwoNames =
    "\0\1"
    "\0\0\0\0\0\0\0\2"
    "\0\0\0\1"
    "a"
    "\0\0\0\2"
    "b2"s;

bool loads(const std::string& in_bytes, NamespaceContainer& io_container)
{
    MemoryReader reader(in_bytes);
    return io_container.load(reader);
}

TEST(NamespaceContainer, StoresVersionCountAndNamesAndReadsThemBack)
{
    NamespaceContainer container;
    container.addName("b2");
    container.addName("a");
    NamespaceContainer read;

    MemoryWriter writer;
    EXPECT_TRUE(container.save(writer));
    EXPECT_EQ(kTwoNames, writer.bytes());
    EXPECT_TRUE(loads(kTwoNames, read));

    EXPECT_EQ((Names{"a", "b2"}), namesOf(read));
}

TEST(NamespaceContainer, RefusesDamagedBytes)
{
    NamespaceContainer container;
    for (std::size_t length = 0; length < kTwoNames.size(); ++length) {
        EXPECT_FALSE(loads(kTwoNames.substr(0, length), container)) << length << " bytes";
    }
    const std::string huge(8, '\xff');
    EXPECT_FALSE(loads("\0\2"s + kTwoNames.substr(2), container));
    EXPECT_FALSE(loads(kTwoNames.substr(0, 2) + huge + kTwoNames.substr(10), container));
    EXPECT_FALSE(loads(kTwoNames.substr(0, 10) + huge.substr(4) + kTwoNames.substr(14), container));
    EXPECT_FALSE(loads("\0\1\0\0\0\0\0\0\0\2\0\0\0\2x1\0\0\0\13x9999999999"s, container));
    EXPECT_EQ(Names{}, namesOf(container));
}

TEST(NamespaceContainer, SaveAndDumpFailAtTheFirstFailedWrite)
{
    NamespaceContainer container;
    EXPECT_TRUE(loads(kTwoNames, container));
    MemoryWriter dump;
    EXPECT_TRUE(container.dump(dump));
    EXPECT_EQ("\1\0\0\0\2a\n\0\0\0\3b2\n\1"s, dump.bytes());

    for (std::size_t room = 0; room < kTwoNames.size(); ++room) {
        MemoryWriter save_writer(room);
        MemoryWriter dump_writer(room);
        EXPECT_FALSE(container.save(save_writer)) << "room for " << room;
        EXPECT_EQ(room >= dump.bytes().size(), container.dump(dump_writer)) << "room for " << room;
    }
}

}  // namespace
}  // namespace Skelvar::NS
