#pragma once

#include <skelvar/particles/ParticleTile.h>
#include <skelvar/particles/ParticleToFrom.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/voxel/ChannelAccessor.h>
#include <skelvar/voxel/TreeChannel3DTyped.h>

#include <array>
#include <atomic>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Skelvar {

class ParticleRemovals;
class ParticleShape;
class VoxelLayout;
struct ParticleReblock;

/// One attribute of all particles of a `ParticleShape`. Particles stand in the tiles of the tree:
/// the tile of the node (index, depth) is element `index` of the vector of `depth`. In all channels
/// of the shape the n-th element of a tile belongs to the same particle; `Accessor` changes them
/// together. The vectors may be shared between copies; events reach only the channel that stands on
/// the shape. Different tiles may be changed by different threads.
template <typename T>
class SKELVAR_API ParticleChannel : public TreeChannel3DTyped<T> {
public:
    using Tile = DynamicParticleTile<T>;
    using Tiles = std::vector<Tile>;
    using TileArrays = std::array<Tiles, kNumDepths>;
    class Accessor;

    /// Unnamed, without a shape and without tiles.
    ParticleChannel();
    /// Refers to the shape (which may be null) and takes its name, but does not enter its table:
    /// `TreeShape3DBase::addChannel` does.
    ParticleChannel(const std::string& in_name, const std::shared_ptr<ParticleShape>& in_shape,
                    const T& in_background);
    ~ParticleChannel() override;

    /// "ParticleChannel<" + the element's name + ">"
    static const std::string& typeName();
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    bool isCastableTo(const std::string& in_type_name) const override;

    /// A new accessor; it borrows the channel.
    Accessor accessor();
    void createChannelAccessor(std::shared_ptr<ChannelAccessor>& out_accessor) override;

    /// One element, not checked.
    T& operator()(int in_tile, int in_depth, unsigned long in_index)
    {
        return tile(in_tile, in_depth)[in_index];
    }
    const T& operator()(int in_tile, int in_depth, unsigned long in_index) const
    {
        return tile(in_tile, in_depth)[in_index];
    }
    /// The tile of a node. Not checked: the channel must have arrays and the tile be there.
    Tile& tile(int in_index, int in_depth) { return (*m_blocks)[in_depth][in_index]; }
    const Tile& tile(int in_index, int in_depth) const { return (*m_blocks)[in_depth][in_index]; }
    Tile& tile(const TileIndex& in_index) { return tile(in_index.first, in_index.second); }
    const Tile& tile(const TileIndex& in_index) const
    {
        return tile(in_index.first, in_index.second);
    }
    Tile* tilePtr(int in_index, int in_depth) { return &tile(in_index, in_depth); }
    const Tile* tilePtr(int in_index, int in_depth) const { return &tile(in_index, in_depth); }
    Tile* tilePtr(const TileIndex& in_index) { return &tile(in_index); }
    const Tile* tilePtr(const TileIndex& in_index) const { return &tile(in_index); }
    /// All tiles of a depth, for bulk work. Not checked: the channel must have arrays. Their number
    /// follows the layout and is not to be changed from outside.
    Tiles& tiles(int in_depth) { return (*m_blocks)[in_depth]; }
    const Tiles& tiles(int in_depth) const { return (*m_blocks)[in_depth]; }

