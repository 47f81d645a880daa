#pragma once

// Bodies of `ParticleChannel::Accessor`, for the source that instantiates it.

#include <skelvar/particles/ParticleChannelImpl.h>
#include <skelvar/particles/ParticleRemovals.h>

namespace Skelvar {

template <typename T>
typename ParticleChannel<T>::Accessor ParticleChannel<T>::accessor()
{
    return Accessor(this);
}

template <typename T>
void ParticleChannel<T>::createChannelAccessor(std::shared_ptr<ChannelAccessor>& out_accessor)
{
    out_accessor = std::make_shared<Accessor>(this);
}

template <typename T>
ParticleChannel<T>::Accessor::Accessor(ParticleChannel* in_parent)
    : m_parent(in_parent), m_tagged(std::make_unique<ParticleRemovals>())
{
}

template <typename T>
ParticleChannel<T>::Accessor::Accessor(Accessor&& io_other) noexcept : m_parent(nullptr)
{
    *this = std::move(io_other);
}

template <typename T>
typename ParticleChannel<T>::Accessor& ParticleChannel<T>::Accessor::operator=(
    Accessor&& io_other) noexcept
{
    if (this != &io_other) {
        if (m_auto_sync) {
            sync();
        }
        m_parent = std::exchange(io_other.m_parent, nullptr);
        m_dirty = io_other.m_dirty.exchange(false);
        m_sync_enabled = io_other.m_sync_enabled;
        m_auto_sync = io_other.m_auto_sync;
        m_has_tagged = io_other.m_has_tagged.exchange(false);
        m_tagged = std::move(io_other.m_tagged);
    }
    return *this;
}

template <typename T>
ParticleChannel<T>::Accessor::~Accessor()
{
    if (m_auto_sync) {
        sync();
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::sync()
{
    if (m_sync_enabled && m_parent != nullptr && m_dirty.exchange(false)) {
        m_parent->syncShapeParticleCounts();
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::update()
{
    sync();
    sortTaggedElements();
    removeElements();
    clearTaggedElements();
}

template <typename T>
void ParticleChannel<T>::Accessor::removeElement(int in_tile, int in_depth, unsigned long in_index)
{
    if (m_tagged) {
        m_tagged->add(in_tile, in_depth, in_index);
        if (!m_has_tagged.load(std::memory_order_relaxed)) {
            m_has_tagged.store(true, std::memory_order_relaxed);
        }
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::addElement(int in_tile, int in_depth, const void* in_value)
{
    if (!m_dirty.load(std::memory_order_relaxed)) {
        m_dirty.store(true, std::memory_order_relaxed);
    }
    tile(in_tile, in_depth).push_back(*static_cast<const T*>(in_value));
}

template <typename T>
void ParticleChannel<T>::Accessor::reblock(const std::vector<ParticleToFrom>* in_list, int in_depth)
{
    reblock(in_list, in_depth, in_depth);
}

template <typename T>
void ParticleChannel<T>::Accessor::reblock(const std::vector<ParticleToFrom>* in_list,
                                           int in_from_depth, int in_to_depth)
{
    if (m_parent != nullptr && !in_list->empty()) {
        m_parent->reblockShape(std::span(*in_list), m_parent->numTiles(in_to_depth), in_from_depth,
                               in_to_depth);
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::reblock(
    std::span<const std::span<const ParticleToFrom>> in_pieces, int in_from_depth, int in_to_depth)
{
    if (m_parent != nullptr) {
        m_parent->reblockShape(in_pieces, m_parent->numTiles(in_to_depth), in_from_depth,
                               in_to_depth);
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::reblock(const std::vector<ParticleToFrom>* in_lists)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        reblock(in_lists + depth, depth);
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::remove(const std::vector<ParticleToFrom>* in_list, int in_depth)
{
    if (m_parent != nullptr && !in_list->empty()) {
        m_parent->reblockShape(std::span(*in_list), 0, in_depth, in_depth);
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::remove(const std::vector<ParticleToFrom>* in_lists)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        remove(in_lists + depth, depth);
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::sortTaggedElements()
{
    if (m_tagged) {
        m_tagged->sort();
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::removeElements()
{
    if (m_has_tagged.exchange(false)) {
        m_tagged->sort();
        remove(m_tagged->lists());
    }
}

template <typename T>
void ParticleChannel<T>::Accessor::clearTaggedElements()
{
    if (m_tagged) {
        m_tagged->clear();
    }
}

}  // namespace Skelvar
