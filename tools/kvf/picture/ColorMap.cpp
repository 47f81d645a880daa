#include <tools/kvf/picture/ColorMap.h>

#include <algorithm>
#include <array>

namespace Skelvar::Tool {

namespace {

constexpr Color rgb(int in_hex)
{
    return {static_cast<float>(in_hex >> 16 & 0xFF) / 255.0f,
            static_cast<float>(in_hex >> 8 & 0xFF) / 255.0f,
            static_cast<float>(in_hex & 0xFF) / 255.0f};
}

/// Straight between evenly spaced stops.
template <std::size_t N>
Color between(const std::array<Color, N>& in_stops, float in_value)
{
    const float at = std::clamp(in_value, 0.0f, 1.0f) * static_cast<float>(N - 1);
    const std::size_t lower = std::min(static_cast<std::size_t>(at), N - 2);
    const float part = at - static_cast<float>(lower);
    return in_stops[lower] * (1.0f - part) + in_stops[lower + 1] * part;
}

}  // namespace

Color divergingColor(float in_value)
{
    // Source: the eleven classes of "RdBu" by C. Brewer, ColorBrewer.
    static constexpr std::array<Color, 11> kStops{
        rgb(0x053061), rgb(0x2166AC), rgb(0x4393C3), rgb(0x92C5DE), rgb(0xD1E5F0), rgb(0xF7F7F7),
        rgb(0xFDDBC7), rgb(0xF4A582), rgb(0xD6604D), rgb(0xB2182B), rgb(0x67001F)};
    return between(kStops, 0.5f * (in_value + 1.0f));
}

Color sequentialColor(float in_value)
{
    // Source: eleven samples of "viridis" by S. van der Walt and N. Smith.
    static constexpr std::array<Color, 11> kStops{
        rgb(0x440154), rgb(0x482475), rgb(0x414487), rgb(0x355F8D), rgb(0x2A788E), rgb(0x21918C),
        rgb(0x22A884), rgb(0x44BF70), rgb(0x7AD151), rgb(0xBDDF26), rgb(0xFDE725)};
    return between(kStops, in_value);
}

Color depthColor(int in_depth)
{
    static constexpr std::array<Color, 8> kColors{rgb(0x4A1486), rgb(0x8C2D04), rgb(0x00441B),
                                                  rgb(0x6A3D9A), rgb(0xB15928), rgb(0x1B7837),
                                                  rgb(0xC51B8A), rgb(0x6E7278)};
    return kColors[static_cast<std::size_t>(std::clamp(in_depth, 0, 7))];
}

}  // namespace Skelvar::Tool
