#include <skelvar/base/NameFunctions.h>
#include <skelvar/base/PathName.h>
#include <skelvar/base/UniqueName.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/ShapeLinks.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

VoxelStateResult VoxelStateSMP::copyMesh(const std::string& in_name, const std::string& in_new_name)
{
    const auto source = m_maps->findMesh(in_name);
    if (!source) {
        return kVoxelStateFailed;
    }
    const std::shared_ptr<Mesh> mesh = source->copy();
    mesh->setName(in_new_name);
    return m_maps->insertMesh(mesh) ? kVoxelStateOk : kVoxelStateFailed;
}

/// The key of the channel that a shape knows under that name; empty if the store does not hold it.
std::string VoxelStateSMP::keyInShape(const TreeShape3DBase& in_shape,
                                      const std::string& in_name) const
{
    TreeShape3DBase::ChannelInfo info;
    if (in_shape.channelInfo(in_name, info) && info.channel) {
        if (std::string key = m_maps->keyOf(info.channel); !key.empty()) {
            return key;
        }
    }
    // A copy of the shape holds copies of the channels, or their names only.
    const std::string path = channelStoringKey(in_shape.name(), in_name);
    return m_maps->findChannel(in_name) ? in_name : m_maps->findChannel(path) ? path : "";
}

/// Copies one channel with its data to a shape of a server, in the way in which it stands here.
VoxelStateResult VoxelStateSMP::duplicateChannel(const std::string& in_key,
                                                 const std::string& in_new_name,
                                                 const std::string& in_new_shape,
                                                 VoxelState& io_destination)
{
    const auto source = m_maps->findChannel(in_key);
    if (!source) {
        return kVoxelStateFailed;
    }
    std::shared_ptr<TreeChannel3DBase> target;
    const VoxelStateResult made = newChannelFromStyleChannel(
        source->typeMeta()->typeName(), in_new_name, in_new_shape, in_key, io_destination, target);
    if (made != kVoxelStateOk) {
        return made;
    }
    const std::string name = target->name();
    const std::string shape_name = target->shapeName();
    source->copyInto(target, true, false);
    target->setName(name);
    target->setShapeName(shape_name);
    return kVoxelStateOk;
}

namespace {

/// The name that a copied channel gets where nothing has it yet: that of a bare-key channel is
/// taken as it is, any other loses its path and its bad characters. Empty if none can be made.
std::string nameOfCopy(const std::string& in_new_name, bool in_is_bare_key)
{
    std::string object;
    std::string shape;
    std::string channel;
    if (in_is_bare_key) {
        return in_new_name;
    }
    NS::splitPathName(in_new_name, object, shape, channel);
    return NS::substitueBadChars(channel, '_');
}

}  // namespace

/// Whether each channel can be copied from the one shape to the other, which, like its layout, need
/// not be stored yet.
bool VoxelStateSMP::canCopyChannels(const TreeShape3DBase& in_source, const std::string& in_target,
                                    const TreeShape3DBase* in_target_shape,
                                    const NamePairs& in_channels) const
{
    const auto is_taken = [&](const std::string& in_name) {
        return m_maps->findChannel(in_name) ||
               m_maps->findChannel(channelStoringKey(in_target, in_name)) ||
               in_target_shape->hasChannel(in_name);
    };
    NS::NameSet names;  // of the copies before
    NS::NameSet keys = {in_target};
    if (const auto layout = in_target_shape->layoutPtr()) {
        keys.insert(layout->name());
    }
    for (const auto& [name, new_name] : in_channels) {
        const std::string key = in_source.hasChannel(name) ? keyInShape(in_source, name) : "";
        if (key.empty() || is_taken(new_name)) {
            return false;
        }
        const bool is_bare = m_maps->isBareKey(key);
        const std::string made = nameOfCopy(new_name, is_bare);
        const std::string new_key = is_bare ? made : NS::join(in_target, made);
        if (made.empty() || is_taken(made) || m_maps->hasName(new_key) ||
            !names.insert(made).second || !keys.insert(new_key).second) {
            return false;
        }
    }
    return true;
}

