// Solves -div grad u = 1 in a cube of side 1 that is finer towards one corner, with u = 0 beyond,
// and tells how the residual falls.

#include <skelvar/numerics/PoissonMatrix.h>
#include <skelvar/numerics/SolvePCG.h>
#include <skelvar/tree/VoxelLayout.h>

#include <algorithm>
#include <cmath>
#include <iostream>

using namespace Skelvar;

int main()
{
    // Tiles of depth 6 fill the cube; the cells of the lower corner are tiles of depth 7.
    constexpr int kSide = 50;
    const vec3i corner{13, 13, 13};
    VoxelLayout layout("cube", 1.0f / kSide);
    layout.addNodes(corner, corner + vec3i{kSide, kSide, kSide}, 6);
    layout.addNodes(corner, corner + vec3i{25, 25, 25}, 7);

    SparseMatrix<float> A;
    makePoissonMatrix(layout, PoissonDomain{}, &A);
    std::cout << A.memUsage() / 1000 << " kB for the matrix\n";

    // The source 1 times the volume of each cell.
    GenericDenseVector<float> b(layout, 0.0f);
    for (int depth = 6; depth <= 7; ++depth) {
        const double volume = std::pow(VoxelLayout::cellWidth(depth), 3);
        for (int tile = 0; tile < b.numTiles(depth); ++tile) {
            for (int cell = 0; cell < kTileSize; ++cell) {
                b.tileData(tile, depth)[cell] = float(volume * layout.MVS() * layout.MVS());
            }
        }
    }

    GenericDenseVector<float> u(layout, b);
    array1<float> residuals;
    int iterations = 0;
    float residual = 0.0f;
    const bool solved = solvePCG(A, b, &u, 0, nullptr, nullptr, nullptr, 200, 1e-5f, &iterations,
                                 &residual, residuals);
    std::cout << (solved ? "solved" : "not solved") << ", residual below 1e-2 after "
              << std::count_if(residuals.begin(), residuals.end(),
                               [](float r) { return r > 1e-2f; })
              << " passes and below 1e-5 after " << iterations << "\n";

    const TileIndex middle = layout.nodeIndex<true>(38, 38, 38, 6);
    std::cout << "u in the middle " << std::round(1000 * u.tileData(middle.first, 6)[0]) / 1000
              << "\n";
}
