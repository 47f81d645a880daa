#include <tools/kvf/picture/SurfaceTracer.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/SamplerKind.h>
#include <tools/kvf/geometry/Vectors.h>

#include <algorithm>
#include <cmath>

namespace Skelvar::Tool {

namespace {

constexpr int kMostSteps = 4096;
constexpr int kBisections = 12;
constexpr float kHalfDiagonal = 0.87f;  ///< of a cell: how far a coarse value may stand off
constexpr float kFineError = 0.3f;      ///< of the distance within the finest cells
constexpr float kLeastStep = 0.25f;

}  // namespace

SurfaceTracer::SurfaceTracer(const VoxelShape& in_shape, const VoxelChannel<float>& in_channel,
                             const std::string& in_kind, float in_world_per_cell)
    : m_accessor(in_shape.layout()),
      m_sampler(makeSampler(in_channel, in_kind, eTreeSpace)),
      m_has_gradient(in_kind != "weno"),
      m_cells_per_world(1.0f / in_world_per_cell)
{
    const VoxelLayout& layout = in_shape.layout();
    int depth = layout.maxDepth();
    while (depth > 0 && layout.numNodes(depth) == 0) {
        --depth;
    }
    vec3i lo{}, hi{};
    layout.bounds(depth, lo, hi);
    for (int axis = 0; axis < 3; ++axis) {
        m_lo[axis] = static_cast<float>(lo[axis]);
        m_hi[axis] = static_cast<float>(hi[axis]);
    }
}

float SurfaceTracer::distance(const vec3f& in_position) const
{
    float value;
    m_sampler->sample(in_position, &value);
    return value * m_cells_per_world;
}

bool SurfaceTracer::clip(const vec3f& in_origin, const vec3f& in_direction, float& out_begin,
                         float& out_end) const
{
    out_begin = 0.0f;
    out_end = 1e9f;
    for (int axis = 0; axis < 3; ++axis) {
        const float inverse = 1.0f / in_direction[axis];  // infinite for a ray along the face
        const float a = (m_lo[axis] - in_origin[axis]) * inverse;
        const float b = (m_hi[axis] - in_origin[axis]) * inverse;
        out_begin = std::max(out_begin, std::min(a, b));
        out_end = std::min(out_end, std::max(a, b));
    }
    return out_begin < out_end;
}

float SurfaceTracer::stepAt(const vec3f& in_position, const vec3f& in_direction, float in_distance)
{
    vec3i at;
    for (int axis = 0; axis < 3; ++axis) {
        at[axis] = static_cast<int>(std::floor(in_position[axis]));
    }
    const TileIndex tile = m_accessor.nodeIndex<false>(at[0], at[1], at[2], kMaxTileDepth);
    if (tile.first < 0) {
        return 1.0f;
    }
    if (tile.second == kMaxTileDepth) {
        return std::max(in_distance - kFineError, 2.0f * kLeastStep);
    }
    const float cell = static_cast<float>(kTileSideLUT[tile.second + 1]);
    // To the end of a coarse cell: behind it there may be finer ones.
    float to_end = cell;
    const vec3i corner = m_accessor.layout().node(tile).corner();
    for (int axis = 0; axis < 3; ++axis) {
        const float u = (in_position[axis] - static_cast<float>(corner[axis])) / cell;
        const float inside = u - std::floor(u);
        const float left = in_direction[axis] > 0.0f ? 1.0f - inside : inside;
        to_end = std::min(to_end, left * cell / std::max(std::abs(in_direction[axis]), 1e-6f));
    }
    const float sure = in_distance - kHalfDiagonal * cell;
    return std::max({sure, kLeastStep, std::min(0.5f * cell, to_end)});
}

bool SurfaceTracer::trace(const vec3f& in_origin, const vec3f& in_direction, vec3f& out_hit)
{
    float t, end;
    if (!clip(in_origin, in_direction, t, end)) {
        return false;
    }
    float before = t;
    for (int n = 0; n < kMostSteps && t < end; ++n) {
        const vec3f position = in_origin + t * in_direction;
        const float d = distance(position);
        if (d <= 0.0f) {
            for (int k = 0; k < kBisections; ++k) {
                const float middle = 0.5f * (before + t);
                (distance(in_origin + middle * in_direction) <= 0.0f ? t : before) = middle;
            }
            out_hit = in_origin + t * in_direction;
            return true;
        }
        before = t;
        t += stepAt(position, in_direction, d);
    }
    return false;
}

vec3f SurfaceTracer::normal(const vec3f& in_position) const
{
    vec3f gradient;
    if (m_has_gradient) {
        float value;
        m_sampler->sampleGradient(in_position, &value, &gradient);
    } else {
        // The mean of the gradient along each axis over the width of a cell.
        for (int axis = 0; axis < 3; ++axis) {
            vec3f step{};
            step[axis] = 0.5f;
            gradient[axis] = distance(in_position + step) - distance(in_position - step);
        }
    }
    return unit(gradient);
}

float SurfaceTracer::openness(const vec3f& in_position, const vec3f& in_normal) const
{
    float hidden = 0.0f;
    float weight = 0.5f;
    for (float height = 1.5f; height < 20.0f; height *= 1.9f, weight *= 0.75f) {
        const float d = distance(in_position + height * in_normal);
        hidden += weight * std::clamp(1.0f - d / height, 0.0f, 1.0f);
    }
    return std::clamp(1.0f - hidden, 0.0f, 1.0f);
}

}  // namespace Skelvar::Tool
