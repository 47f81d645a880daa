#pragma once

namespace Skelvar {

/// The space in which positions are handed to a sampler.
enum SamplerSpace : int {
    eSamplerTreeSpace = 1,   ///< coordinate units of the tree
    eSamplerWorldSpace = 2,  ///< world units, through the shape's transform and voxel size
};

}  // namespace Skelvar
