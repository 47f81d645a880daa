#include <skelvar/numerics/PreparedMatrix.h>

#include <skelvar/numerics/MultiplyBlocks.h>
#include <skelvar/numerics/SumInLanes.h>
#include <skelvar/numerics/TileLoop.h>

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace Skelvar::Detail {

namespace {

/// Adds up `in_body(n, work)` for n below a count, in parallel. Each range has a `Work` of its own.
template <typename Work, typename Body>
double sumOver(std::size_t in_count, const Body& in_body)
{
    return sumOverTiles<double>(static_cast<int>(in_count), [&](int in_begin, int in_end) {
        Work work;
        double sum = 0.0;
        for (int n = in_begin; n < in_end; ++n) {
            sum += in_body(n, work);
        }
        return sum;
    });
}

struct NoWork {};

/// Packs the rows of up to eight blocks side by side.
class RowPacker {
public:
    RowPacker(const SparseMatrixTile<float>* const* in_blocks, int in_count, RowLanes& out_rows)
        : m_blocks(in_blocks), m_count(in_count), m_out(out_rows)
    {
        int num_rows = 0;
        for (int lane = 0; lane < in_count; ++lane) {
            num_rows = std::max(num_rows, in_blocks[lane]->numRows());
        }
        out_rows.rows.assign(num_rows, SweepRow{});
        for (int row = 0; row < num_rows; ++row) {
            addFarEntries(row, false);
            addFarEntries(row, true);
        }
        out_rows.starts.push_back(static_cast<int>(out_rows.values.size()));
    }

private:
    /// The entries of a row, in each lane, that are not its neighbours in the list: those of
    /// columns before it or after it. The others go to the row itself.
    void addFarEntries(int in_row, bool in_after)
    {
        const std::size_t start = m_out.values.size();
        m_out.starts.push_back(static_cast<int>(start));
        for (int lane = 0; lane < m_count; ++lane) {
            const SparseMatrixTile<float>& block = *m_blocks[lane];
            if (in_row >= block.numRows()) {
                continue;
            }
            std::size_t next = start;
            for (unsigned n = block.rowStarts()[in_row]; n < block.rowStarts()[in_row + 1]; ++n) {
                const int column = block.columnIds()[n];
                const int other = rowAt(block, column);
                if (other >= 0 && std::abs(other - in_row) <= 1) {
                    addNear(m_out.rows[in_row], lane, other - in_row, block.values()[n]);
                } else if ((column > block.rowIds()[in_row]) == in_after) {
                    addFar(next++, lane, other, block.values()[n]);
                }
            }
        }
    }

    /// The place of a position in a block's list of rows; -1 if it is not there.
    static int rowAt(const SparseMatrixTile<float>& in_block, int in_position)
    {
        const unsigned short* const begin = in_block.rowIds();
        const unsigned short* const end = begin + in_block.numRows();
        const unsigned short* const found = std::lower_bound(begin, end, in_position);
        return found == end || *found != in_position ? -1 : static_cast<int>(found - begin);
    }

    /// The offset of a row's z in a lane; of row -1 that of a zero.
    static int offset(int in_row, int in_lane) { return (in_row + 1) * kLanes + in_lane; }

    static void addNear(SweepRow& io_row, int in_lane, int in_step, float in_value)
    {
        if (in_step == 0) {
            io_row.diagonal.lane[in_lane] = in_value;
        } else if (in_step < 0) {
            io_row.before.lane[in_lane] = in_value;
            io_row.has_before.lane[in_lane] = -1;
        } else {
            io_row.after.lane[in_lane] = in_value;
            io_row.has_after.lane[in_lane] = -1;
        }
    }

    void addFar(std::size_t in_place, int in_lane, int in_other, float in_value)
    {
        if (in_place == m_out.values.size()) {
            // 0 times 0 changes nothing, not even the sign of a zero, when it is subtracted.
            m_out.values.push_back(LaneFloats{});
            LaneOffsets& offsets = m_out.offsets.emplace_back();
            for (int lane = 0; lane < kLanes; ++lane) {
                offsets.lane[lane] = offset(-1, lane);
            }
        }
        m_out.values[in_place].lane[in_lane] = in_value;
        m_out.offsets[in_place].lane[in_lane] = offset(in_other, in_lane);
    }

    const SparseMatrixTile<float>* const* m_blocks;
    int m_count;
    RowLanes& m_out;
};

/// Bit for bit: NaN equals itself, and the two zeros differ.
bool haveSameBits(const float* in_a, const float* in_b, int in_count)
{
    return std::equal(in_a, in_a + in_count, in_b, [](float in_left, float in_right) {
        return std::bit_cast<int>(in_left) == std::bit_cast<int>(in_right);
    });
}

double addUp(const double* in_dots, int in_count)
{
    double sum = 0.0;
    for (int lane = 0; lane < in_count; ++lane) {
        sum += in_dots[lane];
    }
    return sum;
}

}  // namespace

PreparedMatrix::PreparedMatrix(const SparseMatrix<float>& in_A, const SweepKernels& in_kernels)
    : m_A(in_A), m_kernels(in_kernels)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        sortTiles(depth);
        std::vector<Group>& others = m_depths[depth].others;
        forTiles(static_cast<int>(others.size()), [&](int in_n) {
            RowPacker(others[in_n].blocks, others[in_n].count, others[in_n].rows);
        });
    }
}

