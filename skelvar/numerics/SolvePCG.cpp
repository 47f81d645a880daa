#include <skelvar/numerics/SolvePCG.h>

#include <skelvar/base/SkelvarProfiler.h>
#include <skelvar/numerics/MultiplyBlocks.h>
#include <skelvar/numerics/NullSpace.h>
#include <skelvar/numerics/SumInLanes.h>
#include <skelvar/numerics/TileLoop.h>
#include <skelvar/numerics/TilePreconditioner.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <cmath>

namespace Skelvar {

namespace {

constexpr int kReprojectionPeriod = 8;  ///< passes from one projection of the residual to the next

/// Adds up `in_body(tile, depth)` over all tiles, depth by depth.
template <typename Sum, typename Body>
Sum sumOverDepths(const DenseVector<float>& in_v, const Body& in_body)
{
    Sum sum = 0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        sum += Detail::sumOverTiles<Sum>(in_v.numTiles(depth), [&](int in_begin, int in_end) {
            Sum part = 0;
            for (int tile = in_begin; tile < in_end; ++tile) {
                part += in_body(tile, depth);
            }
            return part;
        });
    }
    return sum;
}

/// x := 0, r := b on the unknowns and 0 elsewhere. The sum of squares of r.
float startResidual(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
                    DenseVector<float>& out_x, DenseVector<float>& out_r)
{
    return sumOverDepths<float>(in_b, [&](int in_tile, int in_depth) {
        std::fill_n(out_x.tileData(in_tile, in_depth), out_x.tileDataSize(in_tile, in_depth), 0.0f);
        float* const r = out_r.tileData(in_tile, in_depth);
        std::fill_n(r, out_r.tileDataSize(in_tile, in_depth), 0.0f);
        const SparseMatrixTile<float>* const block = in_A.diagonalBlock(in_tile, in_depth);
        if (block == nullptr) {
            return 0.0f;
        }
        const float* const b = in_b.tileData(in_tile, in_depth);
        const unsigned short* const ids = block->pattern().row_ids;
        return Detail::sumInLanes<float>(block->numRows(), [&](int in_row) {
            const float value = b[ids[in_row]];
            r[ids[in_row]] = value;
            return value * value;
        });
    });
}

float squaredNorm(const DenseVector<float>& in_r)
{
    return sumOverDepths<float>(in_r, [&](int in_tile, int in_depth) {
        const float* const r = in_r.tileData(in_tile, in_depth);
        return Detail::sumInLanes<float>(in_r.tileDataSize(in_tile, in_depth),
                                         [&](int in_n) { return r[in_n] * r[in_n]; });
    });
}

/// The null space that is taken out, if any.
struct NullSpace {
    int count;
    const DenseVector<int>* ids;
    const array1<std::pair<int, int>>* pairs;
    const DenseVector<float>* weights;

    bool any() const { return count > 0; }
    void removeFrom(DenseVector<float>& io_v) const
    {
        if (any()) {
            removeUnitNullSpace(count, ids, pairs, weights, &io_v);
        }
    }
};

bool solve(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
           DenseVector<float>& out_x, const NullSpace& in_null_space, int in_max_iterations,
           float in_tolerance, int& out_iterations, float& out_residual, array1<float>* io_history)
{
    const SkelvarProfiler::Scope scope("solvePCG");
    const VoxelLayout& layout = *in_A.layout();
    out_iterations = 0;
    GenericDenseVector<float> r(layout, in_b);
    float norm = startResidual(in_A, in_b, out_x, r);
    if (in_null_space.any()) {
        in_null_space.removeFrom(r);
        norm = squaredNorm(r);
    }
    norm = std::sqrt(norm);
    if (norm == 0.0f) {
        out_residual = 0.0f;
        return true;
    }
    out_residual = 1.0f;
    GenericDenseVector<float> s(layout, in_b, 0.0f);
    const Detail::TilePreconditioner preconditioner(in_A);
    double rho = preconditioner.preconditionAndDot(r, s);
    in_null_space.removeFrom(s);
    if (rho <= 0.0) {
        return false;
    }
    GenericDenseVector<float> q(layout, in_b, 0.0f);
    while (out_iterations < in_max_iterations) {
        const double sigma = multiplyAndDot(in_A, s, &q);
        if (sigma <= 0.0) {
            return false;
        }
        const double alpha = rho / sigma;
        const float squares = updateSolutionAndNorm(layout, s, q, alpha, &out_x, &r);
        out_residual = std::sqrt(squares) / norm;
        if (io_history != nullptr) {
            io_history->push_back(out_residual);
        }
        if (out_residual <= in_tolerance) {
            return true;
        }
        if (out_iterations % kReprojectionPeriod == kReprojectionPeriod - 1) {
            in_null_space.removeFrom(r);
        }
        DenseVector<float>& z = q;
        const double next_rho = preconditioner.preconditionAndDot(r, z);
        if (next_rho <= 0.0) {
            return false;
        }
        updateSearch(layout, z, next_rho / rho, &s);
        in_null_space.removeFrom(s);
        ++out_iterations;
        rho = next_rho;
    }
    return false;
}

}  // namespace

