#pragma once

#include <tools/kvf/picture/Canvas.h>

#include <string>
#include <vector>

namespace Skelvar::Tool {

/// Draws relative residuals by pass on a logarithmic scale, which starts from 1 at pass 0 and ends
/// with the decade below the least of them, and a line at the tolerance. Residuals that are no
/// positive finite number are left out.
Canvas drawResiduals(const std::vector<float>& in_residuals, float in_tolerance,
                     const std::string& in_title);

}  // namespace Skelvar::Tool
