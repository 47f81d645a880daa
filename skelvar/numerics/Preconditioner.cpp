#include <skelvar/numerics/SolvePCG.h>

#include <skelvar/numerics/SweepKernels.h>
#include <skelvar/numerics/TileLoop.h>

#include <algorithm>
#include <vector>

namespace Skelvar {

namespace {

using Detail::kLanes;
using Detail::LaneFloats;
using Detail::LaneOffsets;
using Detail::SweepKernels;

/// A tile's diagonal block with its r and z.
struct Work {
    const SparseMatrixTile<float>* block;
    const float* r;
    float* z;
};

/// Eight blocks of the 7-point stencil's pattern. Lanes without work do the first one's over.
double preconditionCores(const SweepKernels& in_kernels, const Work* in_work, int in_count)
{
    alignas(32) float unused[kTileSize];
    const float* values[kLanes];
    const float* r[kLanes];
    float* z[kLanes];
    double dots[kLanes];
    for (int lane = 0; lane < kLanes; ++lane) {
        const Work& work = in_work[lane < in_count ? lane : 0];
        values[lane] = work.block->values();
        r[lane] = work.r;
        z[lane] = lane < in_count ? work.z : unused;
    }
    in_kernels.core(values, r, z, dots);
    double sum = 0.0;
    for (int lane = 0; lane < in_count; ++lane) {
        sum += dots[lane];
    }
    return sum;
}

/// The arrays of `SweepRows`, kept from eight blocks to the next.
class RowLanes {
public:
    /// Up to eight blocks of any patterns. The sum of their dot products.
    double precondition(const SweepKernels& in_kernels, const Work* in_work, int in_count)
    {
        reset(in_work, in_count);
        for (int row = 0; row < m_num_rows; ++row) {
            addRow(in_work, in_count, row);
        }
        m_starts.push_back(static_cast<int>(m_values.size()));
        in_kernels.rows({m_num_rows, m_starts.data(), m_values.data(), m_columns.data(),
                         m_diagonals.data(), m_positions.data(), m_r.data(), m_z.data()});
        double sum = 0.0;
        for (int lane = 0; lane < in_count; ++lane) {
            sum += writeBack(in_work[lane], lane);
        }
        return sum;
    }

private:
    /// The offset of a position's z in a lane.
    static int offset(int in_position, int in_lane) { return in_position * kLanes + in_lane; }

    void reset(const Work* in_work, int in_count)
    {
        m_num_rows = 0;
        m_zero = 0;
        for (int lane = 0; lane < in_count; ++lane) {
            const SparseMatrixTile<float>& block = *in_work[lane].block;
            const int entries = block.numEntries();
            m_num_rows = std::max(m_num_rows, block.numRows());
            m_zero = std::max(m_zero, block.rowIds()[block.numRows() - 1] + 1);
            m_zero = std::max(
                m_zero, *std::max_element(block.columnIds(), block.columnIds() + entries) + 1);
        }
        m_starts.clear();
        m_values.clear();
        m_columns.clear();
        m_diagonals.assign(m_num_rows, LaneFloats{});
        m_positions.resize(m_num_rows);
        m_r.assign(m_num_rows, LaneFloats{});
        m_z.assign(m_zero + 1, LaneFloats{});
    }

    void addRow(const Work* in_work, int in_count, int in_row)
    {
        const std::size_t start = m_values.size();
        m_starts.push_back(static_cast<int>(start));
        for (int lane = 0; lane < kLanes; ++lane) {
            m_positions[in_row].lane[lane] = offset(m_zero, lane);
            if (lane < in_count && in_row < in_work[lane].block->numRows()) {
                addLane(in_work[lane], in_row, lane, start);
            }
        }
    }