void PreparedMatrix::sortTiles(int in_depth)
{
    Depth& sorted = m_depths[in_depth];
    std::vector<int> same_cores;
    std::vector<int> cores;
    std::vector<int> others;
    const float* values = nullptr;
    for (int tile = 0; tile < m_A.numTiles(in_depth); ++tile) {
        const SparseMatrixTile<float>* const block = m_A.diagonalBlock(tile, in_depth);
        const bool is_core = block != nullptr && block->stencil() == SparseMatrixStencil::eCore;
        if (is_core && values == nullptr) {
            values = block->values();
        }
        if (is_core && haveSameBits(values, block->values(), kCoreEntries)) {
            same_cores.push_back(tile);
            continue;
        }
        sorted.other_products.push_back(tile);
        if (is_core) {
            cores.push_back(tile);
        } else if (block != nullptr && block->numRows() > 0) {
            others.push_back(tile);
        }
    }
    // Blocks of like size side by side: eight take as long as the longest of them.
    std::stable_sort(others.begin(), others.end(), [&](int in_a, int in_b) {
        return m_A.diagonalBlock(in_a, in_depth)->numRows() <
               m_A.diagonalBlock(in_b, in_depth)->numRows();
    });
    sorted.same_cores = groupsOf(same_cores, in_depth, m_A);
    sorted.cores = groupsOf(cores, in_depth, m_A);
    sorted.others = groupsOf(others, in_depth, m_A);
}

std::vector<PreparedMatrix::Group> PreparedMatrix::groupsOf(const std::vector<int>& in_tiles,
                                                            int in_depth,
                                                            const SparseMatrix<float>& in_A)
{
    const int tiles = static_cast<int>(in_tiles.size());
    std::vector<Group> groups((tiles + kLanes - 1) / kLanes);
    for (int n = 0; n < tiles; ++n) {
        Group& group = groups[n / kLanes];
        group.tiles[n % kLanes] = in_tiles[n];
        group.blocks[n % kLanes] = in_A.diagonalBlock(in_tiles[n], in_depth);
        group.count = n % kLanes + 1;
    }
    return groups;
}

double PreparedMatrix::preconditionCores(const Group& in_group, bool in_same, int in_depth,
                                         const DenseVector<float>& in_r,
                                         DenseVector<float>& out_z) const
{
    // Lanes without a tile do the first one's over.
    alignas(32) float unused[kTileSize];
    const float* values[kLanes];
    const float* r[kLanes];
    float* z[kLanes];
    for (int lane = 0; lane < kLanes; ++lane) {
        const int used = lane < in_group.count ? lane : 0;
        values[lane] = in_group.blocks[used]->values();
        r[lane] = in_r.tileData(in_group.tiles[used], in_depth);
        z[lane] = used == lane ? out_z.tileData(in_group.tiles[used], in_depth) : unused;
    }
    double dots[kLanes];
    if (in_same) {
        m_kernels.same_core(values[0], r, z, dots);
    } else {
        m_kernels.core(values, r, z, dots);
    }
    return addUp(dots, in_group.count);
}

double PreparedMatrix::preconditionRows(const Group& in_group, int in_depth,
                                        const DenseVector<float>& in_r,
                                        std::vector<LaneFloats>& io_work,
                                        DenseVector<float>& out_z) const
{
    const RowLanes& rows = in_group.rows;
    const int num_rows = static_cast<int>(rows.rows.size());
    io_work.assign(2 * num_rows + 2, LaneFloats{});
    LaneFloats* const r = io_work.data();
    LaneFloats* const z = r + num_rows;
    for (int lane = 0; lane < in_group.count; ++lane) {
        const SparseMatrixTile<float>& block = *in_group.blocks[lane];
        const float* const tile_r = in_r.tileData(in_group.tiles[lane], in_depth);
        for (int row = 0; row < block.numRows(); ++row) {
            r[row].lane[lane] = tile_r[block.rowIds()[row]];
        }
    }
    m_kernels.rows({num_rows, rows.starts.data(), rows.values.data(), rows.offsets.data(),
                    rows.rows.data(), r, z});
    double sum = 0.0;
    for (int lane = 0; lane < in_group.count; ++lane) {
        const SparseMatrixTile<float>& block = *in_group.blocks[lane];
        float* const tile_z = out_z.tileData(in_group.tiles[lane], in_depth);
        for (int row = 0; row < block.numRows(); ++row) {
            const float value = z[row + 1].lane[lane];
            tile_z[block.rowIds()[row]] = value;
            sum += double(value) * double(r[row].lane[lane]);
        }
    }
    return sum;
}

