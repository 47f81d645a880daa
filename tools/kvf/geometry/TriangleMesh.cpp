#include <tools/kvf/geometry/TriangleMesh.h>

#include <tools/kvf/geometry/Vectors.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>

namespace Skelvar::Tool {

namespace {

/// One side of a triangle, as seen from the edge that it lies on.
struct TriangleSide {
    int lower_vertex;
    int upper_vertex;
    int triangle;
    int side;        ///< 0 to 2, from corner `side` to the next
    bool ascending;  ///< the triangle runs from the lower vertex to the upper
};

bool sameEdge(const TriangleSide& in_a, const TriangleSide& in_b)
{
    return in_a.lower_vertex == in_b.lower_vertex && in_a.upper_vertex == in_b.upper_vertex;
}

std::vector<TriangleSide> sortedSides(const TriangleMesh& in_mesh)
{
    std::vector<TriangleSide> sides;
    sides.reserve(3 * in_mesh.triangles.size());
    for (int t = 0; t < static_cast<int>(in_mesh.triangles.size()); ++t) {
        for (int s = 0; s < 3; ++s) {
            const int from = in_mesh.triangles[t][s];
            const int to = in_mesh.triangles[t][(s + 1) % 3];
            sides.push_back({std::min(from, to), std::max(from, to), t, s, from < to});
        }
    }
    std::sort(sides.begin(), sides.end(), [](const TriangleSide& in_a, const TriangleSide& in_b) {
        return std::tie(in_a.lower_vertex, in_a.upper_vertex, in_a.triangle, in_a.side) <
               std::tie(in_b.lower_vertex, in_b.upper_vertex, in_b.triangle, in_b.side);
    });
    return sides;
}

/// Calls in_visit(first, last) for the sides of each edge.
template <typename Visit>
void forEachEdge(const std::vector<TriangleSide>& in_sides, const Visit& in_visit)
{
    for (std::size_t first = 0; first < in_sides.size();) {
        std::size_t last = first + 1;
        while (last < in_sides.size() && sameEdge(in_sides[first], in_sides[last])) {
            ++last;
        }
        in_visit(&in_sides[first], &in_sides[first] + (last - first));
        first = last;
    }
}

/// The triangle on the other side of an edge that two triangles share; -1 where there is none or
/// where more than two meet.
struct Neighbour {
    int triangle = -1;
    bool disagrees = false;
};

std::vector<Neighbour> findNeighbours(const TriangleMesh& in_mesh)
{
    std::vector<Neighbour> neighbours(3 * in_mesh.triangles.size());
    forEachEdge(sortedSides(in_mesh),
                [&](const TriangleSide* in_first, const TriangleSide* in_last) {
                    if (in_last - in_first == 2) {
                        const TriangleSide& a = in_first[0];
                        const TriangleSide& b = in_first[1];
                        const bool disagrees = a.ascending == b.ascending;
                        neighbours[3 * a.triangle + a.side] = {b.triangle, disagrees};
                        neighbours[3 * b.triangle + b.side] = {a.triangle, disagrees};
                    }
                });
    return neighbours;
}

/// Six times the volume between the triangle and a point.
double volumeTo(const TriangleMesh& in_mesh, int in_triangle, const vec3d& in_point)
{
    vec3d corner[3];
    for (int c = 0; c < 3; ++c) {
        const vec3f& vertex = in_mesh.vertices[in_mesh.triangles[in_triangle][c]];
        corner[c] = vec3d{vertex[0], vertex[1], vertex[2]} - in_point;
    }
    return dot(corner[0], cross(corner[1], corner[2]));
}

/// Middle of the triangles' first corners: a point near them, for volumes without cancellation.
vec3d middleOf(const TriangleMesh& in_mesh, const std::vector<int>& in_triangles)
{
    vec3d sum{};
    for (const int t : in_triangles) {
        const vec3f& vertex = in_mesh.vertices[in_mesh.triangles[t][0]];
        sum += vec3d{vertex[0], vertex[1], vertex[2]};
    }
    return sum / static_cast<double>(std::max<std::size_t>(1, in_triangles.size()));
}

double volumeOf(const TriangleMesh& in_mesh, const std::vector<int>& in_triangles)
{
    const vec3d middle = middleOf(in_mesh, in_triangles);
    double volume = 0.0;
    for (const int t : in_triangles) {
        volume += volumeTo(in_mesh, t, middle) / 6.0;
    }
    return volume;
}

void turn(TriangleMesh& io_mesh, int in_triangle)
{
    std::swap(io_mesh.triangles[in_triangle][1], io_mesh.triangles[in_triangle][2]);
}

/// Walks over the part that holds in_seed and gives its triangles. Each gets a mark, 1 to stay and
/// 2 to turn, by which the part agrees with the seed. True if any has to turn.
bool markPart(const std::vector<Neighbour>& in_neighbours, int in_seed, std::vector<char>& io_mark,
              std::vector<int>& out_part)
{
    bool any_turn = false;
    out_part.assign(1, in_seed);
    io_mark[in_seed] = 1;
    for (std::size_t next = 0; next < out_part.size(); ++next) {
        const int t = out_part[next];
        for (int s = 0; s < 3; ++s) {
            const Neighbour& across = in_neighbours[3 * t + s];
            if (across.triangle >= 0 && io_mark[across.triangle] == 0) {
                io_mark[across.triangle] =
                    across.disagrees ? static_cast<char>(3 - io_mark[t]) : io_mark[t];
                any_turn = any_turn || io_mark[across.triangle] == 2;
                out_part.push_back(across.triangle);
            }
        }
    }
    return any_turn;
}

}  // namespace

MeshTopology findTopology(const TriangleMesh& in_mesh)
{
    MeshTopology topology;
    forEachEdge(
        sortedSides(in_mesh), [&](const TriangleSide* in_first, const TriangleSide* in_last) {
            const auto ascending = std::count_if(
                in_first, in_last, [](const TriangleSide& in_side) { return in_side.ascending; });
            if ((in_last - in_first) % 2 != 0) {
                ++topology.boundary_edges;
            } else if (2 * ascending != in_last - in_first) {
                ++topology.inconsistent_edges;
            }
        });
    return topology;
}

OrientationRepair orientOutward(TriangleMesh& io_mesh)
{
    OrientationRepair repair;
    const int count = static_cast<int>(io_mesh.triangles.size());
    const std::vector<Neighbour> neighbours = findNeighbours(io_mesh);
    std::vector<char> mark(count, 0);
    std::vector<int> part;
    for (int seed = 0; seed < count; ++seed) {
        if (mark[seed] != 0 || !markPart(neighbours, seed, mark, part)) {
            continue;
        }
        const auto turnMarked = [&](char in_mark) {
            for (const int t : part) {
                if (mark[t] == in_mark) {
                    turn(io_mesh, t);
                }
            }
            return std::count_if(part.begin(), part.end(),
                                 [&](int in_t) { return mark[in_t] == in_mark; });
        };
        long long turned = turnMarked(2);
        if (volumeOf(io_mesh, part) < 0.0) {
            turnMarked(2);
            turned = turnMarked(1);
        }
        repair.turned_triangles += turned;
    }

    std::vector<int> all(count);
    for (int t = 0; t < count; ++t) {
        all[t] = t;
    }
    vec3f lo, hi;
    findBounds(io_mesh, lo, hi);
    const double box = double(hi[0] - lo[0]) * double(hi[1] - lo[1]) * double(hi[2] - lo[2]);
    // An open sheet has a volume near nothing, of either sign: it stays as it is.
    if (volumeOf(io_mesh, all) < -0.01 * box) {
        for (const int t : all) {
            turn(io_mesh, t);
        }
        repair.was_inside_out = true;
    }
    return repair;
}

void findBounds(const TriangleMesh& in_mesh, vec3f& out_min, vec3f& out_max)
{
    out_min = out_max = in_mesh.vertices.front();
    for (const vec3f& vertex : in_mesh.vertices) {
        for (int a = 0; a < 3; ++a) {
            out_min[a] = std::min(out_min[a], vertex[a]);
            out_max[a] = std::max(out_max[a], vertex[a]);
        }
    }
}

float longestSide(const TriangleMesh& in_mesh)
{
    vec3f low{}, high{};
    findBounds(in_mesh, low, high);
    const vec3f extent = high - low;
    return *std::max_element(extent.e, extent.e + 3);
}

TriangleMesh makeTorusKnot(int in_turns, int in_twists, int in_segments, int in_sides)
{
    constexpr double kRingRadius = 0.8, kWindRadius = 0.3, kTubeRadius = 0.13;
    const auto centreLine = [&](double in_t) {
        const double r = kRingRadius + kWindRadius * std::cos(in_twists * in_t);
        return vec3d{r * std::cos(in_turns * in_t), r * std::sin(in_turns * in_t),
                     kWindRadius * std::sin(in_twists * in_t)};
    };

    TriangleMesh mesh;
    for (int s = 0; s < in_segments; ++s) {
        const double t = 2.0 * std::numbers::pi * s / in_segments;
        const vec3d centre = centreLine(t);
        const vec3d along = unit(centreLine(t + 1e-4) - centreLine(t - 1e-4));
        // Away from the ring's own circle: a frame that closes up after one full round.
        const vec3d ring{kRingRadius * std::cos(in_turns * t), kRingRadius * std::sin(in_turns * t),
                         0.0};
        const vec3d side = unit(cross(along, centre - ring));
        const vec3d up = cross(side, along);
        for (int a = 0; a < in_sides; ++a) {
            const double angle = 2.0 * std::numbers::pi * a / in_sides;
            const vec3d p = centre + (up * std::cos(angle) + side * std::sin(angle)) * kTubeRadius;
            mesh.vertices.push_back({float(p[0]), float(p[1]), float(p[2])});
        }
    }
    for (int s = 0; s < in_segments; ++s) {
        for (int a = 0; a < in_sides; ++a) {
            const int here = s * in_sides, there = (s + 1) % in_segments * in_sides;
            const int next = (a + 1) % in_sides;
            mesh.triangles.push_back({here + a, there + next, there + a});
            mesh.triangles.push_back({here + a, here + next, there + next});
        }
    }
    orientOutward(mesh);
    return mesh;
}

}  // namespace Skelvar::Tool
