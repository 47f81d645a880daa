#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/base/VoxelStateResult.h>

#include <orvel/SharedPtr.h>

#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Skelvar {

class BObject;
class Dictionary;
class Mesh;
class ParticleShape;
class TreeChannel3DBase;
class TreeLayout3DBase;
class TreeShape3DBase;
class TypeMetaBase;
class VoxelLayout;
class VoxelShape;
template <typename T>
class SKELVAR_API_FORWARD ParticleChannel;
template <typename T>
class SKELVAR_API_FORWARD VoxelChannel;

/// A state server: the named store of one simulation. It owns objects, shapes, layouts, channels
/// and meshes, and hands out the stored items or copies of them. `StateServerManager` makes servers
/// and finds them by id; `VoxelStateSMP` is the server whose items live in this process.
///
/// An operation without another stated result returns a `VoxelStateResult`: absent items and taken
/// names give `kVoxelStateFailed`. Misuse throws `std::runtime_error`. Any thread may call; what is
/// guarded is told by the implementation. The order of the virtual operations is part of the
/// interface and stays.
class SKELVAR_API VoxelState {
public:
    /// What a fetch hands out; a higher value asks for more copying. The effective hint of a fetch
    /// is the larger of its argument and the server's global hint.
    enum VoxelStateHint : int {
        eHintDefault = 0,    ///< the stored item, unless the global hint says more
        eHintDoNotCopy = 1,  ///< the stored item itself
        /// A new item that shares the heavy data with the stored one. All items that were fetched
        /// so, and the stored one, have the same arrays: what is written into one shows in all. So
        /// shapes of them on different layouts need the same edits of each.
        eHintCopy = 2,
        eHintCopyData = 3,  ///< a new item with data of its own
    };

    class OffloadManager;

    using NamePairs = std::vector<std::pair<std::string, std::string>>;
    using TileIds = std::vector<unsigned long long>;

    explicit VoxelState(const unsigned int& in_id);
    VoxelState(const VoxelState&) = delete;
    VoxelState& operator=(const VoxelState&) = delete;
    virtual ~VoxelState();

    virtual VoxelStateResult setGlobalHint(VoxelStateHint in_hint) = 0;
    /// Drops every item, the dictionary's entries included. Holders keep what they fetched.
    virtual VoxelStateResult clear() = 0;
    /// Installs the hook, null for none. Borrowed: it must outlive the server.
    virtual VoxelStateResult setOffloadManager(OffloadManager* in_manager) = 0;
    virtual OffloadManager* offloadManager() = 0;

