#include <skelvar/numerics/SparseMatrixOperations.h>

#include <algorithm>
#include <ostream>
#include <utility>
#include <vector>

namespace Skelvar {

namespace {

/// Sizes of tiles by their keys, depth and place, and the first positions that follow from them.
class BlockMap {
public:
    using Key = std::pair<int, int>;

    void add(int in_depth, int in_tile, int in_size)
    {
        m_tiles.push_back({{in_depth, in_tile}, in_size});
    }
    /// Sorts, merges equal keys to the largest size and sums up. Nothing may be added after it.
    void finish()
    {
        std::sort(m_tiles.begin(), m_tiles.end());
        std::size_t count = 0;
        for (const auto& tile : m_tiles) {
            if (count > 0 && m_tiles[count - 1].first == tile.first) {
                m_tiles[count - 1].second = tile.second;
            } else {
                m_tiles[count++] = tile;
            }
        }
        m_tiles.resize(count);
        for (auto& [key, size] : m_tiles) {
            m_total += std::exchange(size, m_total);
        }
    }

    int total() const { return m_total; }
    /// First position of a tile that was added.
    int first(int in_depth, int in_tile) const
    {
        const std::pair<Key, int> least{{in_depth, in_tile}, 0};
        return std::lower_bound(m_tiles.begin(), m_tiles.end(), least)->second;
    }
    void write(std::ostream& out_stream) const
    {
        out_stream << "[1";
        for (const auto& tile : m_tiles) {
            out_stream << "," << tile.second + 1;
        }
        out_stream << "];";
    }

private:
    std::vector<std::pair<Key, int>> m_tiles;  ///< sizes, after `finish` first positions
    int m_total = 0;
};

template <typename T>
BlockMap mapOf(const DenseVector<T>& in_v)
{
    BlockMap map;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_v.numTiles(depth); ++tile) {
            map.add(depth, tile, in_v.tileDataSize(tile, depth));
        }
    }
    map.finish();
    return map;
}

/// Calls `in_body(depth, tile, block)` for every block.
template <typename Body>
void forBlocks(const SparseMatrix<float>& in_A, const Body& in_body)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            for (const SparseMatrixTile<float>& block : in_A.blocks(tile, depth)) {
                in_body(depth, tile, block);
            }
        }
    }
}

/// Writes `in_number(block, row, entry, row map's first, column map's first)` for every entry.
template <typename Number>
void writeEntries(std::ostream& out_stream, const SparseMatrix<float>& in_A,
                  const BlockMap& in_rows, const BlockMap& in_columns, const Number& in_number)
{
    const char* separator = "";
    forBlocks(in_A, [&](int in_depth, int in_tile, const SparseMatrixTile<float>& in_block) {
        if (in_block.numEntries() == 0) {
            return;
        }
        const int row_first = in_rows.first(in_depth, in_tile);
        const int column_first = in_columns.first(in_block.depth(), in_block.tileIndex());
        for (int row = 0; row < in_block.numRows(); ++row) {
            for (unsigned int n = in_block.rowStarts()[row]; n < in_block.rowStarts()[row + 1];
                 ++n) {
                out_stream << separator;
                out_stream << in_number(row_first + in_block.rowIds()[row],
                                        column_first + in_block.columnIds()[n],
                                        in_block.values()[n]);
                separator = ",";
            }
        }
    });
}

void dump(std::ostream& out_stream, const char* in_name, const SparseMatrix<float>& in_A,
          const BlockMap& in_rows, const BlockMap& in_columns)
{
    const auto write = [&](const auto& in_number) {
        writeEntries(out_stream, in_A, in_rows, in_columns, in_number);
    };
    out_stream << in_name << "=sparse([";
    write([](int in_row, int, float) { return in_row + 1; });
    out_stream << "],\n[";
    write([](int, int in_column, float) { return in_column + 1; });
    out_stream << "],\n[";
    write([](int, int, float in_value) { return in_value; });
    out_stream << "],\n" << in_rows.total() << "," << in_columns.total() << ");\n";
    out_stream << in_name << "_rowMap=";
    in_rows.write(out_stream);
    out_stream << "\n" << in_name << "_colMap=";
    in_columns.write(out_stream);
    out_stream << "\n";
}

}  // namespace

void matrixDump(std::ostream& out_stream, const char* in_name, const SparseMatrix<float>& in_A,
                bool in_all_tiles)
{
    BlockMap rows;
    BlockMap columns;
    forBlocks(in_A, [&](int in_depth, int in_tile, const SparseMatrixTile<float>& in_block) {
        if (in_block.numEntries() == 0) {
            return;
        }
        const unsigned short* const ids = in_block.columnIds();
        rows.add(in_depth, in_tile, in_block.rowIds()[in_block.numRows() - 1] + 1);
        columns.add(in_block.depth(), in_block.tileIndex(),
                    *std::max_element(ids, ids + in_block.numEntries()) + 1);
    });
    if (in_all_tiles) {
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
                rows.add(depth, tile, kTileSize);
                columns.add(depth, tile, kTileSize);
            }
        }
    }
    rows.finish();
    columns.finish();
    dump(out_stream, in_name, in_A, rows, columns);
}

void matrixDump(std::ostream& out_stream, const char* in_name, const SparseMatrix<float>& in_A,
                const DenseVector<float>& in_rows, const DenseVector<float>& in_columns)
{
    dump(out_stream, in_name, in_A, mapOf(in_rows), mapOf(in_columns));
}

template <typename T>
void vectorDump(std::ostream& out_stream, const char* in_name, const DenseVector<T>& in_v)
{
    const char* separator = "";
    out_stream << in_name << "=[";
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_v.numTiles(depth); ++tile) {
            const T* const values = in_v.tileData(tile, depth);
            for (int n = 0; n < in_v.tileDataSize(tile, depth); ++n) {
                out_stream << separator << +values[n];  // a small integer as a number
                separator = ";";
            }
        }
    }
    out_stream << "];" << in_name << "_map=";
    mapOf(in_v).write(out_stream);
}

template void vectorDump(std::ostream&, const char*, const DenseVector<float>&);
template void vectorDump(std::ostream&, const char*, const DenseVector<int>&);
template void vectorDump(std::ostream&, const char*, const DenseVector<unsigned char>&);

}  // namespace Skelvar
