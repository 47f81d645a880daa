#include <skelvar/base/NameFunctions.h>

#include <skelvar/base/PathName.h>

#include <algorithm>
#include <string_view>

namespace Skelvar::NS {

void splitName(const std::string& in_name, std::string& out_base, std::string& io_digits)
{
    const std::string name = in_name;  // either output may be the input
    const std::size_t last = name.find_last_not_of("0123456789");
    out_base = name;
    if (last != std::string::npos && last + 1 < name.size()) {
        out_base.resize(last + 1);
        io_digits = name.substr(last + 1);
    }
}

bool splitString(const std::string& in_text, const std::string& in_delimiters,
                 std::vector<std::string>& out_parts, bool in_keep_empty)
{
    out_parts.clear();
    if (in_text.empty()) {
        return false;
    }
    for (std::size_t start = 0; start <= in_text.size();) {
        const std::size_t end =
            std::min(in_text.find_first_of(in_delimiters, start), in_text.size());
        if (end > start || in_keep_empty) {
            out_parts.push_back(in_text.substr(start, end - start));
        }
        start = end + 1;
    }
    return true;
}

int splitPathName(const std::string& in_path, std::string& io_object, std::string& io_shape,
                  std::string& io_channel)
{
    std::vector<std::string> parts;
    splitString(in_path, std::string(1, pathSeparator()), parts, false);
    if (parts.empty() || parts.size() > 3) {
        return 0;
    }
    std::string* const outputs[] = {&io_object, &io_shape, &io_channel};
    for (std::size_t n = 0; n < parts.size(); ++n) {
        *outputs[3 - parts.size() + n] = parts[n];
    }
    return static_cast<int>(parts.size());
}

char ReplaceBadChars::operator()(char in_character) const
{
    constexpr std::string_view kBadChars = " `~!@#$%^&*()+\\[]{};.':=?,<>";
    return kBadChars.find(in_character) == std::string::npos ? in_character : replacement;
}

std::string substitueBadChars(const std::string& in_name, char in_replacement)
{
    std::string name = in_name;
    std::transform(name.begin(), name.end(), name.begin(), ReplaceBadChars{in_replacement});
    return name;
}

}  // namespace Skelvar::NS
