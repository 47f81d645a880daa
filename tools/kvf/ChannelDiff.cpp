#include <tools/kvf/ChannelDiff.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/RunningDiff.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

namespace Skelvar::Tool {

namespace {

constexpr int kDiffGrain = 256;  ///< tiles; fixed, so that sums are rounded alike on every machine

template <typename T>
RunningDiff diffDepth(const VoxelLayout& in_layout_a, const VoxelChannel<T>& in_a,
                      const VoxelLayout& in_layout_b, const VoxelChannel<T>& in_b, int in_depth,
                      const Tolerance& in_tolerance)
{
    return tbb::parallel_deterministic_reduce(
        tbb::blocked_range<int>(0, in_a.numTiles(in_depth), kDiffGrain), RunningDiff{},
        [&](const tbb::blocked_range<int>& in_range, RunningDiff io_sums) {
            for (int n = in_range.begin(); n != in_range.end(); ++n) {
                const VoxelLayoutNode& node = in_layout_a.node(n, in_depth);
                const TileIndex match =
                    node.valid() ? in_layout_b.nodeIndex<true>(node.id()) : TileIndex{-1, -1};
                if (match.first >= 0 && match.second == in_depth) {
                    const T* const a = in_a.tile(n, in_depth).data();
                    const T* const b = in_b.tile(match).data();
                    for (int v = 0; v < VoxelChannel<T>::tileSize(); ++v) {
                        io_sums.add(a[v], b[v], in_tolerance, {n, in_depth},
                                    static_cast<unsigned long>(v));
                    }
                }
            }
            return io_sums;
        },
        [](RunningDiff io_left, const RunningDiff& in_right) {
            io_left.add(in_right);
            return io_left;
        });
}

/// The middle of the cell, or the face, edge or corner of it where the channel's values lie.
vec3f placeOf(const VoxelShape& in_shape, const TreeChannel3DBase& in_channel,
              const TileIndex& in_tile, int in_cell)
{
    const VoxelLayoutNode& node = in_shape.layout().node(in_tile.first, in_tile.second);
    const float width = static_cast<float>(VoxelLayout::cellWidth(in_tile.second));
    const int layer = in_cell / 25;
    const int row = in_cell / 5 % 5;
    const vec3f cell{static_cast<float>(in_cell % 5), static_cast<float>(row),
                     static_cast<float>(layer)};
    const vec3f corner{static_cast<float>(node.i()), static_cast<float>(node.j()),
                       static_cast<float>(node.k())};
    return in_shape.wsx(corner + cell * width, in_channel.offsetType(), in_tile.second);
}

template <typename T>
ChannelDiff diffTyped(const VoxelShape& in_shape_a, const VoxelChannel<T>& in_a,
                      const VoxelShape& in_shape_b, const VoxelChannel<T>& in_b,
                      const Tolerance& in_tolerance)
{
    RunningDiff all;
    for (int depth = 0; depth <= kMaxTileDepth; ++depth) {
        all.add(
            diffDepth(in_shape_a.layout(), in_a, in_shape_b.layout(), in_b, depth, in_tolerance));
    }
    ChannelDiff diff = all.finished();
    if (all.tile.first >= 0) {
        diff.place = placeOf(in_shape_a, in_a, all.tile, static_cast<int>(all.element));
    }
    return diff;
}

}  // namespace

ChannelDiff diffChannels(const VoxelShape& in_shape_a, const TreeChannel3DBase& in_a,
                         const VoxelShape& in_shape_b, const TreeChannel3DBase& in_b,
                         const Tolerance& in_tolerance)
{
    ChannelDiff diff;
    visitVoxelChannel(in_a, [&](const auto& in_typed) {
        using Channel = std::decay_t<decltype(in_typed)>;
        diff = diffTyped(in_shape_a, in_typed, in_shape_b, static_cast<const Channel&>(in_b),
                         in_tolerance);
    });
    return diff;
}

}  // namespace Skelvar::Tool
