#include <tools/kvf/picture/ResidualPlot.h>

#include <tools/kvf/picture/ColorMap.h>
#include <tools/kvf/picture/Text.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 500;
constexpr float kPlotLeft = 80.0f;
constexpr float kPlotRight = 770.0f;
constexpr float kPlotTop = 50.0f;
constexpr float kPlotBottom = 450.0f;
constexpr int kMostLabels = 10;  ///< along an axis

const Color kGrid{0.88f, 0.88f, 0.88f};
const Color kCurve{0.12f, 0.35f, 0.75f};
const Color kGoal{0.75f, 0.2f, 0.15f};

bool isDrawn(float in_residual)
{
    return std::isfinite(in_residual) && in_residual > 0.0f;
}

/// The plot's frame: from passes and decades to pixels.
struct Axes {
    int passes;
    int lowest;   ///< decade
    int highest;  ///< decade

    Axes(const std::vector<float>& in_residuals, float in_tolerance)
        : passes(std::max<int>(1, static_cast<int>(in_residuals.size())))
    {
        float least = isDrawn(in_tolerance) ? std::min(in_tolerance, 1.0f) : 1.0f;
        float most = 1.0f;
        for (const float residual : in_residuals) {
            if (isDrawn(residual)) {
                least = std::min(least, residual);
                most = std::max(most, residual);
            }
        }
        lowest = std::min(static_cast<int>(std::floor(std::log10(least))), -1);
        highest = static_cast<int>(std::ceil(std::log10(most)));
    }

    float x(int in_pass) const
    {
        return kPlotLeft +
               (kPlotRight - kPlotLeft) * static_cast<float>(in_pass) / static_cast<float>(passes);
    }
    float y(float in_residual) const
    {
        const float part = (std::log10(in_residual) - static_cast<float>(lowest)) /
                           static_cast<float>(highest - lowest);
        return kPlotBottom + (kPlotTop - kPlotBottom) * part;
    }
};

/// The step between labels so that there are not too many: 1, 2, 5, 10, 20 and so on.
int labelStep(int in_range)
{
    int step = 1;
    for (int n = 0; in_range / step > kMostLabels; ++n) {
        step = n % 3 == 1 ? step / 2 * 5 : step * 2;
    }
    return step;
}

void drawAxes(Canvas& io_canvas, const Axes& in_axes)
{
    const int decade_step = labelStep(in_axes.highest - in_axes.lowest);
    for (int decade = in_axes.lowest; decade <= in_axes.highest; decade += decade_step) {
        const float y = in_axes.y(std::pow(10.0f, static_cast<float>(decade)));
        io_canvas.line({kPlotLeft, y}, {kPlotRight, y}, 1.0f, kGrid);
        const std::string text = "1e" + std::to_string(decade);
        drawText(io_canvas, {kPlotLeft - 8.0f - textWidth(text), y - 0.5f * kTextHeight}, text,
                 kInk);
    }
    for (int pass = 0; pass <= in_axes.passes; pass += labelStep(in_axes.passes)) {
        const float x = in_axes.x(pass);
        io_canvas.line({x, kPlotTop}, {x, kPlotBottom}, 1.0f, kGrid);
        const std::string text = std::to_string(pass);
        drawText(io_canvas, {x - 0.5f * textWidth(text), kPlotBottom + 8.0f}, text, kInk);
    }
    io_canvas.line({kPlotLeft, kPlotTop}, {kPlotLeft, kPlotBottom}, 1.5f, kInk);
    io_canvas.line({kPlotLeft, kPlotBottom}, {kPlotRight, kPlotBottom}, 1.5f, kInk);
}

}  // namespace

Canvas drawResiduals(const std::vector<float>& in_residuals, float in_tolerance,
                     const std::string& in_title)
{
    Canvas canvas(kWidth, kHeight, {1.0f, 1.0f, 1.0f});
    const Axes axes(in_residuals, in_tolerance);
    drawText(canvas, {kPlotLeft, 18.0f}, in_title, kInk, 14.0f);
    drawAxes(canvas, axes);
    if (isDrawn(in_tolerance)) {
        const float y = axes.y(std::min(in_tolerance, 1.0f));
        canvas.line({kPlotLeft, y}, {kPlotRight, y}, 1.5f, kGoal);
    }
    vec2f last{axes.x(0), axes.y(1.0f)};
    for (std::size_t n = 0; n < in_residuals.size(); ++n) {
        if (isDrawn(in_residuals[n])) {
            const vec2f next{axes.x(static_cast<int>(n) + 1), axes.y(in_residuals[n])};
            canvas.line(last, next, 2.0f, kCurve);
            last = next;
        }
    }
    return canvas;
}

}  // namespace Skelvar::Tool
