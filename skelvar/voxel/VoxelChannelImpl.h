#pragma once

// Bodies of `VoxelChannel` but for its persistence and its samplers, for the source that
// instantiates it.

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/ConstantInterpolationVoxelTileInitializer.h>
#include <skelvar/voxel/LinearInterpolationVoxelTileInitializer.h>
#include <skelvar/voxel/NOPVoxelTileInitializer.h>
#include <skelvar/voxel/TileMemory.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace Skelvar {

namespace Detail {

inline bool isTileDepth(int in_depth)
{
    return in_depth >= 0 && in_depth < kNumDepths;
}

/// Sets the number of tiles without regard to what they hold.
template <typename Tile>
void resizeForOverwrite(array1<Tile>& io_tiles, long long in_count)
{
    if (in_count > io_tiles.capacity()) {
        io_tiles.release();
    }
    io_tiles.resize(in_count);
}

template <typename Tile>
void copyTiles(const array1<Tile>& in_tiles, array1<Tile>& out_tiles)
{
    resizeForOverwrite(out_tiles, in_tiles.size());
    copyArray(in_tiles.data(), in_tiles.size() * sizeof(Tile), out_tiles.data());
}

}  // namespace Detail

template <typename T>
const TypeMeta<VoxelChannel<T>> VoxelChannel<T>::m_typeMeta{};

template <typename T>
VoxelChannel<T>::VoxelChannel() : m_blocks(std::make_shared<TileArrays>())
{
}

template <typename T>
VoxelChannel<T>::VoxelChannel(const std::string& in_name,
                              const std::shared_ptr<VoxelShape>& in_shape, const T& in_background,
                              VoxelOffsetType in_offset_type)
    : TreeChannel3DTyped<T>(in_name, in_background),
      m_offset_type(in_offset_type),
      m_voxel_shape(in_shape),
      m_blocks(std::make_shared<TileArrays>())
{
    TreeChannel3DBase::setShape(in_shape);
}

template <typename T>
VoxelChannel<T>::~VoxelChannel() = default;

template <typename T>
const std::string& VoxelChannel<T>::typeName()
{
    static const std::string& s_typeName =
        *new std::string("VoxelChannel<" + typeNameOf<T>() + ">");
    return s_typeName;
}

template <typename T>
bool VoxelChannel<T>::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeChannel3DTyped<T>::isCastableTo(in_type_name);
}

template <typename T>
const void* VoxelChannel<T>::tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) const
{
    out_count = 0;
    if (in_index.first < 0 || in_index.first >= numTiles(in_index.second)) {
        return nullptr;
    }
    out_count = Tile::kSize;
    return tile(in_index).data();
}

template <typename T>
void* VoxelChannel<T>::tileArrayPtr(const TileIndex& in_index, unsigned long& out_count)
{
    return const_cast<void*>(std::as_const(*this).tileArrayPtr(in_index, out_count));
}

template <typename T>
void* VoxelChannel<T>::getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k)
{
    return &tile(in_index)(in_i, in_j, in_k);
}

template <typename T>
const void* VoxelChannel<T>::getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j,
                                            int in_k) const
{
    return &tile(in_index)(in_i, in_j, in_k);
}

template <typename T>
void VoxelChannel<T>::setElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k,
                                     const void* in_value)
{
    tile(in_index).set(in_i, in_j, in_k, in_value);
}

template <typename T>
void VoxelChannel<T>::values(const CellIndex* in_cells, long long in_count, T* out_values) const
{
    constexpr long long kUnderWay = 256;
    const T* places[kUnderWay];
    for (long long begin = 0; begin < in_count; begin += kUnderWay) {
        const long long count = std::min(kUnderWay, in_count - begin);
        for (long long n = 0; n < count; ++n) {
            const auto& [index, cell] = in_cells[begin + n];
            places[n] = index.first < 0 ? &this->backgroundValue() : tile(index).data() + cell;
            __builtin_prefetch(places[n]);
        }
        for (long long n = 0; n < count; ++n) {
            out_values[begin + n] = *places[n];
        }
    }
}

template <typename T>
int VoxelChannel<T>::numTiles(int in_depth) const
{
    return m_blocks && Detail::isTileDepth(in_depth) ? static_cast<int>(tiles(in_depth).size()) : 0;
}

template <typename T>
int VoxelChannel<T>::numTiles() const
{
    int count = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        count += numTiles(depth);
    }
    return count;
}

template <typename T>
unsigned long long VoxelChannel<T>::numElements(int in_depth) const
{
    return static_cast<unsigned long long>(Tile::kSize) * numTiles(in_depth);
}

template <typename T>
unsigned long long VoxelChannel<T>::numElements() const
{
    return static_cast<unsigned long long>(Tile::kSize) * numTiles();
}

