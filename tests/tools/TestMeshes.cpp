#include <tests/tools/TestMeshes.h>

#include <skelvar/numerics/Distance.h>

#include <tools/kvf/geometry/Vectors.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace Skelvar::Tool::Test {

TriangleMesh makeCube(float in_half)
{
    TriangleMesh mesh;
    for (int v = 0; v < 8; ++v) {
        mesh.vertices.push_back({(v & 1) != 0 ? in_half : -in_half,
                                 (v & 2) != 0 ? in_half : -in_half,
                                 (v & 4) != 0 ? in_half : -in_half});
    }
    const int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                             {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& quad : quads) {
        mesh.triangles.push_back({quad[0], quad[1], quad[2]});
        mesh.triangles.push_back({quad[0], quad[2], quad[3]});
    }
    return mesh;
}

TriangleMesh makeBall(int in_rings, bool in_closed)
{
    const int parts = 2 * in_rings;
    TriangleMesh mesh;
    const auto vertex = [&](int in_ring, int in_part) {
        return 1 + (in_ring - 1) * parts + in_part % parts;
    };
    mesh.vertices.push_back({0.0f, 0.0f, 1.0f});
    for (int ring = 1; ring < in_rings; ++ring) {
        const double down = std::numbers::pi * ring / in_rings;
        for (int part = 0; part < parts; ++part) {
            const double around = 2.0 * std::numbers::pi * part / parts;
            mesh.vertices.push_back({float(std::sin(down) * std::cos(around)),
                                     float(std::sin(down) * std::sin(around)),
                                     float(std::cos(down))});
        }
    }
    const int bottom = static_cast<int>(mesh.vertices.size());
    mesh.vertices.push_back({0.0f, 0.0f, -1.0f});
    for (int part = 0; part < parts; ++part) {
        if (in_closed) {
            mesh.triangles.push_back({0, vertex(1, part), vertex(1, part + 1)});
        }
        for (int ring = in_closed ? 1 : 2; ring + 1 < in_rings; ++ring) {
            const int a = vertex(ring, part), b = vertex(ring, part + 1);
            const int c = vertex(ring + 1, part), d = vertex(ring + 1, part + 1);
            mesh.triangles.push_back({a, c, d});
            mesh.triangles.push_back({a, d, b});
        }
        mesh.triangles.push_back(
            {bottom, vertex(in_rings - 1, part + 1), vertex(in_rings - 1, part)});
    }
    return mesh;
}

double bruteDistance(const TriangleMesh& in_mesh, const vec3f& in_point)
{
    double least = std::numeric_limits<double>::infinity();
    for (const vec3i& t : in_mesh.triangles) {
        least = std::min(least, point_triangle_distance(
                                    widen(in_point), widen(in_mesh.vertices[t[0]]),
                                    widen(in_mesh.vertices[t[1]]), widen(in_mesh.vertices[t[2]])));
    }
    return least;
}

double bruteWinding(const TriangleMesh& in_mesh, const vec3f& in_point)
{
    double winding = 0.0;
    for (const vec3i& t : in_mesh.triangles) {
        vec3d to[3];
        double far[3];
        for (int c = 0; c < 3; ++c) {
            to[c] = widen(in_mesh.vertices[t[c]]) - widen(in_point);
            far[c] = std::sqrt(dot(to[c], to[c]));
        }
        winding += 2.0 * std::atan2(dot(to[0], cross(to[1], to[2])),
                                    far[0] * far[1] * far[2] + dot(to[0], to[1]) * far[2] +
                                        dot(to[1], to[2]) * far[0] + dot(to[2], to[0]) * far[1]);
    }
    return winding / (4.0 * std::numbers::pi);
}

int countParts(const std::vector<char>& in_inside, int in_side)
{
    std::vector<char> seen(in_inside.size(), 0);
    std::vector<int> open;
    int parts = 0;
    for (int start = 0; start < static_cast<int>(in_inside.size()); ++start) {
        if (seen[start] != 0) {
            continue;
        }
        ++parts;
        open.assign(1, start);
        seen[start] = 1;
        while (!open.empty()) {
            const int at = open.back();
            open.pop_back();
            const int place[3] = {at % in_side, at / in_side % in_side, at / (in_side * in_side)};
            const int step[3] = {1, in_side, in_side * in_side};
            for (int axis = 0; axis < 3; ++axis) {
                for (const int sign : {-1, 1}) {
                    const int moved = place[axis] + sign;
                    const int next = at + sign * step[axis];
                    if (moved >= 0 && moved < in_side && seen[next] == 0 &&
                        in_inside[next] == in_inside[at]) {
                        seen[next] = 1;
                        open.push_back(next);
                    }
                }
            }
        }
    }
    return parts;
}

}  // namespace Skelvar::Tool::Test
