#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/PathName.h>
#include <skelvar/base/Persistable.h>
#include <skelvar/base/Similarity.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/base/UniqueName.h>
#include <skelvar/tree/TileIndex.h>
#include <skelvar/tree/TreeLayout3DObserver.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Skelvar {

class BObject;
class Dictionary;
class TreeChannel3DBase;
class TreeLayout3DBase;

/// Ties a layout to a table of channels and places them in the world. Owns its channels; refers to
/// its layout and its object weakly. Observes the layout and passes each event on to all channels,
/// concurrently, but one after the other to channels that share their arrays. The table is edited
/// by one thread, and not during an event.
class SKELVAR_API TreeShape3DBase : public std::enable_shared_from_this<TreeShape3DBase>,
                                    public TreeLayout3DObserver,
                                    public Persistable,
                                    public NS::PathName {
public:
    /// By name, in the order of the digits at the end of names: d2 before d10. A null pointer is a
    /// channel whose name is known and which is not at hand.
    using ChannelMap = NS::ChannelMap;
    struct ChannelInfo {
        std::string name;
        std::shared_ptr<TreeChannel3DBase> channel;
    };

    explicit TreeShape3DBase(const std::string& in_name = {});
    ~TreeShape3DBase() override;
    TreeShape3DBase(const TreeShape3DBase&) = delete;
    TreeShape3DBase& operator=(const TreeShape3DBase&) = delete;

    static const std::string& typeName();

    const std::string& name() const { return m_name; }
    /// Also tells the channels the new name.
    void setName(const std::string& in_name);
    /// Names of the layout and of the object. They last when these are gone.
    const std::string& layoutName() const { return m_layout_name; }
    void setLayoutName(const std::string& in_name) { m_layout_name = in_name; }
    const std::string& objectName() const { return m_object_name; }
    void setObjectName(const std::string& in_name) { m_object_name = in_name; }
    std::shared_ptr<BObject> object() const { return m_object.lock(); }
    /// Sets the object and its name; null clears both.
    void setObject(const std::shared_ptr<BObject>& in_object);
    /// The state server that holds the shape; all ones if none does.
    unsigned int stateServerID() const { return m_state_server_id; }
    void setStateServerID(unsigned int in_id) { m_state_server_id = in_id; }

    // The channel table.
    const ChannelMap& channels() const { return m_channels; }
    bool hasChannel(const std::string& in_name) const;
    int channelCount() const { return static_cast<int>(m_channels.size()); }
    std::vector<std::string> channelNames() const;
    /// False, with `out_info` as it was, if there is no such channel.
    bool channelInfo(const std::string& in_name, ChannelInfo& out_info) const;
    /// Throws "TreeShape3DBase::channel(): channel with name " + name if there is no such channel.
    std::shared_ptr<TreeChannel3DBase> channelBasePtr(const std::string& in_name) const;
    /// Enters the channel under its name, sets its shape and its creation kind 0, and brings it to
    /// the size of the layout if there is one. Throws, with the table unchanged, if the name is
    /// taken or the channel's class does not fit the shape.
    void addChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel);
    /// As `addChannel`, with `in_name` as the channel's name and creation kind 1. If there is a
    /// channel of the name, it comes back in `io_channel` and nothing changes; an empty
    /// `io_channel` under a free name does nothing.
    void addUniqueChannel(std::shared_ptr<TreeChannel3DBase>& io_channel,
                          const std::string& in_name);
    /// Replaces the channel of the same name. Throws if there is none.
    void updateChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel);
    /// Throws if `in_from` is absent or `in_to` taken.
    void renameChannel(const std::string& in_from, const std::string& in_to);
    /// The channels under the two names change places and names. Throws if one is absent.
    void swapChannels(const std::string& in_a, const std::string& in_b);
    /// Takes the channel out; its shape is cleared if it is this one. Throws if it is absent.
    void removeChannel(const std::string& in_name);
    /// Takes all channels out, each as `removeChannel` does.
    void removeAllChannels();
    void deleteAllChannels() { removeAllChannels(); }
    /// Keeps the name with no channel. A name that is absent is entered.
    void setChannelToNull(const std::string& in_name);

    // Place and size.
    const Similarity& toWorld() const { return m_to_world; }
    void setToWorld(const Similarity& in_to_world) { m_to_world = in_to_world; }
    /// Size of a coordinate unit of the tree before the to-world matrix.
    float voxelSize() const { return m_voxel_size; }
    float inverseVoxelSize() const { return m_inverse_voxel_size; }
    /// The layout, or null if there is none or it is gone.
    std::shared_ptr<TreeLayout3DBase> layoutPtr() const { return m_layout.lock(); }
    /// Throws "TreeShape3DBase.layout(): layout==null. Did you fetch it from state server?"
    TreeLayout3DBase& layout() const;
    /// Tree space to world space: times the voxel size, then through the to-world matrix.
    vec3f wsx(const vec3f& in_point) const;
    /// World space to tree space; the inverse of `wsx`.
    vec3f tsx(const vec3f& in_point) const;
    /// The box of this shape's tree space, grown by `in_pad` on all sides, as a box in the tree
    /// space of another shape: the bounds of its eight corners there.
    void tsxBBox(const vec3f& in_lo, const vec3f& in_hi, TreeShape3DBase* in_target, float in_pad,
                 vec3f& out_lo, vec3f& out_hi) const;
    /// Box around the layout in world space. Of an empty layout, the world position of the origin.
    /// Throws without a layout.
    void worldBounds(vec3f& out_lo, vec3f& out_hi) const;
    /// Box around the layout in tree space; of an empty layout the arguments stay. Throws without a
    /// layout.
    void tileBounds(vec3i& out_lo, vec3i& out_hi) const;

    /// Brings every channel up to date whose name is not in `in_except`, in a parallel loop.
    void sync(const std::set<std::string>& in_except);

    /// A copy of the shape without a subscription to the layout. Its channels are copies by the
    /// flags of `TreeChannel3DBase::copy`; with both flags false only their names are kept. Copies
    /// that share, and the shape itself, have the same arrays: what one writes all read.
    virtual std::shared_ptr<TreeShape3DBase> copy(bool in_copy_data, bool in_share) const = 0;
    /// As `copy`, into a shape of the same class, whose table is replaced; it keeps its state
    /// server id if it has one. Throws `std::runtime_error` on another class.
    virtual void copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                          bool in_share) const = 0;
    virtual const TypeMetaBase* typeMeta() const = 0;
    /// True for the name of the shape's class and of each of its bases.
    virtual bool isCastableTo(const std::string& in_type_name) const;
    /// Leaves the old layout and observes the new one, taking its name and voxel size; null only
    /// leaves. Channels are not resized.
    virtual void setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout);

    /// Version 4 (unsigned 16), name, layout name, object name, voxel size, inverse voxel size,
    /// to-world matrix, from-world matrix, dictionary text. Channels are not among it.
    bool save(OutputStream& io_stream) const override;
    /// Reads versions 1 to 4; any other is false. On false the shape is as it was.
    bool load(InputStream& io_stream) override;
    /// The header and the channels' names, as lines of text.
    bool dump(OutputStream& io_stream) const override;

    virtual unsigned long long numElements() const;
    virtual unsigned long long numElements(int in_depth) const;
    virtual unsigned long long numElements(const TileIndex& in_index) const;

    /// The shape's name.
    std::string partialPathName() const override;
    /// `object.shape`, or the shape's name if there is no live object.
    std::string fullPathName() const override;
    /// `shape.u`, with u the child's name made valid and unique among the channels.
    std::string makePartialPathName(const std::string& in_child) const override;

    /// Bytes of the shape itself and its names; channels are not counted.
    virtual unsigned long long memUsage(MemUsage::Type in_type) const;
    virtual void dictionary(std::shared_ptr<Dictionary>& out_dictionary) const;

    // The events of the layout.
    void nodeAdded(const TileIndex& in_index) override;
    void nodesAdded(const std::vector<int>* in_indices) override;
    void nodesCleared() override;
    void nodeDeleted(const TileIndex& in_index) override;
    void nodesDeleted(const std::vector<int>* in_deleted) override;
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override;
    /// Sets the voxel size; channels do not hear of it.
    void dxChanged(float in_dx) override;

