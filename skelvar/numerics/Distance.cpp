#include <skelvar/numerics/Distance.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Skelvar {

namespace {

using orvel::Math::dot;

template <typename T>
using vec3 = orvel::Math::vec<3, T>;

/// A Gram determinant at or below this part of its first term counts as zero.
constexpr double kDegenerate = 1e-8;

template <typename T>
T distance(const vec3<T>& in_a, const vec3<T>& in_b)
{
    const vec3<T> difference = in_a - in_b;
    return std::sqrt(dot(difference, difference));
}

template <typename T>
double dotInDouble(const vec3<T>& in_a, const vec3<T>& in_b)
{
    return double(in_a[0]) * double(in_b[0]) + double(in_a[1]) * double(in_b[1]) +
           double(in_a[2]) * double(in_b[2]);
}

/// Weight of x1 at the foot of x0 on the line x1 x2, not clamped. The guard of one smallest normal
/// number keeps the division defined: on a zero-length edge the weight is 0.
template <typename T>
T weightOnLine(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2)
{
    const vec3<T> edge = in_x1 - in_x2;
    return dot(in_x0 - in_x2, edge) / (dot(edge, edge) + std::numeric_limits<T>::min());
}

template <typename T>
T pointEdgeDistance(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2)
{
    const T s = weightOnLine(in_x0, in_x1, in_x2);
    if (s <= 0) {
        return distance(in_x0, in_x2);
    }
    if (s >= 1) {
        return distance(in_x0, in_x1);
    }
    return distance(in_x0, s * in_x1 + (1 - s) * in_x2);
}

/// The Gram matrix ((a, b), (b, c)) of two directions and its determinant.
struct Gram {
    double a, b, c, determinant;

    template <typename T>
    Gram(const vec3<T>& in_d1, const vec3<T>& in_d2)
        : a(dotInDouble(in_d1, in_d1)),
          b(dotInDouble(in_d1, in_d2)),
          c(dotInDouble(in_d2, in_d2)),
          determinant(a * c - b * b)
    {
    }
    bool degenerate() const { return kDegenerate * a * c >= determinant; }
};

/// The weights of x1, x2, x3 at the foot of x0 on the plane of the triangle, times the determinant.
struct ScaledWeights {
    Gram gram;
    double w1, w2, w3;

    template <typename T>
    ScaledWeights(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2,
                  const vec3<T>& in_x3)
        : gram(in_x1 - in_x3, in_x2 - in_x3)
    {
        const vec3<T> e0 = in_x0 - in_x3;
        const double r1 = dotInDouble(in_x1 - in_x3, e0);
        const double r2 = dotInDouble(in_x2 - in_x3, e0);
        w1 = gram.c * r1 - gram.b * r2;
        w2 = gram.a * r2 - gram.b * r1;
        w3 = gram.determinant - w1 - w2;
    }
};

/// The point with these weights, in the precision of the corners.
template <typename T>
vec3<T> pointOnTriangle(double in_w1, const vec3<T>& in_x1, double in_w2, const vec3<T>& in_x2,
                        double in_w3, const vec3<T>& in_x3)
{
    vec3<T> point;
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] =
            static_cast<T>(in_w1 * in_x1[axis] + in_w2 * in_x2[axis] + in_w3 * in_x3[axis]);
    }
    return point;
}

template <typename T>
T pointTriangleDistance(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2,
                        const vec3<T>& in_x3)
{
    const ScaledWeights scaled(in_x0, in_x1, in_x2, in_x3);
    if (scaled.gram.degenerate()) {
        return std::min({pointEdgeDistance(in_x0, in_x1, in_x2),
                         pointEdgeDistance(in_x0, in_x2, in_x3),
                         pointEdgeDistance(in_x0, in_x3, in_x1)});
    }
    // NaN is on no edge's side and goes through to the result.
    if (!(0 >= scaled.w1) && !(0 >= scaled.w2) && !(0 >= scaled.w3)) {
        const double w1 = scaled.w1 / scaled.gram.determinant;
        const double w2 = scaled.w2 / scaled.gram.determinant;
        return distance(in_x0, pointOnTriangle(w1, in_x1, w2, in_x2, 1 - w1 - w2, in_x3));
    }
    if (scaled.w1 > 0) {
        return std::min(pointEdgeDistance(in_x0, in_x1, in_x2),
                        pointEdgeDistance(in_x0, in_x1, in_x3));
    }
    if (scaled.w2 > 0) {
        return std::min(pointEdgeDistance(in_x0, in_x1, in_x2),
                        pointEdgeDistance(in_x0, in_x2, in_x3));
    }
    return std::min(pointEdgeDistance(in_x0, in_x1, in_x3), pointEdgeDistance(in_x0, in_x2, in_x3));
}