template <typename T>
unsigned long long VoxelChannel<T>::memUsage(MemUsage::Type in_type, bool in_with_header) const
{
    unsigned long long bytes = 0;
    if (m_blocks) {
        for (const array1<Tile>& tiles : *m_blocks) {
            const long long count =
                in_type == MemUsage::eMemAllocated ? tiles.capacity() : tiles.size();
            bytes += sizeof(Tile) * static_cast<unsigned long long>(count);
        }
    }
    return in_with_header ? bytes + sizeof(*this) + this->textMemUsage() : bytes;
}

template <typename T>
void VoxelChannel<T>::set(const T& in_value, int in_start_depth, int in_end_depth)
{
    const SkelvarProfiler::Scope scope("VoxelChannel<T>::set(v,min,max)");
    if (!m_blocks) {
        return;
    }
    const Tile pattern(in_value);
    const int end = std::min(in_end_depth, kMaxTileDepth);
    for (int depth = std::max(in_start_depth, 0); depth <= end; ++depth) {
        Detail::fillTiles(tiles(depth).data(), tiles(depth).size(), &pattern, sizeof(Tile));
    }
}

template <typename T>
void VoxelChannel<T>::set(const VoxelChannel& in_other)
{
    const SkelvarProfiler::Scope scope("VoxelChannel<T>::set(channel)");
    if (!m_blocks || !in_other.m_blocks || m_blocks == in_other.m_blocks) {
        return;
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::copyTiles(in_other.tiles(depth), tiles(depth));
    }
}

template <typename T>
std::shared_ptr<TreeChannel3DBase> VoxelChannel<T>::copy(bool in_copy_data, bool in_share) const
{
    const auto channel = std::make_shared<VoxelChannel>();
    channel->m_blocks = nullptr;
    copyInto(channel, in_copy_data, in_share);
    return channel;
}

template <typename T>
void VoxelChannel<T>::copyInto(const std::shared_ptr<TreeChannel3DBase>& io_target,
                               bool in_copy_data, bool in_share) const
{
    if (!io_target || !io_target->isCastableTo(typeName())) {
        throw std::runtime_error("VoxelChannel::copyInto: the target of " + this->name() +
                                 " is no " + typeName());
    }
    copyInto(std::static_pointer_cast<VoxelChannel>(io_target), in_copy_data, in_share);
}

template <typename T>
void VoxelChannel<T>::copyInto(const std::shared_ptr<VoxelChannel>& io_target, bool in_copy_data,
                               bool in_share) const
{
    const SkelvarProfiler::Scope scope("VoxelChannel<T>::copyInto");
    if (io_target.get() == this) {
        return;
    }
    this->copyHeaderInto(*io_target);
    io_target->m_offset_type = m_offset_type;
    io_target->m_initializer = m_initializer ? m_initializer->copy(io_target.get()) : nullptr;
    if (!m_blocks) {
        return;
    }
    if (in_copy_data) {
        const auto blocks = std::make_shared<TileArrays>();
        for (int depth = 0; depth < kNumDepths; ++depth) {
            Detail::copyTiles(tiles(depth), (*blocks)[depth]);
        }
        io_target->m_blocks = blocks;
    } else if (in_share) {
        io_target->m_blocks = m_blocks;
    }
}

template <typename T>
void VoxelChannel<T>::setShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    if (in_shape && !in_shape->isCastableTo(VoxelShape::typeName())) {
        throw std::runtime_error("VoxelChannel.setShape: in_shape not of type VoxelShape");
    }
    m_voxel_shape = std::static_pointer_cast<VoxelShape>(in_shape);
    TreeChannel3DBase::setShape(in_shape);
}

template <typename T>
void VoxelChannel<T>::createChannelAccessor(std::shared_ptr<ChannelAccessor>&)
{
}

template <typename T>
void VoxelChannel<T>::setTileInitializer(VoxelTileInitializerType in_type)
{
    switch (in_type) {
        case eTileInitializerNOP:
            m_initializer = std::make_shared<NOPVoxelTileInitializer<VoxelChannel>>(this);
            return;
        case eTileInitializerBackground:
            m_initializer = nullptr;
            return;
        case eTileInitializerConstant:
            m_initializer =
                std::make_shared<ConstantInterpolationVoxelTileInitializer<VoxelChannel>>(this);
            return;
        case eTileInitializerLinear:
            m_initializer =
                std::make_shared<LinearInterpolationVoxelTileInitializer<VoxelChannel>>(this);
            return;
    }
    throw std::runtime_error(
        "VoxelChannel<T>::setTileInitializer(VoxelTileInitializerType in_type) : type not "
        "supported!");
}

