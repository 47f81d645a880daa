#include <skelvar/sampling/VoxelSamplerQBSpline.h>

#include <skelvar/sampling/TileFinder.h>
#include <skelvar/sampling/VoxelSamplerQBSplineHalo.h>
#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

/// What the sampler looked up, and what it holds: the tile of each depth whose haloed form it
/// reads, -1 for none. `halos` keeps the values, made as they are needed, of tiles of its own
/// choice.
template <typename T>
struct VoxelSamplerQBSpline<T>::Cache {
    Cache(SamplerSpace in_space, const VoxelShape& in_shape, const VoxelLayout& in_layout,
          const VoxelChannel<T>& in_channel)
        : finder(in_space, in_shape, in_layout), halos(in_layout, in_channel)
    {
        std::fill_n(held, kNumDepths, -1);
    }

    Detail::TileFinder finder;
    Detail::QBSplineHalos<T> halos;
    int held[kNumDepths];
};

template <typename T>
struct VoxelSamplerQBSpline<T>::Stencil {
    TileIndex tile;
    float scale;
    int cell[3];
    float fraction[3];

    bool isInterior() const
    {
        return std::all_of(cell, cell + 3, [](int c) { return c >= 1 && c <= 3; });
    }
};

template <typename T>
VoxelSamplerQBSpline<T>::VoxelSamplerQBSpline(SamplerSpace in_space,
                                              const VoxelChannel<T>* in_channel)
    : m_channel(in_channel)
{
    const std::shared_ptr<VoxelShape> shape = in_channel ? in_channel->voxelShapePtr() : nullptr;
    const std::shared_ptr<VoxelLayout> layout = shape ? shape->layoutPtr() : nullptr;
    if (layout && in_channel->blockDataPtr()) {
        m_cache = std::make_unique<Cache>(in_space, *shape, *layout, *in_channel);
    }
}

template <typename T>
VoxelSamplerQBSpline<T>::~VoxelSamplerQBSpline() = default;

template <typename T>
const TreeChannel3DBase* VoxelSamplerQBSpline<T>::channel() const
{
    return m_channel;
}

template <typename T>
bool VoxelSamplerQBSpline<T>::findStencil(const vec3f& in_position, int in_depth,
                                          Stencil& out_stencil) const
{
    assert(m_cache && "the channel has no live shape");
    Detail::TilePosition position;
    if (!m_cache || !m_cache->finder.find(in_position, in_depth, position)) {
        return false;
    }
    out_stencil.tile = position.tile;
    out_stencil.scale = position.scale;
    for (int axis = 0; axis < 3; ++axis) {
        const float u = position.cells[axis];
        out_stencil.cell[axis] = std::min(static_cast<int>(u), kTileWidth - 1);
        out_stencil.fraction[axis] = u - static_cast<float>(out_stencil.cell[axis]);
    }
    return true;
}

template <typename T>
bool VoxelSamplerQBSpline<T>::prepareToSample(const vec3f& in_position, int in_depth,
                                              float* out_scale, int* out_i, int* out_j, int* out_k,
                                              float* out_fx, float* out_fy, float* out_fz,
                                              int* out_tile_index, int* out_tile_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return false;
    }
    *out_scale = stencil.scale;
    *out_i = stencil.cell[0];
    *out_j = stencil.cell[1];
    *out_k = stencil.cell[2];
    *out_fx = stencil.fraction[0];
    *out_fy = stencil.fraction[1];
    *out_fz = stencil.fraction[2];
    *out_tile_index = stencil.tile.first;
    *out_tile_depth = stencil.tile.second;
    return true;
}

template <typename T>
int VoxelSamplerQBSpline<T>::updateCache(int in_tile_index, int in_depth) const
{
    const VoxelLayout& layout = m_cache->finder.layout();
    int index = in_tile_index;
    for (int depth = in_depth; depth >= 0 && index >= 0 && m_cache->held[depth] != index; --depth) {
        m_cache->held[depth] = index;
        index = layout.node(index, depth).parent();
    }
    return in_depth;
}

