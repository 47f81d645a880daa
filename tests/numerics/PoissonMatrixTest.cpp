#include <skelvar/numerics/NullSpace.h>
#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SolvePCG.h>

#include <tests/numerics/DenseReference.h>

#include <gtest/gtest.h>

#include <functional>

namespace Skelvar::Testing {

namespace {

using Skelvar::Test::LayoutBuilder;

/// A cell that counts, by its box.
struct Cell {
    int number;  ///< as `CellNumbers` has it
    vec3i low;
    int width;
    PoissonCell kind;
};

std::vector<Cell> leafCells(const VoxelLayout& in_layout, const PoissonDomain& in_domain)
{
    const CellNumbers numbers(in_layout);
    std::vector<Cell> cells;
    for (int depth = in_domain.min_depth; depth <= in_domain.max_depth; ++depth) {
        for (int tile = 0; tile < in_layout.numNodes(depth); ++tile) {
            const VoxelLayoutNode& node = in_layout.node(tile, depth);
            const int width = VoxelLayout::cellWidth(depth);
            for (int n = 0; n < kTileSize; ++n) {
                if (depth < in_domain.max_depth && node.childExists(n)) {
                    continue;
                }
                const PoissonCell kind =
                    in_domain.cells == nullptr
                        ? ePoissonUnknown
                        : static_cast<PoissonCell>(in_domain.cells->tileData(tile, depth)[n]);
                cells.push_back({numbers.of(depth, tile, n),
                                 node.corner() + width * vec3i{n % 5, n / 5 % 5, n / 25}, width,
                                 kind});
            }
        }
    }
    return cells;
}

/// The face of `in_a` through which it touches `in_b`: twice the axis, plus 1 for the upper side;
/// -1 if they have no area in common.
int faceTowards(const Cell& in_a, const Cell& in_b)
{
    int face = -1;
    for (int axis = 0; axis < 3; ++axis) {
        const int low = std::max(in_a.low[axis], in_b.low[axis]);
        const int high = std::min(in_a.low[axis] + in_a.width, in_b.low[axis] + in_b.width);
        if (high < low || (high == low && face >= 0)) {
            return -1;
        }
        if (high == low) {
            face = 2 * axis + (in_b.low[axis] > in_a.low[axis]);
        }
    }
    return face;
}

/// The matrix from the boxes of all pairs of cells.
Dense matrixOfBoxes(const VoxelLayout& in_layout, const PoissonDomain& in_domain)
{
    const int total = CellNumbers(in_layout).total();
    Dense dense(total, std::vector<double>(total));
    const std::vector<Cell> cells = leafCells(in_layout, in_domain);
    for (const Cell& a : cells) {
        if (a.kind != ePoissonUnknown) {
            continue;
        }
        double free_area[6];
        std::fill_n(free_area, 6, double(a.width) * a.width);
        for (const Cell& b : cells) {
            const int face = &a == &b ? -1 : faceTowards(a, b);
            if (face < 0) {
                continue;
            }
            const double side = std::min(a.width, b.width);
            const double weight = side * side / (0.5 * (a.width + b.width));
            free_area[face] -= side * side;
            dense[a.number][a.number] += b.kind == ePoissonNeumann ? 0.0 : weight;
            dense[a.number][b.number] -= b.kind == ePoissonUnknown ? weight : 0.0;
        }
        for (int face = 0; face < 6; ++face) {
            if (in_domain.sides[face] == ePoissonDirichlet) {
                dense[a.number][a.number] += free_area[face] / a.width;
            }
        }
    }
    return dense;
}

void expectNear(const Dense& in_expected, const Dense& in_found)
{
    for (std::size_t i = 0; i < in_expected.size(); ++i) {
        for (std::size_t j = 0; j < in_expected.size(); ++j) {
            ASSERT_NEAR(in_expected[i][j], in_found[i][j], 1e-5 * (1.0 + in_expected[i][i]))
                << i << " " << j;
            ASSERT_EQ(in_found[i][j], in_found[j][i]) << i << " " << j;
        }
    }
}

/// -div grad u = f in a box of `in_scale` coordinate units a side, whose side is 1.
struct Manufactured {
    std::shared_ptr<VoxelLayout> layout;
    int scale;
    vec3i corner;  ///< of the box

