#include <skelvar/base/NameSuffixCompare.h>

#include <string_view>

namespace Skelvar::NS {

namespace {

/// Length of the part of a name ahead of its number, as `splitName` has it.
std::size_t baseLength(std::string_view in_name)
{
    const std::size_t last = in_name.find_last_not_of("0123456789");
    return last == std::string_view::npos ? in_name.size() : last + 1;
}

}  // namespace

bool NameSuffixCompare::operator()(const std::string& in_a, const std::string& in_b) const
{
    const std::size_t a_length = baseLength(in_a);
    const std::size_t b_length = baseLength(in_b);
    // Bytes as unsigned, then the length: the order of std::char_traits<char>.
    const int order = std::string_view(in_a)
                          .substr(0, a_length)
                          .compare(std::string_view(in_b).substr(0, b_length));
    if (order != 0) {
        return order < 0;
    }
    const bool a_has_number = a_length < in_a.size();
    const bool b_has_number = b_length < in_b.size();
    if (!a_has_number || !b_has_number) {
        return !a_has_number && b_has_number;
    }
    return std::stoi(in_a.substr(a_length)) < std::stoi(in_b.substr(b_length));
}

}  // namespace Skelvar::NS
