#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/ValueTypes.h>

#include <algorithm>
#include <utility>

namespace Skelvar {

class InputStream;
class OutputStream;

namespace Detail {

/// Memory of the scalable allocator, grown or shrunk to `in_bytes`, where it stands if there is
/// room. Null for 0 bytes. Throws `std::runtime_error` with "Out of memory." if there is none; the
/// old memory stays then.
SKELVAR_API void* resizeTileMemory(void* io_memory, unsigned long in_bytes);

}  // namespace Detail

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

    T* data() { return m_data; }
    const T* data() const { return m_data; }
    T* begin() { return m_data; }
    const T* begin() const { return m_data; }
    T* end() { return m_data + m_size; }
    const T* end() const { return m_data + m_size; }
    T& operator()(unsigned long in_index) { return m_data[in_index]; }
    const T& operator()(unsigned long in_index) const { return m_data[in_index]; }
    T& operator[](unsigned long in_index) { return m_data[in_index]; }
    const T& operator[](unsigned long in_index) const { return m_data[in_index]; }
    T& back() { return m_data[m_size - 1]; }
    const T& back() const { return m_data[m_size - 1]; }

    unsigned long size() const { return m_size; }
    unsigned long capacity() const { return m_capacity; }
    bool empty() const { return m_size == 0; }
    /// 1: the elements of a tile have no places in space.
    static constexpr int width() { return 1; }

    /// New elements are zero. A shrink keeps the memory.
    void resize(unsigned long in_size) { resize(in_size, T{}); }
    void resize(unsigned long in_size, const T& in_value);
    /// New elements hold what the memory held.
    void resizeForOverwrite(unsigned long in_size)
    {
        reserve(in_size);
        m_size = in_size;
    }
    /// Room for at least that many elements, exactly that many if it has to grow.
    void reserve(unsigned long in_capacity)
    {
        if (in_capacity > m_capacity) {
            setCapacity(in_capacity);
        }
    }
    void push_back(const T& in_value)
    {
        if (m_size == m_capacity) {
            const T value = in_value;  // it may be one of these
            setCapacity(m_capacity == 0 ? 1 : 2 * m_capacity);
            m_data[m_size++] = value;
        } else {
            m_data[m_size++] = in_value;
        }
    }
    /// The tile must not be empty.
    void pop_back() { --m_size; }
    /// No elements and no memory.
    void release()
    {
        m_size = 0;
        setCapacity(0);
    }
    void swap(ParticleTile& io_other) noexcept
    {
        std::swap(m_data, io_other.m_data);
        std::swap(m_size, io_other.m_size);
        std::swap(m_capacity, io_other.m_capacity);
    }

    /// The elements of the other tile. Nothing happens if it is this one.
    void set(const ParticleTile& in_other)
    {
        if (this != &in_other) {
            resizeForOverwrite(in_other.m_size);
            std::copy_n(in_other.m_data, m_size, m_data);
        }
    }
    /// The element `in_index` from the value behind `in_value`. The other two indices are those of
    /// tiles with places in space and are not looked at.
    void set(int in_index, int, int, const void* in_value)
    {
        m_data[in_index] = *static_cast<const T*>(in_value);
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

private:
    void setCapacity(unsigned long in_capacity);

    T* m_data = nullptr;
    unsigned long m_size = 0;
    unsigned long m_capacity = 0;
};

/// The form in which channels keep tiles: one that gives back memory that stands unused.
template <typename T>
class SKELVAR_API DynamicParticleTile : public ParticleTile<T> {
public:
    /// Moves the elements into memory of exactly their size if the capacity exceeds
    /// (in_factor + 1) times the size, computed in `float` and cut to a whole number.
    void repack(float in_factor);
};

#define SKELVAR_EXTERN(T)                  \
    extern template class ParticleTile<T>; \
    extern template class DynamicParticleTile<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
