#pragma once

// Bodies of `ParticleChannel` but for its accessor and its persistence, for the source that
// instantiates it.

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleReblock.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/TileBuffers.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Skelvar {

namespace Detail {

inline bool isParticleDepth(int in_depth)
{
    return in_depth >= 0 && in_depth < kNumDepths;
}

}  // namespace Detail

template <typename T>
const TypeMeta<ParticleChannel<T>> ParticleChannel<T>::m_typeMeta{};

template <typename T>
ParticleChannel<T>::ParticleChannel() : m_blocks(std::make_shared<TileArrays>())
{
}

template <typename T>
ParticleChannel<T>::ParticleChannel(const std::string& in_name,
                                    const std::shared_ptr<ParticleShape>& in_shape,
                                    const T& in_background)
    : TreeChannel3DTyped<T>(in_name, in_background),
      m_particle_shape(in_shape),
      m_blocks(std::make_shared<TileArrays>())
{
    TreeChannel3DBase::setShape(in_shape);
}

template <typename T>
ParticleChannel<T>::~ParticleChannel() = default;

template <typename T>
const std::string& ParticleChannel<T>::typeName()
{
    static const std::string& s_typeName =
        *new std::string("ParticleChannel<" + typeNameOf<T>() + ">");
    return s_typeName;
}

template <typename T>
bool ParticleChannel<T>::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeChannel3DTyped<T>::isCastableTo(in_type_name);
}

template <typename T>
const void* ParticleChannel<T>::tileArrayPtr(const TileIndex& in_index,
                                             unsigned long& out_count) const
{
    out_count = 0;
    if (in_index.first < 0 || in_index.first >= numTiles(in_index.second)) {
        return nullptr;
    }
    out_count = tile(in_index).size();
    return tile(in_index).data();
}

template <typename T>
void* ParticleChannel<T>::tileArrayPtr(const TileIndex& in_index, unsigned long& out_count)
{
    return const_cast<void*>(std::as_const(*this).tileArrayPtr(in_index, out_count));
}

template <typename T>
void* ParticleChannel<T>::getElemVoidPtr(const TileIndex& in_index, int in_i, int, int)
{
    return &tile(in_index)[static_cast<unsigned long>(in_i)];
}

template <typename T>
const void* ParticleChannel<T>::getElemVoidPtr(const TileIndex& in_index, int in_i, int, int) const
{
    return &tile(in_index)[static_cast<unsigned long>(in_i)];
}

template <typename T>
void ParticleChannel<T>::setElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k,
                                        const void* in_value)
{
    tile(in_index).ParticleTile<T>::set(in_i, in_j, in_k, in_value);
}

template <typename T>
int ParticleChannel<T>::numTiles(int in_depth) const
{
    return m_blocks && Detail::isParticleDepth(in_depth) ? static_cast<int>(tiles(in_depth).size())
                                                         : 0;
}

template <typename T>
int ParticleChannel<T>::numTiles() const
{
    int count = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        count += numTiles(depth);
    }
    return count;
}

template <typename T>
unsigned long long ParticleChannel<T>::numElements(int in_depth) const
{
    return numTiles(in_depth) > 0 ? Detail::numElements(Detail::buffersOf(tiles(in_depth))) : 0;
}

template <typename T>
unsigned long long ParticleChannel<T>::numElements() const
{
    unsigned long long count = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        count += numElements(depth);
    }
    return count;
}

template <typename T>
unsigned long long ParticleChannel<T>::memUsage(MemUsage::Type in_type, bool in_with_header) const
{
    unsigned long long bytes = 0;
    for (int depth = 0; m_blocks && depth < kNumDepths; ++depth) {
        const Tiles& tiles_of_depth = tiles(depth);
        bytes += sizeof(Tile) * (in_type == MemUsage::eMemAllocated ? tiles_of_depth.capacity()
                                                                    : tiles_of_depth.size());
        bytes += Detail::memUsage(Detail::buffersOf(tiles_of_depth), sizeof(T), in_type);
    }
    return in_with_header ? bytes + sizeof(*this) + this->textMemUsage() : bytes;
}

// Copies.

template <typename T>
void ParticleChannel<T>::set(const ParticleChannel& in_other)
{
    if (m_blocks && in_other.m_blocks && m_blocks != in_other.m_blocks) {
        *m_blocks = *in_other.m_blocks;
    }
}

