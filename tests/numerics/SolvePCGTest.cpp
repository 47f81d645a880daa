#include <skelvar/numerics/MultiplyBlocks.h>
#include <skelvar/numerics/NullSpace.h>
#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SolvePCG.h>
#include <skelvar/numerics/SparseMatrixOperations.h>
#include <skelvar/numerics/TilePreconditioner.h>

#include <tests/numerics/DenseReference.h>
#include <tests/numerics/PlainPreconditioner.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace Skelvar::Testing {

namespace {

using Skelvar::Test::LayoutBuilder;

constexpr int kDepth = kMaxTileDepth;

/// What one call gave.
struct Outcome {
    bool solved = false;
    int iterations = -1;
    float residual = -1.0f;
};

Outcome solve(const SparseMatrix<float>& in_A, const DenseVector<float>& in_b,
              DenseVector<float>& out_x, float in_tolerance = 1e-6f, int in_max_iterations = 200)
{
    Outcome outcome;
    outcome.solved = solvePCG(in_A, in_b, &out_x, 0, nullptr, nullptr, nullptr, in_max_iterations,
                              in_tolerance, &outcome.iterations, &outcome.residual);
    return outcome;
}

/// Solves a dense system by elimination with pivots; rows without entries give 0.
std::vector<double> eliminate(Dense in_a, std::vector<double> in_b)
{
    const std::size_t n = in_b.size();
    std::vector<double> x(n);
    std::vector<std::size_t> used;
    for (std::size_t i = 0; i < n; ++i) {
        if (in_a[i][i] != 0.0) {
            used.push_back(i);
        }
    }
    for (const std::size_t k : used) {  // symmetric positive: no exchange is needed
        for (const std::size_t i : used) {
            const double factor = in_a[i][k] / in_a[k][k];
            if (i <= k || factor == 0.0) {
                continue;
            }
            for (const std::size_t j : used) {
                in_a[i][j] -= factor * in_a[k][j];
            }
            in_b[i] -= factor * in_b[k];
        }
    }
    for (auto k = used.rbegin(); k != used.rend(); ++k) {
        double rest = in_b[*k];
        for (const std::size_t j : used) {
            rest -= j > *k ? in_a[*k][j] * x[j] : 0.0;
        }
        x[*k] = rest / in_a[*k][*k];
    }
    return x;
}

/// || b - A x || / || b || over the rows of the diagonal blocks.
double relativeResidual(const SparseMatrix<float>& in_A, const DenseVector<float>& in_x,
                        const DenseVector<float>& in_b)
{
    GenericDenseVector<float> product(*in_A.layout(), 0.0f);
    matrixVectorMultiply(in_A, in_x, &product);
    double squares = 0.0;
    double norm = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            const auto* block = in_A.diagonalBlock(tile, depth);
            for (int row = 0; block != nullptr && row < block->numRows(); ++row) {
                const int n = block->rowIds()[row];
                const double right = in_b.tileData(tile, depth)[n];
                squares += std::pow(right - double(product.tileData(tile, depth)[n]), 2);
                norm += right * right;
            }
        }
    }
    return std::sqrt(squares / norm);
}

/// Poisson's matrix with a share of the cells left out at random.
SparseMatrix<float> patchyPoisson(const VoxelLayout& in_layout, Random& io_random,
                                  int in_left_out_percent)
{
    GenericDenseVector<unsigned char> kinds(in_layout, ePoissonUnknown);
    fillVector(kinds, [&](int, int in_tile, int) {
        return in_tile % 3 == 0 && io_random.integer(1, 100) <= in_left_out_percent
                   ? ePoissonDirichlet
                   : ePoissonUnknown;
    });
    PoissonDomain domain;
    domain.cells = &kinds;
    SparseMatrix<float> A;
    makePoissonMatrix(in_layout, domain, &A);
    return A;
}

