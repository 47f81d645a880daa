#include <tools/kvf/picture/SlicePicture.h>

#include <skelvar/tree/TileId.h>

#include <tools/kvf/Format.h>
#include <tools/kvf/picture/ColorMap.h>
#include <tools/kvf/picture/Text.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

constexpr int kLeft = 64, kTop = 66, kBottom = 52, kPanel = 190, kGap = 22;
constexpr float kSmallText = 10.5f;
constexpr float kLeastTileSide = 9.0f;  ///< pixels; smaller tiles get no outlines
constexpr int kColorBarWidth = 22;
constexpr char kAxisName[] = "xyz";

vec2f point(float in_x, float in_y)
{
    return {in_x, in_y};
}

/// Side of a tile of a depth in pixels.
float tilePixels(const SliceField& in_field, int in_depth, float in_voxel_size)
{
    return static_cast<float>(kTileSideLUT[in_depth]) * in_voxel_size *
           static_cast<float>(in_field.size) / in_field.plane.side;
}

int tileNumber(int in_coordinate, int in_depth)
{
    return (in_coordinate + kTileOrigin) / kTileSideLUT[in_depth];
}

/// The depth of the coarsest tile that ends between two pixels, 8 if none does.
int edgeDepth(const SlicePixel& in_a, const SlicePixel& in_b)
{
    const int deepest = std::max(in_a.depth, in_b.depth);
    for (int depth = 0; depth <= deepest; ++depth) {
        const bool same = in_a.depth >= 0 && in_b.depth >= 0 &&
                          tileNumber(in_a.cell[0], depth) == tileNumber(in_b.cell[0], depth) &&
                          tileNumber(in_a.cell[1], depth) == tileNumber(in_b.cell[1], depth) &&
                          tileNumber(in_a.cell[2], depth) == tileNumber(in_b.cell[2], depth);
        if (!same) {
            // Outside of all tiles nothing ends above the depth of the tile that is there.
            return in_a.depth < 0 || in_b.depth < 0 ? deepest : depth;
        }
    }
    return kNumDepths;
}

/// A step of 1, 2 or 5 times a power of ten that cuts the range into at most so many pieces.
double niceStep(double in_range, int in_pieces)
{
    const double rough = in_range / in_pieces;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= rough) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

/// The numbers k * step in [low, high].
std::vector<double> niceNumbers(double in_low, double in_high, int in_pieces)
{
    std::vector<double> numbers;
    if (in_high > in_low && std::isfinite(in_high - in_low)) {
        const double step = niceStep(in_high - in_low, in_pieces);
        const double first = std::ceil(in_low / step - 1e-6);
        const double last = std::floor(in_high / step + 1e-6);
        for (double k = first; k <= last; k += 1.0) {
            numbers.push_back(k * step);
        }
    }
    return numbers;
}

/// The whole drawing. Its members are the steps, in order.
class SlicePainter {
public:
    SlicePainter(const SliceField& in_field, const SliceFrame& in_frame,
                 const SliceCaption& in_caption)
        : m_field(in_field),
          m_frame(in_frame),
          m_caption(in_caption),
          m_colors(in_field),
          m_canvas(in_frame.width, in_frame.height, kPaper)
    {
    }

    Canvas paint()
    {
        drawValues();
        drawOutlines();
        if (m_colors.kind() == SliceColors::eSigned) {
            drawZeroLine();
        }
        m_canvas.frame(m_frame.plot_x - 1, m_frame.plot_y - 1, m_frame.plot_side + 2,
                       m_frame.plot_side + 2, kInk);
        drawScales();
        drawTitle();
        int y = m_frame.plot_y;
        y = m_colors.kind() == SliceColors::eDirections ? drawDirectionKey(y) : drawValueBar(y);
        drawLegend(y + 30);
        return std::move(m_canvas);
    }

private:
    void drawValues()
    {
        for (int y = 0; y < m_field.size; ++y) {
            for (int x = 0; x < m_field.size; ++x) {
                m_canvas.set(m_frame.plot_x + x, m_frame.plot_y + y, m_colors.of(m_field.at(x, y)));
            }
        }
    }

    bool isOutlined(int in_depth) const
    {
        return tilePixels(m_field, in_depth, m_caption.voxel_size) >= kLeastTileSide;
    }

    void drawOutlines()
    {
        for (int y = 0; y < m_field.size; ++y) {
            for (int x = 0; x < m_field.size; ++x) {
                const SlicePixel& here = m_field.at(x, y);
                int depth = kNumDepths;
                if (x + 1 < m_field.size) {
                    depth = std::min(depth, edgeDepth(here, m_field.at(x + 1, y)));
                }
                if (y + 1 < m_field.size) {
                    depth = std::min(depth, edgeDepth(here, m_field.at(x, y + 1)));
                }
                if (depth < kNumDepths && isOutlined(depth)) {
                    // Finest outlines are many and recede; coarse ones stand out.
                    const float alpha = depth == kMaxTileDepth ? 0.5f : 0.9f;
                    m_canvas.blend(m_frame.plot_x + x, m_frame.plot_y + y, depthColor(depth),
                                   alpha);
                }
            }
        }
    }