protected:
    /// Throws unless the target of a `copyInto` is castable to the class.
    void requireClass(const std::shared_ptr<TreeShape3DBase>& in_target,
                      const std::string& in_type_name) const;
    /// What `load` reads.
    void copyHeaderInto(TreeShape3DBase& io_target) const;
    /// The whole of `copyInto` for a target whose class fits.
    void copyShapeInto(TreeShape3DBase& io_target, bool in_copy_data, bool in_share) const;

private:
    void enterChannel(const std::shared_ptr<TreeChannel3DBase>& io_channel,
                      const std::string& in_name, unsigned short in_creation_kind);
    void detachChannel(TreeChannel3DBase* io_channel) const;
    /// Throws "Channel with name " + name + phrase + the shape's name.
    [[noreturn]] void failOnChannel(const std::string& in_name, const char* in_phrase) const;
    /// Calls in_body(TreeChannel3DBase&) for each channel that is not null, concurrently.
    template <typename Body>
    void forEachChannel(const char* in_label, const Body& in_body) const;
    void unsubscribe();

    static constexpr unsigned int kNoStateServer = 0xFFFFFFFFu;

    std::string m_name;
    std::string m_layout_name;
    std::string m_object_name;
    std::weak_ptr<TreeLayout3DBase> m_layout;
    bool m_is_observing = false;  ///< the layout
    std::weak_ptr<BObject> m_object;
    ChannelMap m_channels;
    float m_voxel_size = 1.0f;
    float m_inverse_voxel_size = 1.0f;
    Similarity m_to_world;
    unsigned int m_state_server_id = kNoStateServer;
    std::shared_ptr<Dictionary> m_dictionary;
};

}  // namespace Skelvar