/// The closest points of two infinite lines: their weights of x0 and of x2.
struct LineWeights {
    bool parallel;
    double s = 0;
    double t = 0;

    template <typename T>
    LineWeights(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2,
                const vec3<T>& in_x3)
    {
        const vec3<T> d1 = in_x0 - in_x1;
        const vec3<T> d2 = in_x2 - in_x3;
        const vec3<T> between = in_x3 - in_x1;
        const Gram gram(d1, d2);
        parallel = gram.degenerate();
        if (!parallel) {
            const double r1 = dotInDouble(d1, between);
            const double r2 = dotInDouble(d2, between);
            s = (gram.c * r1 - gram.b * r2) / gram.determinant;
            t = (gram.b * r1 - gram.a * r2) / gram.determinant;
        }
    }
    /// Whether both points lie on the edges. NaN counts as inside and goes through to the result.
    bool onEdges() const { return !parallel && !(s < 0) && !(s > 1) && !(t < 0) && !(t > 1); }
    bool insideEdges() const { return !parallel && s > 0 && s < 1 && t > 0 && t < 1; }
};

template <typename T>
vec3<T> pointOnEdge(double in_s, const vec3<T>& in_x1, const vec3<T>& in_x2)
{
    vec3<T> point;
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] = static_cast<T>(in_s * in_x1[axis] + (1 - in_s) * in_x2[axis]);
    }
    return point;
}

template <typename T>
T distanceAt(const LineWeights& in_weights, const vec3<T>& in_x0, const vec3<T>& in_x1,
             const vec3<T>& in_x2, const vec3<T>& in_x3)
{
    return distance(pointOnEdge(in_weights.s, in_x0, in_x1),
                    pointOnEdge(in_weights.t, in_x2, in_x3));
}

template <typename T>
T edgeEdgeDistance(const vec3<T>& in_x0, const vec3<T>& in_x1, const vec3<T>& in_x2,
                   const vec3<T>& in_x3)
{
    const LineWeights weights(in_x0, in_x1, in_x2, in_x3);
    if (weights.onEdges()) {
        return distanceAt(weights, in_x0, in_x1, in_x2, in_x3);
    }
    return std::min({pointEdgeDistance(in_x0, in_x2, in_x3), pointEdgeDistance(in_x1, in_x2, in_x3),
                     pointEdgeDistance(in_x2, in_x0, in_x1),
                     pointEdgeDistance(in_x3, in_x0, in_x1)});
}

vec2f edgeWeights(double in_s)
{
    return {static_cast<float>(in_s), static_cast<float>(1 - in_s)};
}

}  // namespace

float point_edge_distance(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2)
{
    return pointEdgeDistance(in_x0, in_x1, in_x2);
}

double point_edge_distance(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2)
{
    return pointEdgeDistance(in_x0, in_x1, in_x2);
}

float point_edge_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2, vec2f& out_bc)
{
    float s = weightOnLine(in_x0, in_x1, in_x2);
    s = s < 0 ? 0.0f : s > 1 ? 1.0f : s;
    out_bc = {s, 1 - s};
    return distance(in_x0, s * in_x1 + (1 - s) * in_x2);
}

float point_triangle_distance(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                              const vec3f& in_x3)
{
    return pointTriangleDistance(in_x0, in_x1, in_x2, in_x3);
}

double point_triangle_distance(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2,
                               const vec3d& in_x3)
{
    return pointTriangleDistance(in_x0, in_x1, in_x2, in_x3);
}