    static double u(double x, double y, double z)
    {
        return std::sin(2.0 * x + 0.3) * std::cos(1.5 * y) * std::exp(0.7 * z);
    }
    static double f(double x, double y, double z) { return (4.0 + 2.25 - 0.49) * u(x, y, z); }

    template <typename Function>
    double at(const Function& in_function, const vec3i& in_low, int in_width) const
    {
        double p[3];
        for (int axis = 0; axis < 3; ++axis) {
            p[axis] = (in_low[axis] - corner[axis] + 0.5 * in_width) / scale;
        }
        return in_function(p[0], p[1], p[2]);
    }

    /// The root of the mean square of the error, by volume.
    double error() const
    {
        const PoissonDomain domain;
        SparseMatrix<float> A;
        makePoissonMatrix(*layout, domain, &A);
        GenericDenseVector<float> b(*layout, 0.0f);
        GenericDenseVector<float> x(*layout, 0.0f);
        const std::vector<Cell> cells = leafCells(*layout, domain);
        const CellNumbers numbers(*layout);
        const auto value = [&](DenseVector<float>& io_v, int in_number) -> float& {
            int depth = 0;
            while (depth < kMaxTileDepth && in_number >= numbers.of(depth + 1, 0, 0)) {
                ++depth;
            }
            const int n = in_number - numbers.of(depth, 0, 0);
            return io_v.tileData(n / kTileSize, depth)[n % kTileSize];
        };
        for (const Cell& cell : cells) {
            double right = at(f, cell.low, cell.width) * std::pow(cell.width, 3) / scale / scale;
            for (int face = 0; face < 6; ++face) {
                vec3i beyond = cell.low;
                beyond[face / 2] += face % 2 == 0 ? -cell.width : cell.width;
                const int place = beyond[face / 2] - corner[face / 2];
                if (place < 0 || place >= scale) {
                    right += poissonWeight(cell.width, cell.width) * at(u, beyond, cell.width);
                }
            }
            value(b, cell.number) = float(right);
        }
        int iterations = 0;
        float residual = 0.0f;
        EXPECT_TRUE(
            solvePCG(A, b, &x, 0, nullptr, nullptr, nullptr, 500, 1e-6f, &iterations, &residual));
        double squares = 0.0;
        for (const Cell& cell : cells) {
            const double error = double(value(x, cell.number)) - at(u, cell.low, cell.width);
            squares += error * error * std::pow(double(cell.width) / scale, 3);
        }
        return std::sqrt(squares);
    }
};

/// A cube of `in_tiles` tiles of depth 7 a side.
Manufactured uniformBox(int in_tiles)
{
    const int side = 5 * in_tiles;
    const vec3i low{3, 3, 3};  // where finest tiles begin
    const auto layout = LayoutBuilder().box(low, low + vec3i{side, side, side}).build();
    vec3i lowest, highest;
    layout->bounds(kMaxTileDepth, lowest, highest);
    return {layout, side, lowest};
}

/// A cube of `in_tiles` tiles of depth 6 a side, a share of whose cells, those towards one corner,
/// are tiles of depth 7.
Manufactured seamedBox(int in_tiles, int in_fine)
{
    const int side = 25 * in_tiles;
    const vec3i low{13, 13, 13};  // where tiles of depth 6 begin
    const auto layout = LayoutBuilder()
                            .box(low, low + vec3i{side, side, side}, 6)
                            .box(low, low + 5 * vec3i{in_fine, in_fine, in_fine}, 7)
                            .build();
    vec3i lowest, highest;
    layout->bounds(6, lowest, highest);
    return {layout, side, lowest};
}

}  // namespace

TEST(PoissonMatrix, IsThatOfTheCellsBoxes)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        LayoutBuilder builder;
        for (int n = 0; n < 3; ++n) {
            builder.tile({random.integer(-12, 12), random.integer(-12, 12), 0},
                         random.integer(6, 7));
        }
        builder.tile({0, 0, 0}, seed % 2 == 0 ? 5 : 6).tile({0, 0, 0}, 7);
        const auto layout = builder.build();
        GenericDenseVector<unsigned char> kinds(*layout, ePoissonUnknown);
        fillVector(kinds, [&](int, int, int) {
            return seed > 2 && random.integer(0, 4) == 0 ? random.integer(1, 2) : 0;
        });
        PoissonDomain domain;
        domain.cells = &kinds;
        domain.min_depth = random.integer(4, 6);
        domain.max_depth = random.integer(6, 7);
        for (PoissonCell& side : domain.sides) {
            side = static_cast<PoissonCell>(random.integer(1, 2));
        }
        SparseMatrix<float> A;

