#pragma once

#include <skelvar/base/Api.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace Skelvar {

namespace Detail {

/// Memory of the scalable allocator for `in_count` elements of `in_size` bytes, null for a count
/// of 0. Throws `std::runtime_error` with "Out of memory." if the count is negative, the product
/// overflows or there is none. Large blocks may be such as were released before.
SKELVAR_API void* allocateArray(long long in_count, std::size_t in_size);
/// Null is none. A large block that is told its bytes is kept for arrays to come.
SKELVAR_API void releaseArray(void* in_memory, std::size_t in_bytes = 0);

/// `memcpy`, in parallel for many bytes.
SKELVAR_API void copyArray(const void* in_bytes, std::size_t in_count, void* out_bytes);

}  // namespace Detail

/// A growing array on the scalable allocator: `size()` elements in use, room for `capacity()`.
/// Owns its elements. Growth does not initialise elements of a trivial type, for which it moves
/// memory whole; other types are built, moved and destroyed properly. Any growth makes pointers and
/// references into the array stale. Not guarded: distinct elements may be written by several
/// threads.
template <typename E>
class SKELVAR_API array1 {
public:
    using value_type = E;

    array1() = default;
    explicit array1(long long in_size) : array1() { resize(in_size); }
    /// A copy has room for its elements alone.
    array1(const array1& in_other) : array1()
    {
        reserve(in_other.m_size);
        if constexpr (std::is_trivially_copyable_v<E>) {
            Detail::copyArray(in_other.m_data, in_other.m_size * sizeof(E), m_data);
        } else {
            std::uninitialized_copy_n(in_other.m_data, in_other.m_size, m_data);
        }
        m_size = in_other.m_size;
    }
    array1(array1&& io_other) noexcept { swap(io_other); }
    array1& operator=(array1 in_other) noexcept
    {
        swap(in_other);
        return *this;
    }
    ~array1() { release(); }

    void swap(array1& io_other) noexcept
    {
        std::swap(m_size, io_other.m_size);
        std::swap(m_capacity, io_other.m_capacity);
        std::swap(m_data, io_other.m_data);
    }

    long long size() const { return m_size; }
    long long capacity() const { return m_capacity; }
    bool empty() const { return m_size == 0; }

    E* data() { return m_data; }
    const E* data() const { return m_data; }
    E& operator[](long long in_index) { return m_data[in_index]; }
    const E& operator[](long long in_index) const { return m_data[in_index]; }
    E* begin() { return m_data; }
    E* end() { return m_data + m_size; }
    const E* begin() const { return m_data; }
    const E* end() const { return m_data + m_size; }
    E& back() { return m_data[m_size - 1]; }
    const E& back() const { return m_data[m_size - 1]; }

    /// Room for at least `in_capacity` elements, exactly that many if it has to grow. Throws
    /// `std::runtime_error` with "Out of memory." if it cannot, as does all that grows, also for a
    /// negative count; the array is as it was then.
    void reserve(long long in_capacity)
    {
        if (in_capacity > m_capacity || in_capacity < 0) {
            relocate(in_capacity);
        }
    }
    /// Room for at least `in_capacity` elements, at least twice the present room if it has to grow.
    void reserve_grow(long long in_capacity)
    {
        if (in_capacity > m_capacity) {
            relocate(std::max(in_capacity, 2 * m_capacity));
        }
    }
    /// Grows to exactly the size asked for; a shrink keeps the memory. New elements of a trivial
    /// type hold what their memory held, others are default-built.
    void resize(long long in_size)
    {
        reserve(in_size);
        setSize(in_size);
    }
    void push_back(E in_value)
    {
        reserve_grow(m_size + 1);
        std::construct_at(m_data + m_size, std::move(in_value));
        ++m_size;
    }
    /// No elements; the memory stays.
    void clear() { setSize(0); }
    /// No elements and no memory.
    void release()
    {
        setSize(0);
        Detail::releaseArray(m_data, m_capacity * sizeof(E));
        m_data = nullptr;
        m_capacity = 0;
    }

private:
    void setSize(long long in_size)
    {
        if (in_size > m_size) {
            std::uninitialized_default_construct_n(m_data + m_size, in_size - m_size);
        } else {
            std::destroy_n(m_data + in_size, m_size - in_size);
        }
        m_size = in_size;
    }
    void relocate(long long in_capacity)
    {
        static_assert(std::is_nothrow_move_constructible_v<E>, "growth must not lose elements");
        static_assert(alignof(E) <= alignof(std::max_align_t), "the allocator aligns no further");
        E* const data = static_cast<E*>(Detail::allocateArray(in_capacity, sizeof(E)));
        if constexpr (std::is_trivially_copyable_v<E>) {
            Detail::copyArray(m_data, m_size * sizeof(E), data);
        } else {
            std::uninitialized_move_n(m_data, m_size, data);
            std::destroy_n(m_data, m_size);
        }
        Detail::releaseArray(m_data, m_capacity * sizeof(E));
        m_data = data;
        m_capacity = in_capacity;
    }

    long long m_size = 0;
    long long m_capacity = 0;
    E* m_data = nullptr;
};

}  // namespace Skelvar
