#include <skelvar/sampling/VoxelSamplerWENO.h>

#include <skelvar/sampling/SampleGroups.h>
#include <skelvar/sampling/VoxelSamplerWENOHalo.h>
#include <skelvar/sampling/VoxelSamplerWENOTile.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <algorithm>
#include <cassert>

namespace Skelvar {

template <typename T>
struct VoxelSamplerWENO<T>::Reading {
    Detail::BlockWENO block;

    void take(const Detail::StencilAcross<T, 4>& in_values)
    {
        Detail::readBlockWENO(in_values, block);
    }
    /// By halves: the steps wait on one another, so those of many positions are worked off in turn.
    using Half = Detail::LinesWENO;
    Half begin(Detail::AxisFloats in_fraction) const
    {
        return Detail::stepAlongX(block, in_fraction[0], in_fraction[1], in_fraction[2]);
    }
    static T finish(const Half& in_half) { return Detail::stepAlongYZ(in_half); }
    T value(Detail::AxisFloats in_fraction) const { return finish(begin(in_fraction)); }
};

template <typename T>
struct VoxelSamplerWENO<T>::Cache {
    Cache(Detail::TileFinder& io_finder, const VoxelChannel<T>& in_channel)
        : halos(io_finder, in_channel)
    {
    }

    Detail::HalosWENO<T> halos;
    Reading reading;
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
    const vec3f p = this->toTree(in_position);
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
inline Detail::StencilReach VoxelSamplerWENO<T>::reach() const
{
    const VoxelChannel<T>& channel = *this->m_channel;
    const int offset = channel.VoxelChannel<T>::offsetType();
    return {Detail::axisFloats(channel.VoxelChannel<T>::offset()),
            Detail::AxisInts{1 + (offset & 1), 1 + (offset >> 1 & 1), 1 + (offset >> 2 & 1), 0},
            Detail::AxisInts{2, 2, 2, 0}};
}

template <typename T>
inline auto VoxelSamplerWENO<T>::reading() const -> Reading&
{
    return m_cache->reading;
}

template <typename T>
bool VoxelSamplerWENO<T>::readAny(const vec3f& in_position, int in_depth, Reading& out_reading,
                                  Detail::AxisFloats& out_fraction) const
{
    Stencil stencil;
    if (!findStencil(in_position, in_depth, stencil)) {
        return false;
    }
    m_cache->halos.readBlock(*stencil.tile, stencil.cell, out_reading.block);
    out_fraction = Detail::axisFloats(stencil.fraction);
    return true;
}

template <typename T>
T VoxelSamplerWENO<T>::sample(const vec3f& in_position, int in_depth) const
{
    return this->sampleOne(*this, in_position, in_depth, nullptr);
}

template <typename T>
void VoxelSamplerWENO<T>::sample(const vec3f* in_positions, long long in_count, T* out_values) const
{
    this->template sampleGroups<32>(*this, in_positions, in_count, out_values, nullptr);
}

template class VoxelSamplerWENO<float>;

}  // namespace Skelvar
