#pragma once

#include <skelvar/numerics/DenseVector.h>
#include <skelvar/numerics/SparseMatrix.h>

namespace Skelvar {

/// What a cell is to a Poisson problem.
enum PoissonCell : unsigned char {
    ePoissonUnknown = 0,
    ePoissonDirichlet = 1,  ///< its centre holds a given value
    ePoissonNeumann = 2,    ///< nothing flows through its faces
};

/// Where a Poisson problem is posed. Cells of tiles from `min_depth` to `max_depth` count, but for
/// those that have a child tile in that range.
struct PoissonDomain {
    int min_depth = 0;
    int max_depth = kMaxTileDepth;
    /// What stands beyond the tiles, in cells of the size of the one that looks, at the faces
    /// towards -x, +x, -y, +y, -z, +z.
    PoissonCell sides[6] = {ePoissonDirichlet, ePoissonDirichlet, ePoissonDirichlet,
                            ePoissonDirichlet, ePoissonDirichlet, ePoissonDirichlet};
    /// A `PoissonCell` for each cell; null if all are unknowns. Borrowed.
    const DenseVector<unsigned char>* cells = nullptr;
};

/// Weight between the centres of two cells with a common face, one of `in_width` across, the other
/// of `in_other_width`: the face's area, which is the smaller cell's, by the distance along the
/// face's normal.
constexpr float poissonWeight(int in_width, int in_other_width)
{
    const float side = static_cast<float>(in_width < in_other_width ? in_width : in_other_width);
    return 2.0f * side * side / static_cast<float>(in_width + in_other_width);
}

/// The 7-point matrix of -div grad by finite volumes on the cells of a layout: symmetric, positive
/// if each connected part of the domain has a Dirichlet face, else with the constants of such parts
/// as its null space (`findUnitNullSpace`). Lengths are in coordinate units, so that finest cells
/// have 6 on the diagonal and -1 beside it. The right-hand side that belongs to -div grad u = f is
/// f times the cell's volume in coordinate units times the square of `VoxelLayout::MVS()`, plus for
/// each Dirichlet neighbour its value times `poissonWeight`.
///
/// The depths need not be graded: a fine cell couples with the one coarser cell beyond its face. On
/// one depth the error falls with the square of the cell size. Where depths meet, centres do not
/// face each other, and with such a seam it falls with the cell size, being largest next to it.
/// Source: finite volumes with two-point fluxes, Eymard, Gallouet and Herbin, "Finite Volume
/// Methods", 2000.
SKELVAR_API void makePoissonMatrix(const VoxelLayout& in_layout, const PoissonDomain& in_domain,
                                   SparseMatrix<float>* out_A);

}  // namespace Skelvar