        makePoissonMatrix(*layout, domain, &A);

        expectNear(matrixOfBoxes(*layout, domain), toDense(A));
    }
}

TEST(PoissonMatrix, CountsAFaceThatABareFinerRootCoversOnce)
{
    for (const int depth : {5, 6}) {
        const int beside = depth == 5 ? 63 : 13;
        const auto layout = LayoutBuilder().tile({0, 0, 0}, depth).tile({beside, 0, 0}, 7).build();
        ASSERT_EQ(2, layout->numRoots());
        PoissonDomain domain;
        domain.min_depth = depth;
        SparseMatrix<float> A;

        makePoissonMatrix(*layout, domain, &A);

        EXPECT_EQ(2, A.blocks(0, 7).size());
        expectNear(matrixOfBoxes(*layout, domain), toDense(A));
    }
}

TEST(PoissonMatrix, TakesThePlaceOfAnother)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 6).tile({0, 0, 0}, 7).build();
    PoissonDomain domain;
    domain.min_depth = 6;
    SparseMatrix<float> A;
    makePoissonMatrix(*layout, domain, &A);
    SparseMatrix<float> other = A;
    EXPECT_EQ(toDense(A), toDense(other));
    domain.min_depth = 7;

    makePoissonMatrix(*layout, domain, &other);

    EXPECT_TRUE(other.blocks(0, 6).empty());
}

TEST(PoissonMatrix, HasTheKnownStencilAndFewBytes)
{
    const auto layout = LayoutBuilder().box({0, 0, 0}, {50, 50, 50}).build();
    SparseMatrix<float> A;

    makePoissonMatrix(*layout, {}, &A);

    vec3i low, high;
    layout->bounds(low, high);
    const TileIndex inner = layout->nodeIndex<true>(25, 25, 25, 7);
    EXPECT_EQ(7, A.blocks(inner.first, 7).size());
    const SparseMatrixTile<float>& block = *A.diagonalBlock(inner.first, 7);
    EXPECT_EQ(SparseMatrixStencil::eCore, block.stencil());
    for (int n = 0; n < block.numEntries(); ++n) {
        EXPECT_TRUE(block.values()[n] == 6.0f || block.values()[n] == -1.0f);
    }
    EXPECT_LE(double(A.memUsage()) / double(layout->numVoxels()), 64.0);
}

TEST(PoissonMatrix, ConvergesWithTheSquareOfTheCellSize)
{
    const double coarse = uniformBox(2).error();
    const double fine = uniformBox(4).error();

    EXPECT_LT(fine, 1e-3);
    EXPECT_GT(std::log2(coarse / fine), 1.8);
}

// Where depths meet, the error falls with the cell size alone.
TEST(PoissonMatrix, ConvergesAcrossDepths)
{
    const double coarse = seamedBox(1, 2).error();
    const double fine = seamedBox(2, 4).error();

    EXPECT_LT(fine, 1e-2);
    EXPECT_GT(std::log2(coarse / fine), 0.95);
}

}  // namespace Skelvar::Testing
