#include <skelvar/base/NameFunctions.h>
#include <skelvar/base/NameSuffixCompare.h>
#include <skelvar/base/NodeNames.h>
#include <skelvar/base/PathName.h>
#include <skelvar/base/UniqueName.h>

#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace Skelvar {

namespace NS {
namespace {

using Strings = std::vector<std::string>;

TEST(Names, SplitNameTakesTheTrailingNumber)
{
    const struct {
        const char *name, *base, *digits;
    } rows[] = {{"rain12", "rain", "12"}, {"rain", "rain", "kept"}, {"123", "123", "kept"},
                {"", "", "kept"},         {"a1b", "a1b", "kept"},   {"a1b007", "a1b", "007"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string base = "old";
        std::string digits = "kept";

        splitName(row.name, base, digits);

        EXPECT_EQ(row.base, base);
        EXPECT_EQ(row.digits, digits);
    }
}

TEST(Names, SplitStringKeepsEmptyPiecesOnRequest)
{
    Strings parts = {"old"};

    EXPECT_TRUE(splitString(".a|b..", ".|", parts, false));
    EXPECT_EQ((Strings{"a", "b"}), parts);
    EXPECT_TRUE(splitString(".a|b..", ".|", parts, true));
    EXPECT_EQ((Strings{"", "a", "b", "", ""}), parts);
    EXPECT_FALSE(splitString("", ".", parts, true));
    EXPECT_EQ(Strings(), parts);
}

TEST(Names, SplitPathNameAssignsFromTheEnd)
{
    const struct {
        const char* path;
        int count;
        Strings parts;
    } rows[] = {{"a.b.c", 3, {"a", "b", "c"}}, {"a.b", 2, {"o", "a", "b"}},
                {"a", 1, {"o", "s", "a"}},     {"..a.", 1, {"o", "s", "a"}},
                {"", 0, {"o", "s", "c"}},      {"a.b.c.d", 0, {"o", "s", "c"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        Strings parts = {"o", "s", "c"};

        EXPECT_EQ(row.count, splitPathName(row.path, parts[0], parts[1], parts[2]));

        EXPECT_EQ(row.parts, parts);
    }
}

TEST(Names, ReplaceTwentyEightBadCharacters)
{
    std::string all;
    for (int character = 1; character < 256; ++character) {
        all += static_cast<char>(character);
    }
    const std::string clean = substitueBadChars(all, '\0');

    EXPECT_EQ(28, std::count(clean.begin(), clean.end(), '\0'));
    for (const char kept : {'-', '/', '|', '_', '"', 'a', '9', '\xe4'}) {
        EXPECT_NE(std::string::npos, clean.find(kept)) << kept;
    }
    EXPECT_EQ("a_b_c_d_", substitueBadChars("a b.c\\d`", '_'));
}

TEST(Names, FollowTheFormsOfNodes)
{
    EXPECT_EQ("x_1_y_z", buildFilename("x|1-y/z"));

    std::string object = "o";
    std::string shape = "s";
    splitChannelName("volume", object, shape);
    EXPECT_EQ("o s", object + " " + shape);
    splitChannelName("rain-volume/density-x", object, shape);
    EXPECT_EQ("rain rain-volume", object + " " + shape);

    std::string channel = "old";
    extractChannelName("a/b/density", channel);
    EXPECT_EQ("density", channel);
    extractChannelName("volume", channel);
    EXPECT_EQ("", channel);
}

/// What the order compares: the base's bytes as unsigned, then the number, none ahead of all.
std::tuple<std::vector<unsigned char>, long long> sortKey(const std::string& in_name)
{
    std::string base;
    std::string digits;
    splitName(in_name, base, digits);
    return {std::vector<unsigned char>(base.begin(), base.end()),
            digits.empty() ? -1 : std::stoll(digits)};
}

TEST(NameSuffixCompare, AgreesWithAKeyByKeyOrderOnRandomNames)
{
    Testing::Random random(11);
    SCOPED_TRACE(random.seed());
    const std::string alphabet = "ab019.\xe4-";
    const NameSuffixCompare before;

    for (int step = 0; step < 200000; ++step) {
        std::string names[2];
        for (std::string& name : names) {
            for (int length = random.integer(0, 5); length > 0; --length) {
                name += alphabet[random.integer(0, static_cast<int>(alphabet.size()) - 1)];
            }
        }
        ASSERT_EQ(sortKey(names[0]) < sortKey(names[1]), before(names[0], names[1]))
            << '"' << names[0] << "\" \"" << names[1] << '"';
    }
}

TEST(NameSuffixCompare, ThrowsOnlyWhenAHugeNumberDecides)
{
    const NameSuffixCompare before;

    EXPECT_TRUE(before("a99999999999", "b1"));
    EXPECT_TRUE(before("a", "a99999999999"));
    EXPECT_THROW(before("a99999999999", "a1"), std::out_of_range);
}

std::string uniqueName(const NameSet& in_names, const std::string& in_name)
{
    std::string name;
    UniqueSetName::create(in_names, in_name, name);
    return name;
}

TEST(UniqueName, CountsOnFromTheHighestNumberOfTheBase)
{
    const NameSet names = {"a", "a1", "a7", "ab", "rain"};

    EXPECT_EQ("a8", uniqueName(names, "a"));
    EXPECT_EQ("a8", uniqueName(names, "a1"));
    EXPECT_EQ("a3", uniqueName(names, "a3"));
    EXPECT_EQ("rain1", uniqueName(names, "rain"));
    EXPECT_EQ("my_shape_x", uniqueName({}, "my shape.x"));
}

TEST(UniqueName, SurvivesTheEndsOfTheNumbers)
{
    EXPECT_EQ("x2147483648", uniqueName({"x2147483647"}, "x2147483647"));
    EXPECT_EQ("x2147483648", uniqueName({"w5", "x2147483647"}, "x2147483647"));
    EXPECT_EQ("x2147483647", uniqueName({"x2147483646"}, "x2147483646"));
    EXPECT_EQ("1231", uniqueName({"123"}, "123"));
    EXPECT_EQ("1231", uniqueName({"123", "1231"}, "123"));  // taken: the insertion decides
    EXPECT_EQ("a11", uniqueName({"a010"}, "a10"));
}

/// Every name made is new and clean as long as no name is all digits.
TEST(UniqueName, NeverGivesATakenName)
{
    Testing::Random random(13);
    SCOPED_TRACE(random.seed());
    const std::string alphabet = "ab01. ";
    NameSet names;
    ChannelMap channels;

    for (int step = 0; step < 3000; ++step) {
        std::string wish = "n";
        for (int length = random.integer(0, 3); length > 0; --length) {
            wish += alphabet[random.integer(0, static_cast<int>(alphabet.size()) - 1)];
        }
        const std::string made = uniqueName(names, wish);
        std::string channel;
        UniqueChannelName::create(channels, wish, channel);

        ASSERT_TRUE(names.insert(made).second) << wish << " gave " << made;
        ASSERT_EQ(made, channel);
        channels[channel] = nullptr;
    }
}

}  // namespace
}  // namespace NS
}  // namespace Skelvar
