#include <tools/kvf/picture/ColorMap.h>
#include <tools/kvf/picture/SlicePicture.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

double length(const SlicePixel& in_pixel, int in_components)
{
    double sum = 0.0;
    for (int c = 0; c < in_components; ++c) {
        sum += in_pixel.value[static_cast<std::size_t>(c)] *
               in_pixel.value[static_cast<std::size_t>(c)];
    }
    return std::sqrt(sum);
}

}  // namespace

double SliceColors::shown(const SlicePixel& in_pixel) const
{
    return m_components == 1 ? in_pixel.value[0] : length(in_pixel, m_components);
}

SliceColors::SliceColors(const SliceField& in_field) : m_components(in_field.components)
{
    std::vector<double> values;
    for (const SlicePixel& pixel : in_field.pixels) {
        const double value = shown(pixel);
        if (pixel.depth >= 0 && pixel.has_value && std::isfinite(value)) {
            values.push_back(value);
        }
    }
    if (values.empty()) {
        return;
    }
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    m_low = *least;
    m_high = *greatest;
    if (m_components == 3 && m_low > 0.999 && m_high < 1.001) {
        m_kind = eDirections;
    } else if (m_low < 0.0 && m_high > 0.0) {
        // The same reach on both sides of zero. Far from a surface a distance grows without end and
        // would leave the near side pale: the reach follows the smaller side, up to twice as far.
        m_kind = eSigned;
        const double reach = std::min(std::max(-m_low, m_high), 2.0 * std::min(-m_low, m_high));
        m_clipped = std::max(-m_low, m_high) > reach;
        m_low = -reach;
        m_high = reach;
    }
}

Color SliceColors::of(double in_value) const
{
    if (std::isnan(in_value)) {
        return kNotANumber;
    }
    if (m_kind == eSigned) {
        return divergingColor(static_cast<float>(std::clamp(in_value / m_high, -1.0, 1.0)));
    }
    const double range = m_high - m_low;
    return sequentialColor(
        range > 0.0 ? static_cast<float>(std::clamp((in_value - m_low) / range, 0.0, 1.0)) : 0.5f);
}

Color SliceColors::of(const SlicePixel& in_pixel) const
{
    if (in_pixel.depth < 0) {
        return kNoSpace;
    }
    if (!in_pixel.has_value) {
        return kPaper;
    }
    if (m_kind == eDirections) {
        vec3f direction{};
        for (int c = 0; c < 3; ++c) {
            direction[c] = static_cast<float>(in_pixel.value[static_cast<std::size_t>(c)]);
        }
        return std::isfinite(dot(direction, direction)) ? directionColor(direction) : kNotANumber;
    }
    return of(shown(in_pixel));
}

Color directionColor(const vec3f& in_direction)
{
    return (in_direction + vec3f{1.0f, 1.0f, 1.0f}) * 0.5f;
}

}  // namespace Skelvar::Tool
