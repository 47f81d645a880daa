#include <skelvar/numerics/TilePreconditioner.h>

#include <skelvar/numerics/StencilPatterns.h>
#include <skelvar/numerics/TileLoop.h>

#include <algorithm>
#include <cmath>
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

/// For each cell of a tile the parity of its place in the list of rows, or `kNoRow`.
constexpr signed char kNoRow = -1;
struct RowParities {
    signed char of[kTileSize];

    explicit RowParities(const SparseMatrixTile<float>& in_block)
    {
        std::fill_n(of, kTileSize, kNoRow);
        for (int row = 0; row < in_block.numRows(); ++row) {
            of[in_block.rowIds()[row]] = static_cast<signed char>(row % 2);
        }
    }
};

/// The order in which to relax the cells of one parity. Those that couple, which are neighbours
/// along y or z, keep their order: neighbours along x differ in parity. Neighbours stand far apart,
/// so that the processor need not wait for one to do the next.
std::vector<CellStep> stepsInFronts()
{
    std::vector<CellStep> steps;
    for (int front = 0; front <= 2 * (kTileWidth - 1); ++front) {
        for (int x_parity = 0; x_parity < 2; ++x_parity) {
            for (int cell = 0; cell < kTileSize; ++cell) {
                const int x = cell % kTileWidth;
                if (cell / kAxisStep[1] % kTileWidth + cell / kAxisStep[2] == front &&
                    x % 2 == x_parity) {
                    steps.push_back({short(cell), short(rimPlace(cell))});
                }
            }
        }
    }
    return steps;
}

