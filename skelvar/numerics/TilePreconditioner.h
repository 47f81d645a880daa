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

/// The passes over up to eight tiles of uniform values, as `UniformSweep` has them.
struct CellLanes {
    std::vector<CellStep> steps[2];
    std::vector<LaneMasks> masks[2];
};

/// The preconditioner of a matrix, made ready for the many passes of a solution: its tiles in
/// groups of eight that go side by side, one in each lane of a vector register. Borrows the matrix,
/// whose values must not change meanwhile. Several threads may read it.
class SKELVAR_API TilePreconditioner {
public:
    explicit TilePreconditioner(const SparseMatrix<float>& in_A,
                                const SweepKernels& in_kernels = sweepKernels());

    /// As the function of the same name with the matrix.
    double preconditionAndDot(const DenseVector<float>& in_r, DenseVector<float>& out_z) const;

private:
    /// What the diagonal blocks of a group have in common. The more, the faster.
    enum Kind { eUniformCores, eUniformParts, eCores, eAny, eNumKinds };
    /// Up to eight tiles.
    struct Group {
        int count;
        int tiles[kLanes];
        const SparseMatrixTile<float>* blocks[kLanes];  ///< the diagonal ones
        CellLanes cells;                                ///< of `eUniformParts`
        RowLanes rows;                                  ///< of `eAny`
    };

    static Kind kindOf(const SparseMatrixTile<float>& in_block);
    void sortTiles(const SparseMatrix<float>& in_A, int in_depth);
    static std::vector<Group> groupsOf(const std::vector<int>& in_tiles, int in_depth,
                                       const SparseMatrix<float>& in_A);
    double preconditionUniform(const Group& in_group, Kind in_kind, int in_depth,
                               const DenseVector<float>& in_r, DenseVector<float>& out_z) const;
    double preconditionCores(const Group& in_group, int in_depth, const DenseVector<float>& in_r,
                             DenseVector<float>& out_z) const;
    double preconditionRows(const Group& in_group, int in_depth, const DenseVector<float>& in_r,
                            std::vector<LaneFloats>& io_work, DenseVector<float>& out_z) const;

    const SweepKernels& m_kernels;
    CellLanes m_all_cells;  ///< of `eUniformCores`
    std::vector<Group> m_groups[kNumDepths][eNumKinds];
};

}  // namespace Skelvar::Detail
