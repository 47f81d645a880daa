#pragma once

#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace Skelvar::Detail {

/// Sorts entries by a key that is 0 to some number, equal keys in their old order: a counting sort
/// that works side by side on pieces of the input. Counts when it is made; the caller then has room
/// for the entries made, and places them as often as it likes. Any thread may read.
class TileSort {
public:
    /// `in_key(n)` gives the key of entry n, and is called once for each, concurrently.
    template <typename Key>
    TileSort(long long in_count, long long in_num_keys, const Key& in_key)
        : m_count(in_count),
          m_num_keys(in_num_keys),
          // Counting the keys must not cost more than the entries do.
          m_num_pieces(
              std::clamp(2 * in_count / std::max(in_num_keys, kLeastEntries), 1LL, kMostPieces)),
          m_places(static_cast<std::size_t>(m_num_pieces * in_num_keys)),
          m_begins(static_cast<std::size_t>(in_num_keys + 1))
    {
        forPieces([&](long long in_piece, long long in_begin, long long in_end) {
            long long* const counts = m_places.data() + in_piece * m_num_keys;
            for (long long n = in_begin; n < in_end; ++n) {
                ++counts[in_key(n)];
            }
        });
        long long next = 0;
        for (long long key = 0; key < in_num_keys; ++key) {
            m_begins[key] = next;
            for (long long piece = 0; piece < m_num_pieces; ++piece) {
                next += std::exchange(m_places[piece * in_num_keys + key], next);
            }
        }
        m_begins[in_num_keys] = next;
    }

    /// Where the entries of each key begin in the result, and as the last one the end.
    const std::vector<long long>& begins() const { return m_begins; }
    /// For each key, the place in the result of the first entry of a piece that has it.
    const long long* places(long long in_piece) const
    {
        return m_places.data() + in_piece * m_num_keys;
    }

    /// Calls in_body(piece, begin, end) for pieces that cover the entries, concurrently.
    template <typename Body>
    void forPieces(const Body& in_body) const
    {
        tbb::task_group_context context;
        tbb::parallel_for(
            0LL, m_num_pieces,
            [&](long long in_piece) {
                in_body(in_piece, m_count * in_piece / m_num_pieces,
                        m_count * (in_piece + 1) / m_num_pieces);
            },
            context);
    }
    /// Calls in_put(place, n) for each entry n, concurrently.
    template <typename Key, typename Put>
    void place(const Key& in_key, const Put& in_put) const
    {
        forPieces([&](long long in_piece, long long in_begin, long long in_end) {
            std::vector<long long> next(places(in_piece), places(in_piece) + m_num_keys);
            for (long long n = in_begin; n < in_end; ++n) {
                in_put(next[in_key(n)]++, n);
            }
        });
    }

private:
    static constexpr long long kMostPieces = 16;
    static constexpr long long kLeastEntries = 4096;

    long long m_count;
    long long m_num_keys;
    long long m_num_pieces;
    std::vector<long long> m_places;  ///< piece by piece for each key
    std::vector<long long> m_begins;
};

}  // namespace Skelvar::Detail
