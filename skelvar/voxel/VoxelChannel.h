#pragma once

#include <skelvar/base/array1.h>
#include <skelvar/tree/TileId.h>
#include <skelvar/voxel/TreeChannel3DTyped.h>
#include <skelvar/voxel/VoxelChannelBase.h>
#include <skelvar/voxel/VoxelTile.h>
#include <skelvar/voxel/VoxelTileInitializer.h>

#include <array>
#include <iosfwd>
#include <vector>

namespace Skelvar {

class VoxelLayout;
class VoxelShape;

/// Voxel data: the tile of the node (index, depth) is element `index` of the array of `depth`.
/// Every node has a dense tile. Belongs to a `VoxelShape`. The arrays may be shared between copies;
/// events reach only the channel that stands on the shape. Distinct tiles may be written by several
/// threads; an edit of the layout makes pointers and references to tiles stale.
template <typename T>
class SKELVAR_API VoxelChannel : public TreeChannel3DTyped<T>, public VoxelChannelBase {
public:
    using Tile = VoxelTile<T, 0, 5>;
    using TileArrays = std::array<array1<Tile>, kNumDepths>;
    using Initializer = VoxelTileInitializer<VoxelChannel>;

    /// Unnamed, without a shape, with eight empty arrays, at cell centres.
    VoxelChannel();
    /// Refers to the shape (which may be null) and takes its name, but does not enter its table:
    /// `TreeShape3DBase::addChannel` does.
    VoxelChannel(const std::string& in_name, const std::shared_ptr<VoxelShape>& in_shape,
                 const T& in_background, VoxelOffsetType in_offset_type);
    ~VoxelChannel() override;

    /// "VoxelChannel<" + the element's name + ">"
    static const std::string& typeName();
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    bool isCastableTo(const std::string& in_type_name) const override;

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
    /// The values of many cells, in their order, the background value for those without a tile.
    /// Much faster than one after the other where they are not in a cache: the processor waits for
    /// many at the same time. Goes with `VoxelLayout::ConstAccessor::cellIndices`.
    void values(const CellIndex* in_cells, long long in_count, T* out_values) const;
    /// All tiles of a depth, for bulk work. Not checked: the channel must have arrays. Their number
    /// follows the layout and is not to be changed from outside.
    array1<Tile>& tiles(int in_depth) { return (*m_blocks)[in_depth]; }
    const array1<Tile>& tiles(int in_depth) const { return (*m_blocks)[in_depth]; }

    void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) override;
    const void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) const override;
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
    static constexpr int tileWidth() { return Tile::kWidth; }
    static constexpr int tileSize() { return Tile::kSize; }
    unsigned long long memUsage(MemUsage::Type in_type, bool in_with_header) const override;

    /// Every value of the depths `in_start_depth` to `in_end_depth`, both included; depths that do
    /// not exist are left out.
    void set(const T& in_value, int in_start_depth, int in_end_depth);
    /// All tiles of the other channel; each depth takes the other's size. Nothing happens if both
    /// are the same channel or share their arrays, or if the other has none. Throws
    /// `std::runtime_error` if there is no memory.
    void set(const VoxelChannel& in_other);

    std::shared_ptr<TreeChannel3DBase> copy(bool in_copy_data, bool in_share) const override;
    void copyInto(const std::shared_ptr<TreeChannel3DBase>& io_target, bool in_copy_data,
                  bool in_share) const override;
    void copyInto(const std::shared_ptr<VoxelChannel>& io_target, bool in_copy_data,
                  bool in_share) const;
    std::shared_ptr<const void> blockDataPtr() const override { return m_blocks; }

    /// The shape, or null if there is none or it is gone.
    std::shared_ptr<VoxelShape> voxelShapePtr() const { return m_voxel_shape.lock(); }
    /// Throws "VoxelChannel.setShape: in_shape not of type VoxelShape" for any other shape.
    void setShape(const std::shared_ptr<TreeShape3DBase>& in_shape) override;
    /// A voxel channel has none: `out_accessor` stays as it is.
    void createChannelAccessor(std::shared_ptr<ChannelAccessor>& out_accessor) override;
    VoxelOffsetType offsetType() const override { return m_offset_type; }
    const vec3f& offset() const override { return kVoxelOffset[m_offset_type & 7]; }
    void setOffsetType(VoxelOffsetType in_type) override { m_offset_type = in_type; }
    void createSampler(const std::string& in_kind, SamplerSpace in_space,
                       std::shared_ptr<BaseSampler>& out_sampler) const override;

    /// Throws `std::runtime_error` for a value that is none of the four.
    void setTileInitializer(VoxelTileInitializerType in_type) override;
    /// Null: new tiles take the background value.
    void setTileInitializer(const std::shared_ptr<Initializer>& in_initializer);

    // The events of the layout, passed on by the shape.
    void nodeAdded(const TileIndex& in_index) override;
    void nodesAdded(const std::vector<int>* in_indices) override;
    void nodesCleared() override;
    using TreeChannel3DBase::nodesDeleted;
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override;

    using TreeChannel3DBase::resize;
    void resize(int in_depth, int in_count) override;
    /// Nothing to do for voxels.
    void sync() override {}
    /// True if every array has as many tiles as the layout has nodes; else false, and a line that
    /// begins with "Allocated sizes mismatch" goes to `out_report`, if given. A channel without
    /// arrays or without a layout is true.
    bool checkAllocatedSizes(std::ostream* out_report = nullptr) const;

    /// Version 4 (unsigned 16), background value, name, shape name, custom type, the base, offset
    /// type (signed 8), 8 (unsigned 32), and for each depth the number of tiles (unsigned 64) and
    /// the tiles: of `float` at quality 1 and more in byte planes, else each by its own `save`.
    bool save(OutputStream& io_stream) const override;
    /// Reads versions 1 to 4. Memory is taken for tiles only as far as the rest of the stream can
    /// hold them; those of before go only when all is read. On false the channel is as it was.
    bool load(InputStream& io_stream) override;
    /// The header and the number of tiles of each depth, as lines of text.
    bool dump(OutputStream& io_stream) const override;

    static const TypeMeta<VoxelChannel> m_typeMeta;

private:
    std::shared_ptr<VoxelLayout> layoutPtr() const;
    void fillBackground(int in_depth, long long in_begin, long long in_end);
    /// Into a new channel, of which the content is good for nothing on false.
    bool loadBody(InputStream& io_stream);
    bool loadTiles(InputStream& io_stream, int in_depth);

    VoxelOffsetType m_offset_type = eOffsetCentre;
    std::weak_ptr<VoxelShape> m_voxel_shape;
    std::shared_ptr<TileArrays> m_blocks;  ///< null in a header without data
    std::shared_ptr<Initializer> m_initializer;
};

#define SKELVAR_EXTERN(T) extern template class VoxelChannel<T>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
