#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>
#include <skelvar/numerics/SweepKernels.h>

#include <vector>

namespace Skelvar::Detail {

/// Rows of up to eight blocks of any patterns, as `SweepRows` has them.
struct RowLanes {
    std::vector<int> starts;
    std::vector<LaneFloats> values;
    std::vector<LaneOffsets> offsets;
    std::vector<SweepRow> rows;
};

/// A matrix made ready for the many passes of a solution: its tiles in groups of eight that go side
/// by side, one in each lane of a vector register. Borrows the matrix, whose values must not change
/// meanwhile. Several threads may read it.
class SKELVAR_API PreparedMatrix {
public:
    explicit PreparedMatrix(const SparseMatrix<float>& in_A,
                            const SweepKernels& in_kernels = sweepKernels());

    /// As the functions of the same names with the matrix.
    double preconditionAndDot(const DenseVector<float>& in_r, DenseVector<float>& out_z) const;
    double multiplyAndDot(const DenseVector<float>& in_s, DenseVector<float>& out_q) const;

private:
    /// Up to eight tiles.
    struct Group {
        int count;
        int tiles[kLanes];
        const SparseMatrixTile<float>* blocks[kLanes];  ///< the diagonal ones
        RowLanes rows;                                  ///< of blocks that are not cores
    };
    /// The tiles of a depth. Where the coefficients are constant, nearly all full blocks hold the
    /// same values: eight of them read one copy, which stays in the cache.
    struct Depth {
        std::vector<Group> same_cores;  ///< with the values of the first
        std::vector<Group> cores;
        std::vector<Group> others;
        std::vector<int> other_products;  ///< tiles that are not in `same_cores`
    };

    void sortTiles(int in_depth);
    static std::vector<Group> groupsOf(const std::vector<int>& in_tiles, int in_depth,
                                       const SparseMatrix<float>& in_A);
    double preconditionCores(const Group& in_group, bool in_same, int in_depth,
                             const DenseVector<float>& in_r, DenseVector<float>& out_z) const;
    double preconditionRows(const Group& in_group, int in_depth, const DenseVector<float>& in_r,
                            std::vector<LaneFloats>& io_work, DenseVector<float>& out_z) const;
    /// Asks ahead for the blocks of a group, and for the lists of the next one's.
    void prefetch(const Group& in_group, const Group& in_next, int in_depth) const;
    double multiplyCores(const Group& in_group, int in_depth, const DenseVector<float>& in_s,
                         DenseVector<float>& out_q) const;
    /// in_core: the product of the diagonal block if it is there already, else null.
    double multiplyTile(int in_tile, int in_depth, const float* in_core,
                        const DenseVector<float>& in_s, DenseVector<float>& out_q) const;

    const SparseMatrix<float>& m_A;
    const SweepKernels& m_kernels;
    Depth m_depths[kNumDepths];
};

}  // namespace Skelvar::Detail
