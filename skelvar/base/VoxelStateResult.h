#pragma once

namespace Skelvar {

/// Outcome of an operation of a state server. Both values are truthy: compare, never test as a
/// boolean.
enum VoxelStateResult : unsigned char {
    kVoxelStateOk = 128,  ///< done
    kVoxelStateFailed =
        130,  ///< not done; the state is unchanged unless the operation says otherwise
};

}  // namespace Skelvar
