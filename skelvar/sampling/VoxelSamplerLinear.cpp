#include <skelvar/sampling/VoxelSamplerLinear.h>

#include <skelvar/sampling/ContinuousHalo.h>
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
    const vec3f p = m_is_uniform_scale ? in_position * m_to_tree(0, 0)
                                       : orvel::Math::transformPoint(in_position, m_to_tree);
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
bool VoxelSamplerLinear<T, HALO>::readAcrossTiles(const Stencil& in_stencil) const
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
    const Detail::StencilAcross<T, 2> values(around, this->m_channel->tilePtr(0, around.depth()),
                                             in_stencil.cell);
    for (int n = 0; n < 4; ++n) {
        m_corners.low[n] = values(0, n & 1, n >> 1);
        m_corners.high[n] = values(1, n & 1, n >> 1);
    }
    return true;
}

template <typename T, int HALO>
const typename VoxelSamplerLinear<T, HALO>::Corners& VoxelSamplerLinear<T, HALO>::readCorners(
    const Stencil& in_stencil) const
{
    const CellOfTile place(in_stencil);
    if (place == m_last) {
        return m_corners;
    }
    if (!m_last.isOfTile(*in_stencil.tile) && in_stencil.tile->isNearTheLast()) {
        Detail::fetchTile(this->m_channel->tile(place.index, place.depth));
    }
    m_last = place;
    const auto [i, j, k] = in_stencil.cell;
    // Inside the values are the tile's own; in cell 0 of a staggered axis only if it has a low
    // neighbour.
    const int offset = this->m_channel->VoxelChannel<T>::offsetType();
    const auto is_inside = [offset](int in_cell, int in_axis) {
        return in_cell >= (offset >> in_axis & 1) && in_cell < kTileWidth - 1;
    };
    const T* first = nullptr;
    int stride_j = 5;
    int stride_k = 25;
    if (is_inside(i, 0) && is_inside(j, 1) && is_inside(k, 2)) {
        first = &this->m_channel->tile(in_stencil.tile->index(), in_stencil.tile->depth())(i, j, k);
    } else if (readAcrossTiles(in_stencil)) {
        return m_corners;
    } else {
        const int slot = updateCache(in_stencil.tile->index(), in_stencil.tile->depth());
        first = &m_cache->entries[slot].second(i, j, k);
        stride_j = 7;
        stride_k = 49;
    }
    for (int n = 0; n < 4; ++n) {
        const T* const row = first + (n & 1) * stride_j + (n >> 1) * stride_k;
        m_corners.low[n] = row[0];
        m_corners.high[n] = row[1];
    }
    return m_corners;
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::Corners::trilinear(const float (&in_fractions)[3]) const
{
    T rows[4];
    for (int n = 0; n < 4; ++n) {
        rows[n] = Detail::lerp(low[n], high[n], in_fractions[0]);
    }
    return bilinear(rows[0], rows[1], rows[2], rows[3], in_fractions[1], in_fractions[2]);
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return this->outside();
    }
    return readCorners(stencil).trilinear(stencil.fraction);
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sampleGradient(const vec3f& in_position,
                                              Gradient* out_gradient) const
{
    Stencil stencil;
    if (!findStencil(in_position, kMaxTileDepth, stencil)) {
        *out_gradient = Gradient{};
        return this->outside();
    }
    const Corners& v = readCorners(stencil);
    const auto [fx, fy, fz] = stencil.fraction;
    const auto slope = [&](const T& in_00, const T& in_10, const T& in_01, const T& in_11,
                           float in_f, float in_g) {
        return Detail::scaled(bilinear(in_00, in_10, in_01, in_11, in_f, in_g), stencil.scale);
    };
    using Detail::difference;
    *out_gradient = {
        slope(difference(v.high[0], v.low[0]), difference(v.high[1], v.low[1]),
              difference(v.high[2], v.low[2]), difference(v.high[3], v.low[3]), fy, fz),
        slope(difference(v.low[1], v.low[0]), difference(v.high[1], v.high[0]),
              difference(v.low[3], v.low[2]), difference(v.high[3], v.high[2]), fx, fz),
        slope(difference(v.low[2], v.low[0]), difference(v.high[2], v.high[0]),
              difference(v.low[3], v.low[1]), difference(v.high[3], v.high[1]), fx, fy)};
    return v.trilinear(stencil.fraction);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerLinear<T, 1>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
