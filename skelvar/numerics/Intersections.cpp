#include <skelvar/numerics/Intersections.h>

#include <skelvar/numerics/Predicates.h>

#include <cmath>
#include <limits>

namespace Skelvar {

namespace {

/// A corner with the id of its perturbation.
struct Corner {
    int id;
    vec3d x;
};

int side(const Corner& in_a, const Corner& in_b, const Corner& in_c, const Corner& in_d)
{
    return unsorted_sos_orient3d(in_a.id, in_a.x, in_b.id, in_b.x, in_c.id, in_c.x, in_d.id,
                                 in_d.x);
}

/// Six times the volume, never negative.
double volume(const Corner& in_a, const Corner& in_b, const Corner& in_c, const Corner& in_d)
{
    return std::fabs(orient3d(in_a.x.e, in_b.x.e, in_c.x.e, in_d.x.e));
}

/// The weights in proportion to `in_parts`.
template <int N>
orvel::Math::vec<N, double> weights(const orvel::Math::vec<N, double>& in_parts)
{
    double sum = 0;
    for (int n = 0; n < N; ++n) {
        sum += in_parts[n];
    }
    orvel::Math::vec<N, double> result{};
    for (int n = 0; n < N; ++n) {
        result[n] = sum > 0 ? in_parts[n] / sum : 1.0 / N;
    }
    return result;
}

}  // namespace

bool point_in_triangle(int in_i0, const vec2d& in_x0, int in_i1, const vec2d& in_x1, int in_i2,
                       const vec2d& in_x2, int in_i3, const vec2d& in_x3, vec3d& out_bc)
{
    // the plane as seen from a point above it
    const Corner apex{std::numeric_limits<int>::min(), {0, 0, 1}};
    const Corner p{in_i0, {in_x0[0], in_x0[1], 0}};
    const Corner a{in_i1, {in_x1[0], in_x1[1], 0}};
    const Corner b{in_i2, {in_x2[0], in_x2[1], 0}};
    const Corner c{in_i3, {in_x3[0], in_x3[1], 0}};
    const int turn = side(apex, a, b, c);
    if (side(apex, p, b, c) != turn || side(apex, a, p, c) != turn || side(apex, a, b, p) != turn) {
        return false;
    }
    out_bc = weights<3>({volume(apex, p, b, c), volume(apex, a, p, c), volume(apex, a, b, p)});
    return true;
}

bool point_in_tetrahedron(int in_i0, const vec3d& in_x0, int in_i1, const vec3d& in_x1, int in_i2,
                          const vec3d& in_x2, int in_i3, const vec3d& in_x3, int in_i4,
                          const vec3d& in_x4, vec4d& out_bc)
{
    const Corner p{in_i0, in_x0};
    const Corner a{in_i1, in_x1};
    const Corner b{in_i2, in_x2};
    const Corner c{in_i3, in_x3};
    const Corner d{in_i4, in_x4};
    const int turn = side(a, b, c, d);
    if (side(p, b, c, d) != turn || side(a, p, c, d) != turn || side(a, b, p, d) != turn ||
        side(a, b, c, p) != turn) {
        return false;
    }
    out_bc = weights<4>(
        {volume(p, b, c, d), volume(a, p, c, d), volume(a, b, p, d), volume(a, b, c, p)});
    return true;
}

bool edge_triangle_intersection(int in_i0, const vec3d& in_x0, int in_i1, const vec3d& in_x1,
                                int in_i2, const vec3d& in_x2, int in_i3, const vec3d& in_x3,
                                int in_i4, const vec3d& in_x4, vec2d& out_edge_bc,
                                vec3d& out_triangle_bc)
{
    const Corner a{in_i0, in_x0};
    const Corner b{in_i1, in_x1};
    const Corner c{in_i2, in_x2};
    const Corner d{in_i3, in_x3};
    const Corner e{in_i4, in_x4};
    if (side(a, c, d, e) == side(b, c, d, e)) {
        return false;
    }
    const int turn = side(a, b, c, d);
    if (side(a, b, d, e) != turn || side(a, b, e, c) != turn) {
        return false;
    }
    out_edge_bc = weights<2>({volume(b, c, d, e), volume(a, c, d, e)});
    out_triangle_bc = weights<3>({volume(a, b, d, e), volume(a, b, e, c), volume(a, b, c, d)});
    return true;
}

bool edge_edge_3d(int in_i0, const vec3d& in_x0, int in_i1, const vec3d& in_x1, int in_i2,
                  const vec3d& in_x2, int in_i3, const vec3d& in_x3, int in_i4, const vec3d& in_x4,
                  vec2d& out_first_bc, vec2d& out_second_bc)
{
    const Corner a{in_i0, in_x0};
    const Corner b{in_i1, in_x1};
    const Corner c{in_i2, in_x2};
    const Corner d{in_i3, in_x3};
    const Corner eye{in_i4, in_x4};
    if (side(eye, a, b, c) == side(eye, a, b, d) || side(eye, c, d, a) == side(eye, c, d, b)) {
        return false;
    }
    out_first_bc = weights<2>({volume(eye, c, d, b), volume(eye, c, d, a)});
    out_second_bc = weights<2>({volume(eye, a, b, d), volume(eye, a, b, c)});
    return true;
}

}  // namespace Skelvar