namespace {

/// The values around a cell from a tile that holds them all, `in_at` the cell's own.
template <int SJ, int SK, typename T>
void readBlock(const T* in_at, T (&out_values)[27])
{
    T* out = out_values;
    for (int k = -1; k <= 1; ++k) {
        for (int j = -1; j <= 1; ++j) {
            for (int i = -1; i <= 1; ++i) {
                *out++ = in_at[i + SJ * j + SK * k];
            }
        }
    }
}

/// The values around a cell from a tile and those around it.
template <typename T>
void readAcross(const TileBlock<T>& in_block, const int (&in_cell)[3], T (&out_values)[27])
{
    T* out = out_values;
    const Detail::AxisTap x[3] = {Detail::axisTap(in_cell[0] - 1), Detail::axisTap(in_cell[0]),
                                  Detail::axisTap(in_cell[0] + 1)};
    for (int k = -1; k <= 1; ++k) {
        const Detail::AxisTap z = Detail::axisTap(in_cell[2] + k);
        for (int j = -1; j <= 1; ++j) {
            const Detail::AxisTap y = Detail::axisTap(in_cell[1] + j);
            const int row = 5 * y.cell + 25 * z.cell;
            const VoxelTile<T, 0, 5>* const* const tiles =
                &in_block[Detail::tilePlace(0, y.side, z.side)];
            for (int i = 0; i < 3; ++i) {
                *out++ = (*tiles[x[i].side])(row + x[i].cell);
            }
        }
    }
}

/// The spline, or a derivative of it, by the weights on each axis: x first, then y, then z.
template <typename T>
T weighBlock(const T (&in_values)[27], const Detail::QBSplineWeights& in_x,
             const Detail::QBSplineWeights& in_y, const Detail::QBSplineWeights& in_z)
{
    T planes[3];
    for (int k = 0; k < 3; ++k) {
        T rows[3];
        for (int j = 0; j < 3; ++j) {
            rows[j] = Detail::weighAlong(in_x, in_values + 3 * j + 9 * k, 1);
        }
        planes[k] = Detail::weighAlong(in_y, rows, 1);
    }
    return Detail::weighAlong(in_z, planes, 1);
}

}  // namespace

template <typename T>
void VoxelSamplerQBSpline<T>::readValues(const Stencil& in_stencil, T (&out_values)[27]) const
{
    const int(&cell)[3] = in_stencil.cell;
    const int place = cell[0] + 5 * cell[1] + 25 * cell[2];
    if (m_cache->held[in_stencil.tile.second] != in_stencil.tile.first) {
        if (in_stencil.isInterior()) {
            readBlock<5, 25>(m_channel->tile(in_stencil.tile).data() + place, out_values);
            return;
        }
        updateCache(in_stencil.tile.first, in_stencil.tile.second);
    }
    Detail::QBSplineHalos<T>& halos = m_cache->halos;
    Detail::TileNeighbours<T>& around = halos.neighbours(in_stencil.tile);
    const Detail::RegionSet touched =
        Detail::kTilesToward[Detail::regionOfCell(cell[0], cell[1], cell[2])];
    if (!halos.hasAll(around, touched)) {
        const VoxelTile<T, 1, 5>& tile = halos.fill(in_stencil.tile, touched);
        readBlock<7, 49>(&tile(cell[0], cell[1], cell[2]), out_values);
    } else if (in_stencil.isInterior()) {
        readBlock<5, 25>(around.tile().data() + place, out_values);
    } else {
        readAcross(around.block(), cell, out_values);
    }
}

template <typename T>
T VoxelSamplerQBSpline<T>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return m_channel->backgroundValue();
    }
    T values[27];
    readValues(stencil, values);
    return weighBlock(values, Detail::qbSplineWeights(stencil.fraction[0]),
                      Detail::qbSplineWeights(stencil.fraction[1]),
                      Detail::qbSplineWeights(stencil.fraction[2]));
}

template <typename T>
T VoxelSamplerQBSpline<T>::sampleGradient(const vec3f& in_position, Gradient* out_gradient) const
{
    Stencil stencil;
    if (!findStencil(in_position, kMaxTileDepth, stencil)) {
        *out_gradient = Gradient{};
        return m_channel->backgroundValue();
    }
    T values[27];
    readValues(stencil, values);
    Detail::QBSplineWeights weights[3];
    Detail::QBSplineWeights slopes[3];
    for (int axis = 0; axis < 3; ++axis) {
        weights[axis] = Detail::qbSplineWeights(stencil.fraction[axis]);
        slopes[axis] = Detail::qbSplineDerivative(stencil.fraction[axis]);
    }
    *out_gradient = {weighBlock(values, slopes[0], weights[1], weights[2]),
                     weighBlock(values, weights[0], slopes[1], weights[2]),
                     weighBlock(values, weights[0], weights[1], slopes[2])};
    return weighBlock(values, weights[0], weights[1], weights[2]);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerQBSpline<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
