#include <skelvar/state/BObject.h>
#include <skelvar/state/ShapeLinks.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <utility>

namespace Skelvar {

namespace {

VoxelStateResult okIf(bool in_done)
{
    return in_done ? kVoxelStateOk : kVoxelStateFailed;
}

/// The stored items of the names that a copy of an object knows without holding the shape.
void adoptStoredShapes(const VoxelStateSMP::Maps& in_maps, BObject& io_object)
{
    std::vector<std::shared_ptr<TreeShape3DBase>> found;
    const TypeMeta<TreeShape3DBase> shapes;
    for (auto shape = io_object.beginShapes(shapes); shape != io_object.endShapes(shapes);
         ++shape) {
        const auto stored = shape.ptr() ? nullptr : in_maps.findShape(shape.name());
        if (stored && stored->objectName() == io_object.name()) {
            found.push_back(stored);
        }
    }
    for (const auto& shape : found) {
        io_object.updateShape(shape);
    }
}

std::vector<std::shared_ptr<TreeShape3DBase>> heldShapes(const BObject& in_object)
{
    std::vector<std::shared_ptr<TreeShape3DBase>> held;
    const TypeMeta<TreeShape3DBase> shapes;
    for (auto shape = in_object.beginShapes(shapes); shape != in_object.endShapes(shapes);
         ++shape) {
        if (shape.ptr()) {
            held.push_back(shape.ptr());
        }
    }
    return held;
}

/// The stored shapes that stand on a layout of the store under its name.
std::vector<std::shared_ptr<TreeShape3DBase>> storedShapesOn(const VoxelStateSMP::Maps& in_maps,
                                                             const VoxelLayout& in_layout)
{
    std::vector<std::shared_ptr<TreeShape3DBase>> shapes;
    forEachShapeOn(in_layout, [&](const TreeShape3DBase& in_shape) {
        const auto stored = in_maps.findShape(in_shape.name());
        if (stored.get() == &in_shape && in_shape.layoutName() == in_layout.name()) {
            shapes.push_back(stored);
        }
    });
    return shapes;
}

/// Puts the layout of a shape into the store. Shapes that stood on a layout of that name, which
/// this replaces, move to it: they refer to it weakly, and its last holder may go at any time.
bool updateLayoutOf(VoxelStateSMP::Maps& io_maps, TreeShape3DBase& io_shape)
{
    const auto base = io_shape.layoutPtr();
    if (!base) {
        // The layout may have been replaced while the shape was in other hands.
        if (const auto stored = io_maps.findLayout(io_shape.layoutName())) {
            io_shape.setLayout(stored);
            resizeChannels(io_shape);
        }
        return true;
    }
    const auto layout = std::dynamic_pointer_cast<VoxelLayout>(base);
    if (!layout) {
        return false;
    }
    // A copy of a shape does not observe its layout, a stored shape does.
    const auto& observers = layout->observers();
    if (std::find(observers.begin(), observers.end(), &io_shape) == observers.end()) {
        io_shape.setLayout(layout);
    }
    // The layout, or another that a shape with the same arrays stands on, may have been edited.
    resizeChannels(io_shape);
    std::shared_ptr<VoxelLayout> replaced;
    if (!io_maps.updateLayout(layout, replaced)) {
        return false;
    }
    if (replaced) {
        for (const auto& shape : storedShapesOn(io_maps, *replaced)) {
            shape->setLayout(layout);
            resizeChannels(*shape);
        }
    }
    return true;
}

}  // namespace

VoxelStateResult VoxelStateSMP::updateObject(const std::shared_ptr<BObject>& in_object)
{
    if (!in_object || !m_maps->updateObject(in_object)) {
        return kVoxelStateFailed;
    }
    adoptStoredShapes(*m_maps, *in_object);
    bool ok = true;
    for (const auto& shape : heldShapes(*in_object)) {
        if (shape->object() != in_object) {
            shape->setObject(in_object);
        }
        ok = updateShape(shape) == kVoxelStateOk && ok;
    }
    return okIf(ok);
}

VoxelStateResult VoxelStateSMP::updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    if (!in_shape || !m_maps->updateShape(in_shape)) {
        return kVoxelStateFailed;
    }
    bool ok = updateLayoutOf(*m_maps, *in_shape);
    // The stored object holds the stored shape, even if this was fetched into a copy of it.
    const auto object = m_maps->findObject(in_shape->objectName());
    if (object && object->hasShape(in_shape->name()) &&
        object->shapePtr<TreeShape3DBase>(in_shape->name()) != in_shape) {
        object->updateShape(in_shape);
    }
    for (const auto& [name, channel] : in_shape->channels()) {
        ok = (!channel || updateChannel(channel) == kVoxelStateOk) && ok;
    }
    return okIf(ok);
}

VoxelStateResult VoxelStateSMP::updateChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel)
{
    return okIf(in_channel && m_maps->updateChannel(in_channel));
}

