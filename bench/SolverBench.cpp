// A Poisson problem of a million unknowns: the cells of a ball, with the value 0 beyond.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>
#include <bench/support/Tiles.h>

#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SolvePCG.h>
#include <skelvar/numerics/SparseMatrixOperations.h>
#include <skelvar/numerics/TilePreconditioner.h>
#include <skelvar/tree/VoxelLayout.h>

#include <tests/numerics/PlainPreconditioner.h>

#include <tbb/parallel_for.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>

namespace {

using Bench::vec3i;
using Skelvar::DenseVector;
using Skelvar::GenericDenseVector;
using Skelvar::kMaxTileDepth;
using Skelvar::SparseMatrix;
using Skelvar::SparseMatrixTile;
using Skelvar::VoxelLayout;

constexpr int kProducts = 10;  ///< in one run
constexpr float kTolerance = 1e-5f;

/// Calls `in_body(tile, n, cell)` for the 125 cells of each finest tile, in parallel.
template <typename Body>
void forCells(const VoxelLayout& in_layout, const Body& in_body)
{
    tbb::parallel_for(0, in_layout.numNodes(kMaxTileDepth), [&](int in_tile) {
        const vec3i corner = in_layout.node(in_tile, kMaxTileDepth).corner();
        for (int n = 0; n < Skelvar::kTileSize; ++n) {
            in_body(in_tile, n, corner + vec3i{n % 5, n / 5 % 5, n / 25});
        }
    });
}

struct Problem {
    VoxelLayout layout;
    SparseMatrix<float> A;
    std::unique_ptr<GenericDenseVector<unsigned char>> kinds;
    std::unique_ptr<GenericDenseVector<float>> b, x, y;
    std::unique_ptr<Skelvar::Detail::TilePreconditioner> preconditioner;
    long long unknowns = 0;

    Problem()
    {
        const auto inside = [](const vec3i& in_cell) {
            return Bench::isInBall(Bench::kPoissonRadius, in_cell);
        };
        layout.addNodes(Bench::withAncestors(Bench::tilesHolding(64, inside)));
        kinds =
            std::make_unique<GenericDenseVector<unsigned char>>(layout, Skelvar::ePoissonDirichlet);
        b = std::make_unique<GenericDenseVector<float>>(layout, 0.0f);
        x = std::make_unique<GenericDenseVector<float>>(layout, 1.0f);
        y = std::make_unique<GenericDenseVector<float>>(layout, 0.0f);
        forCells(layout, [&](int in_tile, int in_n, const vec3i& in_cell) {
            if (inside(in_cell)) {
                kinds->tileData(in_tile, kMaxTileDepth)[in_n] = Skelvar::ePoissonUnknown;
                b->tileData(in_tile, kMaxTileDepth)[in_n] = Bench::poissonSource(in_cell);
            }
        });
        build(&A);
        preconditioner = std::make_unique<Skelvar::Detail::TilePreconditioner>(A);
        for (int tile = 0; tile < layout.numNodes(kMaxTileDepth); ++tile) {
            unknowns += A.diagonalBlock(tile, kMaxTileDepth)->numRows();
        }
    }

    void build(SparseMatrix<float>* out_matrix) const
    {
        Skelvar::PoissonDomain domain;
        domain.min_depth = kMaxTileDepth;
        domain.cells = kinds.get();
        Skelvar::makePoissonMatrix(layout, domain, out_matrix);
    }

