#include <bench/peers/CgalPeer.h>

#ifdef SKELVAR_BENCH_HAS_CGAL

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

namespace Bench {

bool hasCgal()
{
    return true;
}

int countPositiveCgal(const std::vector<std::array<double, 3>>& in_points)
{
    using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
    const auto point = [&](std::size_t in_n) {
        const auto& p = in_points[in_n];
        return Kernel::Point_3(p[0], p[1], p[2]);
    };
    int positive = 0;
    for (std::size_t n = 0; n + 3 < in_points.size(); ++n) {
        // its tetrahedra count the other way round
        positive +=
            CGAL::orientation(point(n), point(n + 1), point(n + 2), point(n + 3)) == CGAL::NEGATIVE;
    }
    return positive;
}

}  // namespace Bench

#else

namespace Bench {

bool hasCgal()
{
    return false;
}
int countPositiveCgal(const std::vector<std::array<double, 3>>&)
{
    return 0;
}

}  // namespace Bench

#endif
