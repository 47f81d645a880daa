#pragma once

#include <stdexcept>
#include <string>

namespace Skelvar::Test {

/// The text of the `std::runtime_error` that the call throws; "no throw" without one.
template <typename Call>
std::string errorOf(const Call& in_call)
{
    try {
        in_call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no throw";
}

}  // namespace Skelvar::Test
