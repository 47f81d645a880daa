#include <tools/kvf/Points.h>

#include <tools/kvf/ToolError.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <string_view>

namespace Skelvar::Tool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // spreadsheets begin with it

std::string_view trimmed(std::string_view in_text)
{
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = in_text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return in_text.substr(first, in_text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> columnsOf(std::string_view in_line)
{
    std::vector<std::string_view> columns;
    for (std::size_t begin = 0; begin <= in_line.size();) {
        const std::size_t end = std::min(in_line.find(',', begin), in_line.size());
        columns.push_back(trimmed(in_line.substr(begin, end - begin)));
        begin = end + 1;
    }
    return columns;
}

bool parseNumber(std::string_view in_text, float& out_number)
{
    if (!in_text.empty() && in_text.front() == '+') {
        in_text.remove_prefix(1);
    }
    const char* const end = in_text.data() + in_text.size();
    // By way of a double, so that a number too small for a float is 0 and no error.
    double number = 0.0;
    const auto [stop, error] = std::from_chars(in_text.data(), end, number);
    if (error != std::errc() || stop != end ||
        (std::isfinite(number) && std::abs(number) > std::numeric_limits<float>::max())) {
        return false;
    }
    out_number = static_cast<float>(number);
    return true;
}

/// True of a line that names its first three columns x, y and z, in small letters or large.
bool namesAxes(const std::vector<std::string_view>& in_columns)
{
    constexpr std::string_view kSmall = "xyz";
    constexpr std::string_view kLarge = "XYZ";
    bool ok = in_columns.size() >= 3;
    for (std::size_t axis = 0; ok && axis < 3; ++axis) {
        ok = in_columns[axis] == kSmall.substr(axis, 1) ||
             in_columns[axis] == kLarge.substr(axis, 1);
    }
    return ok;
}

}  // namespace

std::vector<float> parseNumbers(const std::string& in_text, std::size_t in_count,
                                const std::string& in_option)
{
    const std::vector<std::string_view> columns = columnsOf(in_text);
    std::vector<float> numbers(in_count);
    bool ok = columns.size() == in_count;
    for (std::size_t n = 0; ok && n < in_count; ++n) {
        ok = parseNumber(columns[n], numbers[n]);
    }
    if (!ok) {
        throw ToolError(eMisuse, in_option + " wants " + std::to_string(in_count) +
                                     " numbers with commas between them, not \"" + in_text + "\"");
    }
    return numbers;
}

std::vector<vec3f> pointsOnLine(const vec3f& in_first, const vec3f& in_second, int in_count)
{
    std::vector<vec3f> points(static_cast<std::size_t>(in_count), in_first);
    for (int n = 1; n < in_count; ++n) {
        const float t = static_cast<float>(n) / static_cast<float>(in_count - 1);
        points[static_cast<std::size_t>(n)] = (1.0f - t) * in_first + t * in_second;
    }
    return points;
}

std::vector<vec3f> readPoints(const std::string& in_path)
{
    std::ifstream file(in_path);
    std::vector<vec3f> points;
    std::string line;
    long long number = 0;
    while (std::getline(file, line)) {
        ++number;
        const bool has_mark = number == 1 && line.starts_with(kByteOrderMark);
        const std::string_view text =
            trimmed(std::string_view(line).substr(has_mark ? kByteOrderMark.size() : 0));
        if (text.empty() || text.front() == '#') {
            continue;
        }
        const std::vector<std::string_view> columns = columnsOf(text);
        vec3f point;
        bool ok = columns.size() >= 3;
        for (std::size_t axis = 0; ok && axis < 3; ++axis) {
            ok = parseNumber(columns[axis], point[static_cast<int>(axis)]);
        }
        if (ok) {
            points.push_back(point);
        } else if (number > 1 || !namesAxes(columns)) {
            throw ToolError(eFileUnreadable, in_path + ", line " + std::to_string(number) +
                                                 ": no three numbers with commas between them: " +
                                                 std::string(text.substr(0, 60)));
        }
    }
    if (!file.eof()) {
        throw ToolError(eFileUnreadable, in_path + ": cannot be read");
    }
    return points;
}

}  // namespace Skelvar::Tool
