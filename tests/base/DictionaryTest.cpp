#include <skelvar/base/Dictionary.h>

#include <tests/support/Bytes.h>
#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <map>
#include <string>

namespace Skelvar {
namespace {

using Testing::bytes;

const std::string kHeader = bytes({0xff, 0xaa, 0xaa, 0xff, 0, 3});
const std::string kOneEntry = bytes({0, 0, 0, 0, 0, 0, 0, 1});

/// `in_count` maps without entries.
std::string emptyMaps(int in_count)
{
    return std::string(8 * in_count, '\0');
}

/// Calls for a key and a value of each type.
template <typename Call>
void forEachType(const Call& in_call)
{
    mat4f matrix;
    matrix(3, 1) = 7.0f;
    in_call("float", 1.0f);
    in_call("bool", true);
    in_call("signed char", static_cast<signed char>(-2));
    in_call("unsigned char", static_cast<unsigned char>(254));
    in_call("short", static_cast<short>(-3));
    in_call("unsigned short", static_cast<unsigned short>(65000));
    in_call("int", -4);
    in_call("unsigned int", 4000000000u);
    in_call("long long", -5ll);
    in_call("unsigned long long", ~0ull);
    in_call("string", std::string("text"));
    in_call("vec2f", vec2f{1, 2});
    in_call("vec3f", vec3f{1, 2, 3});
    in_call("vec2i", vec2i{-1, 2});
    in_call("vec3i", vec3i{-1, 2, -3});
    in_call("vec4f", vec4f{1, 2, 3, 4});
    in_call("mat4f", matrix);
}

Dictionary everyType()
{
    Dictionary dictionary;
    forEachType(
        [&](const char* in_key, const auto& in_value) { dictionary.setValue(in_key, in_value); });
    return dictionary;
}

template <typename T>
void expectValue(const Dictionary& in_dictionary, const std::string& in_key, const T& in_expected)
{
    T value{};
    EXPECT_TRUE(in_dictionary.getValue(in_key, value)) << in_key;
    EXPECT_TRUE(in_expected == value) << in_key;
}

TEST(Dictionary, StoresALiteralAsText)
{
    Dictionary dictionary;
    dictionary.setValue("k", "text");

    expectValue(dictionary, "k", std::string("text"));
    float untouched = 5.0f;
    EXPECT_FALSE(dictionary.getValue("k", untouched));
    EXPECT_EQ(5.0f, untouched);
}

TEST(Dictionary, SavesTheBytesOfTheFormat)
{
    Dictionary dictionary;
    EXPECT_EQ(kHeader + emptyMaps(17), dictionary.save());
    dictionary.setValue("b", 2.0f);
    dictionary.setValue("a", 1.0f);
    dictionary.setValue("s", "hi");
    dictionary.setValue("i", vec2i{1, -1});
    dictionary.setValue("m", mat4f());

    const std::string two_floats = bytes({0, 0, 0, 0, 0,   0,    0,    2,     //
                                          0, 0, 0, 1, 'a', 0x3f, 0x80, 0, 0,  //
                                          0, 0, 0, 1, 'b', 0x40, 0x00, 0, 0});
    const std::string text = kOneEntry + bytes({0, 0, 0, 1, 's', 0, 0, 0, 2, 'h', 'i'});
    const std::string vector =
        kOneEntry + bytes({0, 0, 0, 1, 'i', 0, 0, 0, 1, 0xff, 0xff, 0xff, 0xff});
    std::string matrix = kOneEntry + bytes({0, 0, 0, 1, 'm'});
    for (int n = 0; n < 16; ++n) {  // as it lies in memory
        matrix += n % 5 == 0 ? bytes({0, 0, 0x80, 0x3f}) : bytes({0, 0, 0, 0});
    }
    EXPECT_EQ(
        kHeader + two_floats + emptyMaps(9) + text + emptyMaps(2) + vector + emptyMaps(2) + matrix,
        dictionary.save());
}

TEST(Dictionary, LoadsEveryTypeBack)
{
    const std::string saved = everyType().save();
    Dictionary loaded;

    EXPECT_TRUE(loaded.load(saved));

    forEachType(
        [&](const char* in_key, const auto& in_value) { expectValue(loaded, in_key, in_value); });
    EXPECT_EQ(saved, loaded.save());
}

/// Random edits of two types against a map of each.
TEST(Dictionary, AgreesWithAModelThroughEditsAndRoundTrips)
{
    Testing::Random random(7);
    SCOPED_TRACE(random.seed());
    std::map<std::string, int> ints;
    std::map<std::string, std::string> texts;
    Dictionary dictionary;
    for (int step = 0; step < 3000; ++step) {
        const std::string key(random.integer(0, 2), static_cast<char>(random.integer(0, 5)));
        const int value = random.integer(-9, 9);
        const bool is_new = ints.count(key) + texts.count(key) == 0;
        switch (random.integer(0, 3)) {
            case 0:
                ASSERT_EQ(is_new, dictionary.setValue(key, value));
                if (is_new) {
                    ints[key] = value;
                }
                break;
            case 1:
                ASSERT_EQ(is_new, dictionary.setValue(key, std::string(value + 9, 'x')));
                if (is_new) {
                    texts[key] = std::string(value + 9, 'x');
                }
                break;
            case 2:
                ASSERT_EQ(!is_new, dictionary.removeValue(key));
                ints.erase(key);
                texts.erase(key);
                break;
            default:
                const std::string saved = dictionary.save();
                dictionary.clear();
                ASSERT_TRUE(dictionary.load(saved));
        }
        for (const auto& [name, expected] : ints) {
            expectValue(dictionary, name, expected);
        }
        for (const auto& [name, expected] : texts) {
            expectValue(dictionary, name, expected);
        }
    }
}

TEST(Dictionary, LoadReplacesAValueAndItsTypeAndKeepsTheLaterOfTwo)
{
    const std::string key = bytes({0, 0, 0, 1, 'k'});
    const std::string twice = kHeader + kOneEntry + key + bytes({0x3f, 0x80, 0, 0}) +  //
                              kOneEntry + key + bytes({1}) + emptyMaps(15);
    Dictionary dictionary;
    dictionary.setValue("k", "text");
    dictionary.setValue("other", 2);

    EXPECT_TRUE(dictionary.load(twice));

    float number = 0;
    std::string text;
    EXPECT_FALSE(dictionary.getValue("k", number) || dictionary.getValue("k", text));
    expectValue(dictionary, "k", true);
    expectValue(dictionary, "other", 2);
}

TEST(Dictionary, AcceptsAnEarlierVersionThatEndsBehindAMap)
{
    const std::string one_float = kOneEntry + bytes({0, 0, 0, 1, 'k', 0x3f, 0x80, 0, 0});
    for (const int version : {0, 1, 2, 3, 4}) {
        SCOPED_TRACE(version);
        const std::string header = bytes({0xff, 0xaa, 0xaa, 0xff, 0, version});
        Dictionary dictionary;

        EXPECT_EQ(version < 3, dictionary.load(header + one_float));
        EXPECT_EQ(version < 3, dictionary.hasValue("k"));
        EXPECT_EQ(version < 3, dictionary.load(header + one_float + emptyMaps(3)));
        EXPECT_FALSE(dictionary.load(header + one_float + emptyMaps(3) + "x"));
        EXPECT_EQ(version <= 3, dictionary.load(header + one_float + emptyMaps(16)));
    }
}

TEST(Dictionary, RefusesBytesCutAtAnyLengthAndStaysAsItWas)
{
    const std::string saved = everyType().save();
    Dictionary dictionary;
    dictionary.setValue("own", 1);
    const std::string before = dictionary.save();

    for (std::size_t length = 0; length < saved.size(); ++length) {
        ASSERT_FALSE(dictionary.load(saved.substr(0, length))) << "cut at " << length;
        ASSERT_EQ(before, dictionary.save()) << "cut at " << length;
    }
    EXPECT_TRUE(dictionary.load(saved));
}

/// Each run of four bytes is at some place a count or its half.
TEST(Dictionary, TakesNoMemoryForCountsThatTheBytesDoNotBack)
{
    const std::string saved = everyType().save();
    const auto peakKilobytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const long before = peakKilobytes();

    for (std::size_t place = kHeader.size(); place + 4 <= saved.size(); ++place) {
        std::string damaged = saved;
        damaged.replace(place, 4, 4, '\xff');
        Dictionary dictionary;
        if (dictionary.load(damaged)) {  // a value or a key changed: whole in its new form
            Dictionary again;
            EXPECT_TRUE(again.load(dictionary.save())) << place;
        }
    }

    EXPECT_LT(peakKilobytes() - before, 32l << 10);
}

}  // namespace
}  // namespace Skelvar
