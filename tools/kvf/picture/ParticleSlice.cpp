#include <tools/kvf/picture/SliceField.h>

#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/ToolError.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar::Tool {

namespace {

/// Where the world's points fall in a picture.
struct PixelGrid {
    const SlicePlane& plane;
    int size;

    vec3f world(int in_x, int in_y) const
    {
        const float step = plane.side / static_cast<float>(size);
        vec3f point = plane.centre;
        point[plane.right] += (static_cast<float>(in_x) + 0.5f) * step - 0.5f * plane.side;
        point[plane.up] -= (static_cast<float>(in_y) + 0.5f) * step - 0.5f * plane.side;
        return point;
    }
    /// In pixels from the upper left corner.
    vec2f pixel(const vec3f& in_world) const
    {
        const float scale = static_cast<float>(size) / plane.side;
        const float half = 0.5f * plane.side;
        return {(in_world[plane.right] - plane.centre[plane.right] + half) * scale,
                (plane.centre[plane.up] - in_world[plane.up] + half) * scale};
    }
};

/// The finest tiles that pixels lie in, without values.
void findTiles(const ParticleShape& in_shape, const PixelGrid& in_grid, SliceField& io_field)
{
    tbb::parallel_for(tbb::blocked_range<int>(0, in_grid.size), [&](const auto& in_rows) {
        VoxelLayout::ConstAccessor accessor(in_shape.layout());
        for (int y = in_rows.begin(); y != in_rows.end(); ++y) {
            for (int x = 0; x < in_grid.size; ++x) {
                SlicePixel& pixel = io_field.pixels[static_cast<std::size_t>(y) *
                                                        static_cast<std::size_t>(in_grid.size) +
                                                    static_cast<std::size_t>(x)];
                pixel.has_value = false;
                pixel.smooth = std::numeric_limits<float>::quiet_NaN();  // no zero line
                const vec3f point = in_shape.tsx(in_grid.world(x, y));
                constexpr float kBound = static_cast<float>(kTileOrigin);
                if (!std::all_of(point.e, point.e + 3,
                                 [](float in_value) { return std::fabs(in_value) <= kBound; })) {
                    continue;
                }
                for (int a = 0; a < 3; ++a) {
                    pixel.cell[a] = static_cast<int>(std::floor(point[a]));
                }
                pixel.depth = accessor
                                  .nodeIndex<false>(pixel.cell[0], pixel.cell[1], pixel.cell[2],
                                                    kMaxTileDepth)
                                  .second;
            }
        }
    });
}

/// Gives the pixels of a disc about a point the values of a particle.
template <typename T>
void drawDot(const vec2f& in_middle, float in_radius, const T& in_value, SliceField& io_field)
{
    const auto bound = [&](float in_pixel) {
        return static_cast<int>(
            std::clamp(in_pixel, -1.0f, static_cast<float>(io_field.size) + 1.0f));
    };
    for (int y = std::max(bound(in_middle[1] - in_radius), 0);
         y <= bound(in_middle[1] + in_radius) && y < io_field.size; ++y) {
        for (int x = std::max(bound(in_middle[0] - in_radius), 0);
             x <= bound(in_middle[0] + in_radius) && x < io_field.size; ++x) {
            const vec2f away =
                vec2f{static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f} - in_middle;
            SlicePixel& pixel =
                io_field
                    .pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(io_field.size) +
                            static_cast<std::size_t>(x)];
            if (dot(away, away) > in_radius * in_radius || pixel.depth < 0) {
                continue;
            }
            pixel.has_value = true;
            for (int c = 0; c < io_field.components; ++c) {
                pixel.value[static_cast<std::size_t>(c)] = ValueComponents<T>::get(in_value, c);
            }
        }
    }
}

}  // namespace

SliceField sampleParticles(const ParticleShape& in_shape, const TreeChannel3DBase& in_channel,
                           const SlicePlane& in_plane, int in_size)
{
    const auto found = positionChannel(in_shape);
    if (!found) {
        throw ToolError(eDataSaysNo, "shape " + in_shape.name() + " has no channel of positions");
    }
    const ParticleChannel<vec3f>& position = *found;
    SliceField field;
    field.plane = in_plane;
    field.size = in_size;
    field.pixels.resize(static_cast<std::size_t>(in_size) * static_cast<std::size_t>(in_size));
    const PixelGrid grid{in_plane, in_size};
    findTiles(in_shape, grid, field);

    const vec3f unit = in_shape.wsx(vec3f{1.0f, 0.0f, 0.0f}) - in_shape.wsx(vec3f{});
    const float cell = std::sqrt(dot(unit, unit));
    const float cell_pixels = cell * static_cast<float>(in_size) / in_plane.side;
    const float radius = std::clamp(0.15f * cell_pixels, 0.7f, 6.0f);
    visitParticleChannel(in_channel, [&]<typename T>(const ParticleChannel<T>& in_typed) {
        field.components = ValueComponents<T>::kCount;
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (int n = 0; n < position.numTiles(depth); ++n) {
                const auto& points = position.tile(n, depth);
                const auto& values = in_typed.tile(n, depth);
                for (unsigned long index = 0; index < std::min(points.size(), values.size());
                     ++index) {
                    const vec3f world = in_shape.wsx(points[index]);
                    const float away = world[in_plane.axis] - in_plane.centre[in_plane.axis];
                    if (std::fabs(away) <= 0.5f * cell) {
                        drawDot(grid.pixel(world), radius, values[index], field);
                    }
                }
            }
        }
    });
    return field;
}

}  // namespace Skelvar::Tool
