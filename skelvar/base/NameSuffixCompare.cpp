#include <skelvar/base/NameSuffixCompare.h>

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace Skelvar::NS {

namespace {

/// Length of the part of a name ahead of its number, as `splitName` has it.
std::size_t baseLength(std::string_view in_name)
{
    std::size_t length = in_name.size();
    while (length > 0 && in_name[length - 1] >= '0' && in_name[length - 1] <= '9') {
        --length;
    }
    return length == 0 ? in_name.size() : length;
}

int number(std::string_view in_digits)
{
    int value = 0;
    const auto result =
        std::from_chars(in_digits.data(), in_digits.data() + in_digits.size(), value);
    if (result.ec != std::errc()) {
        throw std::out_of_range("NameSuffixCompare: too large a number " + std::string(in_digits));
    }
    return value;
}

}  // namespace

bool NameSuffixCompare::operator()(const std::string& in_a, const std::string& in_b) const
{
    const std::string_view a = in_a;
    const std::string_view b = in_b;
    const std::size_t a_length = baseLength(a);
    const std::size_t b_length = baseLength(b);
    // Bytes as unsigned, then the length: the order of std::char_traits<char>.
    const int order = a.substr(0, a_length).compare(b.substr(0, b_length));
    if (order != 0) {
        return order < 0;
    }
    const bool a_has_number = a_length < a.size();
    const bool b_has_number = b_length < b.size();
    if (!a_has_number || !b_has_number) {
        return !a_has_number && b_has_number;
    }
    return number(a.substr(a_length)) < number(b.substr(b_length));
}

}  // namespace Skelvar::NS