    /// A smooth line of even width where the interpolated field passes through zero.
    void drawZeroLine()
    {
        constexpr float kHalfWidth = 1.1f;
        for (int y = 1; y + 1 < m_field.size; ++y) {
            for (int x = 1; x + 1 < m_field.size; ++x) {
                if (m_field.at(x, y).depth < 0) {
                    continue;
                }
                const float dx = m_field.at(x + 1, y).smooth - m_field.at(x - 1, y).smooth;
                const float dy = m_field.at(x, y + 1).smooth - m_field.at(x, y - 1).smooth;
                const float slope = 0.5f * std::sqrt(dx * dx + dy * dy);  // a pixel
                const float away = std::abs(m_field.at(x, y).smooth);
                if (slope > 0.0f && away < (kHalfWidth + 0.5f) * slope) {
                    m_canvas.blend(m_frame.plot_x + x, m_frame.plot_y + y, kInk,
                                   std::clamp(kHalfWidth + 0.5f - away / slope, 0.0f, 1.0f));
                }
            }
        }
    }

    void drawScales()
    {
        const SlicePlane& plane = m_field.plane;
        const double half = 0.5 * double(plane.side);
        const float bottom = static_cast<float>(m_frame.plot_y + m_frame.plot_side) + 1.0f;
        const float left = static_cast<float>(m_frame.plot_x) - 1.0f;
        const double scale = m_frame.plot_side / double(plane.side);
        const double x0 = double(plane.centre[plane.right]) - half;
        const double y1 = double(plane.centre[plane.up]) + half;
        for (const double value : niceNumbers(x0, x0 + 2.0 * half, 8)) {
            const float x = static_cast<float>(m_frame.plot_x + (value - x0) * scale);
            const std::string text = shortNumber(value);
            m_canvas.line(point(x, bottom), point(x, bottom + 5.0f), 1.0f, kInk);
            drawText(m_canvas, point(x - 0.5f * textWidth(text, kSmallText), bottom + 9.0f), text,
                     kInk, kSmallText);
        }
        for (const double value : niceNumbers(y1 - 2.0 * half, y1, 8)) {
            const float y = static_cast<float>(m_frame.plot_y + (y1 - value) * scale);
            const std::string text = shortNumber(value);
            m_canvas.line(point(left - 5.0f, y), point(left, y), 1.0f, kInk);
            drawText(m_canvas,
                     point(left - 8.0f - textWidth(text, kSmallText), y - 0.5f * kSmallText), text,
                     kInk, kSmallText);
        }
        const std::string right_name(1, kAxisName[plane.right]), up_name(1, kAxisName[plane.up]);
        drawText(m_canvas,
                 point(left + 0.5f * static_cast<float>(m_frame.plot_side), bottom + 27.0f),
                 right_name, kInk);
        drawText(m_canvas,
                 point(8.0f, bottom - 0.5f * static_cast<float>(m_frame.plot_side) - 6.0f), up_name,
                 kInk);
    }

    void drawTitle()
    {
        const SlicePlane& plane = m_field.plane;
        const std::string where = std::string("  at ") + kAxisName[plane.axis] + " = " +
                                  shortNumber(double(plane.centre[plane.axis]));
        const float left = static_cast<float>(m_frame.plot_x);
        drawFitting(point(left, 14.0f), m_caption.title + where, kInk, 15.0f);
        drawFitting(point(left, 42.0f), m_caption.subtitle, kFaint, kSmallText);
    }

    /// A line that shrinks if it would run out of the picture.
    void drawFitting(const vec2f& in_at, const std::string& in_text, const Color& in_color,
                     float in_height)
    {
        const float room = static_cast<float>(m_frame.width) - in_at[0] - 8.0f;
        const float width = textWidth(in_text, in_height);
        drawText(m_canvas, in_at, in_text, in_color,
                 width > room ? in_height * room / width : in_height);
    }

    /// Gives the lower end of what it has drawn.
    int drawValueBar(int in_y)
    {
        const int height = std::max(120, m_frame.plot_side * 45 / 100);
        const int x = m_frame.panel_x, top = in_y + 26;
        const double low = m_colors.low(), high = m_colors.high(), range = high - low;
        drawText(m_canvas, point(static_cast<float>(x), static_cast<float>(in_y)),
                 m_field.components == 1 ? "value" : "length", kInk);
        for (int row = 0; row < height; ++row) {
            const double value = high - range * (row + 0.5) / height;
            m_canvas.fill(x, top + row, kColorBarWidth, 1, m_colors.of(value));
        }
        m_canvas.frame(x - 1, top - 1, kColorBarWidth + 2, height + 2, kInk);
        std::vector<double> numbers = niceNumbers(low, high, 7);
        if (numbers.empty()) {
            numbers.push_back(low);
        }
        for (const double value : numbers) {
            const double part = range > 0.0 ? (high - value) / range : 0.5;
            const float y = static_cast<float>(top + part * height);
            const float right = static_cast<float>(x + kColorBarWidth) + 1.0f;
            m_canvas.line(point(right, y), point(right + 5.0f, y), 1.0f, kInk);
            drawText(m_canvas, point(right + 9.0f, y - 0.5f * kSmallText), shortNumber(value), kInk,
                     kSmallText);
        }
        int end = top + height;
        if (m_colors.isClipped()) {
            end += 10;
            drawText(m_canvas, point(static_cast<float>(x), static_cast<float>(end)),
                     "beyond: as at the ends", kFaint, 9.0f);
            end += 12;
        }
        return end;
    }

