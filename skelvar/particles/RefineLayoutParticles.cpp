// Refinement of a layout around the particles of a shape.

#include <skelvar/tree/RefineLayout.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/particles/NearbyPlaces.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/PointBox.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <utility>

namespace Skelvar {

namespace {

/// Collects the tiles of one depth that boxes of cells need and a layout has not. Remembers which
/// of the 27 places about one tile are seen to. Belongs to one thread.
class MissingTiles {
public:
    MissingTiles(const VoxelLayout& in_layout, int in_depth, VoxelLayout& io_collected)
        : m_layout(in_layout),
          m_collected(io_collected.accessor()),
          m_depth(in_depth),
          m_side(kTileSideLUT[in_depth])
    {
    }

    /// Goes to the tile of a cell.
    void moveTo(const vec3i& in_cell)
    {
        const vec3i side = {m_side, m_side, m_side};
        vec3i corner{};
        for (int a = 0; a < 3; ++a) {
            corner[a] = (in_cell[a] + kTileOrigin) / m_side * m_side - kTileOrigin;
        }
        m_low = corner - side;
        m_nearby.moveTo(corner, m_side);
        std::fill_n(m_is_done, 27, false);
    }
    /// The tiles of the cells of a box.
    void add(const vec3i& in_low, const vec3i& in_high)
    {
        const vec3i low = stepsOf(in_low);
        const vec3i high = stepsOf(in_high);
        for (int k = low[2]; k <= high[2]; ++k) {
            for (int j = low[1]; j <= high[1]; ++j) {
                for (int i = low[0]; i <= high[0]; ++i) {
                    addPlace({i, j, k});
                }
            }
        }
    }
    /// True if the tile that holds a point is surely seen to.
    bool isDone(const vec3f& in_point) const
    {
        const int place = m_nearby.find(in_point);
        return place != NearbyPlaces::kFar && m_is_done[place];
    }

private:
    /// The place of a cell, 0 to 2 on each axis if it is one of those remembered.
    vec3i stepsOf(const vec3i& in_cell) const
    {
        vec3i steps{};
        for (int a = 0; a < 3; ++a) {
            const int offset = in_cell[a] - m_low[a];
            const bool is_near = offset >= 0 && offset < 3 * m_side;
            steps[a] = is_near ? (offset >= m_side ? 1 : 0) + (offset >= 2 * m_side ? 1 : 0)
                               : (offset - (offset < 0 ? m_side - 1 : 0)) / m_side;
        }
        return steps;
    }
    void addPlace(const vec3i& in_steps)
    {
        const bool is_near = static_cast<unsigned>(in_steps[0]) < 3 &&
                             static_cast<unsigned>(in_steps[1]) < 3 &&
                             static_cast<unsigned>(in_steps[2]) < 3;
        const int place = in_steps[0] + 3 * (in_steps[1] + 3 * in_steps[2]);
        if (is_near && std::exchange(m_is_done[place], true)) {
            return;
        }
        const vec3i corner = m_low + in_steps * m_side;
        if (m_layout.nodeIndex<true>(corner[0], corner[1], corner[2], m_depth).first < 0) {
            m_collected.addNode(corner[0], corner[1], corner[2], m_depth);
        }
    }

