#include <tools/kvf/picture/SurfacePicture.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/geometry/Vectors.h>
#include <tools/kvf/picture/SliceField.h>
#include <tools/kvf/picture/SurfaceTracer.h>

#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

namespace Skelvar::Tool {

namespace {

constexpr int kRaysOnSide = 3;  ///< of a pixel on an edge
constexpr float kEdge = 0.02f;  ///< of light between neighbouring pixels

/// Light of the surface at one point, linear.
Color shade(const SurfaceView& in_view, const vec3f& in_normal, const vec3f& in_to_eye,
            float in_openness)
{
    static constexpr Color kClay{0.66f, 0.46f, 0.32f};
    static constexpr Color kSun{1.0f, 0.96f, 0.88f};
    static constexpr Color kSky{0.26f, 0.31f, 0.40f};
    static constexpr Color kGround{0.15f, 0.12f, 0.10f};
    // The sun stands behind the eye's left shoulder, the sky above.
    const vec3f to_sun = unit(0.75f * in_view.up - 0.55f * in_view.right - 0.65f * in_view.forward);
    const float sun = std::max(0.0f, dot(in_normal, to_sun));
    const float sky = 0.5f + 0.5f * in_normal[1];
    const float shine =
        std::pow(std::max(0.0f, dot(in_normal, unit(to_sun + in_to_eye))), 40.0f) * 0.18f;
    const float rim = std::pow(1.0f - std::max(0.0f, dot(in_normal, in_to_eye)), 4.0f) * 0.25f;
    Color light = kSun * (sun * (0.55f + 0.45f * in_openness));
    light += (kGround * (1.0f - sky) + kSky * sky) * in_openness;
    Color color = light * kClay;
    color += kSun * (shine * in_openness);
    color += kSky * (rim * in_openness);
    return color;
}

/// Paper that darkens downwards.
Color backdrop(float in_height)
{
    return Color{0.87f, 0.89f, 0.92f} * (1.0f - in_height) + Color{0.52f, 0.55f, 0.60f} * in_height;
}

/// From light to what stands in the file.
Color encoded(const Color& in_light)
{
    Color color;
    for (int c = 0; c < 3; ++c) {
        color[c] = std::pow(std::clamp(in_light[c], 0.0f, 1.0f), 1.0f / 2.2f);
    }
    return color;
}

/// The light of one picture, pixel by pixel.
class Lights {
public:
    Lights(int in_width, int in_height)
        : m_width(in_width),
          m_height(in_height),
          m_lights(static_cast<std::size_t>(in_width) * static_cast<std::size_t>(in_height))
    {
    }
    Color& at(int in_x, int in_y)
    {
        return m_lights[static_cast<std::size_t>(in_y) * static_cast<std::size_t>(m_width) +
                        static_cast<std::size_t>(in_x)];
    }
    /// Whether a neighbour above, below or beside is clearly lighter or darker.
    bool isOnEdge(int in_x, int in_y)
    {
        const Color& here = at(in_x, in_y);
        for (const auto& [x, y] : {std::pair{in_x - 1, in_y}, std::pair{in_x + 1, in_y},
                                   std::pair{in_x, in_y - 1}, std::pair{in_x, in_y + 1}}) {
            if (x >= 0 && x < m_width && y >= 0 && y < m_height) {
                const Color step = at(x, y) - here;
                if (dot(step, step) > kEdge * kEdge) {
                    return true;
                }
            }
        }
        return false;
    }

private:
    int m_width;
    int m_height;
    std::vector<Color> m_lights;
};

/// The rays of a row of the picture. Belongs to one thread.
class RowPainter {
public:
    RowPainter(const VoxelShape& in_shape, const VoxelChannel<float>& in_channel,
               const std::string& in_kind, const SurfaceView& in_view, int in_width, int in_height)
        : m_shape(in_shape),
          m_view(in_view),
          m_width(in_width),
          m_height(in_height),
          m_origin(in_shape.wsx(vec3f{})),
          m_tree_eye(in_shape.tsx(in_view.eye)),
          m_tracer(in_shape, in_channel, in_kind, length(worldOf(vec3f{1.0f, 0.0f, 0.0f})))
    {
    }