    void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) override;
    const void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) const override;
    /// The element `in_i` of the tile; the other two indices are not looked at.
    void* getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k) override;
    const void* getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j,
                               int in_k) const override;
    void setElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k,
                        const void* in_value) override;

    int maxDepth() const override { return kMaxTileDepth; }
    /// 0 for a channel without arrays and for a depth outside 0 to 7.
    int numTiles(int in_depth) const override;
    int numTiles() const override;
    unsigned long long numElements(int in_depth) const override;
    unsigned long long numElements() const override;
    unsigned long long length() const { return numElements(); }
    bool empty() const { return numElements() == 0; }
    static constexpr int tileWidth() { return kTileWidth; }
    static constexpr int tileSize() { return kTileSize; }
    unsigned long long memUsage(MemUsage::Type in_type, bool in_with_header) const override;

    /// All tiles of the other channel; each depth takes the other's size. Nothing happens if both
    /// are the same channel or share their arrays, or if one has none. The shape hears of new sizes
    /// through a sync.
    void set(const ParticleChannel& in_other);

    std::shared_ptr<TreeChannel3DBase> copy(bool in_copy_data, bool in_share) const override;
    /// If the target stands on a shape and gets tiles, their sizes become those of all its
    /// channels.
    void copyInto(const std::shared_ptr<TreeChannel3DBase>& io_target, bool in_copy_data,
                  bool in_share) const override;
    void copyInto(const std::shared_ptr<ParticleChannel>& io_target, bool in_copy_data,
                  bool in_share) const;
    std::shared_ptr<const void> blockDataPtr() const override { return m_blocks; }

    /// The shape, or null if there is none or it is gone.
    std::shared_ptr<ParticleShape> particleShapePtr() const { return m_particle_shape.lock(); }
    /// Throws "ParticleChannel.setShape: in_shape not of type ParticleShape" for any other shape.
    void setShape(const std::shared_ptr<TreeShape3DBase>& in_shape) override;
    /// Particles have places of their own: it is always the centre, and setting it does nothing.
    VoxelOffsetType offsetType() const override { return eOffsetCentre; }
    const vec3f& offset() const override { return kVoxelOffset[eOffsetCentre]; }
    void setOffsetType(VoxelOffsetType) override {}
    /// Leaves `out_sampler` as it is: particles are not sampled.
    void createSampler(const std::string& in_kind, SamplerSpace in_space,
                       std::shared_ptr<BaseSampler>& out_sampler) const override;

    // The events of the layout, passed on by the shape.
    void nodeAdded(const TileIndex& in_index) override;
    void nodesAdded(const std::vector<int>* in_indices) override;
    void nodesCleared() override;
    using TreeChannel3DBase::nodesDeleted;
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override;

    using TreeChannel3DBase::resize;
    /// Sets the number of tiles of a depth, and each tile to the shape's count for it; new elements
    /// hold the background value. Without a shape, tiles keep their sizes.
    void resize(int in_depth, int in_count) override;
    /// Carries out what the shape has in progress: takes over its counts, or moves elements. Does
    /// nothing without a shape.
    void sync() override;
    /// Makes the sizes of this channel's tiles those of all channels of the shape: elements that
    /// are new to another channel get its background value. Does nothing without a shape.
    void syncShapeParticleCounts();
    /// Has all channels of the shape move elements from tiles of one depth to tiles of another, or
    /// drop them where `to` is negative. `in_list` is sorted by `ParticleToFrom::compareIndex`,
    /// with each element at most once; `in_indices` are the places of its entries by rising `to`,
    /// empty if all go. Entries that name no element are passed over; with elements named twice
    /// what the tiles hold is not stated. Does nothing without a shape.
    void syncShapeParticleReblock(const std::vector<ParticleToFrom>* in_list,
                                  const std::vector<unsigned long>* in_indices, int in_from_depth,
                                  int in_to_depth);

    /// Version 4 (unsigned 16), background value, name, shape name, custom type, the base, 8
    /// (unsigned 32), and the levels, in a form by type and quality:
    /// - each depth's number of tiles (unsigned 64) and each tile by its own `save`;
    /// - `float`, and `vec3f` at quality 1 or with "velocity" in the name, at quality 1 and more:
    ///   the tiles in byte planes;
    /// - other `vec3f` with "position" in the name at quality 2 and 3: from depth 4 on positions in
    ///   16 or 8 bits an axis, relative to the tile, which needs a layout;
    /// - all other `vec3f` at quality 2 and 3: no levels; the data are dropped.
    bool save(OutputStream& io_stream) const override;
    /// Reads versions 1 to 4, and makes the sizes those of the shape. A channel whose data were
    /// dropped gets the shape's counts, with the background value that was read, and leaves the
    /// shape alone. On false the channel is as it was, in the shape's counts.
    bool load(InputStream& io_stream) override;
    /// The header and the numbers of tiles and elements of each depth, as lines of text.
    bool dump(OutputStream& io_stream) const override;

    static const TypeMeta<ParticleChannel> m_typeMeta;

