#include <tools/kvf/picture/Canvas.h>

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Skelvar::Tool {

namespace {

unsigned char toByte(float in_value)
{
    return static_cast<unsigned char>(std::lround(255.0f * std::clamp(in_value, 0.0f, 1.0f)));
}

/// Distance from a point to the segment from `in_from` to `in_to`.
float segmentDistance(const vec2f& in_point, const vec2f& in_from, const vec2f& in_to)
{
    const vec2f along = in_to - in_from, out = in_point - in_from;
    const float squared = dot(along, along);
    const float t = squared > 0.0f ? std::clamp(dot(out, along) / squared, 0.0f, 1.0f) : 0.0f;
    const vec2f away = out - along * t;
    return std::sqrt(dot(away, away));
}

}  // namespace

Canvas::Canvas(int in_width, int in_height, const Color& in_background)
    : m_width(in_width),
      m_height(in_height),
      m_pixels(static_cast<std::size_t>(in_width) * static_cast<std::size_t>(in_height),
               in_background)
{
}

void Canvas::set(int in_x, int in_y, const Color& in_color)
{
    blend(in_x, in_y, in_color, 1.0f);
}

void Canvas::blend(int in_x, int in_y, const Color& in_color, float in_alpha)
{
    if (in_x >= 0 && in_y >= 0 && in_x < m_width && in_y < m_height) {
        Color& pixel = m_pixels[index(in_x, in_y)];
        pixel = pixel * (1.0f - in_alpha) + in_color * in_alpha;
    }
}

void Canvas::fill(int in_x, int in_y, int in_width, int in_height, const Color& in_color)
{
    for (int y = in_y; y < in_y + in_height; ++y) {
        for (int x = in_x; x < in_x + in_width; ++x) {
            set(x, y, in_color);
        }
    }
}

void Canvas::frame(int in_x, int in_y, int in_width, int in_height, const Color& in_color)
{
    fill(in_x, in_y, in_width, 1, in_color);
    fill(in_x, in_y + in_height - 1, in_width, 1, in_color);
    fill(in_x, in_y, 1, in_height, in_color);
    fill(in_x + in_width - 1, in_y, 1, in_height, in_color);
}

void Canvas::line(const vec2f& in_from, const vec2f& in_to, float in_thickness,
                  const Color& in_color)
{
    const float reach = 0.5f * in_thickness + 1.0f;
    const int left = static_cast<int>(std::floor(std::min(in_from[0], in_to[0]) - reach));
    const int right = static_cast<int>(std::ceil(std::max(in_from[0], in_to[0]) + reach));
    const int top = static_cast<int>(std::floor(std::min(in_from[1], in_to[1]) - reach));
    const int bottom = static_cast<int>(std::ceil(std::max(in_from[1], in_to[1]) + reach));
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const vec2f middle{static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f};
            const float outside = segmentDistance(middle, in_from, in_to) - 0.5f * in_thickness;
            const float cover = std::clamp(0.5f - outside, 0.0f, 1.0f);
            if (cover > 0.0f) {
                blend(x, y, in_color, cover);
            }
        }
    }
}

bool Canvas::writePng(const std::string& in_path, std::string& out_reason) const
{
    std::vector<unsigned char> bytes;
    bytes.reserve(3 * m_pixels.size());
    for (const Color& pixel : m_pixels) {
        for (int c = 0; c < 3; ++c) {
            bytes.push_back(toByte(pixel[c]));
        }
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(m_width);
    image.height = static_cast<png_uint_32>(m_height);
    image.format = PNG_FORMAT_RGB;
    // libpng removes the file itself if writing it fails.
    if (png_image_write_to_file(&image, in_path.c_str(), 0, bytes.data(), 0, nullptr) == 0) {
        out_reason = image.message;
        return false;
    }
    return true;
}

}  // namespace Skelvar::Tool
