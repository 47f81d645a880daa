#include <skelvar/sampling/FineToCoarseKernels.h>

#include <skelvar/sampling/HaloedVoxelLayoutNodeVisitorHelper.h>
#include <skelvar/sampling/ValueArithmetic.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <stdexcept>

namespace Skelvar {

namespace {

template <typename T>
std::shared_ptr<const VoxelLayout> layoutOf(const VoxelChannel<T>& in_channel)
{
    const auto shape = in_channel.voxelShapePtr();
    const auto layout = shape ? shape->layoutPtr() : nullptr;
    if (!layout) {
        throw std::runtime_error("FineToCoarseKernel: no layout below the channel " +
                                 in_channel.name());
    }
    return layout;
}

template <typename T>
class Mean {
public:
    void add(const T& in_value)
    {
        m_sum.add(in_value);
        ++m_count;
    }
    T result() const { return m_sum.mean(m_count); }

private:
    Detail::TileMean<T> m_sum;
    int m_count = 0;
};

template <typename T>
class Maximum {
public:
    void add(const T& in_value)
    {
        m_value = m_empty ? in_value
                          : Detail::memberwise(
                                [](const auto& a, const auto& b) { return std::max(a, b); },
                                m_value, in_value);
        m_empty = false;
    }
    T result() const { return m_value; }

private:
    T m_value{};
    bool m_empty = true;
};

template <>
class Mean<bool> : public Maximum<bool> {
};

/// The cell of the parent that a node covers. The node must have a parent.
template <typename T>
T& coveringCell(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
                VoxelChannel<T>& io_channel)
{
    const TileIndex parent{in_node.parent(), in_node.depth() - 1};
    int ci = 0;
    int cj = 0;
    int ck = 0;
    in_layout.node(parent).childIJK(in_node, ci, cj, ck);
    return io_channel.tile(parent)(ci, cj, ck);
}

/// Sums up a tile and what exists of its halo.
template <typename Summary, typename T>
T summarise(const VoxelLayout& in_layout, const VoxelLayoutNode& in_node,
            const VoxelChannel<T>& in_channel)
{
    VoxelLayout::ConstAccessor accessor(in_layout);
    VoxelTile<T, 1, 5> tile;
    const unsigned existing = HaloedVoxelLayoutNodeVisitorHelper::updateHaloTile<T>(
        in_node.index(), in_node.depth(), tile, in_layout, accessor, in_channel);
    constexpr int kEntry[7] = {0, 1, 1, 1, 1, 1, 2};  // of the block, along one axis
    Summary summary;
    for (int n = 0; n < tile.size(); ++n) {
        const int entry = kEntry[n % 7] + 3 * kEntry[n / 7 % 7] + 9 * kEntry[n / 49];
        if ((existing >> entry & 1) != 0) {
            summary.add(tile(n));
        }
    }
    return summary.result();
}

}  // namespace

template <typename T, FineToCoarse Reduction>
FineToCoarseKernel<T, Reduction>::FineToCoarseKernel(VoxelChannel<T>* io_channel)
    : m_channel(io_channel), m_layout(layoutOf(*io_channel))
{
}

template <typename T, FineToCoarse Reduction>
void FineToCoarseKernel<T, Reduction>::preVisit(const VoxelLayoutNode* in_node, const TileIndex&)
{
    if (!in_node->isRoot()) {
        coveringCell(*m_layout, *in_node, *m_channel) = reduced(*in_node);
    }
}

template <typename T, FineToCoarse Reduction>
T FineToCoarseKernel<T, Reduction>::reduced(const VoxelLayoutNode& in_node) const
{
    if constexpr (Reduction == FineToCoarse::eAverage) {
        return m_channel->tile(in_node.tileIndex()).computeTileAverage();
    } else if constexpr (Reduction == FineToCoarse::eNeighborAverage) {
        return summarise<Mean<T>>(*m_layout, in_node, *m_channel);
    } else {
        return summarise<Maximum<T>>(*m_layout, in_node, *m_channel);
    }
}

#define SKELVAR_INSTANTIATE(T) template class FineToCoarseKernel<T, FineToCoarse::eAverage>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

#define SKELVAR_INSTANTIATE(T)                                            \
    template class FineToCoarseKernel<T, FineToCoarse::eNeighborAverage>; \
    template class FineToCoarseKernel<T, FineToCoarse::eNeighborMax>;
SKELVAR_FOR_NEIGHBOR_KERNEL_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