    /// A ball, each point in the colour of its direction, seen as the plane is.
    int drawDirectionKey(int in_y)
    {
        constexpr int kRadius = 56;
        const SlicePlane& plane = m_field.plane;
        const int top = in_y + 44, middle_x = m_frame.panel_x + kRadius, middle_y = top + kRadius;
        drawText(m_canvas, point(static_cast<float>(m_frame.panel_x), static_cast<float>(in_y)),
                 "direction", kInk);
        // The axis that points out of the picture completes a right-handed frame.
        const int toward = plane.up == (plane.right + 1) % 3 ? 1 : -1;
        for (int y = -kRadius; y < kRadius; ++y) {
            for (int x = -kRadius; x < kRadius; ++x) {
                const float u = (static_cast<float>(x) + 0.5f) / kRadius;
                const float v = -(static_cast<float>(y) + 0.5f) / kRadius;
                const float rest = 1.0f - u * u - v * v;
                if (rest >= 0.0f) {
                    vec3f direction{};
                    direction[plane.right] = u;
                    direction[plane.up] = v;
                    direction[plane.axis] = static_cast<float>(toward) * std::sqrt(rest);
                    m_canvas.set(middle_x + x, middle_y + y, directionColor(direction));
                }
            }
        }
        const float fx = static_cast<float>(middle_x), fy = static_cast<float>(middle_y);
        drawText(m_canvas, point(fx + kRadius + 6.0f, fy - 6.0f),
                 std::string("+") + kAxisName[plane.right], kInk, kSmallText);
        drawText(m_canvas, point(fx - 6.0f, fy - kRadius - 15.0f),
                 std::string("+") + kAxisName[plane.up], kInk, kSmallText);
        return top + 2 * kRadius + 8;
    }

    void drawLegend(int in_y)
    {
        const float x = static_cast<float>(m_frame.panel_x);
        float y = static_cast<float>(in_y);
        bool has_nan = false, has_void = false;
        bool has_depth[kNumDepths] = {};
        for (const SlicePixel& pixel : m_field.pixels) {
            has_void = has_void || pixel.depth < 0;
            has_nan = has_nan || (pixel.depth >= 0 && std::isnan(pixel.value[0]));
            if (pixel.depth >= 0) {
                has_depth[pixel.depth] = true;
            }
        }
        const auto row = [&](const Color& in_color, float in_thickness,
                             const std::string& in_text) {
            m_canvas.line(point(x + 2.0f, y + 5.0f), point(x + 18.0f, y + 5.0f), in_thickness,
                          in_color);
            drawText(m_canvas, point(x + 28.0f, y), in_text, kInk, kSmallText);
            y += 20.0f;
        };
        drawText(m_canvas, point(x, y), "depth   cell", kInk);
        y += 26.0f;
        for (int depth = 0; depth < kNumDepths; ++depth) {
            if (has_depth[depth]) {
                const float cell =
                    static_cast<float>(kTileSideLUT[depth + 1]) * m_caption.voxel_size;
                row(isOutlined(depth) ? depthColor(depth) : kPaper, 3.0f,
                    padRight(std::to_string(depth), 5) + shortNumber(double(cell)));
            }
        }
        y += 8.0f;
        if (m_colors.kind() == SliceColors::eSigned) {
            row(kInk, 2.2f, "zero");
        }
        if (has_nan) {
            row(kNotANumber, 8.0f, "not a number");
        }
        if (has_void) {
            row(kNoSpace, 8.0f, "no tile");
        }
    }

    const SliceField& m_field;
    const SliceFrame& m_frame;
    const SliceCaption& m_caption;
    SliceColors m_colors;
    Canvas m_canvas;
};

}  // namespace

SliceFrame::SliceFrame(int in_width)
    : width(in_width),
      height(in_width - kLeft - kGap - kPanel + kTop + kBottom),
      plot_x(kLeft),
      plot_y(kTop),
      plot_side(in_width - kLeft - kGap - kPanel),
      panel_x(in_width - kPanel)
{
}

Canvas drawSlice(const SliceField& in_field, const SliceFrame& in_frame,
                 const SliceCaption& in_caption)
{
    return SlicePainter(in_field, in_frame, in_caption).paint();
}

}  // namespace Skelvar::Tool
