#include <skelvar/numerics/SparseMatrixOperations.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/numerics/MultiplyBlocks.h>
#include <skelvar/numerics/TileLoop.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <tuple>
#include <vector>

namespace Skelvar {

namespace {

/// Adds the products of the entries of two blocks, whose inner tile is the same.
void addProducts(const SparseMatrixTile<float>& in_a, const SparseMatrixTile<float>& in_b,
                 DynamicSparseMatrixTile<float>& io_product)
{
    const SparseMatrixPattern a = in_a.pattern();
    const SparseMatrixPattern b = in_b.pattern();
    for (int row = 0; row < in_a.numRows(); ++row) {
        for (unsigned int n = a.row_starts[row]; n < a.row_starts[row + 1]; ++n) {
            const unsigned short* const end = b.row_ids + in_b.numRows();
            const unsigned short* const inner = std::lower_bound(b.row_ids, end, a.column_ids[n]);
            if (inner == end || *inner != a.column_ids[n]) {
                continue;
            }
            const long long inner_row = inner - b.row_ids;
            for (unsigned int m = b.row_starts[inner_row]; m < b.row_starts[inner_row + 1]; ++m) {
                io_product.add(a.row_ids[row], b.column_ids[m],
                               in_a.values()[n] * in_b.values()[m]);
            }
        }
    }
}

void addTransposed(const SparseMatrixTile<float>& in_block, DynamicSparseMatrixTile<float>& io_to)
{
    const SparseMatrixPattern pattern = in_block.pattern();
    for (int row = 0; row < in_block.numRows(); ++row) {
        for (unsigned int n = pattern.row_starts[row]; n < pattern.row_starts[row + 1]; ++n) {
            io_to.add(pattern.column_ids[n], pattern.row_ids[row], in_block.values()[n]);
        }
    }
}

/// Where a block of A stands: depth and place of the row tile, and the block's place there.
using BlockPlace = std::tuple<int, int, int>;

/// The blocks of A by their column tiles of one depth: those of tile t from `starts[t]` on, in
/// order of their places.
struct BlocksByColumn {
    std::vector<int> starts;
    std::vector<BlockPlace> places;
};

/// Calls `in_body(block, place)` for the blocks of A in a depth of columns, in parallel by row
/// tile.
template <typename Body>
void forBlocksOfColumnDepth(const SparseMatrix<float>& in_A, int in_column_depth,
                            const Body& in_body)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(in_A.numTiles(depth), [&](int in_tile) {
            const SparseMatrix<float>::Blocks& blocks = in_A.blocks(in_tile, depth);
            for (int n = 0; n < blocks.size(); ++n) {
                if (blocks[n].depth() == in_column_depth) {
                    in_body(blocks[n], BlockPlace(depth, in_tile, n));
                }
            }
        });
    }
}

BlocksByColumn groupByColumn(const SparseMatrix<float>& in_A, int in_column_depth)
{
    const int tiles = in_A.numTiles(in_column_depth);
    std::vector<std::atomic<int>> next(tiles);
    forBlocksOfColumnDepth(in_A, in_column_depth,
                           [&](const SparseMatrixTile<float>& in_block, const BlockPlace&) {
                               next[in_block.tileIndex()].fetch_add(1);
                           });
    BlocksByColumn groups;
    groups.starts.resize(tiles + 1);
    for (int tile = 0; tile < tiles; ++tile) {
        groups.starts[tile + 1] = groups.starts[tile] + next[tile];
        next[tile] = groups.starts[tile];
    }
    groups.places.resize(groups.starts[tiles]);
    forBlocksOfColumnDepth(
        in_A, in_column_depth,
        [&](const SparseMatrixTile<float>& in_block, const BlockPlace& in_place) {
            groups.places[next[in_block.tileIndex()].fetch_add(1)] = in_place;
        });
    Detail::forTiles(tiles, [&](int in_tile) {
        std::sort(groups.places.begin() + groups.starts[in_tile],
                  groups.places.begin() + groups.starts[in_tile + 1]);
    });
    return groups;
}

}  // namespace

void matrixVectorMultiply(const SparseMatrix<float>& in_A, const DenseVector<float>& in_x,
                          DenseVector<float>* out_y)
{
    const SkelvarProfiler::Scope scope("matrixVectorMultiply");
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(in_A.numTiles(depth), [&](int in_tile) {
            Detail::multiplyTile<float>(in_A, in_tile, depth, in_x, Detail::sweepKernels(), *out_y);
        });
    }
}

void matrixMatrixMultiply(const SparseMatrix<float>& in_A, const SparseMatrix<float>& in_B,
                          SparseMatrix<float>* out_C)
{
    const SkelvarProfiler::Scope scope("matrixMatrixMultiply");
    out_C->reset(in_A.layout());
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(in_A.numTiles(depth), [&](int in_tile) {
            DynamicSparseMatrixRow<float> row;
            for (const SparseMatrixTile<float>& a : in_A.blocks(in_tile, depth)) {
                if (a.tileIndex() >= in_B.numTiles(a.depth())) {
                    continue;  // an empty matrix may have no tiles
                }
                for (const SparseMatrixTile<float>& b : in_B.blocks(a.tileIndex(), a.depth())) {
                    addProducts(a, b, row[{b.tileId(), b.tileIndex(), b.depth()}]);
                }
            }
            out_C->setBlocks(in_tile, depth, row);
        });
    }
}

void transpose(const SparseMatrix<float>& in_A, SparseMatrix<float>* out_At)
{
    const SkelvarProfiler::Scope scope("transpose");
    out_At->reset(in_A.layout());
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const BlocksByColumn groups = groupByColumn(in_A, depth);
        Detail::forTiles(in_A.numTiles(depth), [&](int in_tile) {
            DynamicSparseMatrixRow<float> row;
            for (int n = groups.starts[in_tile]; n < groups.starts[in_tile + 1]; ++n) {
                const auto [source_depth, source_tile, block] = groups.places[n];
                const TileId id = in_A.layout()->node(source_tile, source_depth).id();
                addTransposed(in_A.blocks(source_tile, source_depth)[block],
                              row[{id, source_tile, source_depth}]);
            }
            out_At->setBlocks(in_tile, depth, row);
        });
    }
}

}  // namespace Skelvar
