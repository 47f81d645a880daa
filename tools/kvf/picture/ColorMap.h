#pragma once

#include <tools/kvf/picture/Canvas.h>

namespace Skelvar::Tool {

/// From blue over almost white to red, for fields with a sign: -1 to 1, clamped. Equal steps look
/// equal on both sides.
Color divergingColor(float in_value);

/// From dark violet over green to yellow, for fields without a sign: 0 to 1, clamped. Its lightness
/// rises steadily, so it reads in grey too.
Color sequentialColor(float in_value);

/// The colour of the outlines of a depth, 0 to 7. Neighbouring depths differ clearly.
Color depthColor(int in_depth);

inline constexpr Color kInk{0.13f, 0.14f, 0.17f};
inline constexpr Color kPaper{1.0f, 1.0f, 1.0f};
inline constexpr Color kFaint{0.55f, 0.57f, 0.60f};
inline constexpr Color kNoSpace{0.93f, 0.93f, 0.94f};   ///< where there is no tile
inline constexpr Color kNotANumber{1.0f, 0.0f, 0.85f};  ///< NaN

}  // namespace Skelvar::Tool
