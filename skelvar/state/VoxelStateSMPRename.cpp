#include <skelvar/base/PathName.h>
#include <skelvar/base/UniqueName.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/ShapeLinks.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/state/VoxelStateSMPMaps.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace Skelvar {

namespace {

/// An object's new name and what follows from it. Everything is collected and tested before the
/// first change, since a rename changes the tables that the collecting walks over.
class ObjectRename {
public:
    ObjectRename(VoxelStateSMP::Maps& io_maps, const std::shared_ptr<BObject>& io_object,
                 const std::string& in_new_name);

    /// Whether each new name is free, but for names that this rename itself frees.
    bool isPossible() const;
    bool run();

private:
    template <typename T>
    struct Item {
        std::shared_ptr<T> item;
        std::string name;     ///< the new one
        std::string old_key;  ///< empty if the store does not hold this very item
        std::string new_key;
    };
    template <typename T>
    using Items = std::vector<Item<T>>;

    void collectLayout(const TreeShape3DBase& in_shape);
    void collectShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    void collectChannels(const TreeShape3DBase& in_shape, const std::string& in_new_shape_name);
    std::string newName(const std::string& in_name) const;
    template <typename T>
    void sortByLength(Items<T>& io_items) const;
    bool tablesHaveRoom() const;
    void eraseOldKeys();

    VoxelStateSMP::Maps& m_maps;
    const std::shared_ptr<BObject> m_object;
    const std::string m_old_name;
    const std::string m_new_name;
    Items<VoxelLayout> m_layouts;
    Items<TreeShape3DBase> m_shapes;
    Items<TreeChannel3DBase> m_channels;
};

ObjectRename::ObjectRename(VoxelStateSMP::Maps& io_maps, const std::shared_ptr<BObject>& io_object,
                           const std::string& in_new_name)
    : m_maps(io_maps), m_object(io_object), m_old_name(io_object->name()), m_new_name(in_new_name)
{
    const TypeMeta<TreeShape3DBase> shapes;
    for (auto shape = m_object->beginShapes(shapes); shape != m_object->endShapes(shapes);
         ++shape) {
        if (shape.ptr()) {
            collectLayout(*shape.ptr());
            collectShape(shape.ptr());
        }
    }
    sortByLength(m_layouts);
    sortByLength(m_shapes);
    sortByLength(m_channels);
}

/// The object's new name and what follows the length of its old one. An item whose name is no
/// longer than that keeps it.
std::string ObjectRename::newName(const std::string& in_name) const
{
    return in_name.size() > m_old_name.size() ? m_new_name + in_name.substr(m_old_name.size())
                                              : in_name;
}

void ObjectRename::collectLayout(const TreeShape3DBase& in_shape)
{
    const auto layout = std::dynamic_pointer_cast<VoxelLayout>(in_shape.layoutPtr());
    const auto is_this = [&](const Item<VoxelLayout>& in_item) { return in_item.item == layout; };
    if (!layout || std::any_of(m_layouts.begin(), m_layouts.end(), is_this)) {
        return;
    }
    const std::string& old_name = layout->name();
    const std::string name = newName(old_name);
    if (name != old_name) {
        const bool is_stored = m_maps.findLayout(old_name) == layout;
        m_layouts.push_back({layout, name, is_stored ? old_name : "", name});
    }
}

void ObjectRename::collectShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    const std::string& old_name = in_shape->name();
    const std::string name = newName(old_name);
    if (name != old_name) {
        const bool is_stored = m_maps.findShape(old_name) == in_shape;
        m_shapes.push_back({in_shape, name, is_stored ? old_name : "", name});
    }
    collectChannels(*in_shape, name);
}

void ObjectRename::collectChannels(const TreeShape3DBase& in_shape,
                                   const std::string& in_new_shape_name)
{
    for (const auto& [old_name, channel] : in_shape.channels()) {
        if (!channel || channel->name() != old_name) {
            continue;
        }
        const std::string key = m_maps.keyOf(channel);
        const std::string name = newName(old_name);
        // A channel that keeps its name stays under the path of its shape, if it stands there.
        const std::string new_key = name != old_name ? name
                                    : key.empty() || key == name
                                        ? key
                                        : NS::join(in_new_shape_name, name);
        if (name != old_name || new_key != key) {
            m_channels.push_back({channel, name, key, new_key});
        }
    }
}