    /// Puts a mesh into the store under its name, in place of an older one of that name.
    virtual VoxelStateResult updateMesh(const orvel::shared_ptr<Mesh>& in_mesh) = 0;
    /// The mesh of that name; `out_mesh` is cleared when there is none. Both copying hints give a
    /// full copy.
    virtual VoxelStateResult mesh(const std::string& in_name, orvel::shared_ptr<Mesh>& out_mesh,
                                  VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult deleteMesh(const std::string& in_name) = 0;
    virtual VoxelStateResult copyMesh(const std::string& in_name,
                                      const std::string& in_new_name) = 0;

    /// Makes an empty `VoxelLayout` whose coordinate unit is `in_dx` world units.
    virtual VoxelStateResult newLayout(const std::string& in_name, float in_dx,
                                       std::shared_ptr<TreeLayout3DBase>& out_layout) = 0;
    /// Makes a copy of `in_style`, nodes included, under a new name.
    virtual VoxelStateResult newLayout(const std::string& in_name,
                                       const std::shared_ptr<TreeLayout3DBase>& in_style,
                                       std::shared_ptr<TreeLayout3DBase>& out_layout) = 0;
    /// Makes a shape of the kind that `in_type_name` holds as a word, on a stored layout, in the
    /// stored object of the given name (an empty name is a name, too). The result is
    /// `kVoxelStateOk` exactly when `out_shape` holds a shape afterwards; for a text without a
    /// known word `out_shape` is left as it was.
    virtual VoxelStateResult newShape(const std::string& in_type_name, const std::string& in_name,
                                      const std::string& in_layout_name,
                                      const std::string& in_object_name,
                                      std::shared_ptr<TreeShape3DBase>& out_shape) = 0;
    /// The same without layout and object; `out_shape` is cleared first.
    virtual VoxelStateResult newShape(const std::string& in_type_name, const std::string& in_name,
                                      std::shared_ptr<TreeShape3DBase>& out_shape) = 0;
    /// Makes a channel by its type's name and stores it under its bare name. Kept for old callers.
    virtual VoxelStateResult deprecated_newChannel(
        const std::string& in_type_name, const std::string& in_name,
        const std::string& in_shape_name, std::shared_ptr<TreeChannel3DBase>& out_channel) = 0;
    /// Makes a channel by its type's name, under a name made unique in its shape. The store's key
    /// is the shape's name, the path separator and that name.
    virtual VoxelStateResult newChannel(const std::string& in_type_name, const std::string& in_name,
                                        const std::string& in_shape_name,
                                        std::shared_ptr<TreeChannel3DBase>& out_channel) = 0;
    virtual VoxelStateResult newObject(const std::string& in_name) = 0;
    virtual VoxelStateResult newVoxelLayout(const std::string& in_name, float in_dx) = 0;
    /// A null `in_object_name` makes a shape without an object. The name is only read.
    virtual VoxelStateResult newVoxelShape(const std::string& in_name,
                                           const std::string& in_layout_name,
                                           std::string* in_object_name,
                                           std::shared_ptr<VoxelShape>& out_shape) = 0;
    virtual VoxelStateResult newParticleShape(const std::string& in_name,
                                              const std::string& in_layout_name,
                                              std::string* in_object_name,
                                              std::shared_ptr<ParticleShape>& out_shape) = 0;

    virtual VoxelStateResult copyShape(const std::string& in_source_shape,
                                       const std::string& in_new_shape,
                                       const std::string& in_new_layout,
                                       const NamePairs& in_channels) = 0;
    virtual VoxelStateResult copyShapeTo(VoxelState& io_destination,
                                         const std::string& in_source_shape,
                                         const std::vector<std::string>& in_channels) = 0;
    virtual VoxelStateResult copyChannel(const std::string& in_source_shape,
                                         const std::string& in_destination_shape,
                                         const NamePairs& in_channels) = 0;

    /// The `...Ref` operations give the stored item, or null. They copy nothing and do not call the
    /// offload manager. `resolveRef` gives the same as a weak pointer.
    virtual VoxelStateResult objectRef(const std::string& in_name,
                                       std::shared_ptr<BObject>& out_object) const = 0;
    /// The object of that name. Both copying hints give a full copy, see `BObject::copy`; its
    /// shapes are then fetched into it one by one. An absent name leaves `out_object` alone.
    virtual VoxelStateResult object(const std::string& in_name,
                                    std::shared_ptr<BObject>* out_object,
                                    VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult resolveRef(const std::string& in_name,
                                        std::weak_ptr<BObject>& out_object) const = 0;
    virtual VoxelStateResult shapeRef(const std::string& in_name,
                                      std::shared_ptr<TreeShape3DBase>& out_shape) const = 0;
    virtual VoxelStateResult resolveRef(const std::string& in_name,
                                        std::weak_ptr<TreeShape3DBase>& out_shape) const = 0;
    /// The voxel shape of that name. With an object (which must then be a fetched copy exactly when
    /// the effective hint copies) the copy of the shape is entered in it.
    virtual VoxelStateResult voxelShape(const std::string& in_name,
                                        std::shared_ptr<VoxelShape>& out_shape,
                                        const std::shared_ptr<BObject>& io_object,
                                        VoxelStateHint in_hint) = 0;
    /// The same, and a copy is set on `in_layout`, if that is not null.
    virtual VoxelStateResult voxelShape(const std::string& in_name,
                                        std::shared_ptr<VoxelShape>& out_shape,
                                        const std::shared_ptr<BObject>& io_object,
                                        const std::shared_ptr<VoxelLayout>& in_layout,
                                        VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult layoutRef(const std::string& in_name,
                                       std::shared_ptr<TreeLayout3DBase>& out_layout) const = 0;
    virtual VoxelStateResult resolveRef(const std::string& in_name,
                                        std::weak_ptr<VoxelLayout>& out_layout) const = 0;
    virtual VoxelStateResult resolveRef(const std::string& in_name,
                                        std::weak_ptr<TreeLayout3DBase>& out_layout) const = 0;
    /// A part of a layout, for servers that hold their items elsewhere.
    virtual VoxelStateResult partialVoxelLayout(const std::string& in_name,
                                                const std::shared_ptr<VoxelShape>& io_shape,
                                                std::shared_ptr<VoxelLayout>& out_layout,
                                                VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult partialVoxelLayout(const std::string& in_name,
                                                const std::shared_ptr<ParticleShape>& io_shape,
                                                std::shared_ptr<VoxelLayout>& out_layout,
                                                VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult partialVoxelLayout(const std::string& in_name,
                                                const TileIds& in_tile_ids,
                                                std::shared_ptr<VoxelLayout>& out_layout,
                                                VoxelStateHint in_hint) = 0;
    /// The layout of that name, set on `io_shape` too if that is a fetched copy.
    virtual VoxelStateResult voxelLayout(const std::string& in_name,
                                         const std::shared_ptr<VoxelShape>& io_shape,
                                         std::shared_ptr<VoxelLayout>& out_layout,
                                         VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult voxelLayout(const std::string& in_name,
                                         const std::shared_ptr<ParticleShape>& io_shape,
                                         std::shared_ptr<VoxelLayout>& out_layout,
                                         VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult voxelLayout(const std::string& in_name,
                                         std::shared_ptr<VoxelLayout>& out_layout,
                                         VoxelStateHint in_hint) = 0;
    /// Channels are found by their key, or by a path `object.shape.channel`, or by `shape.channel`
    /// if the shape has no object name.
    virtual VoxelStateResult channelRef(const std::string& in_name,
                                        std::shared_ptr<TreeChannel3DBase>& out_channel) const = 0;
    virtual VoxelStateResult resolveRef(const std::string& in_name,
                                        std::weak_ptr<TreeChannel3DBase>& out_channel) const = 0;
    virtual VoxelStateResult particleShape(const std::string& in_name,
                                           std::shared_ptr<ParticleShape>& out_shape,
                                           const std::shared_ptr<BObject>& io_object,
                                           VoxelStateHint in_hint) = 0;
    virtual VoxelStateResult particleShape(const std::string& in_name,
                                           std::shared_ptr<ParticleShape>& out_shape,
                                           const std::shared_ptr<BObject>& io_object,
                                           const std::shared_ptr<VoxelLayout>& in_layout,
                                           VoxelStateHint in_hint) = 0;

    /// Gives a stored object and the shapes, layouts and channels below it new names: `in_new_name`
    /// takes the place of as many characters as the old name has. Copies keep the old names, so
    /// they are to be brought back before: later they come in as further items, and if they share
    /// arrays with the renamed ones, an edit of the layout of either breaks the other.
    virtual VoxelStateResult renameObject(const std::shared_ptr<BObject>& io_object,
                                          const std::string& in_new_name) = 0;
    virtual VoxelStateResult swapChannels(const std::string& in_channel_a,
                                          const std::string& in_channel_b) = 0;
    virtual VoxelStateResult refineVoxelLayout(const VoxelLayout& in_layout,
                                               const TileIds& in_tile_ids) = 0;
    virtual VoxelStateResult coarsenVoxelLayout(const VoxelLayout& in_layout,
                                                const TileIds& in_tile_ids) = 0;
    virtual VoxelStateResult updateChannelMetaData(const TreeChannel3DBase& in_channel) = 0;
    virtual VoxelStateResult updateChannelBlockData(const TreeChannel3DBase& in_channel) = 0;
    virtual VoxelStateResult mergeIn(const VoxelState& in_other,
                                     const std::vector<std::string>& in_shapes) = 0;

    /// Removes the object and nothing else: its shapes and layouts stay stored.
    virtual VoxelStateResult deleteObject(const std::string& in_name) = 0;
    virtual VoxelStateResult deleteVoxelLayout(const std::string& in_name) = 0;
    /// Removes the shape, from its object too. Its channels and its layout stay stored.
    virtual VoxelStateResult deleteShape(const std::string& in_name) = 0;
    /// Removes the channel, from its shape too. An empty `in_shape_name` makes `in_name` a key or a
    /// path, otherwise it is the channel's own name.
    virtual VoxelStateResult deleteChannel(const std::string& in_name,
                                           const std::string& in_shape_name) = 0;

    /// The keys of all stored items of a kind, by rising bytes. The old content is replaced.
    virtual VoxelStateResult objects(std::vector<std::string>& out_names) const = 0;
    virtual VoxelStateResult shapes(std::vector<std::string>& out_names) const = 0;
    virtual VoxelStateResult channels(std::vector<std::string>& out_names) const = 0;
    virtual VoxelStateResult layouts(std::vector<std::string>& out_names) const = 0;
    /// Not booleans: compare with `kVoxelStateOk`.
    virtual VoxelStateResult hasChannel(const std::string& in_name) const = 0;
    virtual VoxelStateResult hasLayout(const std::string& in_name) const = 0;
    virtual VoxelStateResult hasMesh(const std::string& in_name) const = 0;
    /// A new record of the type of the item of that name, tried as channel, shape, object, layout
    /// and mesh in this order. The caller deletes it.
    virtual VoxelStateResult typeMeta(const std::string& in_name, TypeMetaBase** out_type) = 0;

    /// Put an item that the caller holds, such as a copy, into the store under the names that it
    /// has; a name that is absent is added. A shape comes with its channels and its layout, becomes
    /// the one that the stored object of its name holds, follows the layout from now on, and has a
    /// tile for each of its nodes, whatever was edited meanwhile.
    virtual VoxelStateResult updateObject(const std::shared_ptr<BObject>& in_object) = 0;
    virtual VoxelStateResult updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape) = 0;
    virtual VoxelStateResult updateChannel(
        const std::shared_ptr<TreeChannel3DBase>& in_channel) = 0;

    virtual VoxelStateResult dump(std::ostream& io_stream, int in_indent, int in_detail) const = 0;
    /// Bytes that all items hold together.
    virtual unsigned long long totalMemUsage(MemUsage::Type in_type) const = 0;
    /// `in_name` without bad characters and with a number behind it that makes it free. Another
    /// thread may take the name before the caller does: the creation of the item decides.
    virtual VoxelStateResult uniqueName(const std::string& in_name,
                                        std::string& out_name) const = 0;
    /// The server's own key-value store. Unguarded once handed out. A true boolean under a
    /// channel's name is the store's mark of a channel that stands under its bare name: leave it.
    virtual VoxelStateResult dictionary(std::shared_ptr<Dictionary>& out_dictionary) const = 0;

    /// Adds a ready channel to a shape and stores it under its own name, as a bare-key channel.
    virtual VoxelStateResult newChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel,
                                        const std::string& in_shape_name) = 0;
    virtual VoxelStateResult partialChannel(const std::string& in_name, const TileIds& in_tile_ids,
                                            const std::shared_ptr<TreeShape3DBase>& io_shape,
                                            std::shared_ptr<TreeChannel3DBase>* out_channel,
                                            const TypeMetaBase& in_type,
                                            VoxelStateHint in_hint) = 0;
    /// The channel of that name, if it is castable to `in_type`; a channel of another type gives
    /// `kVoxelStateOk` and leaves `out_channel` as it was, so test the pointer. A copy is entered
    /// in `io_shape`, which must then be a copy too. `out_channel` may be null if there is a shape.
    virtual VoxelStateResult channel(const std::string& in_name,
                                     const std::shared_ptr<TreeShape3DBase>& io_shape,
                                     std::shared_ptr<TreeChannel3DBase>* out_channel,
                                     const TypeMetaBase& in_type, VoxelStateHint in_hint) = 0;
    /// As `channel`, but a copy holds no tile data, whatever the hint.
    virtual VoxelStateResult channelMetaData(const std::string& in_name,
                                             const std::shared_ptr<TreeShape3DBase>& io_shape,
                                             std::shared_ptr<TreeChannel3DBase>* out_channel,
                                             const TypeMetaBase& in_type,
                                             VoxelStateHint in_hint) = 0;
    /// The general form of `voxelLayout`. A copy that is handed out nowhere (null `out_layout`)
    /// dies at once: a shape refers to its layout weakly.
    virtual VoxelStateResult voxelLayout(const std::string& in_name,
                                         const std::shared_ptr<TreeShape3DBase>& io_shape,
                                         std::shared_ptr<VoxelLayout>* out_layout,
                                         VoxelStateHint in_hint) = 0;

    /// The server's id. It never changes.
    const unsigned int& getId() const { return m_id; }

    /// Loads a channel of unknown type into a shape. An unknown name is told on standard error.
    VoxelStateResult voxelChannel(const std::string& in_name,
                                  const std::shared_ptr<VoxelShape>& io_shape,
                                  VoxelStateHint in_hint);
    VoxelStateResult particleChannel(const std::string& in_name,
                                     const std::shared_ptr<ParticleShape>& io_shape,
                                     VoxelStateHint in_hint);
    /// `channel` for a known element type. A channel of another type gives `kVoxelStateOk` and
    /// leaves `out_channel` as it was.
    template <typename T>
    SKELVAR_API VoxelStateResult voxelChannel(const std::string& in_name,
                                              const std::shared_ptr<VoxelShape>& io_shape,
                                              std::shared_ptr<VoxelChannel<T>>* out_channel,
                                              VoxelStateHint in_hint);
    template <typename T>
    SKELVAR_API VoxelStateResult particleChannel(const std::string& in_name,
                                                 const std::shared_ptr<ParticleShape>& io_shape,
                                                 std::shared_ptr<ParticleChannel<T>>* out_channel,
                                                 VoxelStateHint in_hint);
    /// Makes a channel with that background value and stores it under its bare name.
    template <typename T>
    SKELVAR_API VoxelStateResult newVoxelChannel(const std::string& in_name,
                                                 const std::string& in_shape_name,
                                                 VoxelOffsetType in_offset_type,
                                                 const T& in_background);
    template <typename T>
    SKELVAR_API VoxelStateResult newParticleChannel(const std::string& in_name,
                                                    const std::string& in_shape_name,
                                                    const T& in_background);

private:
    const unsigned int m_id;
};

/// A hook through which a host may keep the data of items outside the server. Borrowed by the
/// server and called outside of its lock, from any thread. It must outlive the server. The order of
/// the operations is part of the interface; the reserved ones are never called.
class SKELVAR_API VoxelState::OffloadManager {
public:
    /// The channel at that path was made and is used in that frame.
    virtual void pinForFrame(const std::string& in_channel_path, int in_frame) = 0;
    /// The item of that name is about to be fetched: bring back its data.
    virtual void ensureData(const std::string& in_name) = 0;
    virtual void reserved3() {}
    virtual void memoryReport(unsigned int in_value) = 0;
    virtual void reserved5() {}
    virtual void reserved6() {}
    /// The server has dropped all of its items.
    virtual void clearAll() = 0;
    virtual void reserved8() {}
    virtual void reserved9() {}
    /// The server is being destroyed.
    virtual void detachServer() = 0;

protected:
    ~OffloadManager() = default;
};

#define SKELVAR_EXTERN(T)                                                                          \
    extern template VoxelStateResult VoxelState::voxelChannel<T>(                                  \
        const std::string&, const std::shared_ptr<VoxelShape>&, std::shared_ptr<VoxelChannel<T>>*, \
        VoxelState::VoxelStateHint);
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

#define SKELVAR_EXTERN(T)                                                   \
    extern template VoxelStateResult VoxelState::particleChannel<T>(        \
        const std::string&, const std::shared_ptr<ParticleShape>&,          \
        std::shared_ptr<ParticleChannel<T>>*, VoxelState::VoxelStateHint);  \
    extern template VoxelStateResult VoxelState::newVoxelChannel<T>(        \
        const std::string&, const std::string&, VoxelOffsetType, const T&); \
    extern template VoxelStateResult VoxelState::newParticleChannel<T>(     \
        const std::string&, const std::string&, const T&);
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
