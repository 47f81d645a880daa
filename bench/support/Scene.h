#pragma once

#include <bench/support/Tiles.h>

#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tbb/parallel_for.h>

#include <memory>

namespace Bench {

/// A layout, and a shape on it with one float channel that follows it.
struct Scene {
    std::shared_ptr<Skelvar::VoxelLayout> layout;
    std::shared_ptr<Skelvar::VoxelShape> shape;
    std::shared_ptr<Skelvar::VoxelChannel<float>> channel;
};

/// An empty layout with its shape; the channel's background value is `in_background`.
Scene makeEmptyScene(float in_background);
/// The narrow band: tiles that hold a cell of it with all their ancestors, each cell's distance in
/// the finest tiles, and the background value elsewhere. Made once.
const Scene& bandScene();
/// Cells of the band.
double bandCells();

/// Sets each value of the finest tiles to `in_value(cell)`, on all threads.
template <typename T, typename Value>
void fillFinest(const Skelvar::VoxelLayout& in_layout, Skelvar::VoxelChannel<T>& io_channel,
                const Value& in_value)
{
    tbb::parallel_for(0, in_layout.numNodes(Skelvar::kMaxTileDepth), [&](int in_index) {
        vec3i lo;
        vec3i hi;
        in_layout.node(in_index, Skelvar::kMaxTileDepth).bounds(lo, hi);
        T* value = io_channel.tile(in_index, Skelvar::kMaxTileDepth).data();
        for (int k = lo[2]; k < hi[2]; ++k) {
            for (int j = lo[1]; j < hi[1]; ++j) {
                for (int i = lo[0]; i < hi[0]; ++i) {
                    *value++ = in_value(vec3i{i, j, k});
                }
            }
        }
    });
}

}  // namespace Bench
