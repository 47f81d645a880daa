#include <tools/kvf/picture/SliceField.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/SamplerKind.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

constexpr float kSurroundings = 0.12f;  ///< of the window's side, on each side of the finest tiles

/// The box in the world around a box of tile coordinates.
void worldBox(const TreeShape3DBase& in_shape, const vec3i& in_lo, const vec3i& in_hi,
              vec3f& out_lo, vec3f& out_hi)
{
    for (int corner = 0; corner < 8; ++corner) {
        vec3f point;
        for (int a = 0; a < 3; ++a) {
            point[a] = static_cast<float>((corner >> a & 1) != 0 ? in_hi[a] : in_lo[a]);
        }
        const vec3f world = in_shape.wsx(point);
        for (int a = 0; a < 3; ++a) {
            out_lo[a] = corner == 0 ? world[a] : std::min(out_lo[a], world[a]);
            out_hi[a] = corner == 0 ? world[a] : std::max(out_hi[a], world[a]);
        }
    }
}

bool isInTree(const vec3f& in_point)
{
    return std::all_of(in_point.e, in_point.e + 3, [](float in_coordinate) {
        return std::abs(in_coordinate) <= static_cast<float>(kTileOrigin);  // false for NaN too
    });
}

vec3i floorOf(const vec3f& in_point)
{
    return {static_cast<int>(std::floor(in_point[0])), static_cast<int>(std::floor(in_point[1])),
            static_cast<int>(std::floor(in_point[2]))};
}

/// Reads one channel at points of tile space. Belongs to one thread.
template <typename T>
class PointReader {
public:
    PointReader(const VoxelLayout& in_layout, const VoxelChannel<T>& in_channel)
        : m_accessor(in_layout), m_channel(in_channel)
    {
    }

    /// The finest tile at the point and the value of its cell there; null where there is no tile.
    const T* finest(const vec3f& in_point, int& out_depth)
    {
        if (!isInTree(in_point)) {
            return nullptr;
        }
        const vec3i at = floorOf(in_point);
        const TileIndex index =
            m_accessor.template nodeIndex<false>(at[0], at[1], at[2], kMaxTileDepth);
        if (index.first < 0 || index.first >= m_channel.numTiles(index.second)) {
            return nullptr;
        }
        const VoxelLayoutNode& node = m_accessor.layout().node(index);
        const int cell = kTileSideLUT[index.second + 1];
        out_depth = index.second;
        return &m_channel.tile(index)((at[0] - node.i()) / cell, (at[1] - node.j()) / cell,
                                      (at[2] - node.k()) / cell);
    }

    /// The first component between the values around the point, at the distance of a cell of the
    /// depth; a value that there is only in a coarser tile counts with what it is.
    float smooth(const vec3f& in_point, int in_depth, float in_fallback)
    {
        const float cell = static_cast<float>(kTileSideLUT[in_depth + 1]);
        // Tiles start at whole coordinates, cells at steps from the corner of the tree.
        const float origin = -static_cast<float>(kTileOrigin);
        vec3f lower, part;
        for (int a = 0; a < 3; ++a) {
            const float q = (in_point[a] - origin) / cell - m_channel.offset()[a];
            part[a] = q - std::floor(q);
            lower[a] = (std::floor(q) + 0.5f) * cell + origin;  // the middle of that cell
        }
        float sum = 0.0f;
        for (int corner = 0; corner < 8; ++corner) {
            float weight = 1.0f;
            vec3f point = lower;
            for (int a = 0; a < 3; ++a) {
                const bool upper = (corner >> a & 1) != 0;
                weight *= upper ? part[a] : 1.0f - part[a];
                point[a] += upper ? cell : 0.0f;
            }
            int depth = 0;
            const T* value = finest(point, depth);
            sum +=
                weight * (value != nullptr ? static_cast<float>(ValueComponents<T>::get(*value, 0))
                                           : in_fallback);
        }
        return sum;
    }

private:
    VoxelLayout::ConstAccessor m_accessor;
    const VoxelChannel<T>& m_channel;
};

