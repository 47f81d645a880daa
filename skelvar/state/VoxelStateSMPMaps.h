#pragma once

#include <skelvar/base/NameSuffixCompare.h>
#include <skelvar/state/VoxelStateSMP.h>

#include <iosfwd>
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

    class Dumper;

    explicit Maps(unsigned int in_state_server_id = 0xFFFFFFFFu);
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

    /// Enter an item under its name, or put it in the place of the one of its kind and name. False,
    /// and nothing changes, if an item of another kind has the name. All but meshes take the id of
    /// the server.
    bool updateObject(const std::shared_ptr<BObject>& in_object);
    bool updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    bool updateMesh(const std::shared_ptr<Mesh>& in_mesh);
    /// `out_replaced` receives the layout that stood there before, null if none or the same did.
    bool updateLayout(const std::shared_ptr<VoxelLayout>& in_layout,
                      std::shared_ptr<VoxelLayout>& out_replaced);
    /// The channel stays where it stands if that is its path or its name. Else the key is its path
    /// if a channel stands there, and its bare name if none does.
    bool updateChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel);
    /// Enters the layout, or with `in_copy_data` copies its content into the one that has the name:
    /// that one keeps its identity, and the channels of the shapes on it follow its new size.
    bool updateLayoutWithCopy(const std::shared_ptr<VoxelLayout>& in_layout, bool in_copy_data);

    /// Give a stored item another name, which must be free, here and with all that refer to it by
    /// name: for a layout the shapes that stand on it and the objects that list it, for a shape its
    /// object and its channels, for a channel its shape. A channel comes to stand under its bare
    /// name, unless a channel stands under its new path. False for a channel without a shape.
    bool renameLayout(const std::shared_ptr<VoxelLayout>& io_layout,
                      const std::string& in_new_name);
    bool renameShape(const std::shared_ptr<TreeShape3DBase>& io_shape,
                     const std::string& in_new_name);
    bool renameChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel,
                       const std::string& in_new_name);
    /// Two channels of one shape change names and keys. False if one is absent or they are not of
    /// one shape.
    bool swapChannels(const std::string& in_a, const std::string& in_b);

    /// The item, or null.
    std::shared_ptr<BObject> findObject(const std::string& in_name) const;
    std::shared_ptr<VoxelLayout> findLayout(const std::string& in_name) const;
    std::shared_ptr<TreeShape3DBase> findShape(const std::string& in_name) const;
    std::shared_ptr<Mesh> findMesh(const std::string& in_name) const;
    std::shared_ptr<TreeChannel3DBase> findChannel(const std::string& in_name) const;
    /// Whether an item of any kind has the name.
    bool hasName(const std::string& in_name) const;
    /// The key under which this very channel stands; empty if it is not stored.
    std::string keyOf(const std::shared_ptr<TreeChannel3DBase>& in_channel) const;
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

    /// See `VoxelStateSMP::dump` and `VoxelStateSMP::totalMemUsage`.
    void dump(std::ostream& io_stream, int in_indent, int in_detail) const;
    unsigned long long totalMemUsage(MemUsage::Type in_type) const;

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
    template <typename T>
    bool put(Table<T>& io_table, const std::string& in_key, const std::shared_ptr<T>& in_item,
             std::shared_ptr<T>& out_replaced);
    bool putChannel(const std::string& in_key,
                    const std::shared_ptr<TreeChannel3DBase>& in_channel);
    bool standsUnder(const std::string& in_key,
                     const std::shared_ptr<TreeChannel3DBase>& in_channel) const;
    void setBareKeyMark(const std::string& in_key, bool in_marked);

    mutable std::recursive_mutex m_mutex;  ///< guards all that follows, not the items themselves
    std::set<std::string, NS::NameSuffixCompare> m_names;
    Table<BObject> m_objects;
    Table<TreeChannel3DBase> m_channels;
    Table<TreeShape3DBase> m_shapes;
    Table<VoxelLayout> m_layouts;
    Table<Mesh> m_meshes;
    const std::shared_ptr<Dictionary> m_dictionary;
    const unsigned int m_state_server_id;
};

}  // namespace Skelvar