/// Packs up to eight blocks, each a part of the core, side by side.
CellLanes packCells(const SparseMatrixTile<float>* const* in_blocks, int in_count)
{
    static const std::vector<CellStep> s_steps = stepsInFronts();
    std::vector<RowParities> parities;
    parities.reserve(static_cast<std::size_t>(in_count));
    for (int lane = 0; lane < in_count; ++lane) {
        parities.emplace_back(*in_blocks[lane]);
    }
    CellLanes packed;
    for (const CellStep& step : s_steps) {
        for (int parity = 0; parity < 2; ++parity) {
            LaneMasks mask{};
            bool any = false;
            for (int lane = 0; lane < in_count; ++lane) {
                const bool is_row = parities[lane].of[step.cell] == parity;
                mask.lane[lane] = is_row ? -1 : 0;
                any = any || is_row;
            }
            if (any) {
                packed.steps[parity].push_back(step);
                packed.masks[parity].push_back(mask);
            }
        }
    }
    return packed;
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

TilePreconditioner::TilePreconditioner(const SparseMatrix<float>& in_A,
                                       const SweepKernels& in_kernels)
    : m_kernels(in_kernels)
{
    for (const CellStep& step : stepsInFronts()) {
        m_all_cells.steps[step.cell % 2].push_back(step);
    }
    for (int depth = 0; depth < kNumDepths; ++depth) {
        sortTiles(in_A, depth);
        std::vector<Group>& parts = m_groups[depth][eUniformParts];
        forTiles(static_cast<int>(parts.size()), [&](int in_n) {
            parts[in_n].cells = packCells(parts[in_n].blocks, parts[in_n].count);
        });
        std::vector<Group>& others = m_groups[depth][eAny];
        forTiles(static_cast<int>(others.size()), [&](int in_n) {
            RowPacker(others[in_n].blocks, others[in_n].count, others[in_n].rows);
        });
    }
}

TilePreconditioner::Kind TilePreconditioner::kindOf(const SparseMatrixTile<float>& in_block)
{
    const SparseMatrixUniformValues<float>* const uniform = in_block.uniformValues();
    const bool is_uniform =
        uniform != nullptr && uniform->diagonal > 0.0f && std::isfinite(uniform->other);
    switch (in_block.stencil()) {
        case SparseMatrixStencil::eCore:
            return is_uniform ? eUniformCores : eCores;
        case SparseMatrixStencil::ePartOfCore:
            return is_uniform ? eUniformParts : eAny;
        default:
            return eAny;
    }
}

void TilePreconditioner::sortTiles(const SparseMatrix<float>& in_A, int in_depth)
{
    std::vector<int> tiles[eNumKinds];
    for (int tile = 0; tile < in_A.numTiles(in_depth); ++tile) {
        const SparseMatrixTile<float>* const block = in_A.diagonalBlock(tile, in_depth);
        if (block != nullptr && block->numRows() > 0) {
            tiles[kindOf(*block)].push_back(tile);
        }
    }
    for (const Kind kind : {eUniformParts, eAny}) {
        // Blocks of like size side by side: eight take as long as the longest of them.
        std::stable_sort(tiles[kind].begin(), tiles[kind].end(), [&](int in_a, int in_b) {
            return in_A.diagonalBlock(in_a, in_depth)->numRows() <
                   in_A.diagonalBlock(in_b, in_depth)->numRows();
        });
    }
    for (int kind = 0; kind < eNumKinds; ++kind) {
        m_groups[in_depth][kind] = groupsOf(tiles[kind], in_depth, in_A);
    }
}

std::vector<TilePreconditioner::Group> TilePreconditioner::groupsOf(
    const std::vector<int>& in_tiles, int in_depth, const SparseMatrix<float>& in_A)
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

double TilePreconditioner::preconditionUniform(const Group& in_group, Kind in_kind, int in_depth,
                                               const DenseVector<float>& in_r,
                                               DenseVector<float>& out_z) const
{
    const bool is_part = in_kind == eUniformParts;
    alignas(32) float parts[kLanes][kTileSize + 3];
    float short_r[kLanes][kTileSize];
    const float* r[kLanes];
    float* z[kLanes];
    UniformSweep sweep;
    for (int lane = 0; lane < kLanes; ++lane) {
        // Lanes without a tile do the first one's over.
        const int used = lane < in_group.count ? lane : 0;
        const auto& values = *in_group.blocks[used]->uniformValues();
        sweep.diagonals.lane[lane] = values.diagonal;
        sweep.others.lane[lane] = values.other;
        r[lane] = in_r.tileData(in_group.tiles[used], in_depth);
        const int size = in_r.tileDataSize(in_group.tiles[used], in_depth);
        if (size < kTileSize) {  // a part of the core need not reach the tile's last cell
            std::fill(std::copy_n(r[lane], size, short_r[lane]), short_r[lane] + kTileSize, 0.0f);
            r[lane] = short_r[lane];
        }
        z[lane] =
            is_part || used != lane ? parts[lane] : out_z.tileData(in_group.tiles[used], in_depth);
    }
    const CellLanes& cells = is_part ? in_group.cells : m_all_cells;
    for (int parity = 0; parity < 2; ++parity) {
        sweep.passes[parity] = {static_cast<int>(cells.steps[parity].size()),
                                cells.steps[parity].data(), cells.masks[parity].data()};
    }
    double dots[kLanes];
    m_kernels.uniform(sweep, r, z, dots);
    for (int lane = 0; is_part && lane < in_group.count; ++lane) {
        const SparseMatrixTile<float>& block = *in_group.blocks[lane];
        float* const tile_z = out_z.tileData(in_group.tiles[lane], in_depth);
        for (int row = 0; row < block.numRows(); ++row) {
            tile_z[block.rowIds()[row]] = parts[lane][block.rowIds()[row]];
        }
    }
    return addUp(dots, in_group.count);
}

double TilePreconditioner::preconditionCores(const Group& in_group, int in_depth,
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
    m_kernels.core(values, r, z, dots);
    return addUp(dots, in_group.count);
}

double TilePreconditioner::preconditionRows(const Group& in_group, int in_depth,
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

double TilePreconditioner::preconditionAndDot(const DenseVector<float>& in_r,
                                              DenseVector<float>& out_z) const
{
    double sum = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const auto& groups = m_groups[depth];
        for (const Kind kind : {eUniformCores, eUniformParts}) {
            sum += sumOver<NoWork>(groups[kind].size(), [&](int in_n, NoWork&) {
                return preconditionUniform(groups[kind][in_n], kind, depth, in_r, out_z);
            });
        }
        sum += sumOver<NoWork>(groups[eCores].size(), [&](int in_n, NoWork&) {
            return preconditionCores(groups[eCores][in_n], depth, in_r, out_z);
        });
        using Work = std::vector<LaneFloats>;
        sum += sumOver<Work>(groups[eAny].size(), [&](int in_n, Work& io_work) {
            return preconditionRows(groups[eAny][in_n], depth, in_r, io_work, out_z);
        });
    }
    return sum;
}

}  // namespace Skelvar::Detail
