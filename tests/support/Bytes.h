#pragma once

#include <string>
#include <vector>

namespace Skelvar::Testing {

/// A string of these bytes: "00 01 ff" with `bytes({0x00, 0x01, 0xff})`.
inline std::string bytes(const std::vector<int>& in_values)
{
    return std::string(in_values.begin(), in_values.end());
}

}  // namespace Skelvar::Testing
