#pragma once

#include <numeric>
#include <utility>
#include <vector>

namespace Skelvar {

/// Sets of the numbers 0 to n - 1, each alone at first, that are joined over time. One thread.
/// Source: union by size with path halving, Tarjan and van Leeuwen, "Worst-case Analysis of Set
/// Union Algorithms", 1984.
class DisjointSet {
public:
    explicit DisjointSet(int in_count) : m_parents(in_count), m_sizes(in_count, 1)
    {
        std::iota(m_parents.begin(), m_parents.end(), 0);
    }

    int count() const { return static_cast<int>(m_parents.size()); }
    /// The member that stands for the set of `in_member`; changes as sets are joined.
    int root(int in_member)
    {
        while (m_parents[in_member] != in_member) {
            m_parents[in_member] = m_parents[m_parents[in_member]];
            in_member = m_parents[in_member];
        }
        return in_member;
    }
    /// False if the two were in one set already.
    bool join(int in_a, int in_b)
    {
        int a = root(in_a);
        int b = root(in_b);
        if (a == b) {
            return false;
        }
        if (m_sizes[a] < m_sizes[b]) {
            std::swap(a, b);
        }
        m_parents[b] = a;
        m_sizes[a] += m_sizes[b];
        return true;
    }
    /// Members of the set.
    int size(int in_member) { return m_sizes[root(in_member)]; }

private:
    std::vector<int> m_parents;
    std::vector<int> m_sizes;  ///< of roots only
};

}  // namespace Skelvar
