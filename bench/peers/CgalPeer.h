#pragma once

#include <array>
#include <vector>

namespace Bench {

/// Whether CGAL was there when the benchmarks were built.
bool hasCgal();
/// How many of the tetrahedra of four points in a row are positive, by CGAL's kernel with exact
/// predicates. 0 without it.
int countPositiveCgal(const std::vector<std::array<double, 3>>& in_points);

}  // namespace Bench
