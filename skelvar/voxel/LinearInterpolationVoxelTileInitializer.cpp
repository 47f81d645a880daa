#include <skelvar/voxel/LinearInterpolationVoxelTileInitializer.h>

#include <skelvar/sampling/VoxelSamplerLinear.h>
#include <skelvar/voxel/VoxelShape.h>

namespace Skelvar {

template <typename Channel>
LinearInterpolationVoxelTileInitializer<Channel>::LinearInterpolationVoxelTileInitializer(
    Channel* io_channel)
    : m_channel(io_channel)
{
}

template <typename Channel>
LinearInterpolationVoxelTileInitializer<Channel>::~LinearInterpolationVoxelTileInitializer() =
    default;

template <typename Channel>
void LinearInterpolationVoxelTileInitializer<Channel>::reset()
{
    m_sampler.reset();
}

template <typename Channel>
void LinearInterpolationVoxelTileInitializer<Channel>::initializeTile(const TileIndex& in_index)
{
    using T = typename Channel::value_type;
    if (!m_sampler) {
        m_sampler = std::make_unique<VoxelSamplerLinear<T, 1>>(eTreeSpace, m_channel);
    }
    const VoxelLayoutNode& node = m_channel->voxelShapePtr()->layout().node(in_index);
    const float side = static_cast<float>(VoxelLayout::cellWidth(in_index.second));
    const vec3f& offset = m_channel->offset();
    const vec3i corner = node.corner();
    float places[3][kTileWidth];
    for (int a = 0; a < 3; ++a) {
        places[a][0] = static_cast<float>(corner[a]) + side * offset[a];
        for (int n = 1; n < kTileWidth; ++n) {
            places[a][n] = places[a][n - 1] + side;
        }
    }
    m_sampler->sampleTile(places, in_index.second - 1, m_channel->tile(in_index).data());
}

template <typename Channel>
std::shared_ptr<VoxelTileInitializer<Channel>>
LinearInterpolationVoxelTileInitializer<Channel>::copy(Channel* io_channel) const
{
    return std::make_shared<LinearInterpolationVoxelTileInitializer>(io_channel);
}

#define SKELVAR_INSTANTIATE(T) \
    template class LinearInterpolationVoxelTileInitializer<VoxelChannel<T>>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
