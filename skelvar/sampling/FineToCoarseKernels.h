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

/// What a kernel makes of a tile.
enum class FineToCoarse {
    eAverage,          ///< the mean of the tile, as `VoxelTile::computeTileAverage` gives it
    eNeighborAverage,  ///< of the tile's 125 values and of the up to 218 next to it in neighbours
                       ///< of its depth the mean, summed in element order of the haloed tile; of
                       ///< `bool` whether any of them is true
    eNeighborMax,      ///< the greatest of the same values, component by component
};

template <typename T, FineToCoarse Reduction>
class SKELVAR_API FineToCoarseKernel : public HaloedVoxelLayoutNodeVisitor {
public:
    /// Throws `std::runtime_error` for a channel without a layout.
    explicit FineToCoarseKernel(VoxelChannel<T>* io_channel);

    using VoxelLayoutNodeVisitor::preVisit;
    void preVisit(const VoxelLayoutNode* in_node, const TileIndex& in_index) override;
    bool visitsChildren() const override { return false; }

private:
    T reduced(const VoxelLayoutNode& in_node) const;

    VoxelChannel<T>* m_channel;
    std::shared_ptr<const VoxelLayout> m_layout;
};

template <typename T>
using VoxelChannelAverageFineToCoarseKernel = FineToCoarseKernel<T, FineToCoarse::eAverage>;
template <typename T>
using VoxelChannelNeighborAverageFineToCoarseKernel =
    FineToCoarseKernel<T, FineToCoarse::eNeighborAverage>;
template <typename T>
using VoxelChannelNeighborMaxFineToCoarseKernel = FineToCoarseKernel<T, FineToCoarse::eNeighborMax>;

#define SKELVAR_EXTERN(T) extern template class FineToCoarseKernel<T, FineToCoarse::eAverage>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

/// Element types of the kernels that look at neighbours.
#define SKELVAR_FOR_NEIGHBOR_KERNEL_TYPES(X) X(bool) X(float) X(vec3f)

#define SKELVAR_EXTERN(T)                                                        \
    extern template class FineToCoarseKernel<T, FineToCoarse::eNeighborAverage>; \
    extern template class FineToCoarseKernel<T, FineToCoarse::eNeighborMax>;
SKELVAR_FOR_NEIGHBOR_KERNEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
