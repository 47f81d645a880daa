#pragma once

#include <tools/kvf/picture/Canvas.h>

#include <string>

namespace Skelvar::Tool {

/// Height of a capital letter in pixels, unless told otherwise.
inline constexpr float kTextHeight = 12.0f;

/// Writes a line of text with its upper left corner at the point. Printable ASCII; any other byte
/// is a blank. Small, built in, and smooth at any height: each dot of a 5 by 7 pattern is joined to
/// its neighbours by round strokes.
void drawText(Canvas& io_canvas, const vec2f& in_at, const std::string& in_text,
              const Color& in_color, float in_height = kTextHeight);

/// Width in pixels of a line of text.
float textWidth(const std::string& in_text, float in_height = kTextHeight);

}  // namespace Skelvar::Tool
