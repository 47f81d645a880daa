#pragma once

#include <skelvar/tree/VoxelLayout.h>

#include <string>

namespace Skelvar::Test {

/// Everything that is wrong with a layout, one line each; empty if it is sound. Slow and obvious:
/// compares all nodes and links with what the corners say, and counts branches anew.
std::string layoutFaults(const VoxelLayout& in_layout);

}  // namespace Skelvar::Test