/// A matrix with one entry, and `in_other` where the first cells of two tiles couple.
SparseMatrix<float> twoRows(const VoxelLayout& in_layout, float in_diagonal, float in_other)
{
    SparseMatrix<float> A(in_layout);
    for (int tile = 0; tile < 2; ++tile) {
        DynamicSparseMatrixRow<float> row;
        row[TileIdentifier{in_layout.node(tile, kDepth).id(), tile, kDepth}].add(0, 0, in_diagonal);
        if (in_other != 0.0f) {
            row[TileIdentifier{in_layout.node(1 - tile, kDepth).id(), 1 - tile, kDepth}].add(
                0, 0, in_other);
        }
        A.setBlocks(tile, kDepth, row);
    }
    return A;
}

void expectSameBits(const SparseMatrix<float>& in_A, const DenseVector<float>& in_r,
                    const Detail::SweepKernels& in_kernels)
{
    GenericDenseVector<float> z(*in_A.layout(), 3.0f);
    const double dot = Detail::TilePreconditioner(in_A, in_kernels).preconditionAndDot(in_r, z);

    double expected_dot = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            float plain[kTileSize] = {};
            std::vector<float> expected(kTileSize, 3.0f);
            if (const auto* block = in_A.diagonalBlock(tile, depth)) {
                expected_dot += plainPrecondition(*block, in_r.tileData(tile, depth), plain);
                for (int row = 0; row < block->numRows(); ++row) {
                    expected[block->rowIds()[row]] = plain[block->rowIds()[row]];
                }
            }
            EXPECT_EQ(
                0, std::memcmp(expected.data(), z.tileData(tile, depth), kTileSize * sizeof(float)))
                << "tile " << tile << " of depth " << depth;
        }
    }
    if (std::isfinite(expected_dot)) {
        EXPECT_NEAR(expected_dot, dot, 1e-9 * (1.0 + std::abs(expected_dot)));
    }
}

/// Products of float added up in `Sum` over a row of a block, then blocks in float in their order.
template <typename Sum>
void expectSameProducts(const SparseMatrix<float>& in_A, const DenseVector<float>& in_s,
                        const Detail::SweepKernels& in_kernels)
{
    GenericDenseVector<float> q(*in_A.layout(), 3.0f);
    for (int tile = 0; tile < in_A.numTiles(kDepth); ++tile) {
        Detail::multiplyTile<Sum>(in_A, tile, kDepth, in_s, in_kernels, q);
        float expected[kTileSize] = {};
        for (const SparseMatrixTile<float>& block : in_A.blocks(tile, kDepth)) {
            const float* const s = in_s.tileData(block.tileIndex(), block.depth());
            for (int row = 0; row < block.numRows(); ++row) {
                Sum sum = 0;
                for (unsigned n = block.rowStarts()[row]; n < block.rowStarts()[row + 1]; ++n) {
                    sum += Sum(block.values()[n] * s[block.columnIds()[n]]);
                }
                expected[block.rowIds()[row]] += float(sum);
            }
        }
        EXPECT_EQ(0, std::memcmp(expected, q.tileData(tile, kDepth), sizeof(expected))) << tile;
    }
}

}  // namespace