float point_triangle_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                        const vec3f& in_x3, vec3f& out_bc)
{
    struct Closest {
        float distance;
        vec3f bc;
    };
    vec2f s;
    const auto on_12 = [&] {
        const float d = point_edge_bc(in_x0, in_x1, in_x2, s);
        return Closest{d, {s[0], s[1], 0}};
    };
    const auto on_23 = [&] {
        const float d = point_edge_bc(in_x0, in_x2, in_x3, s);
        return Closest{d, {0, s[0], s[1]}};
    };
    const auto on_31 = [&] {
        const float d = point_edge_bc(in_x0, in_x3, in_x1, s);
        return Closest{d, {s[1], 0, s[0]}};
    };
    // The later one wins a tie.
    const auto nearer = [](const Closest& in_a, const Closest& in_b) {
        return in_a.distance < in_b.distance ? in_a : in_b;
    };
    const auto give = [&](const Closest& in_closest) {
        out_bc = in_closest.bc;
        return in_closest.distance;
    };

    const ScaledWeights scaled(in_x0, in_x1, in_x2, in_x3);
    if (scaled.gram.degenerate()) {
        return give(nearer(nearer(on_12(), on_23()), on_31()));
    }
    const double w1 = scaled.w1 / scaled.gram.determinant;
    const double w2 = scaled.w2 / scaled.gram.determinant;
    const double w3 = 1 - w1 - w2;
    // NaN is on no edge's side and goes through to the result.
    if (!(w1 < 0) && !(w2 < 0) && !(w3 < 0)) {
        out_bc = {static_cast<float>(w1), static_cast<float>(w2), static_cast<float>(w3)};
        return distance(in_x0, pointOnTriangle(w1, in_x1, w2, in_x2, w3, in_x3));
    }
    if (w1 > 0) {
        return give(nearer(on_12(), on_31()));
    }
    if (w2 > 0) {
        return give(nearer(on_12(), on_23()));
    }
    return give(nearer(on_31(), on_23()));
}

float edge_edge_distance(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                         const vec3f& in_x3)
{
    return edgeEdgeDistance(in_x0, in_x1, in_x2, in_x3);
}

double edge_edge_distance(const vec3d& in_x0, const vec3d& in_x1, const vec3d& in_x2,
                          const vec3d& in_x3)
{
    return edgeEdgeDistance(in_x0, in_x1, in_x2, in_x3);
}

float edge_edge_bc(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2, const vec3f& in_x3,
                   vec2f& out_a, vec2f& out_b)
{
    const LineWeights weights(in_x0, in_x1, in_x2, in_x3);
    if (weights.onEdges()) {
        out_a = edgeWeights(weights.s);
        out_b = edgeWeights(weights.t);
        return distanceAt(weights, in_x0, in_x1, in_x2, in_x3);
    }
    const vec2f first = {1, 0};
    const vec2f second = {0, 1};
    vec2f bc;
    float nearest = point_edge_bc(in_x0, in_x2, in_x3, bc);
    out_a = first;
    out_b = bc;
    const auto offer = [&](float in_distance, const vec2f& in_a, const vec2f& in_b) {
        if (in_distance < nearest) {
            nearest = in_distance;
            out_a = in_a;
            out_b = in_b;
        }
    };
    float offered = point_edge_bc(in_x1, in_x2, in_x3, bc);
    offer(offered, second, bc);
    offered = point_edge_bc(in_x2, in_x0, in_x1, bc);
    offer(offered, bc, first);
    offered = point_edge_bc(in_x3, in_x0, in_x1, bc);
    offer(offered, bc, second);
    return nearest;
}

bool edge_edge_distance_interior(const vec3f& in_x0, const vec3f& in_x1, const vec3f& in_x2,
                                 const vec3f& in_x3, float& out_distance)
{
    const LineWeights weights(in_x0, in_x1, in_x2, in_x3);
    if (!weights.insideEdges()) {
        return false;
    }
    out_distance = distanceAt(weights, in_x0, in_x1, in_x2, in_x3);
    return true;
}

}  // namespace Skelvar