double preconditionAndDot(const SparseMatrix<float>& in_A, const DenseVector<float>& in_r,
                          DenseVector<float>* out_z)
{
    return Detail::TilePreconditioner(in_A).preconditionAndDot(in_r, *out_z);
}

double multiplyAndDot(const SparseMatrix<float>& in_A, const DenseVector<float>& in_s,
                      DenseVector<float>* out_q)
{
    const Detail::SweepKernels& kernels = Detail::sweepKernels();
    return sumOverDepths<double>(*out_q, [&](int in_tile, int in_depth) {
        Detail::multiplyTile<double>(in_A, in_tile, in_depth, in_s, kernels, *out_q);
        const float* const s = in_s.tileData(in_tile, in_depth);
        const float* const q = out_q->tileData(in_tile, in_depth);
        return Detail::sumInLanes<double>(out_q->tileDataSize(in_tile, in_depth), [&](int in_n) {
            return double(q[in_n]) * double(s[in_n]);
        });
    });
}

float updateSolutionAndNorm(const VoxelLayout&, const DenseVector<float>& in_s,
                            const DenseVector<float>& in_q, double in_alpha,
                            DenseVector<float>* io_x, DenseVector<float>* io_r)
{
    return sumOverDepths<float>(*io_r, [&](int in_tile, int in_depth) {
        const float* const s = in_s.tileData(in_tile, in_depth);
        const float* const q = in_q.tileData(in_tile, in_depth);
        float* const x = io_x->tileData(in_tile, in_depth);
        float* const r = io_r->tileData(in_tile, in_depth);
        return Detail::sumInLanes<float>(io_r->tileDataSize(in_tile, in_depth), [&](int in_n) {
            x[in_n] = float(double(s[in_n]) * in_alpha + double(x[in_n]));
            r[in_n] = float(double(r[in_n]) - double(q[in_n]) * in_alpha);
            return r[in_n] * r[in_n];
        });
    });
}

void updateSearch(const VoxelLayout&, const DenseVector<float>& in_z, double in_beta,
                  DenseVector<float>* io_s)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        Detail::forTiles(io_s->numTiles(depth), [&](int in_tile) {
            const float* const z = in_z.tileData(in_tile, depth);
            float* const s = io_s->tileData(in_tile, depth);
            const int size = io_s->tileDataSize(in_tile, depth);
            for (int n = 0; n < size; ++n) {
                s[n] = float(double(z[n]) + double(s[n]) * in_beta);
            }
        });
    }
}

bool solvePCG(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
              DenseVector<float>* out_x, int in_null_count, const DenseVector<int>* in_null_ids,
              const array1<std::pair<int, int>>* in_null_pairs,
              const DenseVector<float>* in_null_weights, int in_max_iterations, float in_tolerance,
              int* out_iterations, float* out_residual)
{
    return solve(in_A, in_b, *out_x, {in_null_count, in_null_ids, in_null_pairs, in_null_weights},
                 in_max_iterations, in_tolerance, *out_iterations, *out_residual, nullptr);
}

bool solvePCG(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
              DenseVector<float>* out_x, int in_null_count, const DenseVector<int>* in_null_ids,
              const array1<std::pair<int, int>>* in_null_pairs,
              const DenseVector<float>* in_null_weights, int in_max_iterations, float in_tolerance,
              int* out_iterations, float* out_residual, array1<float>& io_history)
{
    return solve(in_A, in_b, *out_x, {in_null_count, in_null_ids, in_null_pairs, in_null_weights},
                 in_max_iterations, in_tolerance, *out_iterations, *out_residual, &io_history);
}

}  // namespace Skelvar