template <typename T>
std::shared_ptr<TreeChannel3DBase> ParticleChannel<T>::copy(bool in_copy_data, bool in_share) const
{
    const auto channel = std::make_shared<ParticleChannel>();
    channel->m_blocks = nullptr;
    copyInto(channel, in_copy_data, in_share);
    return channel;
}

template <typename T>
void ParticleChannel<T>::copyInto(const std::shared_ptr<TreeChannel3DBase>& io_target,
                                  bool in_copy_data, bool in_share) const
{
    if (!io_target || !io_target->isCastableTo(typeName())) {
        throw std::runtime_error("ParticleChannel::copyInto: the target of " + this->name() +
                                 " is no " + typeName());
    }
    copyInto(std::static_pointer_cast<ParticleChannel>(io_target), in_copy_data, in_share);
}

template <typename T>
void ParticleChannel<T>::copyInto(const std::shared_ptr<ParticleChannel>& io_target,
                                  bool in_copy_data, bool in_share) const
{
    if (io_target.get() == this) {
        return;
    }
    const std::string target_name = io_target->name();
    this->copyHeaderInto(*io_target);
    if (!m_blocks || !(in_copy_data || in_share)) {
        return;
    }
    if (in_copy_data) {
        const auto blocks = std::make_shared<TileArrays>();
        for (int depth = 0; depth < kNumDepths; ++depth) {
            Tiles& copies = (*blocks)[depth];
            copies.resize(tiles(depth).size());
            Detail::copyTiles(Detail::buffersOf(tiles(depth)), sizeof(T),
                              Detail::buffersOf(copies));
        }
        io_target->m_blocks = blocks;
    } else {
        io_target->m_blocks = m_blocks;
    }
    // A target on a shape must not fall out of step with the others there.
    io_target->publishCounts(target_name);
}

template <typename T>
void ParticleChannel<T>::setShape(const std::shared_ptr<TreeShape3DBase>& in_shape)
{
    if (in_shape && !in_shape->isCastableTo(ParticleShape::typeName())) {
        throw std::runtime_error("ParticleChannel.setShape: in_shape not of type ParticleShape");
    }
    m_particle_shape = std::static_pointer_cast<ParticleShape>(in_shape);
    TreeChannel3DBase::setShape(in_shape);
}

template <typename T>
void ParticleChannel<T>::createSampler(const std::string&, SamplerSpace,
                                       std::shared_ptr<BaseSampler>&) const
{
}

// Following the layout.

template <typename T>
std::shared_ptr<VoxelLayout> ParticleChannel<T>::layoutPtr() const
{
    const std::shared_ptr<ParticleShape> shape = particleShapePtr();
    return shape ? shape->layoutPtr() : nullptr;
}

template <typename T>
void ParticleChannel<T>::nodeAdded(const TileIndex& in_index)
{
    const auto [index, depth] = in_index;
    if (m_blocks && Detail::isParticleDepth(depth) && index >= numTiles(depth)) {
        tiles(depth).resize(static_cast<std::size_t>(index) + 1);
    }
}

template <typename T>
void ParticleChannel<T>::nodesAdded(const std::vector<int>* in_indices)
{
    for (int depth = 0; m_blocks && depth < kNumDepths; ++depth) {
        const std::vector<int>& added = in_indices[depth];
        const auto highest = std::max_element(added.begin(), added.end());
        if (highest != added.end() && *highest >= numTiles(depth)) {
            tiles(depth).resize(static_cast<std::size_t>(*highest) + 1);
        }
    }
}

template <typename T>
void ParticleChannel<T>::nodesCleared()
{
    if (m_blocks) {
        *m_blocks = {};
    }
}

template <typename T>
void ParticleChannel<T>::nodesDeleted(const std::vector<TileIndex>* in_moves)
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    for (int depth = 0; m_blocks && layout && depth < kNumDepths; ++depth) {
        const int size = numTiles(depth);
        if (size == layout->numNodes(depth)) {
            continue;
        }
        for (const auto& [destination, source] : in_moves[depth]) {
            if (destination >= 0 && destination < size && source >= 0 && source < size &&
                destination != source) {
                tile(destination, depth) = std::move(tile(source, depth));
            }
        }
        tiles(depth).resize(static_cast<std::size_t>(layout->numNodes(depth)));
    }
}

template <typename T>
void ParticleChannel<T>::resize(int in_depth, int in_count)
{
    if (!m_blocks || !Detail::isParticleDepth(in_depth) || in_count < 0) {
        return;
    }
    tiles(in_depth).resize(static_cast<std::size_t>(in_count));
    if (const std::shared_ptr<ParticleShape> shape = particleShapePtr()) {
        takeCounts(in_depth, *shape);
    }
}

