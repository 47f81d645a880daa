#pragma once

#include <skelvar/particles/ParticleToFrom.h>
#include <skelvar/tree/BulkLoop.h>

#include <algorithm>
#include <vector>

namespace Skelvar::Detail {

/// The places 0 to `in_count` - 1 by rising key, equal keys in their old order: a counting sort,
/// side by side on pieces of the input. `in_key(n)` is 0 to `in_num_keys` - 1. `out_begin`, if not
/// null, gets the place in the result where each key begins, and the end.
template <typename Place, typename Key>
std::vector<Place> sortedPlaces(long long in_count, long long in_num_keys, const Key& in_key,
                                std::vector<long long>* out_begin = nullptr)
{
    // Counting the keys must not cost more than the entries do.
    constexpr long long kMostPieces = 8;
    constexpr long long kLeastEntries = 4096;
    const long long num_pieces =
        std::clamp(in_count / std::max(in_num_keys, kLeastEntries), 1LL, kMostPieces);
    std::vector<long long> place(static_cast<std::size_t>(num_pieces * in_num_keys));
    const auto forPieces = [&](const auto& in_body) {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<long long>(0, num_pieces, 1),
            [&](const tbb::blocked_range<long long>& in_pieces) {
                for (long long piece = in_pieces.begin(); piece < in_pieces.end(); ++piece) {
                    in_body(in_count * piece / num_pieces, in_count * (piece + 1) / num_pieces,
                            place.data() + piece * in_num_keys);
                }
            },
            tbb::simple_partitioner{}, context);
    };
    forPieces([&](long long in_begin, long long in_end, long long* io_counts) {
        for (long long n = in_begin; n < in_end; ++n) {
            ++io_counts[in_key(n)];
        }
    });
    if (out_begin != nullptr) {
        out_begin->resize(static_cast<std::size_t>(in_num_keys + 1));
        out_begin->back() = in_count;
    }
    long long next = 0;
    for (long long key = 0; key < in_num_keys; ++key) {
        if (out_begin != nullptr) {
            (*out_begin)[key] = next;
        }
        for (long long piece = 0; piece < num_pieces; ++piece) {
            next += std::exchange(place[piece * in_num_keys + key], next);
        }
    }
    std::vector<Place> sorted(static_cast<std::size_t>(in_count));
    forPieces([&](long long in_begin, long long in_end, long long* io_places) {
        for (long long n = in_begin; n < in_end; ++n) {
            sorted[io_places[in_key(n)]++] = static_cast<Place>(n);
        }
    });
    return sorted;
}

}  // namespace Skelvar::Detail