VoxelStateResult VoxelStateSMP::updateMesh(const orvel::shared_ptr<Mesh>& in_mesh)
{
    return okIf(in_mesh && m_maps->updateMesh(in_mesh));
}

VoxelStateResult VoxelStateSMP::copyIntoStored(const TreeChannel3DBase& in_channel,
                                               bool in_with_data)
{
    const auto stored = m_maps->findChannel(in_channel.name());
    if (!stored || !stored->isCastableTo(in_channel.typeMeta()->typeName())) {
        return kVoxelStateFailed;
    }
    if (stored.get() == &in_channel) {
        return kVoxelStateOk;
    }
    // Data that the two share need no copy: that is what a lightweight copy is for.
    const bool copies_data = in_with_data && stored->blockDataPtr() != in_channel.blockDataPtr();
    const std::string shape_name = stored->shapeName();
    in_channel.copyInto(stored, copies_data, false);
    stored->setShapeName(shape_name);
    const auto shape = stored->shapePtr();
    if (const auto layout = copies_data && shape ? shape->layoutPtr() : nullptr) {
        stored->resize(*layout);
    }
    return kVoxelStateOk;
}

VoxelStateResult VoxelStateSMP::updateChannelMetaData(const TreeChannel3DBase& in_channel)
{
    return copyIntoStored(in_channel, false);
}

VoxelStateResult VoxelStateSMP::updateChannelBlockData(const TreeChannel3DBase& in_channel)
{
    ensureData(in_channel.name());
    return copyIntoStored(in_channel, true);
}

namespace {

/// Brings the change of a layout's copy back into the stored layout. If they share their nodes,
/// only the header is missing; else `in_edit(VoxelLayout&)` makes the same change.
template <typename Edit>
VoxelStateResult bringBack(const std::shared_ptr<VoxelLayout>& io_stored,
                           const VoxelLayout& in_copy, const Edit& in_edit)
{
    if (!io_stored) {
        return kVoxelStateFailed;
    }
    if (io_stored.get() == &in_copy) {
        return kVoxelStateOk;
    }
    if (io_stored->nodeDataPtr() != in_copy.nodeDataPtr()) {
        in_edit(*io_stored);
        return kVoxelStateOk;
    }
    in_copy.copyInto(io_stored, false);
    forEachShapeOn(*io_stored, followLayout);
    return kVoxelStateOk;
}

}  // namespace

VoxelStateResult VoxelStateSMP::refineVoxelLayout(const VoxelLayout& in_layout,
                                                  const TileIds& in_tile_ids)
{
    ensureData(in_layout.name());
    return bringBack(m_maps->findLayout(in_layout.name()), in_layout,
                     [&](VoxelLayout& io_layout) { io_layout.addNodes(in_tile_ids); });
}

VoxelStateResult VoxelStateSMP::coarsenVoxelLayout(const VoxelLayout& in_layout,
                                                   const TileIds& in_tile_ids)
{
    ensureData(in_layout.name());
    return bringBack(m_maps->findLayout(in_layout.name()), in_layout,
                     [&](VoxelLayout& io_layout) { io_layout.deleteNodes(in_tile_ids); });
}

VoxelStateResult VoxelStateSMP::updateShapeAndItsObjectLayoutChannels(
    const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    const auto layout =
        in_shape ? std::dynamic_pointer_cast<VoxelLayout>(in_shape->layoutPtr()) : nullptr;
    if (!layout || !m_maps->updateLayoutWithCopy(layout, true) || !m_maps->updateShape(in_shape)) {
        return kVoxelStateFailed;
    }
    const auto stored_layout = m_maps->findLayout(in_shape->layoutName());
    if (!stored_layout) {
        return kVoxelStateFailed;
    }
    in_shape->setLayout(stored_layout);

    const std::string object_name = in_shape->objectName();
    ensureData(object_name);
    auto object = m_maps->findObject(object_name);
    if (!object) {
        newObject(object_name);
        object = m_maps->findObject(object_name);
    }
    if (!object) {
        return kVoxelStateFailed;
    }
    if (object->hasShape(in_shape->name())) {
        object->updateShape(in_shape);
    } else {
        object->addShape(in_shape);
    }
    bool ok = true;
    for (const auto& [name, channel] : in_shape->channels()) {
        ok = (!channel || updateChannel(channel) == kVoxelStateOk) && ok;
    }
    return okIf(ok);
}

VoxelStateResult VoxelStateSMP::mergeIn(const VoxelState& in_other,
                                        const std::vector<std::string>& in_shapes)
{
    bool ok = true;
    for (const std::string& name : in_shapes) {
        std::shared_ptr<TreeShape3DBase> shape;
        in_other.shapeRef(name, shape);
        ok = updateShapeAndItsObjectLayoutChannels(shape) == kVoxelStateOk && ok;
    }
    return okIf(ok);
}

}  // namespace Skelvar
