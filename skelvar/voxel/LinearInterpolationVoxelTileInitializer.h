#pragma once

#include <skelvar/voxel/VoxelChannel.h>

namespace Skelvar {

template <typename T, int HALO>
class SKELVAR_API_FORWARD VoxelSamplerLinear;

/// Gives each cell of a new tile what a linear sampler reads at the place of its value from the
/// tiles above it; at depth 0 the background value. Belongs to one thread: each thread that fills
/// tiles takes a `copy`.
template <typename Channel>
class SKELVAR_API LinearInterpolationVoxelTileInitializer : public VoxelTileInitializer<Channel> {
public:
    explicit LinearInterpolationVoxelTileInitializer(Channel* io_channel);
    ~LinearInterpolationVoxelTileInitializer() override;

    /// Lets go of the sampler, which remembers tiles by indices and values that may have changed.
    void reset() override;
    /// Needs the tiles above to be filled.
    void initializeTile(const TileIndex& in_index) override;
    /// Starts without a sampler.
    std::shared_ptr<VoxelTileInitializer<Channel>> copy(Channel* io_channel) const override;

private:
    Channel* m_channel;
    std::unique_ptr<VoxelSamplerLinear<typename Channel::value_type, 1>> m_sampler;  ///< on use
};

#define SKELVAR_EXTERN(T) \
    extern template class LinearInterpolationVoxelTileInitializer<VoxelChannel<T>>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