TEST(TilePreconditioner, HasTheBitsOfThePlainLoops)
{
    for (unsigned seed = 1; seed <= 7; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const auto layout =
            LayoutBuilder().box({0, 0, 0}, {5 * random.integer(1, 6), 15, 10}).build();
        SparseMatrix<float> A = patchyPoisson(*layout, random, 30);
        for (int tile = 0; tile < A.numTiles(kDepth); ++tile) {
            for (SparseMatrixTile<float>& block : A.blocks(tile, kDepth)) {
                for (int n = 0; seed > 2 && seed < 7 && n < block.numEntries(); ++n) {
                    block.values()[n] *= float(random.real(0.5, 1.5));
                    if (seed > 3 && random.integer(0, 40) == 0) {  // rows that are left out
                        block.values()[n] = random.integer(0, 1) == 0 ? 0.0f : -1.0f;
                    }
                }
            }
        }
        GenericDenseVector<float> r(*layout, 0.0f);
        fillVector(r, [&](int, int, int) {
            return random.integer(0, 9) == 0 ? -0.0 : random.real(-1.0, 1.0);
        });
        if (seed >= 6) {
            r.tileData(0, kDepth)[70] = std::numeric_limits<float>::infinity();
            r.tileData(1, kDepth)[70] = std::numeric_limits<float>::max();
        }
        const SparseMatrix<float> any = randomMatrix(*layout, random);
        for (const auto* kernels : {&Detail::sweepKernels(), &Detail::kPlainSweepKernels}) {
            expectSameBits(A, r, *kernels);
            expectSameBits(any, r, *kernels);
            if (seed < 6) {
                expectSameProducts<float>(A, r, *kernels);
                expectSameProducts<double>(A, r, *kernels);
            }
        }
    }
}

// 1e8 + 1 is 1e8 in float: what follows shows where double is asked for, and where not.
TEST(SolverSteps, SumProductsInDoubleForTheSolverAlone)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    const SparseMatrix<float> A = oneBlock(*layout, [](auto& io_block) {
        io_block.add(0, 0, 1e8f);
        io_block.add(0, 1, 1.0f);
        io_block.add(0, 2, -1e8f);
    });
    GenericDenseVector<float> ones(*layout, 1.0f);
    GenericDenseVector<float> q(*layout, 7.0f);

    EXPECT_EQ(1.0, multiplyAndDot(A, ones, &q));
    EXPECT_EQ(1.0f, q.tileData(0, kDepth)[0]);
    EXPECT_EQ(0.0f, q.tileData(1, kDepth)[124]);
    matrixVectorMultiply(A, ones, &q);
    EXPECT_EQ(0.0f, q.tileData(0, kDepth)[0]);
}

TEST(SolverSteps, KeepTheirPrecisionsOnAnyValues)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();
    const auto identity = oneBlock(*layout, [](auto& io_block) { io_block.add(0, 0, 1.0f); });
    Random random(7);
    SCOPED_TRACE(random.seed());
    for (int trial = 0; trial < 100; ++trial) {
        const auto some = [&] { return float(random.real(-1.0, 1.0)); };
        const float s0 = some();
        const float q0 = some();
        const float r0 = some();
        const float x0 = some();
        const float z0 = some();
        const double alpha = random.real(-1.0, 1.0);
        GenericDenseVector<float> s(*layout, s0);
        const GenericDenseVector<float> q(*layout, q0);
        GenericDenseVector<float> product(*layout, 0.0f);
        GenericDenseVector<float> x(*layout, x0);
        GenericDenseVector<float> r(*layout, r0);

        EXPECT_EQ(double(s0) * double(s0), multiplyAndDot(identity, s, &product));
        const float squares = updateSolutionAndNorm(*layout, s, q, alpha, &x, &r);
        EXPECT_EQ(float(double(s0) * alpha + double(x0)), x.tileData(0, kDepth)[60]);
        const float r1 = r.tileData(0, kDepth)[60];
        EXPECT_EQ(float(double(r0) - double(q0) * alpha), r1);
        EXPECT_NEAR(125.0 * r1 * r1, squares, 1e-3);
        updateSearch(*layout, GenericDenseVector<float>(*layout, z0), alpha, &s);
        EXPECT_EQ(float(double(z0) + double(s0) * alpha), s.tileData(0, kDepth)[60]);
    }
}

