#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/base/array1.h>

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

    T* data() { return m_elements.data(); }
    const T* data() const { return m_elements.data(); }
    T* begin() { return m_elements.begin(); }
    const T* begin() const { return m_elements.begin(); }
    T* end() { return m_elements.end(); }
    const T* end() const { return m_elements.end(); }
    T& operator()(unsigned long in_index) { return element(in_index); }
    const T& operator()(unsigned long in_index) const { return element(in_index); }
    T& operator[](unsigned long in_index) { return element(in_index); }
    const T& operator[](unsigned long in_index) const { return element(in_index); }
    T& back() { return m_elements.back(); }
    const T& back() const { return m_elements.back(); }

    unsigned long size() const { return static_cast<unsigned long>(m_elements.size()); }
    unsigned long capacity() const { return static_cast<unsigned long>(m_elements.capacity()); }
    bool empty() const { return m_elements.empty(); }
    /// 1: the elements of a tile have no places in space.
    static constexpr int width() { return 1; }

    /// New elements are zero. A shrink keeps the memory.
    void resize(unsigned long in_size) { resize(in_size, T{}); }
    void resize(unsigned long in_size, const T& in_value);
    /// New elements hold what the memory held.
    void resizeForOverwrite(unsigned long in_size)
    {
        m_elements.resize(static_cast<long long>(in_size));
    }
    /// Room for at least that many elements, exactly that many if it has to grow.
    void reserve(unsigned long in_capacity)
    {
        m_elements.reserve(static_cast<long long>(in_capacity));
    }
    void push_back(const T& in_value) { m_elements.push_back(in_value); }
    /// The tile must not be empty.
    void pop_back() { m_elements.resize(m_elements.size() - 1); }
    /// No elements and no memory.
    void release() { m_elements.release(); }

    /// The elements of the other tile. Nothing happens if it is this one.
    void set(const ParticleTile& in_other)
    {
        if (this != &in_other) {
            m_elements = in_other.m_elements;
        }
    }
    /// The element `in_index` from the value behind `in_value`. The other two indices are those of
    /// tiles with places in space and are not looked at.
    void set(int in_index, int, int, const void* in_value)
    {
        element(static_cast<unsigned long>(in_index)) = *static_cast<const T*>(in_value);
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
    T& element(unsigned long in_index) { return m_elements[static_cast<long long>(in_index)]; }
    const T& element(unsigned long in_index) const
    {
        return m_elements[static_cast<long long>(in_index)];
    }

    array1<T> m_elements;
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
