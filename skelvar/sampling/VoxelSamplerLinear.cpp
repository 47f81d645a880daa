#include <skelvar/sampling/VoxelSamplerLinear.h>

#include <skelvar/sampling/ContinuousHalo.h>
#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/sampling/ValueArithmetic.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <cassert>

namespace Skelvar {

namespace {

/// True if a point lies in the tile of that corner and depth.
bool contains(const vec3i& in_corner, int in_depth, const vec3i& in_point)
{
    const unsigned side = kTileSideLUT[in_depth];
    return static_cast<unsigned>(in_point[0] - in_corner[0]) < side &&
           static_cast<unsigned>(in_point[1] - in_corner[1]) < side &&
           static_cast<unsigned>(in_point[2] - in_corner[2]) < side;
}

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

template <typename T>
T trilinear(const T (&in_v)[8], const float (&in_f)[3])
{
    return Detail::lerp(bilinear(in_v[0], in_v[1], in_v[2], in_v[3], in_f[0], in_f[1]),
                        bilinear(in_v[4], in_v[5], in_v[6], in_v[7], in_f[0], in_f[1]), in_f[2]);
}

}  // namespace

template <typename T, int HALO>
struct VoxelSamplerLinear<T, HALO>::Cache {
    HaloCache<T> entries = makeHaloCache<T>();
};

template <typename T, int HALO>
VoxelSamplerLinear<T, HALO>::VoxelSamplerLinear(SamplerSpace in_space,
                                                const VoxelChannel<T>* in_channel)
    : m_channel(in_channel)
{
    const auto shape = in_channel != nullptr ? in_channel->voxelShapePtr() : nullptr;
    const auto layout = shape ? shape->layoutPtr() : nullptr;
    if (layout && in_channel->blockDataPtr()) {
        m_accessor = std::as_const(*layout).accessor();
    }
    if (shape && in_space == eWorldSpace) {
        m_to_tree = shape->toWorld().fromWorld;
        const float scale = layout ? 1.0f / layout->MVS() : 1.0f;
        for (float& element : m_to_tree.e) {
            element *= scale;
        }
    }
    m_is_uniform_scale = isUniformScale(m_to_tree);
}

template <typename T, int HALO>
VoxelSamplerLinear<T, HALO>::~VoxelSamplerLinear() = default;

template <typename T, int HALO>
const TreeChannel3DBase* VoxelSamplerLinear<T, HALO>::channel() const
{
    return m_channel;
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::outside() const
{
    return m_channel != nullptr ? m_channel->backgroundValue() : T{};
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::findStencil(const vec3f& in_position, int in_depth,
                                              Stencil& out_stencil) const
{
    assert(m_accessor && "a channel without a live shape cannot be sampled");
    const vec3f p = m_is_uniform_scale ? in_position * m_to_tree(0, 0)
                                       : orvel::Math::transformPoint(in_position, m_to_tree);
    if (!Detail::isInDomain(p) || in_depth < 0 || !m_accessor) {
        return false;
    }
    const int depth = in_depth < kMaxTileDepth ? in_depth : kMaxTileDepth;
    const vec3i q = Detail::cellCoordinates(p);
    if (depth != m_neighbours.depth() || !contains(m_corner, depth, q)) {
        const TileIndex found = m_accessor->template nodeIndex<false>(q[0], q[1], q[2], depth);
        if (found.first < 0) {
            return false;
        }
        if (found.first != m_neighbours.index() || found.second != m_neighbours.depth()) {
            m_neighbours.enter(found, m_accessor->layout(), *m_channel);
            m_corner = Detail::tileCorner(q, found.second);
        }
    }
    const float scale = kInvTileSideLUT[m_neighbours.depth() + 1];
    const vec3f& offset = m_channel->VoxelChannel<T>::offset();
    for (int a = 0; a < 3; ++a) {
        const float u = (p[a] - static_cast<float>(m_corner[a])) * scale - offset[a];
        const int cell = Detail::cellCoordinate(u);
        out_stencil.cell[a] = cell < kTileWidth - 1 ? cell : kTileWidth - 1;
        out_stencil.fraction[a] = u - static_cast<float>(out_stencil.cell[a]);
    }
    return true;
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::prepareToSample(const vec3f& in_position, int in_depth,
                                                  float* out_scale, int* out_i, int* out_j,
                                                  int* out_k, float* out_fx, float* out_fy,
                                                  float* out_fz, int* out_tile_index,
                                                  int* out_tile_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return false;
    }
    *out_scale = kInvTileSideLUT[m_neighbours.depth() + 1];
    *out_i = stencil.cell[0];
    *out_j = stencil.cell[1];
    *out_k = stencil.cell[2];
    *out_fx = stencil.fraction[0];
    *out_fy = stencil.fraction[1];
    *out_fz = stencil.fraction[2];
    *out_tile_index = m_neighbours.index();
    *out_tile_depth = m_neighbours.depth();
    return true;
}

template <typename T, int HALO>
int VoxelSamplerLinear<T, HALO>::updateCache(int in_tile_index, int in_depth) const
{
    if (!m_cache) {
        m_cache = std::make_unique<Cache>();
    }
    return Detail::updateTileCache<Detail::ContinuousHalo<T>, T>(
        in_tile_index, in_depth, m_accessor->layout(), *m_accessor, *m_channel, m_cache->entries);
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::readAcrossTiles(const Stencil& in_stencil,
                                                  T (&out_corners)[8]) const
{
    // Of each axis, for the low and the high value: the step to its tile, and its cell there.
    constexpr int kPlaceStride[3] = {1, 3, 9};
    constexpr int kCellStride[3] = {1, 5, 25};
    int tile[3][2];
    int cell[3][2];
    int toward = Detail::tilePlace(0, 0, 0);
    Detail::TileSet needed = 0;
    for (int a = 0; a < 3; ++a) {
        for (int high = 0; high < 2; ++high) {
            const Detail::AxisTap tap = Detail::axisTap(in_stencil.cell[a] + high);
            tile[a][high] = tap.side * kPlaceStride[a];
            cell[a][high] = tap.cell * kCellStride[a];
        }
        toward += tile[a][0] + tile[a][1];
        // The haloed form has another first plane where a staggered axis has no low neighbour.
        if (in_stencil.cell[a] == 0 && (m_channel->VoxelChannel<T>::offsetType() >> a & 1) != 0) {
            needed |= 1u << (Detail::tilePlace(0, 0, 0) - kPlaceStride[a]);
        }
    }
    needed |= Detail::kTilesToward[toward];
    if (!m_neighbours.hasAll(needed, *m_accessor, *m_channel)) {
        return false;
    }
    for (int n = 0; n < 8; ++n) {
        const int x = n & 1;
        const int y = n >> 1 & 1;
        const int z = n >> 2;
        const auto& source =
            *m_neighbours
                 .block()[Detail::tilePlace(0, 0, 0) + tile[0][x] + tile[1][y] + tile[2][z]];
        out_corners[n] = source(cell[0][x] + cell[1][y] + cell[2][z]);
    }
    return true;
}

template <typename T, int HALO>
void VoxelSamplerLinear<T, HALO>::readCorners(const Stencil& in_stencil, T (&out_corners)[8]) const
{
    const auto [i, j, k] = in_stencil.cell;
    // Inside the values are the tile's own; in cell 0 of a staggered axis only if it has a low
    // neighbour.
    const int offset = m_channel->VoxelChannel<T>::offsetType();
    const auto is_inside = [offset](int in_cell, int in_axis) {
        return in_cell >= (offset >> in_axis & 1) && in_cell < kTileWidth - 1;
    };
    const T* low = nullptr;
    int stride_j = 5;
    int stride_k = 25;
    if (is_inside(i, 0) && is_inside(j, 1) && is_inside(k, 2)) {
        low = &m_neighbours.tile()(i, j, k);
    } else if (readAcrossTiles(in_stencil, out_corners)) {
        return;
    } else {
        const int slot = updateCache(m_neighbours.index(), m_neighbours.depth());
        low = &m_cache->entries[slot].second(i, j, k);
        stride_j = 7;
        stride_k = 49;
    }
    for (int n = 0; n < 8; ++n) {
        out_corners[n] = low[(n & 1) + (n >> 1 & 1) * stride_j + (n >> 2) * stride_k];
    }
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return outside();
    }
    T corners[8];
    readCorners(stencil, corners);
    return trilinear(corners, stencil.fraction);
}

template <typename T, int HALO>
T VoxelSamplerLinear<T, HALO>::sampleGradient(const vec3f& in_position,
                                              Gradient* out_gradient) const
{
    Stencil stencil;
    if (!findStencil(in_position, kMaxTileDepth, stencil)) {
        *out_gradient = Gradient{};
        return outside();
    }
    T v[8];
    readCorners(stencil, v);
    const float scale = kInvTileSideLUT[m_neighbours.depth() + 1];
    for (int a = 0; a < 3; ++a) {
        const int b = a == 0 ? 1 : 0;
        const int c = a == 2 ? 1 : 2;
        T step[4];
        for (int n = 0; n < 4; ++n) {
            const int low = (n & 1) << b | (n >> 1) << c;
            step[n] = Detail::difference(v[low | 1 << a], v[low]);
        }
        (*out_gradient)[a] = Detail::scaled(
            bilinear(step[0], step[1], step[2], step[3], stencil.fraction[b], stencil.fraction[c]),
            scale);
    }
    return trilinear(v, stencil.fraction);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerLinear<T, 1>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
