#pragma once

#include <skelvar/voxel/VoxelChannel.h>

// Channels made of others of the same layout, where values stand elsewhere in the cells. H of a
// channel is its haloed tile by which the field stays continuous across depths
// (`evalContinuousHaloedTile`). Every tile of every depth is written, in parallel; the results do
// not depend on the number of threads. The outputs must differ from the inputs. All throw
// `std::runtime_error`, with nothing written, if a channel has no layout or another one.
namespace Skelvar {

/// A vector at each cell's centre from one channel for each component: the mean of the cell's two
/// faces, 0.5 (H(cell) + H(cell + 1 on axis a)), of a channel that is staggered on its axis a, else
/// the cell's own value. The offset of `out` becomes the centre.
SKELVAR_API void averageToVec3f(const VoxelChannel<float>& in_x, const VoxelChannel<float>& in_y,
                                const VoxelChannel<float>& in_z, VoxelChannel<vec3f>& out);

/// One channel for each component, on the cells' low faces, from vectors at the centres: component
/// a is 0.5 (H(cell - 1 on axis a) + H(cell)). The offsets of the outputs become the faces of their
/// axes.
SKELVAR_API void averageVec3fToStaggered(const VoxelChannel<vec3f>& in_centres,
                                         VoxelChannel<float>& out_x, VoxelChannel<float>& out_y,
                                         VoxelChannel<float>& out_z);

/// Values at the cells' low corners: each the mean of the eight cells around the corner, summed
/// with x fastest. The offset of `out` becomes the corner. For `float` and `vec3f`.
template <typename T>
SKELVAR_API void resampleCentresToCorners(const VoxelChannel<T>& in_centres, VoxelChannel<T>& out);

extern template void resampleCentresToCorners(const VoxelChannel<float>&, VoxelChannel<float>&);
extern template void resampleCentresToCorners(const VoxelChannel<vec3f>&, VoxelChannel<vec3f>&);

/// Raises the contrast to the surroundings: v + amount (v - mean of the six face neighbours in H).
/// The offset of `out` becomes that of `in`.
class SKELVAR_API SharpenVoxels {
public:
    explicit SharpenVoxels(float in_amount) : m_amount(in_amount) {}

    void operator()(const VoxelChannel<float>& in, VoxelChannel<float>& out) const;

private:
    float m_amount;
};

}  // namespace Skelvar