// Blocks of two values are multiplied without looking at the cells that are no rows of theirs: an
// infinite value must not reach those, and a diagonal of 0 leaves its rows out.
TEST(SolverSteps, OddValuesStayInTheirRows)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    const float infinity = std::numeric_limits<float>::infinity();
    for (const bool zero : {true, false}) {
        SparseMatrix<float> A = oneBlock(*layout, [&](auto& io_block) {
            for (const int n : {0, 1}) {
                io_block.add(n, n, zero ? 0.0f : 4.0f);
                io_block.add(n, 1 - n, zero ? -1.0f : infinity);
            }
            io_block.add(7, 7, zero ? 0.0f : 4.0f);
        });
        DynamicSparseMatrixRow<float> beside;  // goes side by side with the other
        for (const int n : {6, 8}) {
            beside[TileIdentifier{layout->node(1, kDepth).id(), 1, kDepth}].add(n, n, 4.0f);
        }
        A.setBlocks(1, kDepth, beside);
        const GenericDenseVector<float> r(*layout, 1.0f);
        GenericDenseVector<float> z(*layout, 9.0f);

        const double dot = preconditionAndDot(A, r, &z);

        EXPECT_NEAR(zero ? 0.0 : 0.25, z.tileData(0, kDepth)[7], 0.01);
        EXPECT_TRUE(!zero || std::abs(dot - 0.5) < 0.01) << dot;
        matrixVectorMultiply(A, r, &z);
        EXPECT_EQ(zero ? 0.0f : 4.0f, z.tileData(0, kDepth)[7]);
        EXPECT_EQ(zero ? -1.0f : infinity, z.tileData(0, kDepth)[1]);
    }
}

/// Two values a tile, each tile's at the end of an allocation of its own.
class ShortVector : public DenseVector<float> {
public:
    explicit ShortVector(int in_tiles)
    {
        for (int tile = 0; tile < in_tiles; ++tile) {
            m_tiles.push_back(std::make_unique<float[]>(2));
            std::fill_n(m_tiles.back().get(), 2, 1.0f);
        }
    }
    int numTiles(int in_depth) const override
    {
        return in_depth == kDepth ? static_cast<int>(m_tiles.size()) : 0;
    }
    float* tileData(int in_tile, int) override { return m_tiles[in_tile].get(); }
    const float* tileData(int in_tile, int) const override { return m_tiles[in_tile].get(); }
    int tileDataSize(int, int) const override { return 2; }

private:
    std::vector<std::unique_ptr<float[]>> m_tiles;
};

// Shows under a sanitizer.
TEST(SolverSteps, ReadNothingBehindShortTiles)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    const SparseMatrix<float> A = oneBlock(*layout, [](auto& io_block) {
        io_block.add(0, 0, 4.0f);
        io_block.add(1, 1, 4.0f);
        io_block.add(0, 1, -1.0f);
        io_block.add(1, 0, -1.0f);
    });
    ShortVector z(2);

    EXPECT_GT(preconditionAndDot(A, ShortVector(2), &z), 0.0);
    EXPECT_EQ(z.tileData(1, kDepth)[0], 1.0f);
}

TEST(SolvePCG, AgreesWithElimination)
{
    for (unsigned seed = 1; seed <= 5; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const auto layout = LayoutBuilder()
                                .box({0, 0, 0}, {10, 5, 5})
                                .tile({-20, 0, 0}, 6)
                                .tile({-3, 0, 0}, 7)
                                .build();
        const SparseMatrix<float> A = patchyPoisson(*layout, random, 40);
        GenericDenseVector<float> b(*layout, 0.0f);
        fillVector(b, [&](int, int, int) { return random.real(-1.0, 1.0); });
        GenericDenseVector<float> x(*layout, 99.0f);

        const Outcome outcome = solve(A, b, x);

        EXPECT_TRUE(outcome.solved);
        EXPECT_GT(outcome.iterations, 1);
        EXPECT_LE(outcome.residual, 1e-6f);
        const std::vector<double> expected = eliminate(toDense(A), toDense(b));
        const std::vector<double> found = toDense(x);
        for (std::size_t n = 0; n < expected.size(); ++n) {
            ASSERT_NEAR(expected[n], found[n], 2e-5) << n;
        }
    }
}

