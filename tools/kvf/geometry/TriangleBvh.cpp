#include <tools/kvf/geometry/TriangleBvh.h>

#include <skelvar/numerics/Distance.h>

#include <tools/kvf/geometry/Vectors.h>

#include <tbb/parallel_invoke.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace Skelvar::Tool {

namespace {

constexpr int kLeafSize = 4;
constexpr int kMaxStack = 64;  ///< the tree halves at each step, so 2^31 triangles need 30
constexpr int kParallelSize = 4096;
constexpr double kFarRadii = 2.0;  ///< a dipole stands for what is this many radii away

float squaredBoxDistance(const vec3f& in_p, const vec3f& in_min, const vec3f& in_max)
{
    float sum = 0.0f;
    for (int a = 0; a < 3; ++a) {
        const float out = std::max({in_min[a] - in_p[a], 0.0f, in_p[a] - in_max[a]});
        sum += out * out;
    }
    return sum;
}

/// At most the squared distance to the triangle: that to its box, which is many times cheaper.
float squaredLeast(const vec3f& in_p, const vec3f* in_corner)
{
    float sum = 0.0f;
    for (int a = 0; a < 3; ++a) {
        const float lo = std::min({in_corner[0][a], in_corner[1][a], in_corner[2][a]});
        const float hi = std::max({in_corner[0][a], in_corner[1][a], in_corner[2][a]});
        const float out = std::max({lo - in_p[a], 0.0f, in_p[a] - hi});
        sum += out * out;
    }
    return sum;
}

/// Solid angle of a triangle over 4 pi. Source: Van Oosterom and Strackee, "The Solid Angle of a
/// Plane Triangle" (1983).
double triangleWinding(const TriangleBvh::Triangle& in_triangle, const vec3d& in_p)
{
    const vec3d a = widen(in_triangle.corner[0]) - in_p;
    const vec3d b = widen(in_triangle.corner[1]) - in_p;
    const vec3d c = widen(in_triangle.corner[2]) - in_p;
    const double la = length(a), lb = length(b), lc = length(c);
    const double numerator = dot(a, cross(b, c));
    const double denominator = la * lb * lc + dot(a, b) * lc + dot(b, c) * la + dot(c, a) * lb;
    return std::atan2(numerator, denominator) / (2.0 * std::numbers::pi);
}

/// Groups of leaves: all full but the last, so that the size of each subtree is known beforehand.
int numLeaves(int in_triangles)
{
    return (in_triangles + kLeafSize - 1) / kLeafSize;
}

}  // namespace

TriangleBvh::TriangleBvh(const TriangleMesh& in_mesh)
{
    const int count = static_cast<int>(in_mesh.triangles.size());
    if (count == 0) {
        return;
    }
    std::vector<int> order(count);
    std::vector<vec3f> middles(count);
    for (int t = 0; t < count; ++t) {
        order[t] = t;
        const vec3i& triangle = in_mesh.triangles[t];
        middles[t] = (in_mesh.vertices[triangle[0]] + in_mesh.vertices[triangle[1]] +
                      in_mesh.vertices[triangle[2]]) /
                     3.0f;
    }
    m_nodes.resize(2 * numLeaves(count) - 1);
    m_dipoles.resize(m_nodes.size());
    m_triangles.resize(count);
    build(0, 0, count, order, in_mesh, middles);
    for (int a = 0; a < 3; ++a) {
        const Node& all = m_nodes.front();
        m_rounding = std::max(m_rounding, 1e-6f * std::max(-all.min[a], all.max[a]));
    }
}

void TriangleBvh::build(int in_node, int in_first, int in_last, std::vector<int>& io_order,
                        const TriangleMesh& in_mesh, const std::vector<vec3f>& in_middles)
{
    const int leaves = numLeaves(in_last - in_first);
    if (leaves == 1) {
        for (int n = in_first; n < in_last; ++n) {
            const vec3i& source = in_mesh.triangles[io_order[n]];
            for (int c = 0; c < 3; ++c) {
                m_triangles[n].corner[c] = in_mesh.vertices[source[c]];
            }
        }
        m_nodes[in_node].right = in_first;
        m_nodes[in_node].count = in_last - in_first;
        summarise(in_node, in_first, in_last);
        return;
    }

    // Halve along the axis on which the triangles' middles spread most.
    vec3f lo = in_middles[io_order[in_first]], hi = lo;
    for (int n = in_first; n < in_last; ++n) {
        for (int a = 0; a < 3; ++a) {
            lo[a] = std::min(lo[a], in_middles[io_order[n]][a]);
            hi[a] = std::max(hi[a], in_middles[io_order[n]][a]);
        }
    }
    const vec3f spread = hi - lo;
    const int axis = static_cast<int>(std::max_element(spread.e, spread.e + 3) - spread.e);
    const int middle = in_first + leaves / 2 * kLeafSize;
    std::nth_element(io_order.begin() + in_first, io_order.begin() + middle,
                     io_order.begin() + in_last, [&](int in_a, int in_b) {
                         const float a = in_middles[in_a][axis], b = in_middles[in_b][axis];
                         return a < b || (a == b && in_a < in_b);
                     });

    const int left = in_node + 1;
    const int right = left + 2 * (leaves / 2) - 1;
    m_nodes[in_node].right = right;
    const auto buildLeft = [&] { build(left, in_first, middle, io_order, in_mesh, in_middles); };
    const auto buildRight = [&] { build(right, middle, in_last, io_order, in_mesh, in_middles); };
    if (in_last - in_first > kParallelSize) {
        tbb::parallel_invoke(buildLeft, buildRight);
    } else {
        buildLeft();
        buildRight();
    }
    summarise(in_node, in_first, in_last);
}

