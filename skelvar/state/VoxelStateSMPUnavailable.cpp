#include <skelvar/state/VoxelStateSMP.h>

#include <stdexcept>

namespace Skelvar {

namespace {

/// For the operations that the interface has and this version has not.
[[noreturn]] void failAsUnavailable(const std::string& in_operation)
{
    throw std::runtime_error("VoxelStateSMP::" + in_operation + ": not available in this version");
}

[[noreturn]] void failAsUnsupported(const std::string& in_operation)
{
    throw std::runtime_error("VoxelStateSMP: Method " + in_operation +
                             " not supported by VoxelStateSMP!");
}

}  // namespace

VoxelStateResult VoxelStateSMP::copyMesh(const std::string&, const std::string&)
{
    failAsUnavailable("copyMesh");
}

VoxelStateResult VoxelStateSMP::copyShape(const std::string&, const std::string&,
                                          const std::string&, const NamePairs&)
{
    failAsUnavailable("copyShape");
}

VoxelStateResult VoxelStateSMP::copyShapeTo(VoxelState&, const std::string&,
                                            const std::vector<std::string>&)
{
    failAsUnavailable("copyShapeTo");
}

VoxelStateResult VoxelStateSMP::copyChannel(const std::string&, const std::string&,
                                            const NamePairs&)
{
    failAsUnavailable("copyChannel");
}

VoxelStateResult VoxelStateSMP::renameObject(const std::shared_ptr<BObject>&, const std::string&)
{
    failAsUnavailable("renameObject");
}

VoxelStateResult VoxelStateSMP::swapChannels(const std::string&, const std::string&)
{
    failAsUnavailable("swapChannels");
}

VoxelStateResult VoxelStateSMP::refineVoxelLayout(const VoxelLayout&, const TileIds&)
{
    failAsUnavailable("refineVoxelLayout");
}

VoxelStateResult VoxelStateSMP::coarsenVoxelLayout(const VoxelLayout&, const TileIds&)
{
    failAsUnavailable("coarsenVoxelLayout");
}

VoxelStateResult VoxelStateSMP::updateChannelMetaData(const TreeChannel3DBase&)
{
    failAsUnavailable("updateChannelMetaData");
}

VoxelStateResult VoxelStateSMP::updateChannelBlockData(const TreeChannel3DBase&)
{
    failAsUnavailable("updateChannelBlockData");
}

VoxelStateResult VoxelStateSMP::mergeIn(const VoxelState&, const std::vector<std::string>&)
{
    failAsUnavailable("mergeIn");
}

VoxelStateResult VoxelStateSMP::updateObject(const std::shared_ptr<BObject>&)
{
    failAsUnavailable("updateObject");
}

VoxelStateResult VoxelStateSMP::updateShape(const std::shared_ptr<TreeShape3DBase>&)
{
    failAsUnavailable("updateShape");
}

VoxelStateResult VoxelStateSMP::updateChannel(const std::shared_ptr<TreeChannel3DBase>&)
{
    failAsUnavailable("updateChannel");
}

VoxelStateResult VoxelStateSMP::dump(std::ostream&, int, int) const
{
    failAsUnavailable("dump");
}

unsigned long long VoxelStateSMP::totalMemUsage(MemUsage::Type) const
{
    failAsUnavailable("totalMemUsage");
}

VoxelStateResult VoxelStateSMP::particleShape(const std::string&, std::shared_ptr<ParticleShape>&,
                                              const std::shared_ptr<BObject>&, VoxelStateHint)
{
    throw std::runtime_error(
        "VoxelStateSMP::particleShape: particles are not available in this version");
}

VoxelStateResult VoxelStateSMP::particleShape(const std::string& in_name,
                                              std::shared_ptr<ParticleShape>& out_shape,
                                              const std::shared_ptr<BObject>& io_object,
                                              const std::shared_ptr<VoxelLayout>&,
                                              VoxelStateHint in_hint)
{
    return particleShape(in_name, out_shape, io_object, in_hint);
}

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
