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
    const vec3f first = {static_cast<float>(node.i()) + side * offset[0],
                         static_cast<float>(node.j()) + side * offset[1],
                         static_cast<float>(node.k()) + side * offset[2]};
    T* value = m_channel->tile(in_index).data();
    vec3f position = first;
    for (int z = 0; z < kTileWidth; ++z, position[2] += side) {
        position[1] = first[1];
        for (int y = 0; y < kTileWidth; ++y, position[1] += side) {
            position[0] = first[0];
            for (int x = 0; x < kTileWidth; ++x, position[0] += side) {
                *value++ = m_sampler->sample(position, in_index.second - 1);
            }
        }
    }
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