    /// |b - A x| / |b|, in double throughout.
    double trueResidual() const
    {
        double residual = 0.0;
        double norm = 0.0;
        for (int tile = 0; tile < A.numTiles(kMaxTileDepth); ++tile) {
            double rest[Skelvar::kTileSize];
            const float* const right = b->tileData(tile, kMaxTileDepth);
            std::copy_n(right, Skelvar::kTileSize, rest);
            for (const SparseMatrixTile<float>& block : A.blocks(tile, kMaxTileDepth)) {
                const float* const values = x->tileData(block.tileIndex(), block.depth());
                for (int row = 0; row < block.numRows(); ++row) {
                    for (unsigned n = block.rowStarts()[row]; n < block.rowStarts()[row + 1]; ++n) {
                        rest[block.rowIds()[row]] -=
                            double(block.values()[n]) * double(values[block.columnIds()[n]]);
                    }
                }
            }
            for (int n = 0; n < Skelvar::kTileSize; ++n) {
                residual += rest[n] * rest[n];
                norm += double(right[n]) * double(right[n]);
            }
        }
        return std::sqrt(residual / norm);
    }
};

Problem& problem()
{
    static Problem s_problem;
    return s_problem;
}

double millionRows()
{
    return static_cast<double>(problem().unknowns) * 1e-6;
}

void plainPrecondition()
{
    Problem& p = problem();
    tbb::parallel_for(0, p.A.numTiles(kMaxTileDepth), [&](int in_tile) {
        Bench::keep(Skelvar::Testing::plainPrecondition(*p.A.diagonalBlock(in_tile, kMaxTileDepth),
                                                        p.b->tileData(in_tile, kMaxTileDepth),
                                                        p.y->tileData(in_tile, kMaxTileDepth)));
    });
}

void addProductJobs(int in_threads)
{
    const auto prepare = [] { problem(); };
    Bench::add({"spmv.rows/skelvar", in_threads, "Mrows/s",
                [] { return kProducts * millionRows(); },
                [] {
                    for (int n = 0; n < kProducts; ++n) {
                        Skelvar::matrixVectorMultiply(problem().A, *problem().b, problem().y.get());
                    }
                },
                prepare, 5});
    Bench::add({"spmv.dot/skelvar", in_threads, "Mrows/s", [] { return kProducts * millionRows(); },
                [] {
                    for (int n = 0; n < kProducts; ++n) {
                        Bench::keep(
                            Skelvar::multiplyAndDot(problem().A, *problem().b, problem().y.get()));
                    }
                },
                prepare, 5});
    Bench::add({"precond.rows/skelvar", in_threads, "Mrows/s", millionRows,
                [] {
                    Bench::keep(
                        problem().preconditioner->preconditionAndDot(*problem().b, *problem().y));
                },
                prepare, 9});
    Bench::add(
        {"precond.rows/plain", in_threads, "Mrows/s", millionRows, plainPrecondition, prepare, 3});
}

void addSolveJobs(int in_threads)
{
    struct Outcome {
        int iterations = 0;
        float residual = 0.0f;
    };
    const auto outcome = std::make_shared<Outcome>();
    const std::string tail = "/skelvar/" + std::to_string(in_threads) + "t";
    Bench::add({"poisson.setup/skelvar", in_threads, "Mrows/s", millionRows,
                [] {
                    SparseMatrix<float> matrix;
                    problem().build(&matrix);
                },
                [] { problem(); }, 3});
    Bench::add(
        {"poisson.solve/skelvar", in_threads, "solves/s",
         [=] {
             Bench::print("poisson.iterations" + tail, outcome->iterations, "iterations");
             Bench::print("poisson.residual" + tail, double(outcome->residual), "relative");
             Bench::print("poisson.trueresidual" + tail, problem().trueResidual(), "relative");
             Bench::print("poisson.unknowns" + tail, double(problem().unknowns), "unknowns");
             Bench::print("poisson.memory.bytesperrow" + tail,
                          double(problem().A.memUsage()) / double(problem().unknowns), "bytes/row");
             return 1.0;
         },
         [=] {
             Problem& p = problem();
             Skelvar::solvePCG(p.A, *p.b, p.x.get(), 0, nullptr, nullptr, nullptr, 3000, kTolerance,
                               &outcome->iterations, &outcome->residual);
         },
         [] { problem(); }, 3});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    for (const int threads : {1, 2}) {
        addProductJobs(threads);
        addSolveJobs(threads);
    }
    return Bench::runAll(in_argc, in_argv);
}
