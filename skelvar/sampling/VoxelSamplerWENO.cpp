#include <skelvar/sampling/VoxelSamplerWENO.h>

#include <skelvar/sampling/VoxelSamplerWENOHalo.h>
#include <skelvar/sampling/VoxelSamplerWENOTile.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

template <typename T>
struct VoxelSamplerWENO<T>::Cache {
    Cache(Detail::TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : halos(io_finder, in_channel)
    {
    }

    Detail::HalosWENO<T> halos;
    typename VoxelSampler<T>::CellOfTile last{};  ///< whose values stand in `block`
    Detail::BlockWENO block;
};

template <typename T>
VoxelSamplerWENO<T>::VoxelSamplerWENO(SamplerSpace in_space, const VoxelChannel<T>* in_channel)
    : VoxelSampler<T>(in_space, in_channel)
{
    if (this->m_finder.layout() != nullptr) {
        m_cache = std::make_unique<Cache>(this->m_finder, *in_channel);
    }
}

template <typename T>
VoxelSamplerWENO<T>::~VoxelSamplerWENO() = default;

template <typename T>
bool VoxelSamplerWENO<T>::findStencil(const vec3f& in_position, int in_depth,
                                      Stencil& out_stencil) const
{
    assert(m_cache && "a channel without a live shape cannot be sampled");
    const vec3f p = this->m_shape == nullptr ? in_position : this->toTree(in_position);
    if (!this->enterTile(p, in_depth, out_stencil)) {
        return false;
    }
    const vec3i& corner = out_stencil.tile->corner();
    out_stencil.scale = static_cast<float>(kTileSideLUT[out_stencil.tile->depth() + 1]);
    const vec3f& offset = this->m_channel->VoxelChannel<T>::offset();
    for (int a = 0; a < 3; ++a) {
        const float u = (p[a] - static_cast<float>(corner[a])) / out_stencil.scale - offset[a];
        out_stencil.cell[a] = std::min(Detail::cellCoordinate(u), kTileWidth - 1);
        out_stencil.fraction[a] = u - static_cast<float>(out_stencil.cell[a]);
    }
    return true;
}

template <typename T>
int VoxelSamplerWENO<T>::updateCache(int in_tile_index, int in_depth) const
{
    this->m_finder.at({in_tile_index, in_depth});
    return in_depth;
}

template <typename T>
T VoxelSamplerWENO<T>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return this->outside();
    }
    Cache& cache = *m_cache;
    const typename VoxelSampler<T>::CellOfTile place(stencil);
    if (place != cache.last) {
        if (!cache.last.isOfTile(*stencil.tile)) {
            Detail::fetchTile(this->m_channel->tile(place.index, place.depth));
        }
        cache.halos.readBlock(*stencil.tile, stencil.cell, cache.block);
        cache.last = place;
    }
    return Detail::interpolateBlockWENO3(cache.block, stencil.fraction[0], stencil.fraction[1],
                                         stencil.fraction[2]);
}

template class VoxelSamplerWENO<float>;

}  // namespace Skelvar