TEST(SolvePCG, StopsAsStated)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    const SparseMatrix<float> identity = twoRows(*layout, 2.0f, 0.0f);
    const SparseMatrix<float> negative = twoRows(*layout, -2.0f, 0.0f);
    const SparseMatrix<float> indefinite = twoRows(*layout, 1.0f, 2.0f);
    GenericDenseVector<float> zero(*layout, 0.0f);
    fillVector(zero, [](int, int, int in_n) { return in_n == 0 ? 0.0 : 5.0; });  // no unknowns
    GenericDenseVector<float> odd(*layout, 0.0f);
    odd.tileData(0, kDepth)[0] = 1.0f;
    odd.tileData(1, kDepth)[0] = -1.0f;
    GenericDenseVector<float> nan(*layout, 0.0f);
    nan.tileData(0, kDepth)[0] = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        const char* what;
        const SparseMatrix<float>& A;
        const DenseVector<float>& b;
        float tolerance;
        int max_iterations;
        Outcome expected;
    };
    const Case cases[] = {
        {"nothing to do", identity, zero, 0.0f, 9, {true, 0, 0.0f}},
        {"no pass allowed", identity, odd, 1e-6f, 0, {false, 0, 1.0f}},
        {"solved by the first pass", identity, odd, 1e-6f, 1, {true, 0, 0.0f}},
        {"no positive diagonal", negative, odd, 1e-6f, 9, {false, 0, 1.0f}},
        {"indefinite", indefinite, odd, 1e-6f, 9, {false, 0, 1.0f}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        GenericDenseVector<float> x(*layout, 99.0f);
        const Outcome outcome = solve(test.A, test.b, x, test.tolerance, test.max_iterations);
        EXPECT_EQ(test.expected.solved, outcome.solved);
        EXPECT_EQ(test.expected.iterations, outcome.iterations);
        EXPECT_NEAR(test.expected.residual, outcome.residual, 1e-6f);
        EXPECT_EQ(0.0f, x.tileData(1, kDepth)[1]);
        const bool moved = test.expected.solved && test.expected.iterations == 0 && &test.b == &odd;
        EXPECT_NEAR(moved ? 0.5f : 0.0f, x.tileData(0, kDepth)[0], 1e-6f);
    }
    const auto one_row = oneBlock(*layout, [](auto& io_block) { io_block.add(0, 0, 2.0f); });
    const GenericDenseVector<float> ones(*layout, 1.0f);
    GenericDenseVector<float> x(*layout, 99.0f);
    const Outcome exact = solve(one_row, ones, x, 0.0f, 9);
    EXPECT_TRUE(exact.solved);
    EXPECT_EQ(0, exact.iterations);
    EXPECT_EQ(0.0f, exact.residual);
    const Outcome never = solve(one_row, ones, x, -1.0f, 9);
    EXPECT_FALSE(never.solved);
    EXPECT_EQ(0, never.iterations) << "nothing is left to search";
    const Outcome with_nan = solve(identity, nan, x, 1e-6f, 7);
    EXPECT_FALSE(with_nan.solved);
    EXPECT_EQ(7, with_nan.iterations);
    EXPECT_TRUE(std::isnan(with_nan.residual));

    const VoxelLayout empty;
    GenericDenseVector<float> none(empty, 0.0f);
    EXPECT_TRUE(solve(SparseMatrix<float>(empty), none, none).solved);
}

