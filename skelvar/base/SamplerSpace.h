#pragma once

namespace Skelvar {

/// The space in which positions are handed to a sampler.
enum SamplerSpace : int {
    eObjectSpace = 0,  ///< as tree space
    eTreeSpace = 1,    ///< coordinate units of the tree
    eWorldSpace = 2,   ///< world units, through the shape's transform and voxel size
};

}  // namespace Skelvar
