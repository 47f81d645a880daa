#pragma once

#include <skelvar/voxel/VoxelTileInitializer.h>

namespace Skelvar {

/// Leaves new tiles as the growth of the array left them, for callers that write every value
/// themselves. Without state: any thread.
template <typename Channel>
class SKELVAR_API NOPVoxelTileInitializer : public VoxelTileInitializer<Channel> {
public:
    explicit NOPVoxelTileInitializer(Channel* in_channel) : m_channel(in_channel) {}

    void reset() override {}
    void initializeTile(const TileIndex&) override {}
    std::shared_ptr<VoxelTileInitializer<Channel>> copy(Channel* io_channel) const override
    {
        return std::make_shared<NOPVoxelTileInitializer>(io_channel);
    }

private:
    Channel* m_channel;
};

}  // namespace Skelvar
