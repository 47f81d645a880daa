#include <tools/kvf/ChannelDiff.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ChannelValues.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar::Tool {

namespace {

constexpr int kDiffGrain = 256;  ///< tiles; fixed, so that sums are rounded alike on every machine

/// A running count. The place is kept as a cell of A, and made a point at the end.
struct RunningDiff {
    ChannelDiff diff;
    double sum = 0.0;
    long long num_finite = 0;
    TileIndex tile{-1, -1};
    int cell = 0;

    void add(double in_a, double in_b, const Tolerance& in_tolerance, const TileIndex& in_tile,
             int in_cell)
    {
        ++diff.num_values;
        const double apart = distance(in_a, in_b);
        if (std::isfinite(apart)) {
            sum += apart;
            ++num_finite;
        }
        // Not the other way round: infinite numbers make the right side NaN or infinite.
        const double larger = std::max(std::abs(in_a), std::abs(in_b));
        if (std::isinf(apart) || apart > in_tolerance.absolute + in_tolerance.relative * larger) {
            ++diff.num_different;
        }
        if (apart > diff.largest) {
            diff.largest = apart;
            diff.value_a = in_a;
            diff.value_b = in_b;
            tile = in_tile;
            cell = in_cell;
        }
    }
    void add(const RunningDiff& in_later)
    {
        const long long values = diff.num_values + in_later.diff.num_values;
        const long long different = diff.num_different + in_later.diff.num_different;
        if (in_later.diff.largest > diff.largest) {
            diff = in_later.diff;
            tile = in_later.tile;
            cell = in_later.cell;
        }
        diff.num_values = values;
        diff.num_different = different;
        sum += in_later.sum;
        num_finite += in_later.num_finite;
    }

private:
    static double distance(double in_a, double in_b)
    {
        if (in_a == in_b || (std::isnan(in_a) && std::isnan(in_b))) {
            return 0.0;
        }
        const double apart = std::abs(in_a - in_b);
        return std::isfinite(apart) ? apart : std::numeric_limits<double>::infinity();
    }
};

template <typename T>
void diffTile(const T* in_a, const T* in_b, const TileIndex& in_tile, const Tolerance& in_tolerance,
              RunningDiff& io_sums)
{
    using Components = ValueComponents<T>;
    for (int v = 0; v < VoxelChannel<T>::tileSize(); ++v) {
        for (int c = 0; c < Components::kCount; ++c) {
            io_sums.add(Components::get(in_a[v], c), Components::get(in_b[v], c), in_tolerance,
                        in_tile, v);
        }
    }
}

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
                    diffTile(in_a.tile(n, in_depth).data(), in_b.tile(match).data(), {n, in_depth},
                             in_tolerance, io_sums);
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
    ChannelDiff diff = all.diff;
    diff.mean = all.num_finite > 0 ? all.sum / static_cast<double>(all.num_finite) : 0.0;
    if (all.tile.first >= 0) {
        diff.place = placeOf(in_shape_a, in_a, all.tile, all.cell);
        diff.depth = all.tile.second;
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
