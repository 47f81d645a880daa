#pragma once

#include <skelvar/tree/HaloedVoxelLayoutNodeVisitor.h>
#include <skelvar/voxel/VoxelChannel.h>

#include <memory>

// Visitors that carry the values of tiles up the tree: each gives one cell of the parent, the one
// that the tile covers, a value made of the tile's. A whole channel is carried up by
// `layout.accept(&kernel, VoxelLayout::ParallelByDepthBottomUp)`, in which every tile is final when
// it is read. Cells without a tile below keep their values. Each borrows the channel, which must
// stand on the layout that is walked. Threads may share a kernel in the orders by depth.
namespace Skelvar {

/// The mean of the tile, as `VoxelTile::computeTileAverage` gives it.
template <typename T>
class SKELVAR_API VoxelChannelAverageFineToCoarseKernel : public VoxelLayoutNodeVisitor {
public:
    explicit VoxelChannelAverageFineToCoarseKernel(VoxelChannel<T>* io_channel);

    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override;

private:
    VoxelChannel<T>* m_channel;
    std::shared_ptr<const VoxelLayout> m_layout;
};

/// The mean of the tile's 125 values and of the up to 218 next to it in neighbours of its depth,
/// summed in element order of the haloed tile. Of `bool`, whether any of them is true.
template <typename T>
class SKELVAR_API VoxelChannelNeighborAverageFineToCoarseKernel
    : public HaloedVoxelLayoutNodeVisitor {
public:
    explicit VoxelChannelNeighborAverageFineToCoarseKernel(VoxelChannel<T>* io_channel);

    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override;

private:
    VoxelChannel<T>* m_channel;
    std::shared_ptr<const VoxelLayout> m_layout;
};

/// The greatest of the same values, component by component.
template <typename T>
class SKELVAR_API VoxelChannelNeighborMaxFineToCoarseKernel : public HaloedVoxelLayoutNodeVisitor {
public:
    explicit VoxelChannelNeighborMaxFineToCoarseKernel(VoxelChannel<T>* io_channel);

    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override;

private:
    VoxelChannel<T>* m_channel;
    std::shared_ptr<const VoxelLayout> m_layout;
};

#define SKELVAR_EXTERN(T) extern template class VoxelChannelAverageFineToCoarseKernel<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

/// Element types of the kernels that look at neighbours.
#define SKELVAR_FOR_NEIGHBOR_KERNEL_TYPES(X) X(bool) X(float) X(vec3f)

#define SKELVAR_EXTERN(T)                                                   \
    extern template class VoxelChannelNeighborAverageFineToCoarseKernel<T>; \
    extern template class VoxelChannelNeighborMaxFineToCoarseKernel<T>;
SKELVAR_FOR_NEIGHBOR_KERNEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
