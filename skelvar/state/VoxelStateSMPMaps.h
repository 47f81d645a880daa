#pragma once

#include <skelvar/base/NameSuffixCompare.h>
#include <skelvar/state/VoxelStateSMP.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace Skelvar {

/// All tables of a server, with their lock. Every operation takes the lock by itself and drops it,
/// except for `channelInfoNoLock`. Two facts hold whenever the lock is free:
/// a key stands in `m_names` if and only if it stands in exactly one of the five typed maps;
/// the dictionary holds a true boolean under a channel's name while, and only while, the channel
/// stands under that bare name.
///
/// To enter a name, or to ask for a unique one, throws `std::out_of_range` if it meets a name of
/// the same base and the trailing number of one does not fit an `int`; nothing has changed then.
class SKELVAR_API VoxelStateSMP::Maps {
public:
    /// What a search for a channel finds.
    struct ChannelInfo {
        std::string objectName;
        std::string shapeName;
        std::string channelName;
        std::string storingKey;
        std::shared_ptr<TreeChannel3DBase> channel;
    };

    Maps();
    ~Maps();

    /// The server's key-value store, which also holds the marks of bare-key channels.
    const std::shared_ptr<Dictionary>& dictionary() const { return m_dictionary; }

    /// Enter an item under its name. False, and nothing changes, if an item of any kind has it.
    bool insertObject(const std::shared_ptr<BObject>& in_object);
    bool insertLayout(const std::shared_ptr<VoxelLayout>& in_layout);
    bool insertShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    bool insertMesh(const std::shared_ptr<Mesh>& in_mesh);
    /// Under `in_key`, or under the channel's bare name if the key is empty.
    bool insertChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel,
                       const std::string& in_key);
    /// Enters a mesh or replaces the one of its name. False if an item of another kind has it.
    bool updateMesh(const std::shared_ptr<Mesh>& in_mesh);

    /// The item, or null.
    std::shared_ptr<BObject> findObject(const std::string& in_name) const;
    std::shared_ptr<VoxelLayout> findLayout(const std::string& in_name) const;
    std::shared_ptr<TreeShape3DBase> findShape(const std::string& in_name) const;
    std::shared_ptr<Mesh> findMesh(const std::string& in_name) const;
    std::shared_ptr<TreeChannel3DBase> findChannel(const std::string& in_name) const;
    /// Searches a channel by its key or by a path. For a caller that holds the lock.
    bool channelInfoNoLock(const std::string& in_name, ChannelInfo& out_info) const;
    /// Whether a channel stands under that bare name.
    bool isBareKey(const std::string& in_channel_name) const;
    /// See `VoxelStateSMP::channelStoringKey`.
    std::string channelStoringKey(const std::string& in_shape_name,
                                  const std::string& in_channel_name) const;

    /// Take an item out of its table. False if it is not there. The item dies outside of the lock.
    bool eraseObject(const std::string& in_name);
    bool eraseLayout(const std::string& in_name);
    bool eraseShape(const std::string& in_name);
    bool eraseMesh(const std::string& in_name);
    /// Takes out the channel that `channelInfoNoLock` finds, and gives it; null if there is none.
    std::shared_ptr<TreeChannel3DBase> eraseChannel(const std::string& in_name);
    /// Empties all tables and the dictionary.
    void clear();

    /// The keys of a table by rising bytes; all keys in the order of `NameSuffixCompare`.
    std::vector<std::string> objectKeys() const;
    std::vector<std::string> layoutKeys() const;
    std::vector<std::string> shapeKeys() const;
    std::vector<std::string> channelKeys() const;
    std::vector<std::string> meshKeys() const;
    std::vector<std::string> names() const;
    std::string uniqueName(const std::string& in_name) const;

private:
    template <typename T>
    using Table = std::map<std::string, std::shared_ptr<T>>;

    template <typename T>
    bool insert(Table<T>& io_table, const std::string& in_key, const std::shared_ptr<T>& in_item);
    template <typename T>
    std::shared_ptr<T> find(const Table<T>& in_table, const std::string& in_key) const;
    template <typename T>
    std::shared_ptr<T> take(Table<T>& io_table, const std::string& in_key);
    template <typename T>
    std::vector<std::string> keys(const Table<T>& in_table) const;

    mutable std::recursive_mutex m_mutex;  ///< guards all that follows, not the items themselves
    std::set<std::string, NS::NameSuffixCompare> m_names;
    Table<BObject> m_objects;
    Table<TreeChannel3DBase> m_channels;
    Table<TreeShape3DBase> m_shapes;
    Table<VoxelLayout> m_layouts;
    Table<Mesh> m_meshes;
    const std::shared_ptr<Dictionary> m_dictionary;
};

}  // namespace Skelvar
