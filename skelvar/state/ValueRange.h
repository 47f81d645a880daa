#pragma once

#include <string>

namespace Skelvar {

class TreeChannel3DBase;

/// The least and the greatest value of a channel as text, each component by itself; what is no
/// number is left out. "none" for both if the channel has no values or values of an unknown type.
struct ValueRange {
    explicit ValueRange(const TreeChannel3DBase& in_channel);

    std::string min = "none";
    std::string max = "none";
};

}  // namespace Skelvar
