#include <skelvar/state/VoxelStateSMPMaps.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/base/NameFunctions.h>
#include <skelvar/base/PathName.h>
#include <skelvar/base/UniqueName.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Skelvar {

using Maps = VoxelStateSMP::Maps;
using Lock = std::lock_guard<std::recursive_mutex>;

namespace {

using NameSet = std::set<std::string, NS::NameSuffixCompare>;

/// The place of a name that is in the set. A name whose number does not fit an `int` cannot be
/// compared with itself, but may stand alone on its base: it is searched from end to end.
NameSet::const_iterator findStored(const NameSet& in_names, const std::string& in_name)
{
    try {
        return in_names.find(in_name);
    } catch (const std::out_of_range&) {
        return std::find(in_names.begin(), in_names.end(), in_name);
    }
}

}  // namespace

Maps::Maps(unsigned int in_state_server_id)
    : m_dictionary(std::make_shared<Dictionary>()), m_state_server_id(in_state_server_id)
{
}

Maps::~Maps() = default;

template <typename T>
bool Maps::insert(Table<T>& io_table, const std::string& in_key, const std::shared_ptr<T>& in_item)
{
    const Lock lock(m_mutex);
    if (!m_names.insert(in_key).second) {  // first, as it may throw
        return false;
    }
    io_table.emplace(in_key, in_item);
    return true;
}

template <typename T>
std::shared_ptr<T> Maps::find(const Table<T>& in_table, const std::string& in_key) const
{
    const Lock lock(m_mutex);
    const auto entry = in_table.find(in_key);
    return entry != in_table.end() ? entry->second : nullptr;
}

/// Takes the item out and hands it over, so that the caller lets go of it outside of the lock.
template <typename T>
std::shared_ptr<T> Maps::take(Table<T>& io_table, const std::string& in_key)
{
    const Lock lock(m_mutex);
    const auto entry = io_table.find(in_key);
    if (entry == io_table.end()) {
        return nullptr;
    }
    m_names.erase(findStored(m_names, in_key));
    std::shared_ptr<T> item = std::move(entry->second);
    io_table.erase(entry);
    return item;
}

bool Maps::insertObject(const std::shared_ptr<BObject>& in_object)
{
    return insert(m_objects, in_object->name(), in_object);
}

bool Maps::insertLayout(const std::shared_ptr<VoxelLayout>& in_layout)
{
    return insert(m_layouts, in_layout->name(), in_layout);
}

bool Maps::insertShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    return insert(m_shapes, in_shape->name(), in_shape);
}

bool Maps::insertMesh(const std::shared_ptr<Mesh>& in_mesh)
{
    return insert(m_meshes, in_mesh->name(), in_mesh);
}

bool Maps::insertChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel,
                         const std::string& in_key)
{
    const std::string& name = in_channel->name();
    const std::string& key = in_key.empty() ? name : in_key;
    const Lock lock(m_mutex);
    if (!insert(m_channels, key, in_channel)) {
        return false;
    }
    if (key == name) {
        setBareKeyMark(name, true);
    }
    return true;
}

std::shared_ptr<BObject> Maps::findObject(const std::string& in_name) const
{
    return find(m_objects, in_name);
}

std::shared_ptr<VoxelLayout> Maps::findLayout(const std::string& in_name) const
{
    return find(m_layouts, in_name);
}

std::shared_ptr<TreeShape3DBase> Maps::findShape(const std::string& in_name) const
{
    return find(m_shapes, in_name);
}

std::shared_ptr<Mesh> Maps::findMesh(const std::string& in_name) const
{
    return find(m_meshes, in_name);
}

std::shared_ptr<TreeChannel3DBase> Maps::findChannel(const std::string& in_name) const
{
    ChannelInfo info;
    const Lock lock(m_mutex);
    return channelInfoNoLock(in_name, info) ? info.channel : nullptr;
}

bool Maps::hasName(const std::string& in_name) const
{
    const Lock lock(m_mutex);
    return m_names.contains(in_name);
}