template <typename T>
void VoxelChannel<T>::setTileInitializer(const std::shared_ptr<Initializer>& in_initializer)
{
    m_initializer = in_initializer;
}

template <typename T>
std::shared_ptr<VoxelLayout> VoxelChannel<T>::layoutPtr() const
{
    const std::shared_ptr<VoxelShape> shape = m_voxel_shape.lock();
    return shape ? shape->layoutPtr() : nullptr;
}

template <typename T>
void VoxelChannel<T>::fillBackground(int in_depth, long long in_begin, long long in_end)
{
    if (in_begin < in_end) {
        const Tile pattern(this->backgroundValue());
        Detail::fillTiles(tiles(in_depth).data() + in_begin, in_end - in_begin, &pattern,
                          sizeof(Tile));
    }
}

template <typename T>
void VoxelChannel<T>::nodeAdded(const TileIndex& in_index)
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    const auto [index, depth] = in_index;
    if (!m_blocks || !layout || numTiles(depth) == layout->numNodes(depth)) {
        return;
    }
    array1<Tile>& tiles_of_depth = tiles(depth);
    const long long old_size = tiles_of_depth.size();
    if (index >= old_size) {
        tiles_of_depth.reserve_grow(index + 1LL);
        tiles_of_depth.resize(index + 1LL);
    }
    // Tiles that lag behind are filled too, so that none is left uninitialised.
    const long long begin = std::min<long long>(old_size, index);
    if (m_initializer) {
        fillBackground(depth, begin, index);
        m_initializer->reset();
        m_initializer->initializeTile(in_index);
    } else {
        fillBackground(depth, begin, index + 1LL);
    }
}

template <typename T>
void VoxelChannel<T>::nodesAdded(const std::vector<int>* in_indices)
{
    const SkelvarProfiler::Scope scope("VoxelChannel::nodesAdded");
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    if (!m_blocks || !layout) {
        return;
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const std::vector<int>& added = in_indices[depth];
        if (added.empty() || numTiles(depth) == layout->numNodes(depth)) {
            continue;
        }
        const auto [lowest, highest] = std::minmax_element(added.begin(), added.end());
        array1<Tile>& tiles_of_depth = tiles(depth);
        const long long old_size = tiles_of_depth.size();
        const long long new_size = std::max<long long>(old_size, *highest + 1LL);
        const long long capacity = tiles_of_depth.capacity();
        if (new_size > capacity) {
            // Exactly what is needed, unless small batches keep coming.
            tiles_of_depth.reserve(std::max(new_size, capacity + capacity / 8));
        }
        tiles_of_depth.resize(new_size);
        if (m_initializer) {
            const SkelvarProfiler::Scope init_scope("nodesAdded_init");
            fillBackground(depth, old_size, *lowest);
            m_initializer->reset();
            // Depth by depth, so that parents are filled; a copy for each thread, since an
            // initializer may remember what it read.
            tbb::enumerable_thread_specific<std::shared_ptr<Initializer>> initializers(
                [this] { return m_initializer->copy(this); });
            Detail::forEachTile(added, [&initializers, depth](int in_index) {
                initializers.local()->initializeTile({in_index, depth});
            });
        } else {
            const SkelvarProfiler::Scope background_scope("nodesAdded_bg");
            fillBackground(depth, std::min<long long>(old_size, *lowest), new_size);
        }
    }
}

template <typename T>
void VoxelChannel<T>::nodesCleared()
{
    if (m_blocks) {
        for (array1<Tile>& tiles : *m_blocks) {
            tiles.release();
        }
    }
}

template <typename T>
void VoxelChannel<T>::nodesDeleted(const std::vector<TileIndex>* in_moves)
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    if (!m_blocks || !layout) {
        return;
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::moveTiles(tiles(depth).data(), tiles(depth).size(), in_moves[depth], sizeof(Tile));
        resize(depth, layout->numNodes(depth));
    }
}

template <typename T>
void VoxelChannel<T>::resize(int in_depth, int in_count)
{
    if (!m_blocks || !Detail::isTileDepth(in_depth) || in_count < 0) {
        return;
    }
    const long long old_size = tiles(in_depth).size();
    tiles(in_depth).resize(in_count);
    fillBackground(in_depth, old_size, in_count);
}

template <typename T>
bool VoxelChannel<T>::checkAllocatedSizes(std::ostream* out_report) const
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    if (!m_blocks || !layout) {
        return true;
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        if (numTiles(depth) != layout->numNodes(depth)) {
            if (out_report != nullptr) {
                *out_report << "Allocated sizes mismatch: channel " << this->name() << " has "
                            << numTiles(depth) << " tiles at depth " << depth << ", its layout "
                            << layout->numNodes(depth) << " nodes\n";
            }
            return false;
        }
    }
    return true;
}

}  // namespace Skelvar