// With one tile there is one order of the sums, so the solver has the bits of its steps.
TEST(SolvePCG, IsTheSequenceOfItsSteps)
{
    constexpr int kPasses = 12;
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();
    const SparseMatrix<float> A = oneBlock(*layout, [](auto& io_block) {
        for (int n = 0; n + 1 < kTileSize; ++n) {  // a chain, which takes many passes
            for (const int m : {n, n + 1}) {
                io_block.add(m, m, 1.0f);
                io_block.add(m, 2 * n + 1 - m, -1.0f);
            }
        }
    });
    GenericDenseVector<int> ids(*layout, 0);
    fillVector(ids, [](int, int, int in_n) { return in_n % 2; });  // joined by the pair
    array1<std::pair<int, int>> pairs;
    pairs.push_back({1, 0});
    Random random(3);
    SCOPED_TRACE(random.seed());
    GenericDenseVector<float> b(*layout, 0.0f);
    GenericDenseVector<float> weights(*layout, 0.0f);
    fillVector(b, [&](int, int, int) { return 100.0 + random.real(-1.0, 1.0); });
    fillVector(weights, [&](int, int, int) { return random.real(0.5, 1.5); });
    GenericDenseVector<float> found(*layout, 9.0f);
    int iterations = 0;
    float residual = 0.0f;

    EXPECT_FALSE(
        solvePCG(A, b, &found, 2, &ids, &pairs, &weights, kPasses, 0.0f, &iterations, &residual));

    const auto project = [&](DenseVector<float>& io_v) {
        removeUnitNullSpace(2, &ids, &pairs, &weights, &io_v);
    };
    GenericDenseVector<float> x(*layout, 0.0f);
    GenericDenseVector<float> r(*layout, 0.0f);
    GenericDenseVector<float> s(*layout, 0.0f);
    GenericDenseVector<float> q(*layout, 0.0f);
    std::copy_n(b.tileData(0, kDepth), kTileSize, r.tileData(0, kDepth));
    project(r);
    double norm = 0.0;
    for (int n = 0; n < kTileSize; ++n) {
        norm += std::pow(double(r.tileData(0, kDepth)[n]), 2);
    }
    double rho = preconditionAndDot(A, r, &s);
    project(s);
    float squares = 0.0f;
    for (int pass = 0; pass < kPasses; ++pass) {
        const double alpha = rho / multiplyAndDot(A, s, &q);
        squares = updateSolutionAndNorm(*layout, s, q, alpha, &x, &r);
        if (pass % 8 == 7) {
            project(r);
        }
        const double next = preconditionAndDot(A, r, &q);
        updateSearch(*layout, q, next / rho, &s);
        project(s);
        rho = next;
    }
    EXPECT_EQ(kPasses, iterations);
    EXPECT_NEAR(1.0, residual / std::sqrt(squares / norm), 1e-5);
    EXPECT_EQ(toDense(x), toDense(found));
}

// The right-hand side has a mean, which counts for nothing, and cells of two depths.
TEST(SolvePCG, TellsTheResidualRelativeToWhatCanBeSolved)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).build();
    PoissonDomain domain;
    domain.min_depth = 6;
    std::fill_n(domain.sides, 6, ePoissonNeumann);
    SparseMatrix<float> A;
    makePoissonMatrix(*layout, domain, &A);
    GenericDenseVector<int> ids(*layout, 7);
    array1<std::pair<int, int>> pairs;
    ASSERT_EQ(1, findUnitNullSpace(A, &ids, &pairs));
    EXPECT_EQ(0, ids.tileData(0, 7)[62]);
    EXPECT_EQ(0, ids.tileData(0, 6)[0]);
    Random random(2);
    SCOPED_TRACE(random.seed());
    GenericDenseVector<float> b(*layout, 0.0f);
    GenericDenseVector<float> x(*layout, 0.0f);
    fillVector(b, [&](int, int, int) { return random.real(0.0, 1.0); });
    int iterations = 0;
    float residual = 0.0f;

    EXPECT_FALSE(solvePCG(A, b, &x, 1, &ids, &pairs, nullptr, 2, 0.0f, &iterations, &residual));

    removeUnitNullSpace(1, &ids, &pairs, nullptr, &b);
    EXPECT_NEAR(1.0, relativeResidual(A, x, b) / residual, 1e-2);
}

