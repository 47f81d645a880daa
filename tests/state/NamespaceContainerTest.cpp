#include <skelvar/state/NamespaceContainer.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Skelvar::NS {
namespace {

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

}  // namespace
}  // namespace Skelvar::NS
