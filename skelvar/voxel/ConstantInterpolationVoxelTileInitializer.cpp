#include <skelvar/voxel/ConstantInterpolationVoxelTileInitializer.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

namespace Skelvar {

template <typename Channel>
void ConstantInterpolationVoxelTileInitializer<Channel>::initializeTile(const TileIndex& in_index)
{
    const VoxelLayout& layout = m_channel->voxelShapePtr()->layout();
    const VoxelLayoutNode& node = layout.node(in_index);
    typename Channel::value_type value = m_channel->backgroundValue();
    // By place: a node that was just added need not be linked to its parent yet.
    const TileIndex parent =
        layout.template nodeIndex<true>(node.i(), node.j(), node.k(), in_index.second - 1);
    if (parent.first >= 0) {
        int ci = 0;
        int cj = 0;
        int ck = 0;
        layout.node(parent).childIJK(node, ci, cj, ck);
        value = m_channel->tile(parent)(ci, cj, ck);
    }
    m_channel->tile(in_index).set(value);
}

template <typename Channel>
std::shared_ptr<VoxelTileInitializer<Channel>>
ConstantInterpolationVoxelTileInitializer<Channel>::copy(Channel* io_channel) const
{
    return std::make_shared<ConstantInterpolationVoxelTileInitializer>(io_channel);
}

#define SKELVAR_INSTANTIATE(T) \
    template class ConstantInterpolationVoxelTileInitializer<VoxelChannel<T>>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
