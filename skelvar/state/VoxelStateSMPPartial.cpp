// Parts of items are for servers that hold their items elsewhere.

#include <skelvar/state/VoxelStateSMP.h>

#include <stdexcept>

namespace Skelvar {

namespace {

[[noreturn]] void failAsUnsupported(const std::string& in_operation)
{
    throw std::runtime_error("VoxelStateSMP: Method " + in_operation +
                             " not supported by VoxelStateSMP!");
}

}  // namespace

VoxelStateResult VoxelStateSMP::partialVoxelLayout(const std::string&,
                                                   const std::shared_ptr<VoxelShape>&,
                                                   std::shared_ptr<VoxelLayout>&, VoxelStateHint)
{
    failAsUnsupported("partialVoxelLayout");
}

VoxelStateResult VoxelStateSMP::partialVoxelLayout(const std::string&,
                                                   const std::shared_ptr<ParticleShape>&,
                                                   std::shared_ptr<VoxelLayout>&, VoxelStateHint)
{
    failAsUnsupported("partialVoxelLayout");
}

VoxelStateResult VoxelStateSMP::partialVoxelLayout(const std::string&, const TileIds&,
                                                   std::shared_ptr<VoxelLayout>&, VoxelStateHint)
{
    failAsUnsupported("partialVoxelLayout");
}

VoxelStateResult VoxelStateSMP::partialChannel(const std::string&, const TileIds&,
                                               const std::shared_ptr<TreeShape3DBase>&,
                                               std::shared_ptr<TreeChannel3DBase>*,
                                               const TypeMetaBase&, VoxelStateHint)
{
    failAsUnsupported("partialChannel");
}

}  // namespace Skelvar