void TriangleBvh::summarise(int in_node, int in_first, int in_last)
{
    Node& node = m_nodes[in_node];
    Dipole& dipole = m_dipoles[in_node];
    node.min = node.max = m_triangles[in_first].corner[0];
    vec3d plain_sum{};
    double area_sum = 0.0;
    for (int n = in_first; n < in_last; ++n) {
        const vec3f* corner = m_triangles[n].corner;
        for (int c = 0; c < 3; ++c) {
            for (int a = 0; a < 3; ++a) {
                node.min[a] = std::min(node.min[a], corner[c][a]);
                node.max[a] = std::max(node.max[a], corner[c][a]);
            }
        }
        const vec3d base = widen(corner[0]);
        const vec3d moment = cross(widen(corner[1]) - base, widen(corner[2]) - base) * 0.5;
        const vec3d middle = (base + widen(corner[1]) + widen(corner[2])) / 3.0;
        const double area = length(moment);
        dipole.moment += moment;
        dipole.centre += middle * area;
        plain_sum += middle;
        area_sum += area;
    }
    dipole.centre =
        area_sum > 0.0 ? dipole.centre / area_sum : plain_sum / double(in_last - in_first);
    for (int n = in_first; n < in_last; ++n) {
        for (const vec3f& corner : m_triangles[n].corner) {
            dipole.radius = std::max(dipole.radius, length(widen(corner) - dipole.centre));
        }
    }
}

TriangleBvh::Closest TriangleBvh::closest(const vec3f& in_point, int in_guess) const
{
    Closest best;
    if (m_nodes.empty()) {
        return best;
    }
    best.distance = std::numeric_limits<float>::infinity();
    float bound = best.distance;  // squared, and so wide that rounding prunes no winner
    const auto test = [&](int in_number) {
        const vec3f* corner = m_triangles[in_number].corner;
        if (squaredLeast(in_point, corner) > bound) {
            return;
        }
        vec3f weights;
        const float distance =
            point_triangle_bc(in_point, corner[0], corner[1], corner[2], weights);
        if (distance < best.distance || (distance == best.distance && in_number < best.triangle)) {
            best = {in_number, distance, weights};
            const float wide = distance * 1.000002f + m_rounding;
            bound = wide * wide;
        }
    };
    if (in_guess >= 0) {
        test(in_guess);
    }

    struct Entry {
        int node;
        float squared_distance;
    };
    Entry stack[kMaxStack];
    int height = 0;
    stack[height++] = {0, 0.0f};
    while (height > 0) {
        const Entry entry = stack[--height];
        if (entry.squared_distance > bound) {
            continue;
        }
        const Node& node = m_nodes[entry.node];
        for (int n = node.right; n < node.right + node.count; ++n) {
            test(n);
        }
        if (node.count == 0) {
            Entry near{entry.node + 1, 0.0f}, far{node.right, 0.0f};
            for (Entry* child : {&near, &far}) {
                const Node& box = m_nodes[child->node];
                child->squared_distance = squaredBoxDistance(in_point, box.min, box.max);
            }
            if (far.squared_distance < near.squared_distance) {
                std::swap(near, far);
            }
            stack[height++] = far;
            stack[height++] = near;
        }
    }
    return best;
}

double TriangleBvh::windingNumber(const vec3f& in_point) const
{
    if (m_nodes.empty()) {
        return 0.0;
    }
    const vec3d p = widen(in_point);
    double winding = 0.0;
    int stack[kMaxStack];
    int height = 0;
    stack[height++] = 0;
    while (height > 0) {
        const int number = stack[--height];
        const Node& node = m_nodes[number];
        const Dipole& dipole = m_dipoles[number];
        const vec3d away = dipole.centre - p;
        const double squared = dot(away, away);
        const double limit = kFarRadii * dipole.radius;
        if (squared > limit * limit) {
            winding +=
                dot(away, dipole.moment) / (4.0 * std::numbers::pi * squared * std::sqrt(squared));
        } else if (node.count == 0) {
            stack[height++] = node.right;
            stack[height++] = number + 1;
        } else {
            for (int n = node.right; n < node.right + node.count; ++n) {
                winding += triangleWinding(m_triangles[n], p);
            }
        }
    }
    return winding;
}

}  // namespace Skelvar::Tool
