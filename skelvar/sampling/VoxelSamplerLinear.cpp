#include <skelvar/sampling/VoxelSamplerLinear.h>

#include <skelvar/sampling/ContinuousHalo.h>
#include <skelvar/sampling/SampleGroups.h>
#include <skelvar/sampling/ValueArithmetic.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

namespace {

/// True if all of the translation, the shear and the difference of the scales are zero.
bool isUniformScale(const mat4f& in_map)
{
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            if (row != column && in_map(row, column) != 0.0f) {
                return false;
            }
        }
    }
    return in_map(0, 0) == in_map(1, 1) && in_map(0, 0) == in_map(2, 2);
}

template <typename T>
T bilinear(const T& in_00, const T& in_10, const T& in_01, const T& in_11, float in_f, float in_g)
{
    using Detail::lerp;
    return lerp(lerp(in_00, in_10, in_f), lerp(in_01, in_11, in_f), in_g);
}

}  // namespace

template <typename T, int HALO>
struct VoxelSamplerLinear<T, HALO>::Cache {
    HaloCache<T> entries = makeHaloCache<T>();
};

template <typename T, int HALO>
VoxelSamplerLinear<T, HALO>::VoxelSamplerLinear(SamplerSpace in_space,
                                                const VoxelChannel<T>* in_channel)
    : VoxelSampler<T>(in_space, in_channel)
{
    if (this->m_shape != nullptr) {
        m_to_tree = this->m_shape->toWorld().fromWorld;
        const float scale = 1.0f / this->m_finder.layout()->MVS();
        for (float& element : m_to_tree.e) {
            element *= scale;
        }
    }
    m_is_uniform_scale = isUniformScale(m_to_tree);
}

template <typename T, int HALO>
VoxelSamplerLinear<T, HALO>::~VoxelSamplerLinear() = default;

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::findStencil(const vec3f& in_position, int in_depth,
                                              Stencil& out_stencil) const
{
    assert(this->m_finder.layout() && "a channel without a live shape cannot be sampled");
    const vec3f p = toTree(in_position);
    if (!this->enterTile(p, in_depth, out_stencil)) {
        return false;
    }
    const vec3i& corner = out_stencil.tile->corner();
    out_stencil.scale = kInvTileSideLUT[out_stencil.tile->depth() + 1];
    const vec3f& offset = this->m_channel->VoxelChannel<T>::offset();
    for (int a = 0; a < 3; ++a) {
        const float u = (p[a] - static_cast<float>(corner[a])) * out_stencil.scale - offset[a];
        out_stencil.cell[a] = std::min(Detail::cellCoordinate(u), kTileWidth - 1);
        out_stencil.fraction[a] = u - static_cast<float>(out_stencil.cell[a]);
    }
    return true;
}

template <typename T, int HALO>
inline Detail::StencilReach VoxelSamplerLinear<T, HALO>::reach() const
{
    // The haloed form has another first plane where a staggered axis has no low neighbour.
    const VoxelChannel<T>& channel = *this->m_channel;
    const int offset = channel.VoxelChannel<T>::offsetType();
    return {Detail::axisFloats(channel.VoxelChannel<T>::offset()),
            Detail::AxisInts{offset & 1, offset >> 1 & 1, offset >> 2 & 1, 0},
            Detail::AxisInts{1, 1, 1, 0}};
}

template <typename T, int HALO>
int VoxelSamplerLinear<T, HALO>::updateCache(int in_tile_index, int in_depth) const
{
    if (!m_cache) {
        m_cache = std::make_unique<Cache>();
    }
    const VoxelLayout& layout = *this->m_finder.layout();
    VoxelLayout::ConstAccessor accessor(layout);
    return Detail::updateTileCache<Detail::ContinuousHalo<T>, T>(
        in_tile_index, in_depth, layout, accessor, *this->m_channel, m_cache->entries);
}

template <typename T, int HALO>
template <typename Values>
inline void VoxelSamplerLinear<T, HALO>::Reading::take(const Values& in_values)
{
    for (int n = 0; n < 4; ++n) {
        low[n] = in_values(0, n & 1, n >> 1);
        high[n] = in_values(1, n & 1, n >> 1);
    }
    scale = 1.0f;
}