TEST(SolvePCG, KeepsTheResidualOfEachPass)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {15, 15, 15}).build();
    Random random(8);
    const SparseMatrix<float> A = patchyPoisson(*layout, random, 20);
    GenericDenseVector<float> b(*layout, 1.0f);
    GenericDenseVector<float> x(*layout, 0.0f);
    array1<float> history;
    int iterations = 0;
    float residual = 0.0f;

    EXPECT_TRUE(solvePCG(A, b, &x, 0, nullptr, nullptr, nullptr, 100, 1e-4f, &iterations, &residual,
                         history));

    ASSERT_EQ(iterations + 1, history.size());
    EXPECT_EQ(residual, history.back());
    for (int n = 0; n < iterations; ++n) {
        EXPECT_GT(history[n], 1e-4f);
    }
    const Outcome capped = solve(A, b, x, 1e-4f, iterations);
    EXPECT_FALSE(capped.solved);
    EXPECT_EQ(iterations, capped.iterations);
    // The residual of the equations is the one that the recurrence tells.
    EXPECT_NEAR(capped.residual, relativeResidual(A, x, b), 2e-6);
}

// Three parts without a Dirichlet face, one with: constants of the three come out, and the rest of
// the equations hold.
TEST(SolvePCG, SolvesSingularProblemsOfSeveralParts)
{
    const auto layout = LayoutBuilder()
                            .box({0, 0, 0}, {20, 10, 5})
                            .box({40, 0, 0}, {50, 5, 5})
                            .tile({100, 0, 0}, 6)
                            .build();
    GenericDenseVector<unsigned char> kinds(*layout, ePoissonUnknown);
    fillVector(kinds, [&](int in_depth, int in_tile, int in_n) {
        const vec3i corner = layout->node(in_tile, in_depth).corner();
        const bool wall = in_depth == kDepth && corner[0] == 8 && in_n % 5 == 4;
        return corner[0] > 30 && corner[0] < 40 && in_n == 0 ? ePoissonDirichlet
               : wall                                        ? ePoissonNeumann
                                                             : ePoissonUnknown;
    });
    PoissonDomain domain;
    domain.cells = &kinds;
    std::fill_n(domain.sides, 6, ePoissonNeumann);
    SparseMatrix<float> A;
    makePoissonMatrix(*layout, domain, &A);
    GenericDenseVector<int> ids(*layout, 7);
    array1<std::pair<int, int>> pairs;
    const int count = findUnitNullSpace(A, &ids, &pairs);
    ASSERT_EQ(3, count);
    GenericDenseVector<float> b(*layout, 0.0f);
    Random random(5);
    fillVector(b, [&](int, int, int) { return random.real(-1.0, 2.0); });
    GenericDenseVector<float> x(*layout, 0.0f);
    int iterations = 0;
    float residual = 0.0f;

    EXPECT_TRUE(
        solvePCG(A, b, &x, count, &ids, &pairs, nullptr, 300, 1e-5f, &iterations, &residual));

    removeUnitNullSpace(count, &ids, &pairs, nullptr, &b);
    EXPECT_LT(relativeResidual(A, x, b), 3e-5);
    std::vector<double> sums(count);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < A.numTiles(depth); ++tile) {
            for (int n = 0; n < kTileSize; ++n) {
                if (ids.tileData(tile, depth)[n] >= 0) {
                    sums[ids.tileData(tile, depth)[n]] += x.tileData(tile, depth)[n];
                }
            }
        }
    }
    for (const double sum : sums) {
        EXPECT_NEAR(0.0, sum, 0.05);
    }
}

