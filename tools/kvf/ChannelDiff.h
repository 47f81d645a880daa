#pragma once

#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

class TreeChannel3DBase;
class VoxelShape;

namespace Tool {

/// How far two values may lie apart and still count as the same: |a - b| up to
/// `absolute` + `relative` times the larger of |a| and |b|. NaN is the same as NaN alone.
struct Tolerance {
    double absolute = 0.0;
    double relative = 0.0;
};

/// How two channels differ, over the tiles or the particles that both shapes have.
struct ChannelDiff {
    long long num_values = 0;     ///< compared: components of the cells or of the particles
    long long num_different = 0;  ///< beyond the tolerance
    double largest = 0.0;         ///< |a - b|; infinite where only one of the two is finite
    double mean = 0.0;            ///< over all compared values for which it is finite
    vec3f place{};                ///< of the largest difference, in world space
    int depth = 0;                ///< of the tile that holds it
    double value_a = 0.0;         ///< the values there
    double value_b = 0.0;
};

/// Compares the tiles of all depths, matched by tile id. Both channels must be voxel channels of
/// one type, each on its shape's layout. Parallel, and the same however many threads there are.
ChannelDiff diffChannels(const VoxelShape& in_shape_a, const TreeChannel3DBase& in_a,
                         const VoxelShape& in_shape_b, const TreeChannel3DBase& in_b,
                         const Tolerance& in_tolerance);

}  // namespace Tool
}  // namespace Skelvar
