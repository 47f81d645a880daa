#include <skelvar/numerics/NullSpace.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/numerics/DisjointSet.h>
#include <skelvar/numerics/TileLoop.h>

#include <tbb/enumerable_thread_specific.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Skelvar {

namespace {

/// A row sums to zero if the sum is at most this part of the sum of the magnitudes.
constexpr double kZeroSum = 1e-6;

/// Writes the running number of each unknown to `out_ids`, -1 elsewhere. Their count.
int numberUnknowns(const SparseMatrix<float>& in_A, DenseVector<int>& out_ids)
{
    int count = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            int* const ids = out_ids.tileData(tile, depth);
            std::fill_n(ids, out_ids.tileDataSize(tile, depth), -1);
            const SparseMatrixTile<float>* const block = in_A.diagonalBlock(tile, depth);
            for (int row = 0; block != nullptr && row < block->numRows(); ++row) {
                ids[block->rowIds()[row]] = count++;
            }
        }
    }
    return count;
}

/// Joins the unknowns that entries connect, and sums up each row.
struct Connections {
    explicit Connections(int in_unknowns)
        : components(in_unknowns), sums(in_unknowns), magnitudes(in_unknowns)
    {
    }

    void add(const SparseMatrixTile<float>& in_block, const int* in_row_ids,
             const int* in_column_ids)
    {
        const SparseMatrixPattern pattern = in_block.pattern();
        for (int row = 0; row < in_block.numRows(); ++row) {
            const int id = in_row_ids[pattern.row_ids[row]];
            for (unsigned int n = pattern.row_starts[row]; n < pattern.row_starts[row + 1]; ++n) {
                const int other = in_column_ids[pattern.column_ids[n]];
                const double value = in_block.values()[n];
                if (id < 0 || other < 0 || value == 0.0) {
                    continue;
                }
                components.join(id, other);
                sums[id] += value;
                magnitudes[id] += std::abs(value);
            }
        }
    }

    DisjointSet components;
    std::vector<double> sums;
    std::vector<double> magnitudes;
};

/// The component of each id below `in_count`.
std::vector<int> rootsOf(int in_count, const array1<std::pair<int, int>>* in_pairs)
{
    DisjointSet components(in_count);
    const auto is_component = [&](int in_id) { return in_id >= 0 && in_id < in_count; };
    if (in_pairs != nullptr) {
        for (const std::pair<int, int>& pair : *in_pairs) {
            if (is_component(pair.first) && is_component(pair.second)) {
                components.join(pair.first, pair.second);
            }
        }
    }
    std::vector<int> roots(in_count);
    for (int id = 0; id < in_count; ++id) {
        roots[id] = components.root(id);
    }
    return roots;
}

/// Weighted sum of the values of a component, and sum of the weights.
struct Sums {
    double values = 0.0;
    double weights = 0.0;
};

}  // namespace

int findUnitNullSpace(const SparseMatrix<float>& in_A, DenseVector<int>* out_ids,
                      array1<std::pair<int, int>>* out_pairs)
{
    const SkelvarProfiler::Scope scope("findUnitNullSpace");
    out_pairs->clear();
    const int unknowns = numberUnknowns(in_A, *out_ids);
    Connections connections(unknowns);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            for (const SparseMatrixTile<float>& block : in_A.blocks(tile, depth)) {
                connections.add(block, out_ids->tileData(tile, depth),
                                out_ids->tileData(block.tileIndex(), block.depth()));
            }
        }
    }

    constexpr int kNotSingular = -1;
    constexpr int kNotNumbered = -2;
    std::vector<int> labels(unknowns, kNotNumbered);  // of roots
    for (int id = 0; id < unknowns; ++id) {
        if (!(std::abs(connections.sums[id]) <= kZeroSum * connections.magnitudes[id])) {
            labels[connections.components.root(id)] = kNotSingular;
        }
    }
    int count = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            int* const ids = out_ids->tileData(tile, depth);
            for (int n = 0; n < out_ids->tileDataSize(tile, depth); ++n) {
                if (ids[n] >= 0) {
                    int& label = labels[connections.components.root(ids[n])];
                    label = label == kNotNumbered ? count++ : label;
                    ids[n] = label;
                }
            }
        }
    }
    return count;
}

void removeUnitNullSpace(int in_count, const DenseVector<int>* in_ids,
                         const array1<std::pair<int, int>>* in_pairs,
                         const DenseVector<float>* in_weights, DenseVector<float>* io_v)
{
    if (in_count <= 0) {
        return;
    }
    const std::vector<int> roots = rootsOf(in_count, in_pairs);
    const auto component = [&](int in_id) {
        return in_id >= 0 && in_id < in_count ? roots[in_id] : -1;
    };
    using ThreadSums = tbb::enumerable_thread_specific<std::vector<Sums>>;
    ThreadSums thread_sums{std::vector<Sums>(in_count)};
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(io_v->numTiles(depth), [&](int in_tile) {
            std::vector<Sums>& sums = thread_sums.local();
            const int* const ids = in_ids->tileData(in_tile, depth);
            const float* const v = io_v->tileData(in_tile, depth);
            const float* const weights =
                in_weights == nullptr ? nullptr : in_weights->tileData(in_tile, depth);
            for (int n = 0; n < io_v->tileDataSize(in_tile, depth); ++n) {
                if (const int root = component(ids[n]); root >= 0) {
                    const double weight = weights == nullptr ? 1.0 : double(weights[n]);
                    sums[root].values += weight * double(v[n]);
                    sums[root].weights += weight;
                }
            }
        });
    }
    std::vector<double> means(in_count);
    for (int id = 0; id < in_count; ++id) {
        Sums total;
        for (const std::vector<Sums>& sums : thread_sums) {
            total.values += sums[id].values;
            total.weights += sums[id].weights;
        }
        means[id] = total.weights == 0.0 ? 0.0 : total.values / total.weights;
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(io_v->numTiles(depth), [&](int in_tile) {
            const int* const ids = in_ids->tileData(in_tile, depth);
            float* const v = io_v->tileData(in_tile, depth);
            for (int n = 0; n < io_v->tileDataSize(in_tile, depth); ++n) {
                if (const int root = component(ids[n]); root >= 0) {
                    v[n] = static_cast<float>(double(v[n]) - means[root]);
                }
            }
        });
    }
}

}  // namespace Skelvar