TEST(NullSpace, IsFoundWhereRowsSumToZero)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    SparseMatrix<float> A(*layout);
    const TileIdentifier first{layout->node(0, kDepth).id(), 0, kDepth};
    const TileIdentifier second{layout->node(1, kDepth).id(), 1, kDepth};
    DynamicSparseMatrixRow<float> row;
    for (const int pair : {10, 20, 30}) {  // three pairs of cells, one of them not singular
        const float diagonal = pair == 20 ? 1.00001f : 1.0f;
        row[first].add(pair, pair, diagonal);
        row[first].add(pair, pair + 1, -1.0f);
        row[first].add(pair + 1, pair, -1.0f);
        row[first].add(pair + 1, pair + 1, 1.0f);
    }
    row[first].add(10, 30, 0.0f);  // an entry of 0 connects nothing
    row[first].add(30, 30, 2.0f);  // and the last coupled with the other tile
    row[first].add(30, 31, 0.0f);
    row[second];
    DynamicSparseMatrixRow<float> other;
    row[second].add(30, 4, -2.0f);
    other[first].add(4, 30, -2.0f);
    other[second].add(4, 4, 2.0f);
    A.setBlocks(0, kDepth, row);
    A.setBlocks(1, kDepth, other);
    GenericDenseVector<int> ids(*layout, 7);
    array1<std::pair<int, int>> pairs;

    ASSERT_EQ(2, findUnitNullSpace(A, &ids, &pairs));

    EXPECT_EQ(0, ids.tileData(0, kDepth)[10]);
    EXPECT_EQ(0, ids.tileData(0, kDepth)[11]);
    EXPECT_EQ(-1, ids.tileData(0, kDepth)[20]);
    EXPECT_EQ(-1, ids.tileData(0, kDepth)[21]);
    EXPECT_EQ(1, ids.tileData(0, kDepth)[31]);
    EXPECT_EQ(1, ids.tileData(1, kDepth)[4]);
    EXPECT_EQ(-1, ids.tileData(1, kDepth)[5]);
}

TEST(NullSpace, IsRemovedByWeightsAndEquivalences)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    GenericDenseVector<int> ids(*layout, -1);
    GenericDenseVector<float> v(*layout, 10.0f);
    GenericDenseVector<float> weights(*layout, 1.0f);
    int* const id = ids.tileData(1, kDepth);
    float* const value = v.tileData(1, kDepth);
    const int given_ids[] = {0, 1, 2, 3, 4, 3};
    const float given_values[] = {1.0f, 3.0f, 8.0f, 5.0f, 6.0f, 9.0f};
    std::copy_n(given_ids, 6, id);
    std::copy_n(given_values, 6, value);
    weights.tileData(1, kDepth)[1] = 3.0f;
    weights.tileData(1, kDepth)[3] = 2.0f;
    weights.tileData(1, kDepth)[5] = -2.0f;
    array1<std::pair<int, int>> pairs;
    pairs.push_back({1, 0});
    pairs.push_back({2, 2});
    pairs.push_back({3, 4});  // which is no component
    pairs.push_back({-1, 0});

    removeUnitNullSpace(4, &ids, &pairs, &weights, &v);

    // (1 + 3 * 3) / 4 = 2.5; 8 alone; weights 2 - 2 = 0; 4 is no component; all others have no id.
    const float expected[] = {-1.5f, 0.5f, 0.0f, 5.0f, 6.0f, 9.0f, 10.0f};
    EXPECT_EQ(std::vector<float>(expected, expected + 7), std::vector<float>(value, value + 7));
    EXPECT_EQ(10.0f, v.tileData(0, kDepth)[0]);
}

TEST(NullSpace, IsRemovedByMeansInDouble)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();
    GenericDenseVector<int> ids(*layout, -1);
    GenericDenseVector<float> v(*layout, 0.0f);
    const GenericDenseVector<float> weights(*layout, -1.0f);
    std::fill_n(ids.tileData(0, kDepth), 3, 0);
    float* const value = v.tileData(0, kDepth);

    value[0] = 1.0f;
    removeUnitNullSpace(1, &ids, nullptr, &weights, &v);
    EXPECT_EQ(float(1.0 - 1.0 / 3.0), value[0]);
    value[0] = 1e8f;
    value[1] = 1.0f;
    value[2] = -1e8f;
    removeUnitNullSpace(1, &ids, nullptr, nullptr, &v);
    EXPECT_EQ(float(1.0 - 1.0 / 3.0), value[1]);
}

}  // namespace Skelvar::Testing
