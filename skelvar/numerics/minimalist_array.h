#pragma once

#include <skelvar/base/array1.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace Skelvar {

/// An array of fixed length in the least space: a pointer and a 32-bit size. Owns its elements.
/// A million of them stand side by side where each holds a few elements that never change in
/// number; what grows is an `array1`. Not guarded.
template <typename E>
class minimalist_array {
public:
    using value_type = E;

    minimalist_array() = default;
    /// `in_size` default-built elements. Throws `std::runtime_error` without memory.
    explicit minimalist_array(int in_size)
        : m_data(static_cast<E*>(Detail::allocateArray(in_size, sizeof(E)))), m_size(in_size)
    {
        static_assert(std::is_nothrow_default_constructible_v<E>);
        std::uninitialized_value_construct_n(m_data, m_size);
    }
    minimalist_array(const minimalist_array& in_other) : minimalist_array(in_other.m_size)
    {
        std::copy_n(in_other.m_data, m_size, m_data);
    }
    minimalist_array(minimalist_array&& io_other) noexcept { swap(io_other); }
    minimalist_array& operator=(minimalist_array in_other) noexcept
    {
        swap(in_other);
        return *this;
    }
    ~minimalist_array()
    {
        std::destroy_n(m_data, m_size);
        Detail::releaseArray(m_data);
    }

    void swap(minimalist_array& io_other) noexcept
    {
        std::swap(m_data, io_other.m_data);
        std::swap(m_size, io_other.m_size);
    }

    int size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    E& operator[](int in_index) { return m_data[in_index]; }
    const E& operator[](int in_index) const { return m_data[in_index]; }
    E* begin() { return m_data; }
    E* end() { return m_data + m_size; }
    const E* begin() const { return m_data; }
    const E* end() const { return m_data + m_size; }

private:
    E* m_data = nullptr;
    int m_size = 0;
};

}  // namespace Skelvar
