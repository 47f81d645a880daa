#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tests/support/LayoutBuilder.h>
#include <tests/support/Random.h>

#include <cmath>
#include <vector>

namespace Skelvar::Testing {

using Dense = std::vector<std::vector<double>>;

/// Numbers the cells of a layout through: tiles by depth and place, 125 cells each.
class CellNumbers {
public:
    explicit CellNumbers(const VoxelLayout& in_layout)
    {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            m_firsts[depth] = m_total;
            m_total += in_layout.numNodes(depth) * kTileSize;
        }
    }
    int total() const { return m_total; }
    int of(int in_depth, int in_tile, int in_cell) const
    {
        return m_firsts[in_depth] + in_tile * kTileSize + in_cell;
    }

private:
    int m_firsts[kNumDepths];
    int m_total = 0;
};

inline Dense toDense(const SparseMatrix<float>& in_A)
{
    const CellNumbers numbers(*in_A.layout());
    Dense dense(numbers.total(), std::vector<double>(numbers.total()));
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            for (const SparseMatrixTile<float>& block : in_A.blocks(tile, depth)) {
                for (int row = 0; row < block.numRows(); ++row) {
                    for (unsigned n = block.rowStarts()[row]; n < block.rowStarts()[row + 1]; ++n) {
                        dense[numbers.of(depth, tile, block.rowIds()[row])]
                             [numbers.of(block.depth(), block.tileIndex(), block.columnIds()[n])] +=
                            block.values()[n];
                    }
                }
            }
        }
    }
    return dense;
}

template <typename T>
std::vector<double> toDense(const DenseVector<T>& in_v)
{
    std::vector<double> dense;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_v.numTiles(depth); ++tile) {
            const T* const values = in_v.tileData(tile, depth);
            dense.insert(dense.end(), values, values + in_v.tileDataSize(tile, depth));
        }
    }
    return dense;
}

/// Sets every value of every tile to `in_value(depth, tile, position)`.
template <typename T, typename Value>
void fillVector(DenseVector<T>& io_v, const Value& in_value)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < io_v.numTiles(depth); ++tile) {
            for (int n = 0; n < io_v.tileDataSize(tile, depth); ++n) {
                io_v.tileData(tile, depth)[n] = static_cast<T>(in_value(depth, tile, n));
            }
        }
    }
}

/// A matrix of one block, that of the first tile of the finest depth with itself, of what
/// `in_gather` adds to it.
template <typename Gather>
SparseMatrix<float> oneBlock(const VoxelLayout& in_layout, const Gather& in_gather)
{
    SparseMatrix<float> A(in_layout);
    DynamicSparseMatrixRow<float> row;
    in_gather(row[TileIdentifier{in_layout.node(0, kMaxTileDepth).id(), 0, kMaxTileDepth}]);
    A.setBlocks(0, kMaxTileDepth, row);
    return A;
}

/// A few tiles of depths 5 to 7.
inline std::shared_ptr<VoxelLayout> randomLayout(Random& io_random)
{
    Skelvar::Test::LayoutBuilder builder;
    const int tiles = io_random.integer(1, 3);
    for (int n = 0; n < tiles; ++n) {
        builder.tile({io_random.integer(0, 30), io_random.integer(0, 10), io_random.integer(0, 10)},
                     io_random.integer(5, 7));
    }
    return builder.build();
}

/// Blocks of small whole numbers, exact in every order of summing: gathered in random order with
/// duplicates, some of them empty.
inline SparseMatrix<float> randomMatrix(const VoxelLayout& in_layout, Random& io_random,
                                        Dense* out_dense = nullptr)
{
    const CellNumbers numbers(in_layout);
    if (out_dense != nullptr) {
        out_dense->assign(numbers.total(), std::vector<double>(numbers.total()));
    }
    SparseMatrix<float> A(in_layout);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < A.numTiles(depth); ++tile) {
            minimalist_array<SparseMatrixTile<float>> blocks(io_random.integer(0, 3));
            for (SparseMatrixTile<float>& block : blocks) {
                int column_depth = io_random.integer(5, 7);
                while (in_layout.numNodes(column_depth) == 0) {
                    column_depth = column_depth == 7 ? 0 : column_depth + 1;
                }
                const int column_tile = io_random.integer(0, in_layout.numNodes(column_depth) - 1);
                DynamicSparseMatrixTile<float> gathered;
                const int entries = io_random.integer(0, 3) == 0 ? 0 : io_random.integer(1, 300);
                for (int n = 0; n < entries; ++n) {
                    const int row = io_random.integer(0, 124);
                    const int column = io_random.integer(0, io_random.integer(0, 124));
                    const int value = io_random.integer(-5, 5);
                    gathered.add(row, column, float(value));
                    if (out_dense != nullptr) {
                        (*out_dense)[numbers.of(depth, tile, row)]
                                    [numbers.of(column_depth, column_tile, column)] += value;
                    }
                }
                gathered.convert(in_layout.node(column_tile, column_depth).id(), column_tile,
                                 column_depth, &block);
            }
            A.blocks(tile, depth) = std::move(blocks);
        }
    }
    return A;
}

inline std::vector<double> multiply(const Dense& in_a, const std::vector<double>& in_x)
{
    std::vector<double> y(in_a.size());
    for (std::size_t i = 0; i < in_a.size(); ++i) {
        for (std::size_t j = 0; j < in_x.size(); ++j) {
            y[i] += in_a[i][j] * in_x[j];
        }
    }
    return y;
}

/// The product of two square matrices.
inline Dense multiply(const Dense& in_a, const Dense& in_b)
{
    Dense c(in_a.size(), std::vector<double>(in_a.size()));
    for (std::size_t i = 0; i < in_a.size(); ++i) {
        for (std::size_t k = 0; k < in_a.size(); ++k) {
            for (std::size_t j = 0; in_a[i][k] != 0 && j < in_a.size(); ++j) {
                c[i][j] += in_a[i][k] * in_b[k][j];
            }
        }
    }
    return c;
}

inline Dense transpose(const Dense& in_a)
{
    Dense t(in_a.size(), std::vector<double>(in_a.size()));
    for (std::size_t i = 0; i < in_a.size(); ++i) {
        for (std::size_t j = 0; j < in_a.size(); ++j) {
            t[j][i] = in_a[i][j];
        }
    }
    return t;
}

}  // namespace Skelvar::Testing
