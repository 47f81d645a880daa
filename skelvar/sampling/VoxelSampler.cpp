#include <skelvar/sampling/VoxelSampler.h>

#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <cassert>

namespace Skelvar {

namespace {

/// The layout on which the channel's values stand, null if there is none.
template <typename T>
const VoxelLayout* layoutToSample(const VoxelChannel<T>* in_channel)
{
    if (in_channel == nullptr || !in_channel->blockDataPtr()) {
        return nullptr;
    }
    const auto shape = in_channel->voxelShapePtr();
    return shape ? shape->layoutPtr().get() : nullptr;
}

}  // namespace

template <typename T>
VoxelSampler<T>::VoxelSampler(SamplerSpace in_space, const VoxelChannel<T>* in_channel)
    : m_channel(in_channel), m_finder(layoutToSample(in_channel)), m_fine(m_finder.layout())
{
    if (in_space == eWorldSpace && m_finder.layout() != nullptr) {
        m_shape = in_channel->voxelShapePtr().get();
    }
}

template <typename T>
const TreeChannel3DBase* VoxelSampler<T>::channel() const
{
    return m_channel;
}

template <typename T>
T VoxelSampler<T>::outside() const
{
    return m_channel != nullptr ? m_channel->backgroundValue() : T{};
}

template <typename T>
vec3f VoxelSampler<T>::fromWorld(const vec3f& in_position) const
{
    const vec3f p = orvel::Math::transformPoint(in_position, m_shape->toWorld().fromWorld);
    return p * (1.0f / m_finder.layout()->MVS());
}

template <typename T>
const VoxelTile<T, 0, 5>* VoxelSampler<T>::fineTiles(int in_depth) const
{
    assert(m_finder.layout() && "a channel without a live shape cannot be sampled");
    if (m_finder.layout() != nullptr && in_depth >= kMaxTileDepth) {
        const auto& tiles = m_channel->tiles(kMaxTileDepth);
        if (tiles.size() > 0) {
            return &tiles[0];
        }
    }
    m_last = Detail::kNoFineCell;
    return nullptr;
}

template <typename T>
bool VoxelSampler<T>::prepareToSample(const vec3f& in_position, int in_depth, float* out_scale,
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
    *out_tile_index = stencil.tile->index();
    *out_tile_depth = stencil.tile->depth();
    return true;
}

#define SKELVAR_INSTANTIATE(T) template class VoxelSampler<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
