#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SparseMatrixOperations.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ShapeFile.h>

#include <tests/io/Scene.h>
#include <tests/tools/KvfFolder.h>

#include <cmath>
#include <sstream>

namespace Skelvar::Tool::Test {
namespace {

/// Calls `in_do(tile, depth, n, value)` for each cell of the two depths of a channel.
template <typename Do>
void forCells(VoxelChannel<float>& io_channel, const Do& in_do)
{
    for (const int depth : {6, 7}) {
        for (int tile = 0; tile < io_channel.numTiles(depth); ++tile) {
            for (int n = 0; n < kTileSize; ++n) {
                in_do(tile, depth, n, io_channel.tile(tile, depth)(n));
            }
        }
    }
}

/// A file f.kvf of cells of two depths and half a unit, with a channel f.
class KvfSolve : public KvfFolder {
protected:
    void SetUp() override
    {
        Skelvar::Test::Scene scene(0);
        scene.layout().addNode(0, 0, 0, 6);
        scene.layout().addNode(0, 0, 0, 7);
        scene.layout().addNode(5, 0, 0, 7);
        forCells(*scene.add<float>("f"), [](int in_tile, int in_depth, int in_n, float& out_value) {
            out_value = static_cast<float>(1 + (7 * in_n + 3 * in_tile + in_depth) % 5);
        });
        scene.save(folder.file("f.kvf"));
    }

    /// || A u - b || / || b || of u.kvf, where the integral of f over each cell is b, without its
    /// mean if all sides are closed.
    static double relativeResidual(const ShapeFile& in_file, bool in_closed)
    {
        const VoxelLayout& layout = in_file.voxelShape()->layout();
        auto& f = static_cast<VoxelChannel<float>&>(*in_file.channel("f"));
        auto& u = static_cast<VoxelChannel<float>&>(*in_file.channel("u"));
        PoissonDomain domain;
        std::fill_n(domain.sides, 6, in_closed ? ePoissonNeumann : ePoissonDirichlet);
        SparseMatrix<float> A;
        makePoissonMatrix(layout, domain, &A);
        GenericDenseVector<float> x(layout, 0.0f);
        GenericDenseVector<float> product(layout, 0.0f);
        forCells(u, [&](int in_tile, int in_depth, int in_n, float in_value) {
            x.tileData(in_tile, in_depth)[in_n] = in_value;
        });
        matrixVectorMultiply(A, x, &product);
        std::vector<std::pair<double, double>> rows;  // b and A u
        double mean = 0.0;
        forCells(f, [&](int in_tile, int in_depth, int in_n, float in_value) {
            const auto ids = A.diagonalBlock(in_tile, in_depth);
            if (std::count(ids->rowIds(), ids->rowIds() + ids->numRows(), in_n) == 1) {
                const double width = VoxelLayout::cellWidth(in_depth);
                rows.emplace_back(std::pow(width, 3) * 0.25 * in_value,
                                  product.tileData(in_tile, in_depth)[in_n]);
                mean += rows.back().first;
            }
        });
        mean = in_closed ? mean / static_cast<double>(rows.size()) : 0.0;
        double squares = 0.0;
        double norm = 0.0;
        for (const auto& [right, left] : rows) {
            squares += std::pow(left - (right - mean), 2);
            norm += std::pow(right - mean, 2);
        }
        return std::sqrt(squares / norm);
    }
};

TEST_F(KvfSolve, TheResultSolvesTheEquations)
{
    for (const bool closed : {false, true}) {
        std::istringstream passes(
            done(std::string("solve poisson f.kvf --rhs f --out u -o u.kvf -f --tolerance 1e-4") +
                 (closed ? " --sides neumann" : "")));
        int count = 0;
        int pass = 0;
        double residual = 1.0;
        double last = 1.0;
        while (passes >> pass >> residual) {
            EXPECT_EQ(++count, pass);
            EXPECT_GT(last, 1e-4);
            last = residual;
        }
        EXPECT_LE(last, 1e-4);

        const ShapeFile file = loadShapeFile(folder.file("u.kvf"));
        auto& u = static_cast<VoxelChannel<float>&>(*file.channel("u"));
        EXPECT_EQ(eOffsetCentre, u.offsetType());
        EXPECT_NEAR(relativeResidual(file, closed), last, 2e-5);
        // Where there is a tile below, the cell has its mean.
        forCells(u, [&](int in_tile, int in_depth, int in_n, float in_value) {
            const VoxelLayoutNode& node = file.voxelShape()->layout().node(in_tile, in_depth);
            if (in_depth == 6 && node.childExists(in_n)) {
                EXPECT_NEAR(u.tile(node.child(in_n), 7).computeTileAverage(), in_value,
                            1e-5 * std::abs(in_value));
            }
        });
    }
}

}  // namespace
}  // namespace Skelvar::Tool::Test
