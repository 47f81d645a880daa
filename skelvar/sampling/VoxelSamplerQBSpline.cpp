#include <skelvar/sampling/VoxelSamplerQBSpline.h>

#include <skelvar/sampling/VoxelSamplerQBSplineHalo.h>
#include <skelvar/sampling/VoxelSamplerQBSplineTile.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

/// What the sampler holds: the tile of each depth whose haloed form it reads, -1 for none. `halos`
/// keeps the values, made as they are needed, of tiles of its own choice.
template <typename T>
struct VoxelSamplerQBSpline<T>::Cache {
    Cache(Detail::TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : halos(io_finder, in_channel)
    {
        std::fill_n(held, kNumDepths, -1);
    }

    Detail::QBSplineHalos<T> halos;
    int held[kNumDepths];
    typename VoxelSampler<T>::CellOfTile last{};  ///< whose values stand in `block`
    Detail::QBSplineBlock<T> block;
};

template <typename T>
VoxelSamplerQBSpline<T>::VoxelSamplerQBSpline(SamplerSpace in_space,
                                              const VoxelChannel<T>* in_channel)
    : VoxelSampler<T>(in_space, in_channel)
{
    if (this->m_finder.layout() != nullptr) {
        m_cache = std::make_unique<Cache>(this->m_finder, *in_channel);
    }
}

template <typename T>
VoxelSamplerQBSpline<T>::~VoxelSamplerQBSpline() = default;

template <typename T>
bool VoxelSamplerQBSpline<T>::findStencil(const vec3f& in_position, int in_depth,
                                          Stencil& out_stencil) const
{
    assert(m_cache && "a channel without a live shape cannot be sampled");
    const vec3f p = this->m_shape == nullptr ? in_position : this->toTree(in_position);
    if (!this->enterTile(p, in_depth, out_stencil)) {
        return false;
    }
    const vec3i& corner = out_stencil.tile->corner();
    out_stencil.scale = static_cast<float>(kTileSideLUT[out_stencil.tile->depth() + 1]);
    for (int a = 0; a < 3; ++a) {
        const float u = (p[a] - static_cast<float>(corner[a])) / out_stencil.scale;
        out_stencil.cell[a] = std::min(static_cast<int>(u), kTileWidth - 1);
        out_stencil.fraction[a] = u - static_cast<float>(out_stencil.cell[a]);
    }
    return true;
}

template <typename T>
int VoxelSamplerQBSpline<T>::updateCache(int in_tile_index, int in_depth) const
{
    const VoxelLayout& layout = *this->m_finder.layout();
    int index = in_tile_index;
    m_cache->last = typename VoxelSampler<T>::CellOfTile{};
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
    const T* const first = in_at - 1 - SJ - SK;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const T* const at = first + i + SJ * j;
            out_block.setLine(i, j, at[0], at[SK], at[2 * SK]);
        }
    }
}

/// The values around a cell from a tile and those around it.
template <typename T>
void readAcross(const Detail::TileNeighbours& in_around, const VoxelTile<T, 0, 5>* in_tiles,
                const int (&in_cell)[3], Detail::QBSplineBlock<T>& out_block)
{
    const Detail::StencilAcross<T, 3> values(in_around, in_tiles,
                                             {in_cell[0] - 1, in_cell[1] - 1, in_cell[2] - 1});
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            out_block.setLine(i, j, values(i, j, 0), values(i, j, 1), values(i, j, 2));
        }
    }
}

}  // namespace

template <typename T>
const Detail::QBSplineBlock<T>& VoxelSamplerQBSpline<T>::readBlockOf(
    const Stencil& in_stencil) const
{
    Cache& cache = *m_cache;
    const typename VoxelSampler<T>::CellOfTile place(in_stencil);
    if (place == cache.last) {
        return cache.block;
    }
    Detail::TileNeighbours& around = *in_stencil.tile;
    const VoxelTile<T, 0, 5>* const tiles = this->m_channel->tilePtr(0, place.depth);
    const VoxelTile<T, 0, 5>& tile = tiles[place.index];
    if (!cache.last.isOfTile(around)) {
        Detail::fetchTile(tile);
    }
    const int(&cell)[3] = in_stencil.cell;
    const bool is_interior = std::all_of(cell, cell + 3, [](int c) { return c >= 1 && c <= 3; });
    if (cache.held[place.depth] != place.index) {
        if (is_interior) {
            readBlock<5, 25>(&tile(cell[0], cell[1], cell[2]), cache.block);
            cache.last = place;
            return cache.block;
        }
        updateCache(place.index, place.depth);
    }
    const Detail::RegionSet touched =
        Detail::kTilesToward[Detail::regionOfCell(cell[0], cell[1], cell[2])];
    if (!this->m_finder.hasAll(around, touched)) {
        const VoxelTile<T, 1, 5>& haloed = cache.halos.fill(around, touched);
        readBlock<7, 49>(&haloed(cell[0], cell[1], cell[2]), cache.block);
    } else if (is_interior) {
        readBlock<5, 25>(&tile(cell[0], cell[1], cell[2]), cache.block);
    } else {
        readAcross(around, tiles, cell, cache.block);
    }
    cache.last = place;
    return cache.block;
}

template <typename T>
T VoxelSamplerQBSpline<T>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return this->outside();
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
        return this->outside();
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