// Keeping step with the other channels of the shape.

template <typename T>
void ParticleChannel<T>::takeCounts(int in_depth, const ParticleShape& in_shape)
{
    Detail::resizeTiles(in_shape.particleCounts().tiles[in_depth], this->backgroundValuePtr(),
                        sizeof(T), Detail::buffersOf(tiles(in_depth)));
}

template <typename T>
void ParticleChannel<T>::takeCounts()
{
    const std::shared_ptr<ParticleShape> shape = particleShapePtr();
    for (int depth = 0; shape && m_blocks && depth < kNumDepths; ++depth) {
        takeCounts(depth, *shape);
    }
}

template <typename T>
void ParticleChannel<T>::sync()
{
    const std::shared_ptr<ParticleShape> shape = particleShapePtr();
    if (!shape || !m_blocks) {
        return;
    }
    if (shape->isCountSync()) {
        takeCounts();
    }
    if (shape->reblockSync() != nullptr) {
        reblock(*shape->reblockSync());
    }
}

template <typename T>
void ParticleChannel<T>::syncShapeParticleCounts()
{
    publishCounts(this->name());
}

template <typename T>
void ParticleChannel<T>::publishCounts(const std::string& in_except)
{
    const std::shared_ptr<ParticleShape> shape = particleShapePtr();
    if (!shape || !m_blocks) {
        return;
    }
    ParticleShape::ParticleCountBlock counts;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        counts.tiles[depth] = Detail::countElements(Detail::buffersOf(tiles(depth)));
    }
    shape->publishCounts(std::move(counts), in_except);
}

template <typename T>
void ParticleChannel<T>::syncShapeParticleReblock(const std::vector<ParticleToFrom>* in_list,
                                                  const std::vector<unsigned long>* in_indices,
                                                  int in_from_depth, int in_to_depth)
{
    if (in_indices->empty()) {
        reblockShape(std::span(*in_list), 0, in_from_depth, in_to_depth);
        return;
    }
    // Those that the indices do not name go, whatever their destination.
    std::vector<ParticleToFrom> list = *in_list;
    std::vector<bool> arrives(list.size());
    for (const unsigned long place : *in_indices) {
        if (place < list.size()) {
            arrives[place] = true;
        }
    }
    for (std::size_t n = 0; n < list.size(); ++n) {
        list[n].to = arrives[n] ? list[n].to : -1;
    }
    reblockShape(std::span(list), numTiles(in_to_depth), in_from_depth, in_to_depth);
}

template <typename T>
void ParticleChannel<T>::reblockShape(std::span<const std::span<const ParticleToFrom>> in_moves,
                                      int in_num_targets, int in_from_depth, int in_to_depth)
{
    const std::shared_ptr<ParticleShape> shape = particleShapePtr();
    if (!shape || !m_blocks || !Detail::isParticleDepth(in_from_depth) ||
        !Detail::isParticleDepth(in_to_depth)) {
        return;
    }
    shape->publishReblock(ParticleReblock(in_moves, Detail::buffersOf(tiles(in_from_depth)),
                                          in_num_targets, in_from_depth, in_to_depth));
    const auto recount = [&](int in_depth) {
        shape->setCounts(in_depth, Detail::countElements(Detail::buffersOf(tiles(in_depth))));
    };
    recount(in_from_depth);
    if (in_to_depth != in_from_depth) {
        recount(in_to_depth);
    }
}

template <typename T>
void ParticleChannel<T>::reblockShape(std::span<const ParticleToFrom> in_list, int in_num_targets,
                                      int in_from_depth, int in_to_depth)
{
    constexpr std::size_t kPiece = 1 << 16;
    std::vector<std::span<const ParticleToFrom>> pieces;
    for (std::size_t begin = 0; begin < in_list.size(); begin += kPiece) {
        pieces.push_back(in_list.subspan(begin, std::min(kPiece, in_list.size() - begin)));
    }
    reblockShape(pieces, in_num_targets, in_from_depth, in_to_depth);
}

template <typename T>
void ParticleChannel<T>::reblock(const ParticleReblock& in_reblock)
{
    Detail::reblockTiles(in_reblock, sizeof(T), Detail::buffersOf(tiles(in_reblock.from_depth)),
                         Detail::buffersOf(tiles(in_reblock.to_depth)));
}

}  // namespace Skelvar