template <typename T, int HALO>
inline T VoxelSamplerLinear<T, HALO>::Reading::value(Detail::AxisFloats in_fraction) const
{
    T rows[4];
    for (int n = 0; n < 4; ++n) {
        rows[n] = Detail::lerp(low[n], high[n], in_fraction[0]);
    }
    return bilinear(rows[0], rows[1], rows[2], rows[3], in_fraction[1], in_fraction[2]);
}

template <typename T, int HALO>
inline auto VoxelSamplerLinear<T, HALO>::Reading::gradient(Detail::AxisFloats in_fraction) const
    -> Gradient
{
    const float fx = in_fraction[0];
    const float fy = in_fraction[1];
    const float fz = in_fraction[2];
    const auto slope = [&](const T& in_00, const T& in_10, const T& in_01, const T& in_11,
                           float in_f, float in_g) {
        return Detail::scaled(bilinear(in_00, in_10, in_01, in_11, in_f, in_g), scale);
    };
    using Detail::difference;
    return {slope(difference(high[0], low[0]), difference(high[1], low[1]),
                  difference(high[2], low[2]), difference(high[3], low[3]), fy, fz),
            slope(difference(low[1], low[0]), difference(high[1], high[0]),
                  difference(low[3], low[2]), difference(high[3], high[2]), fx, fz),
            slope(difference(low[2], low[0]), difference(high[2], high[0]),
                  difference(low[3], low[1]), difference(high[3], high[1]), fx, fy)};
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::readAcrossTiles(const Stencil& in_stencil,
                                                  Reading& out_reading) const
{
    constexpr int kPlaceStride[3] = {1, 3, 9};
    constexpr int kMiddle = Detail::tilePlace(0, 0, 0);
    const int offset = this->m_channel->VoxelChannel<T>::offsetType();
    int toward = kMiddle;
    Detail::TileSet needed = 0;
    for (int a = 0; a < 3; ++a) {
        const int cell = in_stencil.cell[a];
        toward += (Detail::axisTap(cell).side + Detail::axisTap(cell + 1).side) * kPlaceStride[a];
        // The haloed form has another first plane where a staggered axis has no low neighbour.
        if (cell == 0 && (offset >> a & 1) != 0) {
            needed |= 1u << (kMiddle - kPlaceStride[a]);
        }
    }
    needed |= Detail::kTilesToward[toward];
    const Detail::TileNeighbours& around = *in_stencil.tile;
    if (!this->m_finder.hasAll(*in_stencil.tile, needed)) {
        return false;
    }
    out_reading.take(Detail::valuesAround<T, 2>(around, in_stencil.cell, 0,
                                                this->m_channel->tilePtr(0, around.depth())));
    return true;
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::readAny(const vec3f& in_position, int in_depth,
                                          Reading& out_reading,
                                          Detail::AxisFloats& out_fraction) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return false;
    }
    if (!readAcrossTiles(stencil, out_reading)) {
        const auto& cell = stencil.cell;
        const int slot = updateCache(stencil.tile->index(), stencil.tile->depth());
        const VoxelTile<T, 1, 5>& haloed = m_cache->entries[slot].second;
        out_reading.take([&](int in_i, int in_j, int in_k) {
            return haloed(cell[0] + in_i, cell[1] + in_j, cell[2] + in_k);
        });
    }
    out_fraction = Detail::axisFloats(stencil.fraction);
    out_reading.scale = stencil.scale;
    return true;
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sample(const vec3f& in_position, int in_depth) const
{
    return this->sampleOne(*this, in_position, in_depth, nullptr);
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sampleGradient(const vec3f& in_position,
                                              Gradient* out_gradient) const
{
    return this->sampleOne(*this, in_position, kMaxTileDepth, out_gradient);
}

template <typename T, int HALO>
void VoxelSamplerLinear<T, HALO>::sample(const vec3f* in_positions, long long in_count,
                                         T* out_values) const
{
    this->template sampleGroups<64>(*this, in_positions, in_count, out_values, nullptr);
}

template <typename T, int HALO>
void VoxelSamplerLinear<T, HALO>::sampleGradient(const vec3f* in_positions, long long in_count,
                                                 T* out_values, Gradient* out_gradients) const
{
    this->template sampleGroups<64>(*this, in_positions, in_count, out_values, out_gradients);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerLinear<T, 1>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
