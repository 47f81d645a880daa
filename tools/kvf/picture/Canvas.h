#pragma once

#include <skelvar/base/ValueTypes.h>

#include <string>
#include <vector>

namespace Skelvar::Tool {

/// Red, green and blue, 0 to 1, as they stand in the file.
using Color = vec3f;

/// A picture in memory that one draws on. Pixel (0, 0) is at the upper left; its middle lies at
/// (0.5, 0.5). Whatever falls outside is left out.
class Canvas {
public:
    Canvas(int in_width, int in_height, const Color& in_background);

    int width() const { return m_width; }
    int height() const { return m_height; }
    const Color& at(int in_x, int in_y) const { return m_pixels[index(in_x, in_y)]; }

    void set(int in_x, int in_y, const Color& in_color);
    /// Mixes the colour in, `in_alpha` 0 to 1.
    void blend(int in_x, int in_y, const Color& in_color, float in_alpha);
    /// Pixels from (x, y) on, `in_width` by `in_height` of them.
    void fill(int in_x, int in_y, int in_width, int in_height, const Color& in_color);
    /// The rim of such a rectangle, one pixel wide, inside of it.
    void frame(int in_x, int in_y, int in_width, int in_height, const Color& in_color);
    /// A line with round ends and smooth edges.
    void line(const vec2f& in_from, const vec2f& in_to, float in_thickness, const Color& in_color);

    /// Writes an 8-bit RGB file. False with the reason in `out_reason`; no partial file stays.
    bool writePng(const std::string& in_path, std::string& out_reason) const;

private:
    std::size_t index(int in_x, int in_y) const
    {
        return static_cast<std::size_t>(in_y) * static_cast<std::size_t>(m_width) +
               static_cast<std::size_t>(in_x);
    }

    int m_width;
    int m_height;
    std::vector<Color> m_pixels;
};

}  // namespace Skelvar::Tool
