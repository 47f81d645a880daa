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

TEST(NamespaceContainer, MakesNamesUniqueAndKeepsThemInTheOrderOfTheirNumbers)
{
    NamespaceContainer container;

    EXPECT_EQ("rain", container.addName("rain"));
    EXPECT_EQ("rain1", container.addName("rain"));
    EXPECT_EQ("rain9", container.addName("rain9"));
    EXPECT_EQ("rain10", container.addName("rain1"));
    EXPECT_EQ("my_rain_x", container.addName("my rain.x"));

    EXPECT_EQ((Names{"my_rain_x", "rain", "rain1", "rain9", "rain10"}), namesOf(container));
    EXPECT_TRUE(container.hasName("rain09"));
}

TEST(NamespaceContainer, UpdatesOnlyNamesThatItHolds)
{
    NamespaceContainer container;
    container.addName("a");
    container.addName("b");

    EXPECT_EQ("b1", container.updateName("a", "b"));
    EXPECT_EQ("", container.updateName("a", "c"));

    EXPECT_EQ((Names{"b", "b1"}), namesOf(container));
    EXPECT_TRUE(container.removeName("b1"));
    EXPECT_FALSE(container.removeName("b1"));
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

std::string savedBytes(const NamespaceContainer& in_container)
{
    MemoryWriter writer;
    EXPECT_TRUE(in_container.save(writer));
    return writer.bytes();
}

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

    EXPECT_EQ(kTwoNames, savedBytes(container));
    EXPECT_TRUE(loads(kTwoNames, read));

    EXPECT_EQ((Names{"a", "b2"}), namesOf(read));
}

TEST(NamespaceContainer, LoadRenamesNamesThatAreHere)
{
    NamespaceContainer container;
    container.addName("b2");

    EXPECT_TRUE(loads(kTwoNames, container));

    EXPECT_EQ((Names{"a", "b2", "b3"}), namesOf(container));
}

TEST(NamespaceContainer, RefusesDamagedBytes)
{
    NamespaceContainer container;
    for (std::size_t length = 0; length < kTwoNames.size(); ++length) {
        EXPECT_FALSE(loads(kTwoNames.substr(0, length), container)) << length << " bytes";
    }
    std::string other_version = kTwoNames;
    other_version[1] = 2;
    EXPECT_FALSE(loads(other_version, container));
    std::string huge_count = kTwoNames;
    huge_count.replace(2, 8, 8, '\xff');
    EXPECT_FALSE(loads(huge_count, container));
    std::string huge_length = kTwoNames;
    huge_length.replace(10, 4, 4, '\xff');
    EXPECT_FALSE(loads(huge_length, container));
    const std::string huge_number = "\0\1\0\0\0\0\0\0\0\2\0\0\0\2x1\0\0\0\13x9999999999"s;
    EXPECT_FALSE(loads(huge_number, container));
}

TEST(NamespaceContainer, SaveAndDumpFailAtTheFirstFailedWrite)
{
    NamespaceContainer container;
    container.addName("a");
    container.addName("b2");
    MemoryWriter dump;
    EXPECT_TRUE(container.dump(dump));
    EXPECT_EQ("\1\0\0\0\2a\n\0\0\0\3b2\n\1"s, dump.bytes());

    for (std::size_t room = 0; room < kTwoNames.size(); ++room) {
        MemoryWriter writer(room);
        EXPECT_FALSE(container.save(writer)) << "room for " << room;
    }
    for (std::size_t room = 0; room < dump.bytes().size(); ++room) {
        MemoryWriter writer(room);
        EXPECT_FALSE(container.dump(writer)) << "room for " << room;
    }
}

}  // namespace
}  // namespace Skelvar::NS