template <typename T>
void setValue(const T& in_value, SliceField& io_field, SlicePixel& out_pixel)
{
    for (int c = 0; c < io_field.components; ++c) {
        out_pixel.value[static_cast<std::size_t>(c)] = ValueComponents<T>::get(in_value, c);
    }
    out_pixel.smooth = static_cast<float>(out_pixel.value[0]);
}

/// `io_sampler` may be null.
template <typename T>
void sampleRow(const VoxelShape& in_shape, PointReader<T>& io_reader, const BaseSampler* io_sampler,
               int in_y, SliceField& io_field)
{
    const SlicePlane& plane = io_field.plane;
    const float step = plane.side / static_cast<float>(io_field.size);
    const auto along = [&](int in_pixel) {
        return (static_cast<float>(in_pixel) + 0.5f) * step - 0.5f * plane.side;
    };
    for (int x = 0; x < io_field.size; ++x) {
        SlicePixel& pixel =
            io_field
                .pixels[static_cast<std::size_t>(in_y) * static_cast<std::size_t>(io_field.size) +
                        static_cast<std::size_t>(x)];
        vec3f world = plane.centre;
        world[plane.right] += along(x);
        world[plane.up] -= along(in_y);
        const vec3f point = in_shape.tsx(world);
        const T* const value = io_reader.finest(point, pixel.depth);
        if (value == nullptr) {
            continue;
        }
        pixel.cell = floorOf(point);
        if (io_sampler != nullptr) {
            T sampled;
            io_sampler->sample(point, &sampled);
            setValue(sampled, io_field, pixel);
        } else {
            setValue(*value, io_field, pixel);
            if (io_field.components == 1) {
                pixel.smooth = io_reader.smooth(point, pixel.depth, pixel.smooth);
            }
        }
    }
}

}  // namespace

void finestWorldBounds(const TreeShape3DBase& in_shape, vec3f& out_lo, vec3f& out_hi)
{
    const VoxelLayout& layout = static_cast<const VoxelLayout&>(in_shape.layout());
    int depth = layout.maxDepth();
    while (depth > 0 && layout.numNodes(depth) == 0) {
        --depth;
    }
    vec3i lo{}, hi{};
    layout.bounds(depth, lo, hi);
    worldBox(in_shape, lo, hi, out_lo, out_hi);
}

SlicePlane chooseSlicePlane(const TreeShape3DBase& in_shape, int in_axis, const float* in_at)
{
    static constexpr int kRight[3] = {2, 0, 0};
    static constexpr int kUp[3] = {1, 2, 1};
    vec3f lo, hi;
    finestWorldBounds(in_shape, lo, hi);

    SlicePlane plane;
    plane.axis = in_axis;
    plane.right = kRight[in_axis];
    plane.up = kUp[in_axis];
    plane.centre = (lo + hi) * 0.5f;
    if (in_at != nullptr) {
        plane.centre[in_axis] = *in_at;
    }
    plane.side = std::max(hi[plane.right] - lo[plane.right], hi[plane.up] - lo[plane.up]) /
                 (1.0f - 2.0f * kSurroundings);
    return plane;
}

SliceField sampleSlice(const VoxelShape& in_shape, const TreeChannel3DBase& in_channel,
                       const SlicePlane& in_plane, int in_size, const std::string& in_kind)
{
    SliceField field;
    field.plane = in_plane;
    field.size = in_size;
    field.pixels.resize(static_cast<std::size_t>(in_size) * static_cast<std::size_t>(in_size));
    const VoxelLayout& layout = in_shape.layout();
    visitVoxelChannel(in_channel, [&]<typename T>(const VoxelChannel<T>& in_typed) {
        field.components = ValueComponents<T>::kCount;
        tbb::parallel_for(tbb::blocked_range<int>(0, in_size), [&](const auto& in_rows) {
            PointReader<T> reader(layout, in_typed);
            for (int y = in_rows.begin(); y != in_rows.end(); ++y) {
                // A new one for each row: what it gives may depend on what it gave before, and the
                // picture must not depend on how the rows were shared out.
                const auto sampler =
                    in_kind.empty() ? nullptr : makeSampler(in_channel, in_kind, eTreeSpace);
                sampleRow(in_shape, reader, sampler.get(), y, field);
            }
        });
    });
    return field;
}

}  // namespace Skelvar::Tool