    void addLane(const Work& in_work, int in_row, int in_lane, std::size_t in_start)
    {
        const SparseMatrixTile<float>& block = *in_work.block;
        const int position = block.rowIds()[in_row];
        m_positions[in_row].lane[in_lane] = offset(position, in_lane);
        m_r[in_row].lane[in_lane] = in_work.r[position];
        std::size_t next = in_start;
        for (unsigned int n = block.rowStarts()[in_row]; n < block.rowStarts()[in_row + 1]; ++n) {
            const int column = block.columnIds()[n];
            if (column == position) {
                m_diagonals[in_row].lane[in_lane] = block.values()[n];
                continue;
            }
            if (next == m_values.size()) {
                addZeros();
            }
            m_values[next].lane[in_lane] = block.values()[n];
            m_columns[next].lane[in_lane] = offset(column, in_lane);
            ++next;
        }
    }

    /// One more entry of the row: 0 times 0 in each lane, which changes nothing, not even the sign
    /// of a zero, when it is subtracted.
    void addZeros()
    {
        m_values.push_back(LaneFloats{});
        LaneOffsets& columns = m_columns.emplace_back();
        for (int lane = 0; lane < kLanes; ++lane) {
            columns.lane[lane] = offset(m_zero, lane);
        }
    }

    double writeBack(const Work& in_work, int in_lane) const
    {
        double sum = 0.0;
        for (int row = 0; row < in_work.block->numRows(); ++row) {
            const int position = in_work.block->rowIds()[row];
            const float z = m_z[position].lane[in_lane];
            in_work.z[position] = z;
            sum += double(z) * double(in_work.r[position]);
        }
        return sum;
    }

    int m_num_rows = 0;
    int m_zero = 0;  ///< a position of no row, whose z stays 0
    std::vector<int> m_starts;
    std::vector<LaneFloats> m_values;
    std::vector<LaneOffsets> m_columns;
    std::vector<LaneFloats> m_diagonals;
    std::vector<LaneOffsets> m_positions;
    std::vector<LaneFloats> m_r;
    std::vector<LaneFloats> m_z;
};

/// Preconditions tiles [in_begin, in_end) of a depth.
double preconditionTiles(const SweepKernels& in_kernels, const SparseMatrix<float>& in_A,
                         const DenseVector<float>& in_r, int in_depth, int in_begin, int in_end,
                         DenseVector<float>& out_z)
{
    double sum = 0.0;
    Work cores[kLanes];
    int num_cores = 0;
    std::vector<Work> others;
    for (int tile = in_begin; tile < in_end; ++tile) {
        const SparseMatrixTile<float>* const block = in_A.diagonalBlock(tile, in_depth);
        if (block == nullptr || block->numRows() == 0) {
            continue;
        }
        const Work work{block, in_r.tileData(tile, in_depth), out_z.tileData(tile, in_depth)};
        if (block->stencil() != SparseMatrixStencil::eCore) {
            others.push_back(work);
            continue;
        }
        cores[num_cores++] = work;
        if (num_cores == kLanes) {
            sum += preconditionCores(in_kernels, cores, num_cores);
            num_cores = 0;
        }
    }
    if (num_cores > 0) {
        sum += preconditionCores(in_kernels, cores, num_cores);
    }
    // Blocks of like size side by side: eight take as long as the longest of them.
    std::sort(others.begin(), others.end(), [](const Work& in_a, const Work& in_b) {
        return in_a.block->numRows() < in_b.block->numRows();
    });
    RowLanes lanes;
    for (std::size_t n = 0; n < others.size(); n += kLanes) {
        const auto count = std::min<std::size_t>(kLanes, others.size() - n);
        sum += lanes.precondition(in_kernels, others.data() + n, static_cast<int>(count));
    }
    return sum;
}

}  // namespace

double Detail::preconditionAndDot(const SweepKernels& in_kernels, const SparseMatrix<float>& in_A,
                                  const DenseVector<float>& in_r, DenseVector<float>* out_z)
{
    double sum = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        sum += sumOverTiles<double>(in_A.numTiles(depth), [&](int in_begin, int in_end) {
            return preconditionTiles(in_kernels, in_A, in_r, depth, in_begin, in_end, *out_z);
        });
    }
    return sum;
}

double preconditionAndDot(const SparseMatrix<float>& in_A, const DenseVector<float>& in_r,
                          DenseVector<float>* out_z)
{
    return Detail::preconditionAndDot(Detail::sweepKernels(), in_A, in_r, out_z);
}

}  // namespace Skelvar
