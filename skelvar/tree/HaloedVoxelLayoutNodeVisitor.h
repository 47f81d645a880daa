#pragma once

#include <skelvar/tree/VoxelLayoutNodeVisitor.h>

namespace Skelvar {

/// A visitor that needs the values around a tile too. The base of kernels that build haloed tiles;
/// a walk treats it as any other.
class SKELVAR_API HaloedVoxelLayoutNodeVisitor : public VoxelLayoutNodeVisitor {};

}  // namespace Skelvar
