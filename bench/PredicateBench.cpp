// Orientation of points in space: on random points, where the filter decides, beside the plain
// determinant; and on points of one plane but for the last bits, where it cannot.

#include <bench/peers/CgalPeer.h>
#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>

#include <skelvar/numerics/Predicates.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace {

using Point = std::array<double, 3>;

constexpr int kPoints = 100000;
constexpr int kPasses = 10;

std::vector<Point> randomPoints()
{
    Bench::Random random(900);
    std::vector<Point> points(kPoints);
    for (Point& point : points) {
        point = {random.symmetric(), random.symmetric(), random.symmetric()};
    }
    return points;
}

/// Points of the plane x + y + z = 0, rounded.
std::vector<Point> flatPoints()
{
    Bench::Random random(910);
    std::vector<Point> points(kPoints);
    for (Point& point : points) {
        const double x = random.symmetric();
        const double y = random.symmetric();
        point = {x + 1, y + 1, 1 - x - y};
    }
    return points;
}

double plainOrientation(const double* in_a, const double* in_b, const double* in_c,
                        const double* in_d)
{
    const double a[3] = {in_a[0] - in_d[0], in_a[1] - in_d[1], in_a[2] - in_d[2]};
    const double b[3] = {in_b[0] - in_d[0], in_b[1] - in_d[1], in_b[2] - in_d[2]};
    const double c[3] = {in_c[0] - in_d[0], in_c[1] - in_d[1], in_c[2] - in_d[2]};
    return a[2] * (b[0] * c[1] - c[0] * b[1]) + b[2] * (c[0] * a[1] - a[0] * c[1]) +
           c[2] * (a[0] * b[1] - b[0] * a[1]);
}

/// How many of the tetrahedra of four points in a row are positive.
template <typename Orientation>
int countPositive(const std::vector<Point>& in_points, Orientation in_orientation)
{
    int positive = 0;
    const Point* const points = in_points.data();
    const std::size_t count = in_points.size();
    for (std::size_t n = 0; n + 3 < count; ++n) {
        positive += in_orientation(points[n].data(), points[n + 1].data(), points[n + 2].data(),
                                   points[n + 3].data()) > 0;
    }
    return positive;
}

int countPlain(const std::vector<Point>& in_points)
{
    return countPositive(in_points, plainOrientation);
}

/// As a caller does who asks for one orientation at a time.
int countPlainSingly(const std::vector<Point>& in_points)
{
    return countPositive(in_points, [](const double* in_a, const double* in_b, const double* in_c,
                                       const double* in_d) {
        const double det = plainOrientation(in_a, in_b, in_c, in_d);
        asm volatile("");  // keeps the compiler from taking four at once
        return det;
    });
}

int countExact(const std::vector<Point>& in_points)
{
    return countPositive(in_points, Skelvar::orient3d);
}

using Count = std::function<int(const std::vector<Point>&)>;

void add(const std::string& in_name, const std::vector<Point>& in_points, const Count& in_count)
{
    Bench::Job job;
    job.name = in_name;
    job.threads = 1;
    job.unit = "Msigns/s";
    job.work = [] { return 1e-6 * kPoints * kPasses; };
    job.run = [in_points, in_count] {
        int positive = 0;
        for (int pass = 0; pass < kPasses; ++pass) {
            positive += in_count(in_points);
        }
        Bench::keep(positive);
    };
    Bench::add(job);
}

}  // namespace

int main(int argc, char** argv)
{
    add("orient3d.random/skelvar", randomPoints(), countExact);
    add("orient3d.random/plain", randomPoints(), countPlain);
    add("orient3d.random/plain-singly", randomPoints(), countPlainSingly);
    add("orient3d.flat/skelvar", flatPoints(), countExact);
    if (Bench::hasCgal()) {
        add("orient3d.random/cgal", randomPoints(), Bench::countPositiveCgal);
        add("orient3d.flat/cgal", flatPoints(), Bench::countPositiveCgal);
    }
    return Bench::runAll(argc, argv);
}
