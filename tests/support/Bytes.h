#pragma once

#include <string>
#include <vector>

namespace Skelvar::Testing {

/// A string of these bytes: "00 01 ff" with `bytes({0x00, 0x01, 0xff})`.
inline std::string bytes(const std::vector<int>& in_values)
{
    return std::string(in_values.begin(), in_values.end());
}

/// A number of so many bytes, the highest first.
inline std::string number(unsigned long long in_value, int in_bytes)
{
    std::string bytes;
    for (int n = in_bytes - 1; n >= 0; --n) {
        bytes.push_back(static_cast<char>(in_value >> (8 * n)));
    }
    return bytes;
}

/// A text behind its length.
inline std::string text(const std::string& in_text)
{
    return number(in_text.size(), 4) + in_text;
}

}  // namespace Skelvar::Testing