private:
    std::shared_ptr<VoxelLayout> layoutPtr() const;
    /// Sizes the tiles of a depth to the shape's counts.
    void takeCounts(int in_depth, const ParticleShape& in_shape);
    /// Makes the sizes of the tiles those of all channels but one, which knows them.
    void publishCounts(const std::string& in_except);
    void reblock(const ParticleReblock& in_reblock);
    /// As `syncShapeParticleReblock` with the order by `to` found here. The list comes in pieces
    /// that follow one another, or whole. Those whose `to` is none of `in_num_targets` tiles go.
    void reblockShape(std::span<const std::span<const ParticleToFrom>> in_moves, int in_num_targets,
                      int in_from_depth, int in_to_depth);
    void reblockShape(std::span<const ParticleToFrom> in_list, int in_num_targets,
                      int in_from_depth, int in_to_depth);
    /// The same of all depths, if there is a shape.
    void takeCounts();
    /// Into a new channel, of which the content is good for nothing on false.
    bool loadHeader(InputStream& io_stream);
    /// The levels of a channel that is called `in_name` in its file.
    bool loadLevels(InputStream& io_stream, const std::string& in_name,
                    TileArrays& out_tiles) const;

    std::weak_ptr<ParticleShape> m_particle_shape;
    std::shared_ptr<TileArrays> m_blocks;  ///< null in a header without data
};

/// Collects changes to the particles of a channel's shape and carries them out on all its channels.
/// Borrows the channel. Belongs to a short piece of work: its destructor tells the other channels
/// of added elements, unless `autoSync` or `enableSync` say otherwise. Can be moved, not copied;
/// one that was moved from has no parent and does nothing.
///
/// `removeElement` may be called by any thread, `addElement` by one for each tile; all else runs
/// alone on the channels of the shape.
template <typename T>
class SKELVAR_API ParticleChannel<T>::Accessor final : public ChannelAccessor {
public:
    explicit Accessor(ParticleChannel* in_parent);
    Accessor(Accessor&& io_other) noexcept;
    Accessor& operator=(Accessor&& io_other) noexcept;
    ~Accessor() override;

    /// Syncs, and then removes the elements asked for, from all channels.
    void update() override;
    /// Asks for the removal of one element; it stays until `update`. To ask twice for the same one
    /// is an error. Any thread.
    void removeElement(int in_tile, int in_depth, unsigned long in_index) override;
    /// Appends the value behind `in_value`. The tile must be there.
    void addElement(int in_tile, int in_depth, const void* in_value) override;
    TreeChannel3DBase* parent() const override { return m_parent; }

    /// Makes the sizes of this channel's tiles those of all channels, if elements were added and
    /// syncing is not disabled.
    void sync();
    /// Moves elements between the tiles of one depth, or from one depth to another, in all channels
    /// of the shape; those with a negative `to` go. The list is sorted by
    /// `ParticleToFrom::compareIndex`; one that is not is copied and sorted.
    void reblock(const std::vector<ParticleToFrom>* in_list, int in_depth);
    void reblock(const std::vector<ParticleToFrom>* in_list, int in_from_depth, int in_to_depth);
    /// The same for a list in pieces that follow one another.
    void reblock(std::span<const std::span<const ParticleToFrom>> in_pieces, int in_from_depth,
                 int in_to_depth);
    /// The same for eight lists, one for each depth.
    void reblock(const std::vector<ParticleToFrom>* in_lists);
    /// Removes the elements of a sorted list from all channels.
    void remove(const std::vector<ParticleToFrom>* in_list, int in_depth);
    /// The same for eight lists, one for each depth.
    void remove(const std::vector<ParticleToFrom>* in_lists);

    // The steps of `update`.
    void sortTaggedElements();
    void removeElements();
    void clearTaggedElements();

    Tile& tile(int in_index, int in_depth) const { return m_parent->tile(in_index, in_depth); }
    Tile& tile(const TileIndex& in_index) const { return m_parent->tile(in_index); }
    Tile* tilePtr(int in_index, int in_depth) const { return &tile(in_index, in_depth); }
    Tile* tilePtr(const TileIndex& in_index) const { return &tile(in_index); }

    /// Says whether elements were added since the last sync, for those who write to tiles directly.
    void setDirty(bool in_dirty) { m_dirty.store(in_dirty, std::memory_order_relaxed); }
    void enableSync() { m_sync_enabled = true; }
    /// The other channels stay at their sizes until a later sync.
    void disableSync() { m_sync_enabled = false; }
    /// Whether the destructor syncs. True at the start.
    bool& autoSync() { return m_auto_sync; }

private:
    ParticleChannel* m_parent;
    std::atomic<bool> m_dirty = false;
    bool m_sync_enabled = true;
    bool m_auto_sync = true;
    std::atomic<bool> m_has_tagged = false;
    std::unique_ptr<ParticleRemovals> m_tagged;
};

#define SKELVAR_EXTERN(T) extern template class ParticleChannel<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
