#pragma once

#include <skelvar/state/VoxelState.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

/// The state server whose items live in this process. Its tables are guarded by one lock, so that
/// any thread may look up, create and delete; the data inside of items is not guarded. An operation
/// of several steps drops the lock between them: of two threads that create one name exactly one
/// gets `kVoxelStateOk`. A fetch calls the offload manager, if there is one, before the lock is
/// taken; creating, deleting and the `...Ref` operations never call it.
class SKELVAR_API VoxelStateSMP : public VoxelState {
public:
    class Maps;

    explicit VoxelStateSMP(const unsigned int& in_id);
    /// Tells the offload manager, then lets go of all items.
    ~VoxelStateSMP() override;

    VoxelStateResult setGlobalHint(VoxelStateHint in_hint) override;
    VoxelStateResult clear() override;
    VoxelStateResult setOffloadManager(OffloadManager* in_manager) override;
    OffloadManager* offloadManager() override;
    VoxelStateResult updateMesh(const orvel::shared_ptr<Mesh>& in_mesh) override;
    VoxelStateResult mesh(const std::string& in_name, orvel::shared_ptr<Mesh>& out_mesh,
                          VoxelStateHint in_hint) override;
    VoxelStateResult deleteMesh(const std::string& in_name) override;
    VoxelStateResult copyMesh(const std::string& in_name, const std::string& in_new_name) override;
    VoxelStateResult newLayout(const std::string& in_name, float in_dx,
                               std::shared_ptr<TreeLayout3DBase>& out_layout) override;
    VoxelStateResult newLayout(const std::string& in_name,
                               const std::shared_ptr<TreeLayout3DBase>& in_style,
                               std::shared_ptr<TreeLayout3DBase>& out_layout) override;
    VoxelStateResult newShape(const std::string& in_type_name, const std::string& in_name,
                              const std::string& in_layout_name, const std::string& in_object_name,
                              std::shared_ptr<TreeShape3DBase>& out_shape) override;
    VoxelStateResult newShape(const std::string& in_type_name, const std::string& in_name,
                              std::shared_ptr<TreeShape3DBase>& out_shape) override;
    VoxelStateResult deprecated_newChannel(
        const std::string& in_type_name, const std::string& in_name,
        const std::string& in_shape_name, std::shared_ptr<TreeChannel3DBase>& out_channel) override;
    VoxelStateResult newChannel(const std::string& in_type_name, const std::string& in_name,
                                const std::string& in_shape_name,
                                std::shared_ptr<TreeChannel3DBase>& out_channel) override;
    VoxelStateResult newObject(const std::string& in_name) override;
    VoxelStateResult newVoxelLayout(const std::string& in_name, float in_dx) override;
    VoxelStateResult newVoxelShape(const std::string& in_name, const std::string& in_layout_name,
                                   std::string* in_object_name,
                                   std::shared_ptr<VoxelShape>& out_shape) override;
    VoxelStateResult newParticleShape(const std::string& in_name, const std::string& in_layout_name,
                                      std::string* in_object_name,
                                      std::shared_ptr<ParticleShape>& out_shape) override;
    VoxelStateResult copyShape(const std::string& in_source_shape, const std::string& in_new_shape,
                               const std::string& in_new_layout,
                               const NamePairs& in_channels) override;
    VoxelStateResult copyShapeTo(VoxelState& io_destination, const std::string& in_source_shape,
                                 const std::vector<std::string>& in_channels) override;
    VoxelStateResult copyChannel(const std::string& in_source_shape,
                                 const std::string& in_destination_shape,
                                 const NamePairs& in_channels) override;
    VoxelStateResult objectRef(const std::string& in_name,
                               std::shared_ptr<BObject>& out_object) const override;
    VoxelStateResult object(const std::string& in_name, std::shared_ptr<BObject>* out_object,
                            VoxelStateHint in_hint) override;
    VoxelStateResult resolveRef(const std::string& in_name,
                                std::weak_ptr<BObject>& out_object) const override;
    VoxelStateResult shapeRef(const std::string& in_name,
                              std::shared_ptr<TreeShape3DBase>& out_shape) const override;
    VoxelStateResult resolveRef(const std::string& in_name,
                                std::weak_ptr<TreeShape3DBase>& out_shape) const override;
    VoxelStateResult voxelShape(const std::string& in_name, std::shared_ptr<VoxelShape>& out_shape,
                                const std::shared_ptr<BObject>& io_object,
                                VoxelStateHint in_hint) override;
    VoxelStateResult voxelShape(const std::string& in_name, std::shared_ptr<VoxelShape>& out_shape,
                                const std::shared_ptr<BObject>& io_object,
                                const std::shared_ptr<VoxelLayout>& in_layout,
                                VoxelStateHint in_hint) override;
    VoxelStateResult layoutRef(const std::string& in_name,
                               std::shared_ptr<TreeLayout3DBase>& out_layout) const override;
    VoxelStateResult resolveRef(const std::string& in_name,
                                std::weak_ptr<VoxelLayout>& out_layout) const override;
    VoxelStateResult resolveRef(const std::string& in_name,
                                std::weak_ptr<TreeLayout3DBase>& out_layout) const override;
    VoxelStateResult partialVoxelLayout(const std::string& in_name,
                                        const std::shared_ptr<VoxelShape>& io_shape,
                                        std::shared_ptr<VoxelLayout>& out_layout,
                                        VoxelStateHint in_hint) override;
    VoxelStateResult partialVoxelLayout(const std::string& in_name,
                                        const std::shared_ptr<ParticleShape>& io_shape,
                                        std::shared_ptr<VoxelLayout>& out_layout,
                                        VoxelStateHint in_hint) override;
    VoxelStateResult partialVoxelLayout(const std::string& in_name, const TileIds& in_tile_ids,
                                        std::shared_ptr<VoxelLayout>& out_layout,
                                        VoxelStateHint in_hint) override;
    VoxelStateResult voxelLayout(const std::string& in_name,
                                 const std::shared_ptr<VoxelShape>& io_shape,
                                 std::shared_ptr<VoxelLayout>& out_layout,
                                 VoxelStateHint in_hint) override;
    VoxelStateResult voxelLayout(const std::string& in_name,
                                 const std::shared_ptr<ParticleShape>& io_shape,
                                 std::shared_ptr<VoxelLayout>& out_layout,
                                 VoxelStateHint in_hint) override;
    VoxelStateResult voxelLayout(const std::string& in_name,
                                 std::shared_ptr<VoxelLayout>& out_layout,
                                 VoxelStateHint in_hint) override;
    VoxelStateResult channelRef(const std::string& in_name,
                                std::shared_ptr<TreeChannel3DBase>& out_channel) const override;
    VoxelStateResult resolveRef(const std::string& in_name,
                                std::weak_ptr<TreeChannel3DBase>& out_channel) const override;
    VoxelStateResult particleShape(const std::string& in_name,
                                   std::shared_ptr<ParticleShape>& out_shape,
                                   const std::shared_ptr<BObject>& io_object,
                                   VoxelStateHint in_hint) override;
    VoxelStateResult particleShape(const std::string& in_name,
                                   std::shared_ptr<ParticleShape>& out_shape,
                                   const std::shared_ptr<BObject>& io_object,
                                   const std::shared_ptr<VoxelLayout>& in_layout,
                                   VoxelStateHint in_hint) override;
    VoxelStateResult renameObject(const std::shared_ptr<BObject>& io_object,
                                  const std::string& in_new_name) override;
    VoxelStateResult swapChannels(const std::string& in_channel_a,
                                  const std::string& in_channel_b) override;
    VoxelStateResult refineVoxelLayout(const VoxelLayout& in_layout,
                                       const TileIds& in_tile_ids) override;
    VoxelStateResult coarsenVoxelLayout(const VoxelLayout& in_layout,
                                        const TileIds& in_tile_ids) override;
    VoxelStateResult updateChannelMetaData(const TreeChannel3DBase& in_channel) override;
    VoxelStateResult updateChannelBlockData(const TreeChannel3DBase& in_channel) override;
    VoxelStateResult mergeIn(const VoxelState& in_other,
                             const std::vector<std::string>& in_shapes) override;
    VoxelStateResult deleteObject(const std::string& in_name) override;
    VoxelStateResult deleteVoxelLayout(const std::string& in_name) override;
    VoxelStateResult deleteShape(const std::string& in_name) override;
    VoxelStateResult deleteChannel(const std::string& in_name,
                                   const std::string& in_shape_name) override;
    VoxelStateResult objects(std::vector<std::string>& out_names) const override;
    VoxelStateResult shapes(std::vector<std::string>& out_names) const override;
    VoxelStateResult channels(std::vector<std::string>& out_names) const override;
    VoxelStateResult layouts(std::vector<std::string>& out_names) const override;
    VoxelStateResult hasChannel(const std::string& in_name) const override;
    VoxelStateResult hasLayout(const std::string& in_name) const override;
    VoxelStateResult hasMesh(const std::string& in_name) const override;
    VoxelStateResult typeMeta(const std::string& in_name, TypeMetaBase** out_type) override;
    VoxelStateResult updateObject(const std::shared_ptr<BObject>& in_object) override;
    VoxelStateResult updateShape(const std::shared_ptr<TreeShape3DBase>& in_shape) override;
    VoxelStateResult updateChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel) override;
    VoxelStateResult dump(std::ostream& io_stream, int in_indent, int in_detail) const override;
    unsigned long long totalMemUsage(MemUsage::Type in_type) const override;
    VoxelStateResult uniqueName(const std::string& in_name, std::string& out_name) const override;
    VoxelStateResult dictionary(std::shared_ptr<Dictionary>& out_dictionary) const override;
    VoxelStateResult newChannel(const std::shared_ptr<TreeChannel3DBase>& in_channel,
                                const std::string& in_shape_name) override;
    VoxelStateResult partialChannel(const std::string& in_name, const TileIds& in_tile_ids,
                                    const std::shared_ptr<TreeShape3DBase>& io_shape,
                                    std::shared_ptr<TreeChannel3DBase>* out_channel,
                                    const TypeMetaBase& in_type, VoxelStateHint in_hint) override;
    VoxelStateResult channel(const std::string& in_name,
                             const std::shared_ptr<TreeShape3DBase>& io_shape,
                             std::shared_ptr<TreeChannel3DBase>* out_channel,
                             const TypeMetaBase& in_type, VoxelStateHint in_hint) override;
    VoxelStateResult channelMetaData(const std::string& in_name,
                                     const std::shared_ptr<TreeShape3DBase>& io_shape,
                                     std::shared_ptr<TreeChannel3DBase>* out_channel,
                                     const TypeMetaBase& in_type, VoxelStateHint in_hint) override;
    VoxelStateResult voxelLayout(const std::string& in_name,
                                 const std::shared_ptr<TreeShape3DBase>& io_shape,
                                 std::shared_ptr<VoxelLayout>* out_layout,
                                 VoxelStateHint in_hint) override;
    using VoxelState::voxelChannel;

    /// Calls the offload manager's operation of this name, if there is a manager.
    void ensureData(const std::string& in_name) const;
    /// The key under which a channel of that name and shape stands in the store: the bare name if
    /// it is marked as a bare-key channel or the shape's name is empty, else shape, path separator
    /// and name; empty for an empty name.
    std::string channelStoringKey(const std::string& in_shape_name,
                                  const std::string& in_channel_name) const;
    /// Makes a channel in another server in the way in which this server's channel `in_style_name`
    /// was made: under its bare name, or under the path of its shape, for which the last part of
    /// `in_name` counts.
    VoxelStateResult newChannelFromStyleChannel(const std::string& in_type_name,
                                                const std::string& in_name,
                                                const std::string& in_shape_name,
                                                const std::string& in_style_name,
                                                VoxelState& io_destination,
                                                std::shared_ptr<TreeChannel3DBase>& out_channel);
    /// The merge step for one shape, usually of another server: the shape itself comes to stand
    /// here, on the stored layout of its layout's name (whose content becomes that of its layout)
    /// and in the stored object of its object's name, which is made if need be. Channel data are
    /// not copied.
    VoxelStateResult updateShapeAndItsObjectLayoutChannels(
        const std::shared_ptr<TreeShape3DBase>& in_shape);
    /// The tables themselves, for diagnostics.
    const Maps& maps() const { return *m_maps; }

