// The operations of the tables that put items in the place of others or give them other names.

#include <skelvar/state/VoxelStateSMPMaps.h>

#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/ShapeLinks.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tbb/task_arena.h>

#include <utility>

namespace Skelvar {

using Maps = VoxelStateSMP::Maps;
using Lock = std::lock_guard<std::recursive_mutex>;

/// Enters the item or puts it in the place of another of its kind, which the caller lets go of
/// outside of the lock.
template <typename T>
bool Maps::put(Table<T>& io_table, const std::string& in_key, const std::shared_ptr<T>& in_item,
               std::shared_ptr<T>& out_replaced)
{
    const auto entry = io_table.find(in_key);
    if (entry != io_table.end()) {
        out_replaced = std::exchange(entry->second, in_item);
        return true;
    }
    if (!m_names.insert(in_key).second) {
        return false;
    }
    io_table.emplace(in_key, in_item);
    return true;
}

bool Maps::updateObject(const std::shared_ptr<BObject>& in_object)
{
    std::shared_ptr<BObject> replaced;
    const Lock lock(m_mutex);
    if (!put(m_objects, in_object->name(), in_object, replaced)) {
        return false;
    }
    in_object->setStateServerID(m_state_server_id);
    return true;
}

bool Maps::updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    std::shared_ptr<TreeShape3DBase> replaced;
    const Lock lock(m_mutex);
    if (!put(m_shapes, in_shape->name(), in_shape, replaced)) {
        return false;
    }
    in_shape->setStateServerID(m_state_server_id);
    return true;
}

bool Maps::updateMesh(const std::shared_ptr<Mesh>& in_mesh)
{
    std::shared_ptr<Mesh> replaced;
    const Lock lock(m_mutex);
    return put(m_meshes, in_mesh->name(), in_mesh, replaced);
}

bool Maps::updateLayout(const std::shared_ptr<VoxelLayout>& in_layout,
                        std::shared_ptr<VoxelLayout>& out_replaced)
{
    out_replaced = nullptr;
    const Lock lock(m_mutex);
    if (!put(m_layouts, in_layout->name(), in_layout, out_replaced)) {
        return false;
    }
    in_layout->setStateServerID(m_state_server_id);
    if (out_replaced == in_layout) {
        out_replaced = nullptr;
    }
    return true;
}

bool Maps::updateLayoutWithCopy(const std::shared_ptr<VoxelLayout>& in_layout, bool in_copy_data)
{
    const Lock lock(m_mutex);
    const auto entry = m_layouts.find(in_layout->name());
    if (entry == m_layouts.end()) {
        if (!insertLayout(in_layout)) {
            return false;
        }
        in_layout->setStateServerID(m_state_server_id);
        return true;
    }
    const std::shared_ptr<VoxelLayout> stored = entry->second;
    stored->setStateServerID(m_state_server_id);
    if (in_copy_data && stored != in_layout) {
        // This thread holds the lock: while it waits it must not pick up work that wants it too.
        tbb::this_task_arena::isolate([&] { in_layout->copyInto(stored, true); });
        forEachShapeOn(*stored, followLayout);
    }
    return true;
}

bool Maps::standsUnder(const std::string& in_key,
                       const std::shared_ptr<TreeChannel3DBase>& in_channel) const
{
    const auto entry = m_channels.find(in_key);
    return entry != m_channels.end() && entry->second == in_channel;
}

std::string Maps::keyOf(const std::shared_ptr<TreeChannel3DBase>& in_channel) const
{
    const Lock lock(m_mutex);
    std::string path = in_channel->partialPathName();
    if (standsUnder(path, in_channel)) {
        return path;
    }
    if (standsUnder(in_channel->name(), in_channel)) {
        return in_channel->name();
    }
    for (const auto& [key, channel] : m_channels) {  // its shape has gone or has another name now
        if (channel == in_channel) {
            return key;
        }
    }
    return {};
}

bool Maps::putChannel(const std::string& in_key,
                      const std::shared_ptr<TreeChannel3DBase>& in_channel)
{
    std::shared_ptr<TreeChannel3DBase> replaced;
    if (!put(m_channels, in_key, in_channel, replaced)) {
        return false;
    }
    const bool is_bare = in_key == in_channel->name();
    if (is_bare || isBareKey(in_key)) {
        setBareKeyMark(in_key, is_bare);
    }
    in_channel->setStateServerID(m_state_server_id);
    return true;
}

bool Maps::updateChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel)
{
    const std::string path = in_channel->partialPathName();
    const Lock lock(m_mutex);
    const bool keeps_name =
        standsUnder(in_channel->name(), in_channel) && !standsUnder(path, in_channel);
    const bool has_path = m_channels.contains(path) && !keeps_name;
    return putChannel(has_path ? path : in_channel->name(), in_channel);
}

bool Maps::renameLayout(const std::shared_ptr<VoxelLayout>& io_layout,
                        const std::string& in_new_name)
{
    const Lock lock(m_mutex);
    const std::string old_name = io_layout->name();
    if (BObject::anyHasLayouts()) {
        for (const auto& [name, object] : m_objects) {
            object->renameLayout(old_name, in_new_name);
        }
    }
    forEachShapeOn(*io_layout, [&](TreeShape3DBase& io_shape) {
        if (io_shape.layoutName() == old_name) {
            io_shape.setLayoutName(in_new_name);
        }
    });
    if (findLayout(old_name) == io_layout) {
        eraseLayout(old_name);
    }
    io_layout->setName(in_new_name);
    std::shared_ptr<VoxelLayout> replaced;
    return updateLayout(io_layout, replaced);
}

bool Maps::renameShape(const std::shared_ptr<TreeShape3DBase>& io_shape,
                       const std::string& in_new_name)
{
    const Lock lock(m_mutex);
    const std::string old_name = io_shape->name();
    const std::shared_ptr<BObject> object = io_shape->object();
    if (object && object->hasShape(old_name) &&
        object->shapePtr<TreeShape3DBase>(old_name) == io_shape) {
        object->renameShape(old_name, in_new_name);
    } else {
        io_shape->setName(in_new_name);
    }
    if (findShape(old_name) == io_shape) {
        eraseShape(old_name);
    }
    return updateShape(io_shape);
}

bool Maps::renameChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel,
                         const std::string& in_new_name)
{
    const Lock lock(m_mutex);
    if (!io_channel->shapePtr()) {
        return false;
    }
    const std::string key = keyOf(io_channel);
    renameInShape(io_channel, in_new_name);
    if (!key.empty()) {
        eraseChannel(key);
    }
    return updateChannel(io_channel);
}

bool Maps::swapChannels(const std::string& in_a, const std::string& in_b)
{
    ChannelInfo a;
    ChannelInfo b;
    const Lock lock(m_mutex);
    if (!channelInfoNoLock(in_a, a) || !channelInfoNoLock(in_b, b)) {
        return false;
    }
    const std::shared_ptr<TreeShape3DBase> shape = a.channel->shapePtr();
    if (!shape || b.channel->shapePtr() != shape || !holdsChannel(*shape, a.channel) ||
        !holdsChannel(*shape, b.channel)) {
        return false;
    }
    if (a.channel == b.channel) {
        return true;
    }
    shape->swapChannels(a.channel->name(), b.channel->name());
    return putChannel(a.storingKey, b.channel) && putChannel(b.storingKey, a.channel);
}

}  // namespace Skelvar