    /// Light that comes to a point of the picture. True if the ray there met the surface.
    bool see(float in_x, float in_y, Color& out_light)
    {
        const float half = 0.5f * static_cast<float>(m_height);
        const float scale = m_view.half_height / half;
        const vec3f way = m_view.forward +
                          m_view.right * ((in_x - 0.5f * static_cast<float>(m_width)) * scale) +
                          m_view.up * ((half - in_y) * scale);
        const vec3f direction = unit(m_shape.tsx(m_view.eye + way) - m_tree_eye);
        vec3f hit;
        if (!m_tracer.trace(m_tree_eye, direction, hit)) {
            out_light = backdrop(in_y / static_cast<float>(m_height));
            return false;
        }
        const vec3f normal = m_tracer.normal(hit);
        out_light =
            shade(m_view, unit(worldOf(normal)), unit(way) * -1.0f, m_tracer.openness(hit, normal));
        return true;
    }
    /// Mean light of a pixel, by several rays.
    Color seeFinely(int in_x, int in_y)
    {
        const auto within = [](int in_n) {
            return (static_cast<float>(in_n) + 0.5f) / static_cast<float>(kRaysOnSide);
        };
        Color sum{};
        for (int ray = 0; ray < kRaysOnSide * kRaysOnSide; ++ray) {
            Color light;
            see(static_cast<float>(in_x) + within(ray % kRaysOnSide),
                static_cast<float>(in_y) + within(ray / kRaysOnSide), light);
            sum += light;
        }
        return sum / static_cast<float>(kRaysOnSide * kRaysOnSide);
    }

private:
    static float length(const vec3f& in_vector) { return std::sqrt(dot(in_vector, in_vector)); }
    /// A vector of tree space in the world.
    vec3f worldOf(const vec3f& in_vector) const { return m_shape.wsx(in_vector) - m_origin; }

    const VoxelShape& m_shape;
    const SurfaceView& m_view;
    int m_width;
    int m_height;
    vec3f m_origin;    ///< of tree space in the world
    vec3f m_tree_eye;  ///< in tree space
    SurfaceTracer m_tracer;
};

}  // namespace

SurfaceView chooseSurfaceView(const VoxelShape& in_shape, float in_azimuth, float in_elevation,
                              float in_zoom, float in_aspect)
{
    constexpr float kRoom = 1.04f;        // around the finest tiles
    constexpr float kEyeDistance = 4.0f;  // in half diagonals of their box
    vec3f lo, hi;
    finestWorldBounds(in_shape, lo, hi);
    const float azimuth = in_azimuth * std::numbers::pi_v<float> / 180.0f;
    const float elevation = in_elevation * std::numbers::pi_v<float> / 180.0f;
    const vec3f to_eye{std::cos(elevation) * std::sin(azimuth), std::sin(elevation),
                       std::cos(elevation) * std::cos(azimuth)};
    SurfaceView view;
    view.forward = to_eye * -1.0f;
    // Also for an eye right above, where the upright axis gives no right.
    view.right = {std::cos(azimuth), 0.0f, -std::sin(azimuth)};
    view.up = cross(view.right, view.forward);
    const float radius = 0.5f * std::sqrt(dot(hi - lo, hi - lo));
    view.eye = (lo + hi) * 0.5f + to_eye * (kEyeDistance * radius);
    float half_height = 0.0f;
    for (int corner = 0; corner < 8; ++corner) {
        vec3f way = -view.eye;
        for (int axis = 0; axis < 3; ++axis) {
            way[axis] += (corner >> axis & 1) != 0 ? hi[axis] : lo[axis];
        }
        const float far = dot(way, view.forward);
        half_height = std::max({half_height, std::abs(dot(way, view.up)) / far,
                                std::abs(dot(way, view.right)) / far / in_aspect});
    }
    view.half_height = half_height * kRoom / in_zoom;
    return view;
}

Canvas drawSurface(const VoxelShape& in_shape, const VoxelChannel<float>& in_channel,
                   const std::string& in_kind, const SurfaceView& in_view, int in_width,
                   int in_height, const std::function<void()>& in_row_done, bool& out_found)
{
    const auto for_each_row = [&](const auto& in_paint) {
        tbb::parallel_for(0, in_height, [&](int in_y) {
            // A new sampler for each row: what it gives may depend on what it gave before, and the
            // picture must not depend on how the rows were shared out.
            RowPainter painter(in_shape, in_channel, in_kind, in_view, in_width, in_height);
            for (int x = 0; x < in_width; ++x) {
                in_paint(painter, x, in_y);
            }
            in_row_done();
        });
    };
    Lights lights(in_width, in_height);
    std::atomic<bool> found{false};
    for_each_row([&](RowPainter& io_painter, int in_x, int in_y) {
        const float x = static_cast<float>(in_x) + 0.5f;
        const float y = static_cast<float>(in_y) + 0.5f;
        if (io_painter.see(x, y, lights.at(in_x, in_y))) {
            found.store(true, std::memory_order_relaxed);
        }
    });
    Canvas canvas(in_width, in_height, Color{});
    for_each_row([&](RowPainter& io_painter, int in_x, int in_y) {
        const bool on_edge = lights.isOnEdge(in_x, in_y);
        canvas.set(in_x, in_y,
                   encoded(on_edge ? io_painter.seeFinely(in_x, in_y) : lights.at(in_x, in_y)));
    });
    out_found = found;
    return canvas;
}

}  // namespace Skelvar::Tool
