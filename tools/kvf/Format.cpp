#include <tools/kvf/Format.h>

#include <cmath>
#include <cstdio>

namespace Skelvar::Tool {

std::string humanBytes(double in_bytes)
{
    static constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB"};
    int unit = 0;
    while (in_bytes >= 999.5 && unit < 5) {
        in_bytes /= 1000.0;
        ++unit;
    }
    char text[32];
    const int decimals = unit == 0 || in_bytes >= 99.95 ? 0 : in_bytes >= 9.995 ? 1 : 2;
    std::snprintf(text, sizeof text, "%.*f %s", decimals, in_bytes, kUnits[unit]);
    return text;
}

std::string shortNumber(double in_value, int in_digits)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", in_digits, in_value == 0.0 ? 0.0 : in_value);
    return text;
}

std::string padLeft(const std::string& in_text, int in_width)
{
    const int gap = in_width - static_cast<int>(in_text.size());
    return gap > 0 ? std::string(static_cast<std::size_t>(gap), ' ') + in_text : in_text;
}

std::string padRight(const std::string& in_text, int in_width)
{
    const int gap = in_width - static_cast<int>(in_text.size());
    return gap > 0 ? in_text + std::string(static_cast<std::size_t>(gap), ' ') : in_text;
}

std::string leftOutNote(unsigned long long in_count)
{
    return "  " + std::to_string(in_count) +
           " positions are outside of the tree's domain or no numbers: left out\n";
}

}  // namespace Skelvar::Tool
