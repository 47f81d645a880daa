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
inline int VoxelSamplerLinear<T, HALO>::cellOnAxis(const Detail::TileNeighbours& in_tile,
                                                   float in_scale, int in_axis, float in_place,
                                                   float& out_fraction) const
{
    const vec3f& offset = this->m_channel->VoxelChannel<T>::offset();
    const float u =
        (in_place - static_cast<float>(in_tile.corner()[in_axis])) * in_scale - offset[in_axis];
    const int cell = std::min(Detail::cellCoordinate(u), kTileWidth - 1);
    out_fraction = u - static_cast<float>(cell);
    return cell;
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::findStencil(const vec3f& in_position, int in_depth,
                                              Stencil& out_stencil) const
{
    assert(this->m_finder.layout() && "a channel without a live shape cannot be sampled");
    const vec3f p = toTree(in_position);
    if (!this->enterTile(p, in_depth, out_stencil)) {
        return false;
    }
    out_stencil.scale = kInvTileSideLUT[out_stencil.tile->depth() + 1];
    for (int a = 0; a < 3; ++a) {
        out_stencil.cell[a] =
            cellOnAxis(*out_stencil.tile, out_stencil.scale, a, p[a], out_stencil.fraction[a]);
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
void VoxelSamplerLinear<T, HALO>::read(const Stencil& in_stencil, Reading& out_reading) const
{
    if (!readAcrossTiles(in_stencil, out_reading)) {
        const auto& cell = in_stencil.cell;
        const int slot = updateCache(in_stencil.tile->index(), in_stencil.tile->depth());
        const VoxelTile<T, 1, 5>& haloed = m_cache->entries[slot].second;
        out_reading.take([&](int in_i, int in_j, int in_k) {
            return haloed(cell[0] + in_i, cell[1] + in_j, cell[2] + in_k);
        });
    }
    out_reading.scale = in_stencil.scale;
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
    read(stencil, out_reading);
    out_fraction = Detail::axisFloats(stencil.fraction);
    return true;
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::sampleInsideTile(const float (&in_places)[3][kTileWidth],
                                                   int in_depth, T* out_values) const
{
    const vec3f first{in_places[0][0], in_places[1][0], in_places[2][0]};
    const vec3f last{in_places[0][kTileWidth - 1], in_places[1][kTileWidth - 1],
                     in_places[2][kTileWidth - 1]};
    Stencil stencil;
    if (!this->enterTile(first, in_depth, stencil) || stencil.tile->depth() != in_depth ||
        !Detail::isInDomain(last) || !stencil.tile->covers(Detail::cellCoordinates(last))) {
        return false;
    }
    stencil.scale = kInvTileSideLUT[in_depth + 1];
    int cells[3][kTileWidth];
    float fractions[3][kTileWidth];
    for (int a = 0; a < 3; ++a) {
        for (int n = 0; n < kTileWidth; ++n) {
            cells[a][n] =
                cellOnAxis(*stencil.tile, stencil.scale, a, in_places[a][n], fractions[a][n]);
        }
        // A cell of the tile is as wide as all places.
        assert(cells[a][kTileWidth - 1] - cells[a][0] <= 1);
    }
    Reading readings[2][2][2];
    for (int z = 0; z <= cells[2][kTileWidth - 1] - cells[2][0]; ++z) {
        for (int y = 0; y <= cells[1][kTileWidth - 1] - cells[1][0]; ++y) {
            for (int x = 0; x <= cells[0][kTileWidth - 1] - cells[0][0]; ++x) {
                stencil.cell[0] = cells[0][0] + x;
                stencil.cell[1] = cells[1][0] + y;
                stencil.cell[2] = cells[2][0] + z;
                read(stencil, readings[z][y][x]);
            }
        }
    }
    for (int z = 0; z < kTileWidth; ++z) {
        for (int y = 0; y < kTileWidth; ++y) {
            const auto& row = readings[cells[2][z] - cells[2][0]][cells[1][y] - cells[1][0]];
            for (int x = 0; x < kTileWidth; ++x) {
                *out_values++ = row[cells[0][x] - cells[0][0]].value(
                    Detail::AxisFloats{fractions[0][x], fractions[1][y], fractions[2][z]});
            }
        }
    }
    return true;
}

template <typename T, int HALO>
void VoxelSamplerLinear<T, HALO>::sampleTile(const float (&in_places)[3][kTileWidth], int in_depth,
                                             T* out_values) const
{
    if (sampleInsideTile(in_places, in_depth, out_values)) {
        return;
    }
    for (const float z : in_places[2]) {
        for (const float y : in_places[1]) {
            for (const float x : in_places[0]) {
                *out_values++ = sample({x, y, z}, in_depth);
            }
        }
    }
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