VoxelStateResult VoxelStateSMP::copyChannels(const TreeShape3DBase& in_source,
                                             const std::string& in_target,
                                             const NamePairs& in_channels,
                                             VoxelState& io_destination)
{
    for (const auto& [name, new_name] : in_channels) {
        const VoxelStateResult copied =
            duplicateChannel(keyInShape(in_source, name), new_name, in_target, io_destination);
        if (copied != kVoxelStateOk) {
            return kVoxelStateFailed;
        }
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::copyShape(const std::string& in_source_shape,
                                          const std::string& in_new_shape,
                                          const std::string& in_new_layout,
                                          const NamePairs& in_channels)
{
    ensureData(in_source_shape);
    const auto source = m_maps->findShape(in_source_shape);
    const auto source_layout = source ? source->layoutPtr() : nullptr;
    if (!source_layout || in_new_shape == in_new_layout || m_maps->hasName(in_new_shape) ||
        m_maps->hasName(in_new_layout)) {
        return kVoxelStateFailed;
    }
    const auto layout = std::make_shared<VoxelLayout>(in_new_layout, source_layout->MVS());
    layout->setStateServerID(getId());
    const auto shape = source->copy(false, false);
    shape->removeAllChannels();
    shape->setName(in_new_shape);
    shape->setLayout(layout);
    if (!canCopyChannels(*source, in_new_shape, shape.get(), in_channels) ||
        !m_maps->insertLayout(layout)) {
        return kVoxelStateFailed;
    }
    if (!m_maps->insertShape(shape)) {
        m_maps->eraseLayout(in_new_layout);
        return kVoxelStateFailed;
    }
    // The nodes come last: a channel made on them would be filled with its background first.
    const VoxelStateResult copied = copyChannels(*source, in_new_shape, in_channels, *this);
    source_layout->copyInto(layout, true);
    layout->setName(in_new_layout);
    resizeChannels(*shape);  // of those that have no data here
    return copied;
}

namespace {

/// Whether the channels of one shape fit the other, in kind and tile by tile: data that did not
/// would leave the other's channels out of step.
bool fits(const TreeShape3DBase& in_source, const TreeShape3DBase& in_target)
{
    if (!in_target.isCastableTo(in_source.typeMeta()->typeName())) {
        return false;
    }
    const auto source = in_source.layoutPtr();
    const auto target = in_target.layoutPtr();
    for (int depth = 0; source && target && depth < kNumDepths; ++depth) {
        if (source->numNodes(depth) != target->numNodes(depth)) {
            return false;
        }
        for (int n = 0; n < source->numNodes(depth); ++n) {
            if (in_source.numElements(TileIndex{n, depth}) !=
                in_target.numElements(TileIndex{n, depth})) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

VoxelStateResult VoxelStateSMP::copyChannel(const std::string& in_source_shape,
                                            const std::string& in_destination_shape,
                                            const NamePairs& in_channels)
{
    if (in_channels.empty()) {
        return kVoxelStateOk;
    }
    ensureData(in_source_shape);
    const auto source = m_maps->findShape(in_source_shape);
    const auto target = m_maps->findShape(in_destination_shape);
    if (!source || !target || (source != target && !fits(*source, *target)) ||
        !canCopyChannels(*source, in_destination_shape, target.get(), in_channels)) {
        return kVoxelStateFailed;
    }
    return copyChannels(*source, in_destination_shape, in_channels, *this);
}

namespace {

/// The object of that name in another server, made if need be, as a copy of `in_source` (which may
/// be null). It keeps the shapes that it holds there. Null if the name belongs to another item.
std::shared_ptr<BObject> copyObjectTo(VoxelState& io_destination, const std::string& in_name,
                                      const BObject* in_source)
{
    std::shared_ptr<BObject> target;
    io_destination.newObject(in_name);
    io_destination.objectRef(in_name, target);
    if (!target || !in_source) {
        return target;
    }
    std::vector<std::shared_ptr<TreeShape3DBase>> held;
    const TypeMeta<TreeShape3DBase> shapes;
    for (auto shape = target->beginShapes(shapes); shape != target->endShapes(shapes); ++shape) {
        if (shape.ptr()) {
            held.push_back(shape.ptr());
        }
    }
    in_source->copyInto(target);
    target->setName(in_name);  // the source may have another by now
    for (const auto& shape : held) {
        target->updateShape(shape);
    }
    return target;
}

}  // namespace

VoxelStateResult VoxelStateSMP::copyShapeTo(VoxelState& io_destination,
                                            const std::string& in_source_shape,
                                            const std::vector<std::string>& in_channels)
{
    ensureData(in_source_shape);
    const auto source = m_maps->findShape(in_source_shape);
    const auto source_layout = source ? source->layoutPtr() : nullptr;
    std::shared_ptr<TreeShape3DBase> shape;
    std::shared_ptr<TreeLayout3DBase> layout;
    if (!source_layout || &io_destination == this ||
        io_destination.shapeRef(in_source_shape, shape) == kVoxelStateOk ||
        io_destination.layoutRef(source_layout->name(), layout) == kVoxelStateOk) {
        return kVoxelStateFailed;
    }
    NamePairs channels;
    for (const std::string& name : in_channels) {
        if (!source->hasChannel(name)) {
            return kVoxelStateFailed;
        }
        channels.emplace_back(name, name);
    }

    const auto source_object = source->object();
    const auto object = copyObjectTo(io_destination, source->objectName(), source_object.get());
    if (!object) {
        return kVoxelStateFailed;
    }
    if (object->hasShape(in_source_shape)) {
        object->removeShape(in_source_shape);
    }
    io_destination.newLayout(source_layout->name(), source_layout->MVS(), layout);
    if (!layout) {
        return kVoxelStateFailed;
    }
    io_destination.newShape(source->typeMeta()->typeName(), in_source_shape, layout->name(),
                            object->name(), shape);
    if (!shape) {
        io_destination.deleteVoxelLayout(layout->name());
        return kVoxelStateFailed;
    }
    source->copyInto(shape, false, false);
    shape->setLayout(layout);
    shape->setObject(object);
    shape->removeAllChannels();
    // The nodes come last: a channel made on them would be filled with its background first.
    const VoxelStateResult copied =
        copyChannels(*source, in_source_shape, channels, io_destination);
    source_layout->copyInto(layout, true);
    resizeChannels(*shape);  // of those that have no data here
    return copied;
}

}  // namespace Skelvar
