#include <skelvar/base/TypeMeta.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelShape.h>

#include <algorithm>
#include <stdexcept>

namespace Skelvar {

namespace {

template <typename Pointer>
VoxelStateResult okIfFound(const Pointer& in_pointer)
{
    return in_pointer ? kVoxelStateOk : kVoxelStateFailed;
}

template <typename T, typename U>
VoxelStateResult giveWeak(const std::shared_ptr<T>& in_found, std::weak_ptr<U>& out_item)
{
    out_item = in_found;
    return okIfFound(in_found);
}

}  // namespace

VoxelStateSMP::CopyMode VoxelStateSMP::copyMode(VoxelStateHint in_hint) const
{
    switch (std::max<int>(in_hint, m_global_hint)) {
        case eHintCopy:
            return CopyMode::eShare;
        case eHintCopyData:
            return CopyMode::eData;
        default:
            return CopyMode::eNone;
    }
}

VoxelStateResult VoxelStateSMP::objectRef(const std::string& in_name,
                                          std::shared_ptr<BObject>& out_object) const
{
    out_object = m_maps->findObject(in_name);
    return okIfFound(out_object);
}

VoxelStateResult VoxelStateSMP::shapeRef(const std::string& in_name,
                                         std::shared_ptr<TreeShape3DBase>& out_shape) const
{
    out_shape = m_maps->findShape(in_name);
    return okIfFound(out_shape);
}

VoxelStateResult VoxelStateSMP::layoutRef(const std::string& in_name,
                                          std::shared_ptr<TreeLayout3DBase>& out_layout) const
{
    out_layout = m_maps->findLayout(in_name);
    return okIfFound(out_layout);
}

VoxelStateResult VoxelStateSMP::channelRef(const std::string& in_name,
                                           std::shared_ptr<TreeChannel3DBase>& out_channel) const
{
    out_channel = m_maps->findChannel(in_name);
    return okIfFound(out_channel);
}

VoxelStateResult VoxelStateSMP::resolveRef(const std::string& in_name,
                                           std::weak_ptr<BObject>& out_object) const
{
    return giveWeak(m_maps->findObject(in_name), out_object);
}

VoxelStateResult VoxelStateSMP::resolveRef(const std::string& in_name,
                                           std::weak_ptr<TreeShape3DBase>& out_shape) const
{
    return giveWeak(m_maps->findShape(in_name), out_shape);
}

VoxelStateResult VoxelStateSMP::resolveRef(const std::string& in_name,
                                           std::weak_ptr<VoxelLayout>& out_layout) const
{
    return giveWeak(m_maps->findLayout(in_name), out_layout);
}

VoxelStateResult VoxelStateSMP::resolveRef(const std::string& in_name,
                                           std::weak_ptr<TreeLayout3DBase>& out_layout) const
{
    return giveWeak(m_maps->findLayout(in_name), out_layout);
}

VoxelStateResult VoxelStateSMP::resolveRef(const std::string& in_name,
                                           std::weak_ptr<TreeChannel3DBase>& out_channel) const
{
    return giveWeak(m_maps->findChannel(in_name), out_channel);
}

VoxelStateResult VoxelStateSMP::hasChannel(const std::string& in_name) const
{
    return okIfFound(m_maps->findChannel(in_name));
}

VoxelStateResult VoxelStateSMP::hasLayout(const std::string& in_name) const
{
    return okIfFound(m_maps->findLayout(in_name));
}

VoxelStateResult VoxelStateSMP::hasMesh(const std::string& in_name) const
{
    return okIfFound(m_maps->findMesh(in_name));
}

VoxelStateResult VoxelStateSMP::typeMeta(const std::string& in_name, TypeMetaBase** out_type)
{
    if (!out_type) {
        return kVoxelStateFailed;
    }
    if (const auto channel = m_maps->findChannel(in_name)) {
        *out_type = channel->typeMeta()->newInstance();
    } else if (const auto shape = m_maps->findShape(in_name)) {
        *out_type = shape->typeMeta()->newInstance();
    } else if (const auto object = m_maps->findObject(in_name)) {
        *out_type = object->typeMeta()->newInstance();
    } else if (const auto layout = m_maps->findLayout(in_name)) {
        *out_type = layout->typeMeta()->newInstance();
    } else if (const auto mesh = m_maps->findMesh(in_name)) {
        *out_type = mesh->typeMeta()->newInstance();
    } else {
        return kVoxelStateFailed;
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::object(const std::string& in_name,
                                       std::shared_ptr<BObject>* out_object, VoxelStateHint in_hint)
{
    ensureData(in_name);
    const auto stored = m_maps->findObject(in_name);
    if (stored && out_object) {
        *out_object = copyMode(in_hint) == CopyMode::eNone ? stored : stored->copy();
    }
    return okIfFound(stored);
}

VoxelStateResult VoxelStateSMP::mesh(const std::string& in_name, orvel::shared_ptr<Mesh>& out_mesh,
                                     VoxelStateHint in_hint)
{
    const auto stored = m_maps->findMesh(in_name);
    out_mesh = stored && copyMode(in_hint) != CopyMode::eNone ? stored->copy() : stored;
    return okIfFound(stored);
}

template <typename T>
VoxelStateResult VoxelStateSMP::fetchShape(const std::string& in_name,
                                           std::shared_ptr<T>& out_shape,
                                           const std::shared_ptr<BObject>& io_object,
                                           const std::shared_ptr<VoxelLayout>& in_layout,
                                           VoxelStateHint in_hint)
{
    ensureData(in_name);
    const auto stored = m_maps->findShape(in_name);
    const auto stored_object = io_object ? m_maps->findObject(io_object->name()) : nullptr;
    if (!stored || !stored->isCastableTo(T::typeName()) || (io_object && !stored_object)) {
        return kVoxelStateFailed;
    }
    const CopyMode mode = copyMode(in_hint);
    if (mode == CopyMode::eNone) {
        if (io_object && io_object != stored_object) {
            throw std::runtime_error(
                "VoxelStateSMP: shape(): inconsistent usage, io_object cannot be a copy");
        }
        if (in_layout && in_layout != m_maps->findLayout(in_layout->name())) {
            throw std::runtime_error(
                "VoxelStateSMP: shape: in_layout not a copy and in_hint == "
                "VoxelState::eHintDoNotCopy");
        }
        out_shape = std::static_pointer_cast<T>(stored);
        return kVoxelStateOk;
    }
    if (io_object && io_object == stored_object) {
        throw std::runtime_error(
            "VoxelStateSMP: shape(): inconsistent usage, io_object should be a copy");
    }
    const auto copy = stored->copy(mode == CopyMode::eData, mode == CopyMode::eShare);
    if (in_layout) {
        copy->setLayout(in_layout);
    }
    if (io_object) {
        io_object->updateShape(copy);
    }
    out_shape = std::static_pointer_cast<T>(copy);
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::voxelShape(const std::string& in_name,
                                           std::shared_ptr<VoxelShape>& out_shape,
                                           const std::shared_ptr<BObject>& io_object,
                                           VoxelStateHint in_hint)
{
    return fetchShape(in_name, out_shape, io_object, nullptr, in_hint);
}

VoxelStateResult VoxelStateSMP::voxelShape(const std::string& in_name,
                                           std::shared_ptr<VoxelShape>& out_shape,
                                           const std::shared_ptr<BObject>& io_object,
                                           const std::shared_ptr<VoxelLayout>& in_layout,
                                           VoxelStateHint in_hint)
{
    return fetchShape(in_name, out_shape, io_object, in_layout, in_hint);
}

VoxelStateResult VoxelStateSMP::particleShape(const std::string& in_name,
                                              std::shared_ptr<ParticleShape>& out_shape,
                                              const std::shared_ptr<BObject>& io_object,
                                              VoxelStateHint in_hint)
{
    return fetchShape(in_name, out_shape, io_object, nullptr, in_hint);
}

VoxelStateResult VoxelStateSMP::particleShape(const std::string& in_name,
                                              std::shared_ptr<ParticleShape>& out_shape,
                                              const std::shared_ptr<BObject>& io_object,
                                              const std::shared_ptr<VoxelLayout>& in_layout,
                                              VoxelStateHint in_hint)
{
    return fetchShape(in_name, out_shape, io_object, in_layout, in_hint);
}

VoxelStateResult VoxelStateSMP::voxelLayout(const std::string& in_name,
                                            const std::shared_ptr<TreeShape3DBase>& io_shape,
                                            std::shared_ptr<VoxelLayout>* out_layout,
                                            VoxelStateHint in_hint)
{
    if (!io_shape && !out_layout) {
        return kVoxelStateFailed;
    }
    ensureData(in_name);
    const auto stored = m_maps->findLayout(in_name);
    const auto stored_shape = io_shape ? m_maps->findShape(io_shape->name()) : nullptr;
    if (!stored || (io_shape && !stored_shape)) {
        return kVoxelStateFailed;
    }
    const CopyMode mode = copyMode(in_hint);
    auto layout = stored;
    if (mode != CopyMode::eNone) {
        if (io_shape && io_shape == stored_shape) {
            throw std::runtime_error(
                "VoxelStateSMP: voxelLayout: io_shape not an copy and in_hint == "
                "VoxelState::eHintCopy");
        }
        layout = std::static_pointer_cast<VoxelLayout>(stored->copy(mode == CopyMode::eData));
    }
    if (out_layout) {
        *out_layout = layout;
    }
    if (io_shape && io_shape != stored_shape) {
        io_shape->setLayout(layout);
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::voxelLayout(const std::string& in_name,
                                            const std::shared_ptr<VoxelShape>& io_shape,
                                            std::shared_ptr<VoxelLayout>& out_layout,
                                            VoxelStateHint in_hint)
{
    return voxelLayout(in_name, std::shared_ptr<TreeShape3DBase>(io_shape), &out_layout, in_hint);
}

VoxelStateResult VoxelStateSMP::voxelLayout(const std::string& in_name,
                                            const std::shared_ptr<ParticleShape>& io_shape,
                                            std::shared_ptr<VoxelLayout>& out_layout,
                                            VoxelStateHint in_hint)
{
    return voxelLayout(in_name, std::shared_ptr<TreeShape3DBase>(io_shape), &out_layout, in_hint);
}

VoxelStateResult VoxelStateSMP::voxelLayout(const std::string& in_name,
                                            std::shared_ptr<VoxelLayout>& out_layout,
                                            VoxelStateHint in_hint)
{
    return voxelLayout(in_name, std::shared_ptr<TreeShape3DBase>(), &out_layout, in_hint);
}

VoxelStateResult VoxelStateSMP::fetchChannel(const std::string& in_operation,
                                             const std::string& in_name,
                                             const std::shared_ptr<TreeShape3DBase>& io_shape,
                                             std::shared_ptr<TreeChannel3DBase>* out_channel,
                                             const TypeMetaBase& in_type, CopyMode in_mode)
{
    if (!io_shape && !out_channel) {
        return kVoxelStateFailed;
    }
    ensureData(in_name);
    const auto stored = m_maps->findChannel(in_name);
    const auto stored_shape = io_shape ? m_maps->findShape(io_shape->name()) : nullptr;
    if (!stored || (io_shape && !stored_shape)) {
        return kVoxelStateFailed;
    }
    if (!stored->isCastableTo(in_type.typeName())) {
        return kVoxelStateOk;
    }
    auto channel = stored;
    if (in_mode == CopyMode::eNone) {
        if (io_shape && io_shape != stored_shape) {
            throw std::runtime_error("VoxelStateSMP: " + in_operation +
                                     ": io_shape cannot be a copy if you do not copy the channel");
        }
    } else {
        if (io_shape && io_shape == stored_shape) {
            throw std::runtime_error("VoxelStateSMP: " + in_operation +
                                     ": io_shape not an copy COPY_LIGHTWEIGHT_OBJECTS is defined");
        }
        channel = stored->copy(in_mode == CopyMode::eData, in_mode == CopyMode::eShare);
        if (io_shape && io_shape->hasChannel(channel->name())) {
            io_shape->updateChannel(channel);
        } else if (io_shape) {
            io_shape->addChannel(channel);
        }
    }
    if (out_channel) {
        *out_channel = channel;
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::channel(const std::string& in_name,
                                        const std::shared_ptr<TreeShape3DBase>& io_shape,
                                        std::shared_ptr<TreeChannel3DBase>* out_channel,
                                        const TypeMetaBase& in_type, VoxelStateHint in_hint)
{
    return fetchChannel("channel", in_name, io_shape, out_channel, in_type, copyMode(in_hint));
}

VoxelStateResult VoxelStateSMP::channelMetaData(const std::string& in_name,
                                                const std::shared_ptr<TreeShape3DBase>& io_shape,
                                                std::shared_ptr<TreeChannel3DBase>* out_channel,
                                                const TypeMetaBase& in_type, VoxelStateHint in_hint)
{
    const CopyMode mode =
        copyMode(in_hint) == CopyMode::eNone ? CopyMode::eNone : CopyMode::eHeader;
    return fetchChannel("channelMetaData", in_name, io_shape, out_channel, in_type, mode);
}

}  // namespace Skelvar
