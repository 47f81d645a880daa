#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

VoxelStateResult VoxelStateSMP::deleteObject(const std::string& in_name)
{
    return m_maps->eraseObject(in_name) ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::deleteVoxelLayout(const std::string& in_name)
{
    return m_maps->eraseLayout(in_name) ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::deleteMesh(const std::string& in_name)
{
    return m_maps->eraseMesh(in_name) ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::deleteShape(const std::string& in_name)
{
    const auto shape = m_maps->findShape(in_name);
    if (!m_maps->eraseShape(in_name)) {
        return kVoxelStateFailed;
    }
    const auto object = shape ? shape->object() : nullptr;
    if (object && object->hasShape(in_name)) {
        object->removeShape(in_name);
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::deleteChannel(const std::string& in_name,
                                              const std::string& in_shape_name)
{
    const auto channel = m_maps->eraseChannel(
        in_shape_name.empty() ? in_name : channelStoringKey(in_shape_name, in_name));
    if (!channel) {
        return kVoxelStateFailed;
    }
    const auto shape = channel->shapePtr();
    if (shape && shape->hasChannel(channel->name())) {  // in_name may be a path
        shape->removeChannel(channel->name());
    }
    return kVoxelStateOk;
}

}  // namespace Skelvar
