#pragma once

#include <string>

namespace Skelvar::Tool {

/// Bytes for a person, as "512 B" or "3.42 MB": three digits, units of 1000.
std::string humanBytes(double in_bytes);

/// A number in as few digits as show it to `in_digits` places, as "0.0123" or "1.2e-09".
std::string shortNumber(double in_value, int in_digits = 4);

/// The same, filled with blanks from the left up to `in_width`.
std::string padLeft(const std::string& in_text, int in_width);
std::string padRight(const std::string& in_text, int in_width);

/// The line that tells of particles that have no place in the tree.
std::string leftOutNote(unsigned long long in_count);

}  // namespace Skelvar::Tool
