#pragma once

#include <orvel/Api.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// A handle to a list that its copies share: what one of them changes, all see. A null handle is
/// an empty list; `resize` and `push_back` on it make a list of its own.
template <typename T>
class ORVEL_API Vector {
public:
    using value_type = T;

    Vector() = default;
    Vector(std::vector<T> in_values)
        : m_list(std::make_shared<std::vector<T>>(std::move(in_values)))
    {
    }
    Vector(std::initializer_list<T> in_values) : Vector(std::vector<T>(in_values)) {}

    std::size_t size() const { return m_list ? m_list->size() : 0; }
    bool empty() const { return size() == 0; }

    /// Throws `std::runtime_error` for an index past the end, as does `[]`.
    typename std::vector<T>::reference at(std::size_t in_index)
    {
        check(in_index);
        return (*m_list)[in_index];
    }
    typename std::vector<T>::const_reference at(std::size_t in_index) const
    {
        check(in_index);
        return std::as_const(*m_list)[in_index];
    }
    typename std::vector<T>::reference operator[](std::size_t in_index) { return at(in_index); }
    typename std::vector<T>::const_reference operator[](std::size_t in_index) const
    {
        return at(in_index);
    }

    void resize(std::size_t in_size) { list().resize(in_size); }
    void push_back(T in_value) { list().push_back(std::move(in_value)); }

    /// The elements; a loop over the handle reads them.
    typename std::vector<T>::const_iterator begin() const { return values().begin(); }
    typename std::vector<T>::const_iterator end() const { return values().end(); }
    const std::vector<T>& values() const
    {
        static const std::vector<T> s_empty;
        return m_list ? *m_list : s_empty;
    }

private:
    void check(std::size_t in_index) const
    {
        if (in_index >= size()) {
            throw std::runtime_error("Vector: no element " + std::to_string(in_index) + " of " +
                                     std::to_string(size()));
        }
    }
    std::vector<T>& list()
    {
        if (!m_list) {
            m_list = std::make_shared<std::vector<T>>();
        }
        return *m_list;
    }

    std::shared_ptr<std::vector<T>> m_list;
};

}  // namespace orvel