bool Maps::channelInfoNoLock(const std::string& in_name, ChannelInfo& out_info) const
{
    if (const auto entry = m_channels.find(in_name); entry != m_channels.end()) {
        out_info.channel = entry->second;
        out_info.channelName = in_name;
        out_info.storingKey = in_name;
        return true;
    }
    out_info = ChannelInfo();
    const int parts =
        NS::splitPathName(in_name, out_info.objectName, out_info.shapeName, out_info.channelName);
    if (parts < 2 || (parts == 3 && !m_objects.contains(out_info.objectName))) {
        return false;
    }
    const auto shape = m_shapes.find(out_info.shapeName);
    if (shape == m_shapes.end() || shape->second->objectName() != out_info.objectName) {
        return false;
    }
    out_info.storingKey = NS::join(out_info.shapeName, out_info.channelName);
    const auto entry = m_channels.find(out_info.storingKey);
    if (entry == m_channels.end()) {
        return false;
    }
    out_info.channel = entry->second;
    return true;
}

void Maps::setBareKeyMark(const std::string& in_key, bool in_marked)
{
    m_dictionary->removeValue(in_key);  // else an older value of the key would stay
    if (in_marked) {
        m_dictionary->setValue(in_key, true);
    }
}

bool Maps::isBareKey(const std::string& in_channel_name) const
{
    bool marked = false;
    const Lock lock(m_mutex);
    return m_dictionary->getValue(in_channel_name, marked) && marked;
}

std::string Maps::channelStoringKey(const std::string& in_shape_name,
                                    const std::string& in_channel_name) const
{
    const Lock lock(m_mutex);
    return isBareKey(in_channel_name) ? in_channel_name : NS::join(in_shape_name, in_channel_name);
}

bool Maps::eraseObject(const std::string& in_name)
{
    return take(m_objects, in_name) != nullptr;
}

bool Maps::eraseLayout(const std::string& in_name)
{
    return take(m_layouts, in_name) != nullptr;
}

bool Maps::eraseShape(const std::string& in_name)
{
    return take(m_shapes, in_name) != nullptr;
}

bool Maps::eraseMesh(const std::string& in_name)
{
    return take(m_meshes, in_name) != nullptr;
}

std::shared_ptr<TreeChannel3DBase> Maps::eraseChannel(const std::string& in_name)
{
    ChannelInfo info;
    const Lock lock(m_mutex);
    if (!channelInfoNoLock(in_name, info)) {
        return nullptr;
    }
    std::shared_ptr<TreeChannel3DBase> channel = take(m_channels, info.storingKey);
    if (isBareKey(info.storingKey)) {
        setBareKeyMark(info.storingKey, false);
    }
    return channel;
}

void Maps::clear()
{
    const Lock lock(m_mutex);
    m_channels.clear();
    m_layouts.clear();
    m_shapes.clear();
    m_objects.clear();
    m_meshes.clear();
    m_names.clear();
    m_dictionary->clear();
}

template <typename T>
std::vector<std::string> Maps::keys(const Table<T>& in_table) const
{
    std::vector<std::string> result;
    const Lock lock(m_mutex);
    result.reserve(in_table.size());
    for (const auto& entry : in_table) {
        result.push_back(entry.first);
    }
    return result;
}

std::vector<std::string> Maps::objectKeys() const
{
    return keys(m_objects);
}

std::vector<std::string> Maps::layoutKeys() const
{
    return keys(m_layouts);
}

std::vector<std::string> Maps::shapeKeys() const
{
    return keys(m_shapes);
}

std::vector<std::string> Maps::channelKeys() const
{
    return keys(m_channels);
}

std::vector<std::string> Maps::meshKeys() const
{
    return keys(m_meshes);
}

std::vector<std::string> Maps::names() const
{
    const Lock lock(m_mutex);
    return {m_names.begin(), m_names.end()};
}

std::string Maps::uniqueName(const std::string& in_name) const
{
    std::string name;
    const Lock lock(m_mutex);
    NS::UniqueSetName::create(m_names, in_name, name);
    return name;
}

}  // namespace Skelvar
