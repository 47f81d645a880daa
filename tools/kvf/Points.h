#pragma once

#include <skelvar/base/ValueTypes.h>

#include <string>
#include <vector>

namespace Skelvar::Tool {

/// Reads so many numbers with commas between them, with or without blanks around them. Throws
/// `ToolError` with `eMisuse`, naming the option, for any other text.
std::vector<float> parseNumbers(const std::string& in_text, std::size_t in_count,
                                const std::string& in_option);

/// So many points from the first to the second, both included; the first alone for a count of 1.
std::vector<vec3f> pointsOnLine(const vec3f& in_first, const vec3f& in_second, int in_count);

/// Reads points from the first three columns of a file of numbers with commas between them. A first
/// line whose columns are named x, y and z, or X, Y and Z, empty lines and lines that start with #
/// are passed over. Throws `ToolError` with `eFileUnreadable` if the file cannot be read, and with
/// the number of the line if one is broken.
std::vector<vec3f> readPoints(const std::string& in_path);

}  // namespace Skelvar::Tool