    VoxelLayout::ConstAccessor m_layout;
    VoxelLayout::Accessor m_collected;
    int m_depth;
    int m_side;
    vec3i m_low{};  ///< lowest corner of the 27 places
    NearbyPlaces m_nearby;
    bool m_is_done[27] = {};
};

/// The way from the space of particles to that of a voxel shape.
class ToVoxelSpace {
public:
    ToVoxelSpace(const TreeShape3DBase& in_particles, const TreeShape3DBase* in_voxels)
        : m_particles(&in_particles), m_voxels(in_voxels)
    {
    }
    vec3f operator()(const vec3f& in_point) const
    {
        return m_voxels != nullptr ? m_voxels->tsx(m_particles->wsx(in_point)) : in_point;
    }

private:
    const TreeShape3DBase* m_particles;
    const TreeShape3DBase* m_voxels;  ///< null if both are the same
};

/// The points whose boxes of cells lie inside of one tile.
PointBox innerBox(const VoxelLayoutNode& in_tile, float in_radius, const vec3f& in_offset)
{
    constexpr float kRounding = 1.0f / 16.0f;  // more than sums are off by
    vec3f low{};
    vec3f high{};
    for (int a = 0; a < 3; ++a) {
        const int corner = in_tile.corner()[a];
        const float margin = in_radius != 0.0f || in_offset[a] != 0.0f ? kRounding : 0.0f;
        low[a] = static_cast<float>(corner) + in_radius + in_offset[a] + margin;
        high[a] = static_cast<float>(corner + kTileSideLUT[in_tile.depth()]) - in_radius +
                  in_offset[a] - margin;
    }
    return {low, high};
}

/// Clamps a coordinate, which is a number, to the domain.
int cellOf(float in_coordinate)
{
    constexpr float kBound = static_cast<float>(kTileOrigin);
    const float bounded = std::clamp(in_coordinate, -kBound, kBound);
    const int whole = static_cast<int>(bounded);
    return whole - (static_cast<float>(whole) > bounded ? 1 : 0);
}

/// The cells of the box around a point, cut to the domain. False if there are none.
bool findBox(const vec3f& in_point, float in_radius, const vec3f& in_offset, vec3i& out_low,
             vec3i& out_high)
{
    constexpr float kEnd = static_cast<float>(kTileOrigin) + 1.0f;
    for (int a = 0; a < 3; ++a) {
        const float low = in_point[a] - in_radius - in_offset[a];
        const float high = in_point[a] + in_radius - in_offset[a];
        if (!(low < kEnd && high >= -kEnd + 1.0f)) {
            return false;
        }
        out_low[a] = cellOf(low);
        out_high[a] = cellOf(high);
    }
    return true;
}

}  // namespace

template <typename Layout, typename Shape, typename Particles>
void refineLayout(Layout* io_layout, const Layout*, Shape* in_shape, Particles* in_particles,
                  float in_radius, VoxelOffsetType in_offset, std::vector<TileId>* out_added,
                  int in_depth)
{
    const std::shared_ptr<ParticleChannel<vec3f>> positions = positionChannel(*in_particles);
    if (!positions) {
        throw std::runtime_error("refineLayout: shape " + in_particles->name() +
                                 " has no channel of positions");
    }
    if (in_depth < 0 || in_depth > kMaxTileDepth || !(in_radius >= 0.0f) ||
        !std::isfinite(in_radius)) {
        return;
    }
    const ToVoxelSpace to_voxels(*in_particles, in_shape);
    const vec3f offset = kVoxelOffset[in_offset & 7];
    // Most particles stand in a tile of that very depth, away from its faces.
    const bool is_same_tree = in_shape == nullptr && in_particles->layoutPtr().get() == io_layout;
    const bool is_of_points = is_same_tree && in_radius == 0.0f && offset == vec3f{};
    const auto boxOf = [&](int in_tile, int in_tile_depth) {
        return is_same_tree && in_tile_depth == in_depth
                   ? innerBox(io_layout->node(in_tile, in_depth), in_radius, offset)
                   : PointBox();
    };
    tbb::enumerable_thread_specific<std::unique_ptr<VoxelLayout>> collected;
    {
        const SkelvarProfiler::Scope scope("Refine::refineLayouts_2");
        for (int depth = 0; depth < kNumDepths; ++depth) {
            tbb::parallel_for(
                tbb::blocked_range<int>(0, positions->numTiles(depth)),
                [&](const tbb::blocked_range<int>& in_range) {
                    std::unique_ptr<VoxelLayout>& layout = collected.local();
                    if (!layout) {
                        layout = std::make_unique<VoxelLayout>("tmp", io_layout->MVS());
                        if (in_depth > 0) {
                            layout->addNode(TileId(0));
                        }
                    }
                    MissingTiles missing(*io_layout, in_depth, *layout);
                    std::vector<unsigned long> outside;
                    for (int n = in_range.begin(); n < in_range.end(); ++n) {
                        const auto& points = positions->tile(n, depth);
                        const PointBox inner = boxOf(n, depth);
                        const unsigned long num_outside =
                            inner.holdsAll(points) ? 0 : inner.findOutside(points, outside);
                        bool is_first = true;
                        if (is_same_tree && depth == in_depth && num_outside > 0) {
                            missing.moveTo(io_layout->node(n, depth).corner());
                            is_first = false;
                        }
                        vec3i low{};
                        vec3i high{};
                        for (unsigned long m = 0; m < num_outside; ++m) {
                            const vec3f& point = points[outside[m]];
                            if (is_of_points && missing.isDone(point)) {
                                continue;
                            }
                            if (!findBox(to_voxels(point), in_radius, offset, low, high)) {
                                continue;
                            }
                            if (std::exchange(is_first, false)) {
                                missing.moveTo(low);
                            }
                            missing.add(low, high);
                        }
                    }
                });
        }
    }
    std::vector<const VoxelLayout*> layouts;
    for (const std::unique_ptr<VoxelLayout>& layout : collected) {
        if (layout->numNodes() > (in_depth > 0 ? 1 : 0)) {
            layouts.push_back(layout.get());
        }
    }
    if (!layouts.empty()) {
        io_layout->refine(layouts, out_added);
    }
}

template SKELVAR_API void refineLayout<VoxelLayout, VoxelShape, ParticleShape>(
    VoxelLayout*, const VoxelLayout*, VoxelShape*, ParticleShape*, float, VoxelOffsetType,
    std::vector<TileId>*, int);

}  // namespace Skelvar
