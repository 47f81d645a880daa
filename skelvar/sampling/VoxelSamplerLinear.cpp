#include <skelvar/sampling/VoxelSamplerLinear.h>

#include <skelvar/sampling/ContinuousHalo.h>
#include <skelvar/sampling/SamplerPosition.h>
#include <skelvar/sampling/ValueArithmetic.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <bit>
#include <cassert>

namespace Skelvar {

namespace {

constexpr int kOwn = 13;  ///< place of a tile in its own block
constexpr int kBlockStride[3] = {1, 3, 9};
constexpr int kCellStride[3] = {1, 5, 25};

/// For a stencil that reaches from a tile towards entry n of its block: the bits of the entries
/// that it reads.
struct TouchedTiles {
    unsigned bits[27] = {};

    constexpr TouchedTiles()
    {
        for (int n = 0; n < 27; ++n) {
            const int step[3] = {n % 3 - 1, n / 3 % 3 - 1, n / 9 - 1};
            for (int corner = 0; corner < 8; ++corner) {
                int at = kOwn;
                for (int a = 0; a < 3; ++a) {
                    at += (corner >> a & 1) * step[a] * kBlockStride[a];
                }
                bits[n] |= 1u << at;
            }
        }
    }
};
constexpr TouchedTiles kTouchedTiles;

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
    if (layout) {
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
void VoxelSamplerLinear<T, HALO>::enterTile(const TileIndex& in_index) const
{
    m_tile = in_index;
    m_corner = m_accessor->layout().node(in_index).corner();
    m_side = kTileSideLUT[in_index.second];
    m_known = m_existing = 1u << kOwn;
    m_block[kOwn] = m_channel->tile(in_index).data();
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
    if (depth != m_tile.second || static_cast<unsigned>(q[0] - m_corner[0]) >= m_side ||
        static_cast<unsigned>(q[1] - m_corner[1]) >= m_side ||
        static_cast<unsigned>(q[2] - m_corner[2]) >= m_side) {
        const TileIndex found = m_accessor->template nodeIndex<false>(q[0], q[1], q[2], depth);
        if (found.first < 0) {
            return false;
        }
        if (found != m_tile) {
            enterTile(found);
        }
    }
    const float scale = kInvTileSideLUT[m_tile.second + 1];
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
    *out_scale = kInvTileSideLUT[m_tile.second + 1];
    *out_i = stencil.cell[0];
    *out_j = stencil.cell[1];
    *out_k = stencil.cell[2];
    *out_fx = stencil.fraction[0];
    *out_fy = stencil.fraction[1];
    *out_fz = stencil.fraction[2];
    *out_tile_index = m_tile.first;
    *out_tile_depth = m_tile.second;
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
void VoxelSamplerLinear<T, HALO>::findNeighbours(unsigned in_which) const
{
    const int depth = m_tile.second;
    const int side = kTileSideLUT[depth];
    for (unsigned rest = in_which; rest != 0; rest &= rest - 1) {
        const int n = std::countr_zero(rest);
        const TileIndex found = m_accessor->template nodeIndex<false>(
            m_corner[0] + (n % 3 - 1) * side, m_corner[1] + (n / 3 % 3 - 1) * side,
            m_corner[2] + (n / 9 - 1) * side, depth);
        if (found.first >= 0 && found.second == depth) {
            m_existing |= 1u << n;
            m_block[n] = m_channel->tile(found).data();
        }
    }
    m_known |= in_which;
}

template <typename T, int HALO>
bool VoxelSamplerLinear<T, HALO>::readAcrossTiles(const Stencil& in_stencil,
                                                  T (&out_corners)[8]) const
{
    // Of each axis, for the low and the high value: the step to its tile and its cell there.
    int tile[3][2];
    int cell[3][2];
    int toward = kOwn;
    unsigned needed = 0;
    for (int a = 0; a < 3; ++a) {
        const int i = in_stencil.cell[a];
        tile[a][0] = i < 0 ? -kBlockStride[a] : 0;
        tile[a][1] = i < kTileWidth - 1 ? 0 : kBlockStride[a];
        cell[a][0] = (i < 0 ? kTileWidth - 1 : i) * kCellStride[a];
        cell[a][1] = (i < kTileWidth - 1 ? i + 1 : 0) * kCellStride[a];
        toward += tile[a][0] + tile[a][1];
        // The haloed form has another first plane where a staggered axis has no low neighbour.
        if (i == 0 && (m_channel->VoxelChannel<T>::offsetType() >> a & 1) != 0) {
            needed |= 1u << (kOwn - kBlockStride[a]);
        }
    }
    needed |= kTouchedTiles.bits[toward];
    if ((needed & ~m_known) != 0) {
        findNeighbours(needed & ~m_known);
    }
    if ((needed & ~m_existing) != 0) {
        return false;
    }
    for (int n = 0; n < 8; ++n) {
        const int x = n & 1;
        const int y = n >> 1 & 1;
        const int z = n >> 2;
        out_corners[n] = m_block[kOwn + tile[0][x] + tile[1][y] + tile[2][z]]
                                [cell[0][x] + cell[1][y] + cell[2][z]];
    }
    return true;
}

template <typename T, int HALO>
void VoxelSamplerLinear<T, HALO>::readCorners(const Stencil& in_stencil, T (&out_corners)[8]) const
{
    const auto [i, j, k] = in_stencil.cell;
    // From cells 1 to 3 on each axis the values are the tile's own, whatever the offset type.
    const bool inside = static_cast<unsigned>(i - 1) < 3 && static_cast<unsigned>(j - 1) < 3 &&
                        static_cast<unsigned>(k - 1) < 3;
    const T* low = nullptr;
    int stride_j = 5;
    int stride_k = 25;
    if (inside) {
        low = m_block[kOwn] + i + 5 * j + 25 * k;
    } else if (readAcrossTiles(in_stencil, out_corners)) {
        return;
    } else {
        const int slot = updateCache(m_tile.first, m_tile.second);
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
        return m_channel->backgroundValue();
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
        return m_channel->backgroundValue();
    }
    T v[8];
    readCorners(stencil, v);
    const float scale = kInvTileSideLUT[m_tile.second + 1];
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
