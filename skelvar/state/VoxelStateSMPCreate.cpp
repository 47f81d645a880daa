#include <skelvar/base/NameFunctions.h>
#include <skelvar/particles/ParticleChannelFactory.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/DictionaryShape.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/VoxelChannelFactory.h>
#include <skelvar/voxel/VoxelShape.h>

namespace Skelvar {

namespace {

bool holdsWord(const std::string& in_text, const char* in_word)
{
    return in_text.find(in_word) != std::string::npos;
}

enum class ShapeKind { eNone, eParticle, eVoxel, eDictionary };

ShapeKind shapeKind(const std::string& in_type_name)
{
    return holdsWord(in_type_name, "ParticleShape")     ? ShapeKind::eParticle
           : holdsWord(in_type_name, "VoxelShape")      ? ShapeKind::eVoxel
           : holdsWord(in_type_name, "DictionaryShape") ? ShapeKind::eDictionary
                                                        : ShapeKind::eNone;
}

/// A new channel of the type that the text names, null if no factory knows it.
std::shared_ptr<TreeChannel3DBase> makeChannel(const std::string& in_type_name)
{
    std::shared_ptr<TreeChannel3DBase> channel;
    if (holdsWord(in_type_name, "VoxelChannel")) {
        VoxelChannelFactory::create(in_type_name, channel);
    } else if (holdsWord(in_type_name, "ParticleChannel")) {
        ParticleChannelFactory::create(in_type_name, channel);
    }
    return channel;
}

}  // namespace

VoxelStateResult VoxelStateSMP::newObject(const std::string& in_name)
{
    const auto object = std::make_shared<BObject>();
    object->setName(in_name);
    object->setStateServerID(getId());
    return m_maps->insertObject(object) ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::newLayout(const std::string& in_name, float in_dx,
                                          std::shared_ptr<TreeLayout3DBase>& out_layout)
{
    const auto layout = std::make_shared<VoxelLayout>(in_name, in_dx);
    layout->setStateServerID(getId());
    const bool inserted = m_maps->insertLayout(layout);
    out_layout = inserted ? layout : nullptr;
    return inserted ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::newLayout(const std::string& in_name,
                                          const std::shared_ptr<TreeLayout3DBase>& in_style,
                                          std::shared_ptr<TreeLayout3DBase>& out_layout)
{
    const auto layout = std::static_pointer_cast<VoxelLayout>(in_style->copy(true));
    layout->setName(in_name);
    layout->setStateServerID(getId());
    const bool inserted = m_maps->insertLayout(layout);
    out_layout = inserted ? layout : nullptr;
    return inserted ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::newVoxelLayout(const std::string& in_name, float in_dx)
{
    std::shared_ptr<TreeLayout3DBase> layout;
    return newLayout(in_name, in_dx, layout);
}

VoxelStateResult VoxelStateSMP::newShape(const std::string& in_type_name,
                                         const std::string& in_name,
                                         std::shared_ptr<TreeShape3DBase>& out_shape)
{
    out_shape.reset();
    if (m_maps->findShape(in_name)) {
        return kVoxelStateFailed;
    }
    std::shared_ptr<TreeShape3DBase> shape;
    switch (shapeKind(in_type_name)) {
        case ShapeKind::eNone:
            return kVoxelStateFailed;
        case ShapeKind::eParticle:
            shape = std::make_shared<ParticleShape>(in_name);
            break;
        case ShapeKind::eVoxel:
            shape = std::make_shared<VoxelShape>(in_name);
            break;
        case ShapeKind::eDictionary:
            shape = std::make_shared<DictionaryShape>(in_name);
            break;
    }
    shape->setStateServerID(getId());
    if (!m_maps->insertShape(shape)) {
        return kVoxelStateFailed;
    }
    out_shape = shape;
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::newShape(const std::string& in_type_name,
                                         const std::string& in_name,
                                         const std::string& in_layout_name,
                                         const std::string& in_object_name,
                                         std::shared_ptr<TreeShape3DBase>& out_shape)
{
    std::string object_name = in_object_name;
    switch (shapeKind(in_type_name)) {
        case ShapeKind::eNone:
            break;
        case ShapeKind::eParticle: {
            std::shared_ptr<ParticleShape> shape;
            newParticleShape(in_name, in_layout_name, &object_name, shape);
            out_shape = shape;
            break;
        }
        case ShapeKind::eVoxel: {
            std::shared_ptr<VoxelShape> shape;
            newVoxelShape(in_name, in_layout_name, &object_name, shape);
            out_shape = shape;
            break;
        }
        case ShapeKind::eDictionary: {
            std::shared_ptr<DictionaryShape> shape;
            newShapeOn(in_name, in_layout_name, &object_name, shape);
            out_shape = shape;
            break;
        }
    }
    return out_shape ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::newVoxelShape(const std::string& in_name,
                                              const std::string& in_layout_name,
                                              std::string* in_object_name,
                                              std::shared_ptr<VoxelShape>& out_shape)
{
    return newShapeOn(in_name, in_layout_name, in_object_name, out_shape);
}

VoxelStateResult VoxelStateSMP::newParticleShape(const std::string& in_name,
                                                 const std::string& in_layout_name,
                                                 std::string* in_object_name,
                                                 std::shared_ptr<ParticleShape>& out_shape)
{
    return newShapeOn(in_name, in_layout_name, in_object_name, out_shape);
}

/// A new shape on a stored layout, in a stored object unless the object's name is null. If another
/// item takes the name meanwhile, the shape stays in the object.
template <typename T>
VoxelStateResult VoxelStateSMP::newShapeOn(const std::string& in_name,
                                           const std::string& in_layout_name,
                                           const std::string* in_object_name,
                                           std::shared_ptr<T>& out_shape)
{
    out_shape.reset();
    const auto layout = m_maps->findLayout(in_layout_name);
    const auto object = in_object_name ? m_maps->findObject(*in_object_name) : nullptr;
    if (!layout || (in_object_name && (!object || object->hasShape(in_name)))) {
        return kVoxelStateFailed;
    }
    const auto shape = std::make_shared<T>(in_name);
    shape->setStateServerID(getId());
    shape->setLayout(layout);
    if (object) {
        object->addShape(shape);
    }
    try {
        if (!m_maps->insertShape(shape)) {
            return kVoxelStateFailed;
        }
    } catch (...) {  // a name that cannot be compared
        if (object) {
            object->removeShape(in_name);
        }
        throw;
    }
    out_shape = shape;
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::newChannel(const std::string& in_type_name,
                                           const std::string& in_name,
                                           const std::string& in_shape_name,
                                           std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    out_channel.reset();
    const auto shape = m_maps->findShape(in_shape_name);
    if (!shape) {
        return kVoxelStateFailed;
    }
    const std::string key = shape->makePartialPathName(in_name);
    const std::size_t prefix = shape->name().empty() ? 0 : shape->name().size() + 1;
    const std::string name = key.empty() ? key : key.substr(prefix);
    // A name of digits alone may come back taken.
    if (m_maps->findChannel(key) || shape->hasChannel(name)) {
        return kVoxelStateFailed;
    }
    std::shared_ptr<TreeChannel3DBase> channel = makeChannel(in_type_name);
    if (!channel) {
        return kVoxelStateFailed;
    }
    shape->addUniqueChannel(channel, name);
    channel->setStateServerID(getId());
    try {
        if (!m_maps->insertChannel(channel, key)) {
            shape->removeChannel(name);
            return kVoxelStateFailed;
        }
    } catch (...) {
        shape->removeChannel(name);
        throw;
    }
    out_channel = channel;
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::newChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel,
                                           const std::string& in_shape_name)
{
    const auto shape = m_maps->findShape(in_shape_name);
    if (!shape || !in_channel || shape->hasChannel(in_channel->name()) ||
        !m_maps->insertChannel(in_channel, {})) {
        return kVoxelStateFailed;
    }
    try {
        shape->addChannel(in_channel);
    } catch (...) {
        m_maps->eraseChannel(in_channel->name());
        throw;
    }
    in_channel->setStateServerID(getId());
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::deprecated_newChannel(
    const std::string& in_type_name, const std::string& in_name, const std::string& in_shape_name,
    std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    out_channel.reset();
    if (!m_maps->findShape(in_shape_name) || m_maps->findChannel(in_name)) {
        return kVoxelStateFailed;
    }
    const std::shared_ptr<TreeChannel3DBase> channel = makeChannel(in_type_name);
    if (!channel) {
        return kVoxelStateFailed;
    }
    channel->setName(in_name);
    channel->setStateServerID(getId());
    if (newChannel(channel, in_shape_name) != kVoxelStateOk) {
        return kVoxelStateFailed;
    }
    out_channel = channel;
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::newChannelFromStyleChannel(
    const std::string& in_type_name, const std::string& in_name, const std::string& in_shape_name,
    const std::string& in_style_name, VoxelState& io_destination,
    std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    if (m_maps->isBareKey(in_style_name)) {
        return io_destination.deprecated_newChannel(in_type_name, in_name, in_shape_name,
                                                    out_channel);
    }
    std::string object;
    std::string shape;
    std::string channel;
    if (NS::splitPathName(in_name, object, shape, channel) == 0) {
        return kVoxelStateFailed;
    }
    return io_destination.newChannel(in_type_name, channel, in_shape_name, out_channel);
}

}  // namespace Skelvar
