#include <skelvar/sampling/VoxelSamplerQBSpline.h>

#include <skelvar/sampling/TileFinder.h>
#include <skelvar/sampling/VoxelSamplerQBSplineHalo.h>
#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

template <typename T>
struct VoxelSamplerQBSpline<T>::Stencil {
    TileIndex tile{-1, -1};
    float scale = 0.0f;
    int cell[3] = {};
    float fraction[3] = {};

    bool isInterior() const
    {
        return std::all_of(cell, cell + 3, [](int c) { return c >= 1 && c <= 3; });
    }
    bool isOfSameCell(const Stencil& in_other) const
    {
        return tile == in_other.tile && std::equal(cell, cell + 3, in_other.cell);
    }
};

/// What the sampler looked up, and what it holds: the tile of each depth whose haloed form it
/// reads, -1 for none. `halos` keeps the values, made as they are needed, of tiles of its own
/// choice.
template <typename T>
struct VoxelSamplerQBSpline<T>::Cache {
    Cache(SamplerSpace in_space, const VoxelShape& in_shape, const VoxelLayout& in_layout,
          const VoxelChannel<T>& in_channel)
        : finder(in_space, in_shape, in_layout), halos(finder.accessor(), in_channel)
    {
        std::fill_n(held, kNumDepths, -1);
    }

    Detail::TileFinder finder;
    Detail::QBSplineHalos<T> halos;
    int held[kNumDepths];
    Stencil last;  ///< whose values stand in `block`
    Detail::QBSplineBlock<T> block{};
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
    m_cache->last = Stencil{};
    for (int depth = in_depth; depth >= 0 && index >= 0 && m_cache->held[depth] != index; --depth) {
        m_cache->held[depth] = index;
        index = layout.node(index, depth).parent();
    }
    return in_depth;
}

namespace {

/// The values around a cell from a tile that holds them all, `in_at` the cell's own.
template <int SJ, int SK, typename T>
void readBlock(const T* in_at, Detail::QBSplineBlock<T>& out_block)
{
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 3; ++j) {
            const T* const row = in_at + SJ * (j - 1) + SK * (k - 1);
            for (int i = 0; i < 3; ++i) {
                out_block.values[12 * i + 4 * j + k] = row[i - 1];
            }
        }
    }
}

/// The values around a cell from a tile and those around it.
template <typename T>
void readAcross(const TileBlock<T>& in_block, const int (&in_cell)[3],
                Detail::QBSplineBlock<T>& out_block)
{
    const Detail::AxisTap x[3] = {Detail::axisTap(in_cell[0] - 1), Detail::axisTap(in_cell[0]),
                                  Detail::axisTap(in_cell[0] + 1)};
    for (int k = 0; k < 3; ++k) {
        const Detail::AxisTap z = Detail::axisTap(in_cell[2] - 1 + k);
        for (int j = 0; j < 3; ++j) {
            const Detail::AxisTap y = Detail::axisTap(in_cell[1] - 1 + j);
            const int row = 5 * y.cell + 25 * z.cell;
            const VoxelTile<T, 0, 5>* const* const tiles =
                &in_block[Detail::tilePlace(0, y.side, z.side)];
            for (int i = 0; i < 3; ++i) {
                out_block.values[12 * i + 4 * j + k] = (*tiles[x[i].side])(row + x[i].cell);
            }
        }
    }
}

}  // namespace

template <typename T>
const Detail::QBSplineBlock<T>& VoxelSamplerQBSpline<T>::readBlockOf(
    const Stencil& in_stencil) const
{
    Cache& cache = *m_cache;
    if (in_stencil.isOfSameCell(cache.last)) {
        return cache.block;
    }
    const int(&cell)[3] = in_stencil.cell;
    const int place = cell[0] + 5 * cell[1] + 25 * cell[2];
    if (cache.held[in_stencil.tile.second] != in_stencil.tile.first) {
        if (in_stencil.isInterior()) {
            readBlock<5, 25>(m_channel->tile(in_stencil.tile).data() + place, cache.block);
            cache.last = in_stencil;
            return cache.block;
        }
        updateCache(in_stencil.tile.first, in_stencil.tile.second);
    }
    Detail::TileNeighbours<T>& around = cache.halos.neighbours(in_stencil.tile);
    const Detail::RegionSet touched =
        Detail::kTilesToward[Detail::regionOfCell(cell[0], cell[1], cell[2])];
    if (!cache.halos.hasAll(around, touched)) {
        const VoxelTile<T, 1, 5>& tile = cache.halos.fill(in_stencil.tile, touched);
        readBlock<7, 49>(&tile(cell[0], cell[1], cell[2]), cache.block);
    } else if (in_stencil.isInterior()) {
        readBlock<5, 25>(around.tile().data() + place, cache.block);
    } else {
        readAcross(around.block(), cell, cache.block);
    }
    cache.last = in_stencil;
    return cache.block;
}

template <typename T>
T VoxelSamplerQBSpline<T>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return m_channel->backgroundValue();
    }
    const Detail::QBSplineBlock<T>& block = readBlockOf(stencil);
    const auto rows = block.alongX(Detail::qbSplineWeights(stencil.fraction[0]));
    const auto planes = rows.alongY(Detail::qbSplineWeights(stencil.fraction[1]));
    return planes.alongZ(Detail::qbSplineWeights(stencil.fraction[2]));
}

template <typename T>
T VoxelSamplerQBSpline<T>::sampleGradient(const vec3f& in_position, Gradient* out_gradient) const
{
    Stencil stencil;
    if (!findStencil(in_position, kMaxTileDepth, stencil)) {
        *out_gradient = Gradient{};
        return m_channel->backgroundValue();
    }
    Detail::QBSplineWeights weights[3];
    Detail::QBSplineWeights slopes[3];
    for (int axis = 0; axis < 3; ++axis) {
        weights[axis] = Detail::qbSplineWeights(stencil.fraction[axis]);
        slopes[axis] = Detail::qbSplineDerivative(stencil.fraction[axis]);
    }
    const Detail::QBSplineBlock<T>& block = readBlockOf(stencil);
    const auto rows = block.alongX(weights[0]);
    const auto planes = rows.alongY(weights[1]);
    *out_gradient = {block.alongX(slopes[0]).alongY(weights[1]).alongZ(weights[2]),
                     rows.alongY(slopes[1]).alongZ(weights[2]), planes.alongZ(slopes[2])};
    return planes.alongZ(weights[2]);
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSamplerQBSpline<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