private:
    /// How a fetch makes what it hands out.
    enum class CopyMode {
        eNone,    ///< the stored item
        eHeader,  ///< a copy without data
        eShare,   ///< a copy that shares the data
        eData,    ///< a copy with data of its own
    };

    CopyMode copyMode(VoxelStateHint in_hint) const;
    template <typename T>
    VoxelStateResult newShapeOn(const std::string& in_name, const std::string& in_layout_name,
                                const std::string* in_object_name, std::shared_ptr<T>& out_shape);
    template <typename T>
    VoxelStateResult fetchShape(const std::string& in_name, std::shared_ptr<T>& out_shape,
                                const std::shared_ptr<BObject>& io_object,
                                const std::shared_ptr<VoxelLayout>& in_layout,
                                VoxelStateHint in_hint);
    VoxelStateResult fetchChannel(const std::string& in_operation, const std::string& in_name,
                                  const std::shared_ptr<TreeShape3DBase>& io_shape,
                                  std::shared_ptr<TreeChannel3DBase>* out_channel,
                                  const TypeMetaBase& in_type, CopyMode in_mode);

    std::string keyInShape(const TreeShape3DBase& in_shape, const std::string& in_name) const;
    bool canCopyChannels(const TreeShape3DBase& in_source, const std::string& in_target,
                         const TreeShape3DBase* in_target_shape,
                         const NamePairs& in_channels) const;
    VoxelStateResult copyChannels(const TreeShape3DBase& in_source, const std::string& in_target,
                                  const NamePairs& in_channels, VoxelState& io_destination);
    VoxelStateResult duplicateChannel(const std::string& in_key, const std::string& in_new_name,
                                      const std::string& in_new_shape, VoxelState& io_destination);
    VoxelStateResult copyIntoStored(const TreeChannel3DBase& in_channel, bool in_with_data);

    std::atomic<VoxelStateHint> m_global_hint = eHintDoNotCopy;
    std::unique_ptr<Maps> m_maps;
    std::atomic<OffloadManager*> m_offload_manager = nullptr;  ///< borrowed
};

}  // namespace Skelvar