double PreparedMatrix::multiplyCores(const Group& in_group, int in_depth,
                                     const DenseVector<float>& in_s,
                                     DenseVector<float>& out_q) const
{
    alignas(32) float cores[kLanes][kTileSize + 3];
    const float* s[kLanes];
    float* products[kLanes];
    for (int lane = 0; lane < kLanes; ++lane) {
        s[lane] = in_s.tileData(in_group.tiles[lane < in_group.count ? lane : 0], in_depth);
        products[lane] = cores[lane];
    }
    m_kernels.multiply_same_core(in_group.blocks[0]->values(), s, products);
    double sum = 0.0;
    for (int lane = 0; lane < in_group.count; ++lane) {
        sum += multiplyTile(in_group.tiles[lane], in_depth, cores[lane], in_s, out_q);
    }
    return sum;
}

double PreparedMatrix::multiplyTile(int in_tile, int in_depth, const float* in_core,
                                    const DenseVector<float>& in_s, DenseVector<float>& out_q) const
{
    float* const q = out_q.tileData(in_tile, in_depth);
    const float* const s = in_s.tileData(in_tile, in_depth);
    const int size = out_q.tileDataSize(in_tile, in_depth);
    std::fill_n(q, size, 0.0f);
    for (const SparseMatrixTile<float>& block : m_A.blocks(in_tile, in_depth)) {
        if (in_core != nullptr && block.stencil() == SparseMatrixStencil::eCore &&
            block.tileIndex() == in_tile && block.depth() == in_depth) {
            for (int n = 0; n < kTileSize; ++n) {
                q[n] += in_core[n];
            }
        } else {
            addBlockProduct<double>(block, in_s, q);
        }
    }
    return sumInLanes<double>(size, [&](int in_n) { return double(q[in_n]) * double(s[in_n]); });
}

void PreparedMatrix::prefetch(const Group& in_group, const Group& in_next, int in_depth) const
{
    for (int lane = 0; lane < in_group.count; ++lane) {
        prefetchBlocks(m_A.blocks(in_group.tiles[lane], in_depth));
    }
    for (int lane = 0; lane < in_next.count; ++lane) {
        prefetchList(m_A.blocks(in_next.tiles[lane], in_depth));
    }
}

double PreparedMatrix::preconditionAndDot(const DenseVector<float>& in_r,
                                          DenseVector<float>& out_z) const
{
    double sum = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const Depth& d = m_depths[depth];
        sum += sumOver<NoWork>(d.same_cores.size(), [&](int in_n, NoWork&) {
            return preconditionCores(d.same_cores[in_n], true, depth, in_r, out_z);
        });
        sum += sumOver<NoWork>(d.cores.size(), [&](int in_n, NoWork&) {
            return preconditionCores(d.cores[in_n], false, depth, in_r, out_z);
        });
        using Work = std::vector<LaneFloats>;
        sum += sumOver<Work>(d.others.size(), [&](int in_n, Work& io_work) {
            return preconditionRows(d.others[in_n], depth, in_r, io_work, out_z);
        });
    }
    return sum;
}

double PreparedMatrix::multiplyAndDot(const DenseVector<float>& in_s,
                                      DenseVector<float>& out_q) const
{
    double sum = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const std::vector<Group>& groups = m_depths[depth].same_cores;
        sum += sumOver<NoWork>(groups.size(), [&](int in_n, NoWork&) {
            prefetch(groups[in_n], groups[std::min<std::size_t>(in_n + 1, groups.size() - 1)],
                     depth);
            return multiplyCores(groups[in_n], depth, in_s, out_q);
        });
        const std::vector<int>& tiles = m_depths[depth].other_products;
        sum += sumOver<NoWork>(tiles.size(), [&](int in_n, NoWork&) {
            const auto ahead = [&](std::size_t in_step) -> const SparseMatrix<float>::Blocks& {
                return m_A.blocks(tiles[std::min(in_n + in_step, tiles.size() - 1)], depth);
            };
            prefetchBlocks(ahead(1));
            prefetchList(ahead(2));
            return multiplyTile(tiles[in_n], depth, nullptr, in_s, out_q);
        });
    }
    return sum;
}

}  // namespace Skelvar::Detail
