#pragma once

#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace Skelvar::Detail {

/// Sorts entries by a key that is 0 to some number, equal keys in their old order: a counting sort
/// that works side by side on pieces of the input. Counts when it is made; the caller then has room
/// for the entries made, and has them placed. `in_key(n)` gives the key of entry n.
template <typename Key>
class TileSort {
public:
    TileSort(long long in_count, long long in_num_keys, const Key& in_key)
        : m_count(in_count),
          m_num_keys(in_num_keys),
          // Counting the keys must not cost more than the entries do.
          m_num_pieces(
              std::clamp(in_count / std::max(in_num_keys, kLeastEntries), 1LL, kMostPieces)),
          m_key(in_key),
          m_places(static_cast<std::size_t>(m_num_pieces * in_num_keys)),
          m_begins(static_cast<std::size_t>(in_num_keys + 1))
    {
        forPieces([&](long long in_begin, long long in_end, long long* io_counts) {
            for (long long n = in_begin; n < in_end; ++n) {
                ++io_counts[m_key(n)];
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

    /// Calls in_put(place, n) for each entry n, concurrently. Once only.
    template <typename Put>
    void place(const Put& in_put)
    {
        forPieces([&](long long in_begin, long long in_end, long long* io_places) {
            for (long long n = in_begin; n < in_end; ++n) {
                in_put(io_places[m_key(n)]++, n);
            }
        });
    }

private:
    static constexpr long long kMostPieces = 8;
    static constexpr long long kLeastEntries = 4096;

    template <typename Body>
    void forPieces(const Body& in_body)
    {
        const auto run = [&](long long in_piece) {
            in_body(m_count * in_piece / m_num_pieces, m_count * (in_piece + 1) / m_num_pieces,
                    m_places.data() + in_piece * m_num_keys);
        };
        if (m_num_pieces == 1) {
            run(0);
        } else {
            tbb::task_group_context context;
            tbb::parallel_for(0LL, m_num_pieces, run, context);
        }
    }

    long long m_count;
    long long m_num_keys;
    long long m_num_pieces;
    const Key& m_key;
    std::vector<long long> m_places;  ///< of the next entry, piece by piece for each key
    std::vector<long long> m_begins;
};

}  // namespace Skelvar::Detail
