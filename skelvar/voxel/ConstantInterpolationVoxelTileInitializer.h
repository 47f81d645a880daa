#pragma once

#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar {

/// Gives all cells of a new tile the value of the parent's cell that the tile covers; the
/// background value where there is no parent. Bulk insertion fills tiles by rising depth. A single
/// `addNode` that also adds tiles between, as grading does, fills its own tile first of all, while
/// the parent is not there: that tile gets the background value. Without state: any thread.
template <typename Channel>
class SKELVAR_API ConstantInterpolationVoxelTileInitializer : public VoxelTileInitializer<Channel> {
public:
    explicit ConstantInterpolationVoxelTileInitializer(Channel* io_channel) : m_channel(io_channel)
    {
    }

    void reset() override {}
    void initializeTile(const TileIndex& in_index) override;
    std::shared_ptr<VoxelTileInitializer<Channel>> copy(Channel* io_channel) const override;

private:
    Channel* m_channel;
};

#define SKELVAR_EXTERN(T) \
    extern template class ConstantInterpolationVoxelTileInitializer<VoxelChannel<T>>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
