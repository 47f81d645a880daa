#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/particles/TileBuffer.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace Skelvar {

class InputStream;
class OutputStream;

/// The values that one channel has for the particles of one tile: a growing array, which owns its
/// memory. A new tile is empty and has none. Growth throws `std::runtime_error` with
/// "Out of memory." if there is none left, and makes pointers and references stale. Not guarded:
/// different tiles may be touched by different threads, one tile by one thread.
template <typename T>
class SKELVAR_API ParticleTile {
public:
    using value_type = T;

    ParticleTile() = default;
    /// A copy has room for its elements alone.
    ParticleTile(const ParticleTile& in_other) { set(in_other); }
    ParticleTile(ParticleTile&& io_other) noexcept { swap(io_other); }
    ParticleTile& operator=(const ParticleTile& in_other)
    {
        set(in_other);
        return *this;
    }
    ParticleTile& operator=(ParticleTile&& io_other) noexcept
    {
        swap(io_other);
        return *this;
    }
    ~ParticleTile() { release(); }

    T* data() { return static_cast<T*>(m_buffer.data); }
    const T* data() const { return static_cast<const T*>(m_buffer.data); }
    T* begin() { return data(); }
    const T* begin() const { return data(); }
    T* end() { return data() + size(); }
    const T* end() const { return data() + size(); }
    T& operator()(unsigned long in_index) { return data()[in_index]; }
    const T& operator()(unsigned long in_index) const { return data()[in_index]; }
    T& operator[](unsigned long in_index) { return data()[in_index]; }
    const T& operator[](unsigned long in_index) const { return data()[in_index]; }
    T& back() { return data()[size() - 1]; }
    const T& back() const { return data()[size() - 1]; }

    unsigned long size() const { return m_buffer.size; }
    unsigned long capacity() const { return m_buffer.capacity; }
    bool empty() const { return size() == 0; }
    /// 1: the elements of a tile have no places in space.
    static constexpr int width() { return 1; }

    /// New elements are zero. A shrink keeps the memory.
    void resize(unsigned long in_size) { resize(in_size, T{}); }
    void resize(unsigned long in_size, const T& in_value);
    /// New elements hold what the memory held.
    void resizeForOverwrite(unsigned long in_size)
    {
        reserve(in_size);
        m_buffer.size = in_size;
    }
    /// Room for at least that many elements, exactly that many if it has to grow.
    void reserve(unsigned long in_capacity) { m_buffer.reserve(in_capacity, sizeof(T)); }
    void push_back(const T& in_value)
    {
        if (size() == capacity()) {
            const T value = in_value;  // it may be one of these
            m_buffer.setCapacity(capacity() == 0 ? 1 : 2 * capacity(), sizeof(T));
            data()[m_buffer.size++] = value;
        } else {
            data()[m_buffer.size++] = in_value;
        }
    }
    /// The tile must not be empty.
    void pop_back() { --m_buffer.size; }
    /// No elements and no memory.
    void release()
    {
        m_buffer.size = 0;
        m_buffer.setCapacity(0, sizeof(T));
    }
    void swap(ParticleTile& io_other) noexcept { std::swap(m_buffer, io_other.m_buffer); }

    /// The elements of the other tile. Nothing happens if it is this one.
    void set(const ParticleTile& in_other)
    {
        if (this != &in_other) {
            resizeForOverwrite(in_other.size());
            std::copy_n(in_other.data(), size(), data());
        }
    }
    /// The element `in_index` from the value behind `in_value`. The other two indices are those of
    /// tiles with places in space and are not looked at.
    void set(int in_index, int, int, const void* in_value)
    {
        data()[in_index] = *static_cast<const T*>(in_value);
    }

    /// Bytes of the elements, or of the room for them.
    unsigned long long memUsage(MemUsage::Type in_type) const;

    /// Version 2 (unsigned 16), the number of elements (unsigned 64) and each element.
    bool save(OutputStream& io_stream) const;
    /// Streams of format version 1 have no tile version. A count that the rest of the stream cannot
    /// hold is false. On false the tile is empty.
    bool load(InputStream& io_stream);
    /// The number of elements, as a line of text.
    bool dump(OutputStream& io_stream) const;

protected:
    static_assert(std::is_trivially_copyable_v<T>, "memory is moved whole");
    /// The only member, so that bulk work can walk over tiles whatever their type.
    Detail::TileBuffer m_buffer;
};

/// The form in which channels keep tiles: one that gives back memory that stands unused.
template <typename T>
class SKELVAR_API DynamicParticleTile : public ParticleTile<T> {
public:
    /// Moves the elements into memory of exactly their size if the capacity exceeds
    /// (in_factor + 1) times the size, computed in `float` and cut to a whole number.
    void repack(float in_factor) { this->m_buffer.repack(in_factor, sizeof(T)); }
};

#define SKELVAR_EXTERN(T)                  \
    extern template class ParticleTile<T>; \
    extern template class DynamicParticleTile<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
