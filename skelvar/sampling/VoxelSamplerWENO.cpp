#include <skelvar/sampling/VoxelSamplerWENO.h>

#include <skelvar/sampling/TileFinder.h>
#include <skelvar/sampling/VoxelSamplerWENOHalo.h>
#include <skelvar/sampling/VoxelSamplerWENOTile.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

template <typename T>
struct VoxelSamplerWENO<T>::Stencil {
    TileIndex tile{-1, -1};
    float scale = 0.0f;
    int cell[3] = {};
    float fraction[3] = {};

    bool isOfSameCell(const Stencil& in_other) const
    {
        return tile == in_other.tile && std::equal(cell, cell + 3, in_other.cell);
    }
};

template <typename T>
struct VoxelSamplerWENO<T>::Cache {
    Cache(SamplerSpace in_space, const VoxelShape& in_shape, const VoxelLayout& in_layout,
          const VoxelChannel<T>& in_channel)
        : finder(in_space, in_shape, in_layout), halos(finder.accessor(), in_channel)
    {
    }

    Detail::TileFinder finder;
    Detail::HalosWENO<T> halos;
    Stencil last;  ///< whose values stand in `block`
    Detail::BlockWENO block;
};

template <typename T>
VoxelSamplerWENO<T>::VoxelSamplerWENO(SamplerSpace in_space, const VoxelChannel<T>* in_channel)
    : m_channel(in_channel)
{
    const std::shared_ptr<VoxelShape> shape = in_channel ? in_channel->voxelShapePtr() : nullptr;
    const std::shared_ptr<VoxelLayout> layout = shape ? shape->layoutPtr() : nullptr;
    if (layout && in_channel->blockDataPtr()) {
        m_cache = std::make_unique<Cache>(in_space, *shape, *layout, *in_channel);
    }
}

template <typename T>
VoxelSamplerWENO<T>::~VoxelSamplerWENO() = default;

template <typename T>
const TreeChannel3DBase* VoxelSamplerWENO<T>::channel() const
{
    return m_channel;
}

template <typename T>
bool VoxelSamplerWENO<T>::findStencil(const vec3f& in_position, int in_depth,
                                      Stencil& out_stencil) const
{
    assert(m_cache && "the channel has no live shape");
    Detail::TilePosition position;
    if (!m_cache || !m_cache->finder.find(in_position, in_depth, position)) {
        return false;
    }
    out_stencil.tile = position.tile;
    out_stencil.scale = position.scale;
    const vec3f& offset = m_channel->offset();
    for (int axis = 0; axis < 3; ++axis) {
        const float u = position.cells[axis] - offset[axis];
        out_stencil.cell[axis] = std::min(Detail::cellCoordinate(u), kTileWidth - 1);
        out_stencil.fraction[axis] = u - static_cast<float>(out_stencil.cell[axis]);
    }
    return true;
}

template <typename T>
bool VoxelSamplerWENO<T>::prepareToSample(const vec3f& in_position, int in_depth, float* out_scale,
                                          int* out_i, int* out_j, int* out_k, float* out_fx,
                                          float* out_fy, float* out_fz, int* out_tile_index,
                                          int* out_tile_depth) const
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
int VoxelSamplerWENO<T>::updateCache(int in_tile_index, int in_depth) const
{
    m_cache->halos.neighbours({in_tile_index, in_depth});
    return in_depth;
}

template <typename T>
T VoxelSamplerWENO<T>::sample(const vec3f& in_position, int in_depth) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return m_channel->backgroundValue();
    }
    if (!stencil.isOfSameCell(m_cache->last)) {
        m_cache->halos.readBlock(stencil.tile, stencil.cell, m_cache->block);
        m_cache->last = stencil;
    }
    return Detail::interpolateBlockWENO3(m_cache->block, stencil.fraction[0], stencil.fraction[1],
                                         stencil.fraction[2]);
}

template class VoxelSamplerWENO<float>;

}  // namespace Skelvar