/// Into an order in which no item takes a name that another still has: if names grow, the longest
/// comes first.
template <typename T>
void ObjectRename::sortByLength(Items<T>& io_items) const
{
    const bool grows = m_new_name.size() > m_old_name.size();
    std::stable_sort(io_items.begin(), io_items.end(), [=](const auto& in_a, const auto& in_b) {
        return grows ? in_a.name.size() > in_b.name.size() : in_a.name.size() < in_b.name.size();
    });
}

bool ObjectRename::isPossible() const
{
    NS::NameSet freed = {m_old_name};
    NS::NameSet taken;
    bool ok = true;
    const auto collect_freed = [&](const auto& in_items) {
        for (const auto& item : in_items) {
            if (!item.old_key.empty()) {
                freed.insert(item.old_key);
            }
        }
    };
    const auto take = [&](const std::string& in_key) {
        ok = ok && taken.insert(in_key).second &&
             (freed.contains(in_key) || !m_maps.hasName(in_key));
    };
    const auto take_all = [&](const auto& in_items) {
        for (const auto& item : in_items) {
            take(item.new_key);
        }
    };
    collect_freed(m_layouts);
    collect_freed(m_shapes);
    collect_freed(m_channels);
    take(m_new_name);
    take_all(m_layouts);
    take_all(m_shapes);
    take_all(m_channels);
    return ok && tablesHaveRoom();
}

/// Whether the new names are free in the tables of the object and of its shapes too: these may know
/// names that the store does not.
bool ObjectRename::tablesHaveRoom() const
{
    std::set<std::string> shape_names;
    std::set<std::pair<const TreeShape3DBase*, std::string>> channel_names;
    for (const auto& shape : m_shapes) {
        shape_names.insert(shape.item->name());
    }
    for (const auto& channel : m_channels) {
        channel_names.emplace(channel.item->shapePtr().get(), channel.item->name());
    }
    return std::all_of(m_shapes.begin(), m_shapes.end(),
                       [&](const auto& in_item) {
                           return shape_names.contains(in_item.name) ||
                                  !m_object->hasShape(in_item.name);
                       }) &&
           std::all_of(m_channels.begin(), m_channels.end(), [&](const auto& in_item) {
               const auto shape = in_item.item->shapePtr();
               return !shape || channel_names.contains({shape.get(), in_item.name}) ||
                      !shape->hasChannel(in_item.name);
           });
}

void ObjectRename::eraseOldKeys()
{
    m_maps.eraseObject(m_old_name);
    for (const auto& layout : m_layouts) {
        m_maps.eraseLayout(layout.old_key);
    }
    for (const auto& shape : m_shapes) {
        m_maps.eraseShape(shape.old_key);
    }
    for (const auto& channel : m_channels) {
        if (!channel.old_key.empty()) {
            m_maps.eraseChannel(channel.old_key);
        }
    }
}

bool ObjectRename::run()
{
    eraseOldKeys();
    m_object->setName(m_new_name);
    bool ok = m_maps.updateObject(m_object);
    for (const auto& layout : m_layouts) {
        ok = m_maps.renameLayout(layout.item, layout.name) && ok;
    }
    for (const auto& shape : m_shapes) {
        ok = m_maps.renameShape(shape.item, shape.name) && ok;
    }
    for (const auto& channel : m_channels) {
        if (channel.name != channel.item->name()) {
            renameInShape(channel.item, channel.name);
        }
        channel.item->setStateServerID(m_object->stateServerID());
        ok = m_maps.insertChannel(channel.item, channel.new_key) && ok;
    }
    return ok;
}

}  // namespace

VoxelStateResult VoxelStateSMP::renameObject(const std::shared_ptr<BObject>& io_object,
                                             const std::string& in_new_name)
{
    if (!io_object) {
        return kVoxelStateFailed;
    }
    const std::string old_name = io_object->name();
    ensureData(old_name);
    if (m_maps->findObject(old_name) != io_object) {
        return kVoxelStateFailed;
    }
    if (old_name == in_new_name) {
        return kVoxelStateOk;
    }
    ObjectRename rename(*m_maps, io_object, in_new_name);
    return rename.isPossible() && rename.run() ? kVoxelStateOk : kVoxelStateFailed;
}

VoxelStateResult VoxelStateSMP::swapChannels(const std::string& in_channel_a,
                                             const std::string& in_channel_b)
{
    return m_maps->swapChannels(in_channel_a, in_channel_b) ? kVoxelStateOk : kVoxelStateFailed;
}

}  // namespace Skelvar
