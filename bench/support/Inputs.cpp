#include <bench/support/Inputs.h>

#include <algorithm>
#include <cmath>

namespace Bench {

namespace {

constexpr unsigned long long kGolden = 0x9E3779B97F4A7C15ull;
constexpr double kTwoToMinus53 = 1.0 / 9007199254740992.0;
constexpr std::size_t kPointCount = 1000000;

unsigned long long mix(unsigned long long in_word)
{
    in_word = (in_word ^ (in_word >> 30)) * 0xBF58476D1CE4E5B9ull;
    in_word = (in_word ^ (in_word >> 27)) * 0x94D049BB133111EBull;
    return in_word ^ (in_word >> 31);
}

unsigned long long widened(int in_number)
{
    return static_cast<unsigned int>(in_number);
}

double smoothstep(double in_t)
{
    return in_t * in_t * (3.0 - 2.0 * in_t);
}

double mixed(double in_a, double in_b, double in_t)
{
    return in_a + (in_b - in_a) * in_t;
}

double dot(const double (&in_a)[3], const double (&in_b)[3])
{
    return in_a[0] * in_b[0] + in_a[1] * in_b[1] + in_a[2] * in_b[2];
}

vec3f rounded(const double (&in_point)[3])
{
    return {static_cast<float>(in_point[0]), static_cast<float>(in_point[1]),
            static_cast<float>(in_point[2])};
}

/// A random place on the ball and a unit tangent there.
void startWalk(Random& io_random, double (&out_place)[3], double (&out_tangent)[3])
{
    double outward[3];
    double other[3];
    io_random.direction(outward);
    io_random.direction(other);
    const double along = dot(outward, other);
    double square = 0.0;
    for (int a = 0; a < 3; ++a) {
        out_place[a] = kBandRadius * outward[a];
        out_tangent[a] = other[a] - along * outward[a];
        square += out_tangent[a] * out_tangent[a];
    }
    const double scale = 1.0 / std::sqrt(square > 1e-12 ? square : 1.0);
    for (double& component : out_tangent) {
        component *= scale;
    }
}

/// Blocks of 8^3 cells in the order z, y, x.
unsigned long long blockOf(const vec3f& in_point)
{
    unsigned long long key = 0;
    for (int a = 2; a >= 0; --a) {
        key = (key << 20) | widened((static_cast<int>(std::floor(in_point[a])) + 4096) >> 3);
    }
    return key;
}

}  // namespace

unsigned long long Random::next()
{
    m_state += kGolden;
    return mix(m_state);
}

double Random::symmetric()
{
    return 2.0 * (static_cast<double>(next() >> 11) * kTwoToMinus53) - 1.0;
}

void Random::direction(double (&out_direction)[3])
{
    double square = 0.0;
    do {
        for (double& component : out_direction) {
            component = symmetric();
        }
        square = dot(out_direction, out_direction);
    } while (square > 1.0 || square < 1e-4);
    const double scale = 1.0 / std::sqrt(square);
    for (double& component : out_direction) {
        component *= scale;
    }
}

double cellHash(int in_i, int in_j, int in_k, unsigned long long in_seed)
{
    unsigned long long hash = in_seed;
    hash = mix(hash + kGolden * widened(in_i) + 1);
    hash = mix(hash + kGolden * widened(in_j) + 2);
    hash = mix(hash + kGolden * widened(in_k) + 3);
    return static_cast<double>(hash >> 11) * (2.0 * kTwoToMinus53) - 1.0;
}

double valueNoise(double in_x, double in_y, double in_z, unsigned long long in_seed)
{
    const double floors[3] = {std::floor(in_x), std::floor(in_y), std::floor(in_z)};
    const int i = static_cast<int>(floors[0]);
    const int j = static_cast<int>(floors[1]);
    const int k = static_cast<int>(floors[2]);
    const double u = smoothstep(in_x - floors[0]);
    double plane[2];
    for (int c = 0; c < 2; ++c) {
        double row[2];
        for (int b = 0; b < 2; ++b) {
            row[b] = mixed(cellHash(i, j + b, k + c, in_seed),
                           cellHash(i + 1, j + b, k + c, in_seed), u);
        }
        plane[c] = mixed(row[0], row[1], smoothstep(in_y - floors[1]));
    }
    return mixed(plane[0], plane[1], smoothstep(in_z - floors[2]));
}

std::vector<vec3f> shellPoints()
{
    Random random(101);
    std::vector<vec3f> points(kPointCount);
    for (vec3f& point : points) {
        double d[3];
        random.direction(d);
        const double radius =
            600.0 + 12.0 * valueNoise(8 * d[0], 8 * d[1], 8 * d[2], 102) + 1.5 * random.symmetric();
        point = rounded({radius * d[0], radius * d[1], radius * d[2]});
    }
    return points;
}

std::vector<vec3f> orderedShellPoints()
{
    std::vector<vec3f> points = shellPoints();
    std::stable_sort(points.begin(), points.end(), [](const vec3f& in_a, const vec3f& in_b) {
        return blockOf(in_a) < blockOf(in_b);
    });
    return points;
}

float bandDistance(double in_x, double in_y, double in_z)
{
    const double length = std::sqrt(in_x * in_x + in_y * in_y + in_z * in_z);
    return static_cast<float>(length - kBandRadius -
                              4.0 * valueNoise(in_x / 64.0, in_y / 64.0, in_z / 64.0, 202));
}

float bandDistance(const vec3i& in_cell)
{
    return bandDistance(in_cell[0] + 0.5, in_cell[1] + 0.5, in_cell[2] + 0.5);
}

bool isInBand(float in_distance)
{
    return in_distance > -kBandHalfWidth && in_distance < kBandHalfWidth;
}

bool isInBand(const vec3i& in_cell)
{
    double square = 0.0;
    for (int a = 0; a < 3; ++a) {
        square += (in_cell[a] + 0.5) * (in_cell[a] + 0.5);
    }
    constexpr double kOuter = kBandRadius + kBandReach;
    constexpr double kInner = kBandRadius - kBandReach;
    return square > kInner * kInner && square < kOuter * kOuter && isInBand(bandDistance(in_cell));
}

std::vector<vec3f> bandRandomPositions()
{
    Random random(203);
    std::vector<vec3f> positions;
    positions.reserve(kPointCount);
    while (positions.size() < kPointCount) {
        double d[3];
        random.direction(d);
        const double radius = kBandRadius + 5.5 * random.symmetric();
        const double place[3] = {radius * d[0], radius * d[1], radius * d[2]};
        if (std::abs(bandDistance(place[0], place[1], place[2])) < 1.5f) {
            positions.push_back(rounded(place));
        }
    }
    return positions;
}

std::vector<vec3f> bandWalkPositions()
{
    constexpr std::size_t kStepsPerWalk = 1000;
    Random random(204);
    std::vector<vec3f> positions;
    positions.reserve(kPointCount);
    double place[3] = {};
    double tangent[3] = {};
    while (positions.size() < kPointCount) {
        if (positions.size() % kStepsPerWalk == 0) {
            startWalk(random, place, tangent);
        }
        for (int a = 0; a < 3; ++a) {
            place[a] += 0.25 * tangent[a];
        }
        // One Newton step along the radius brings the place back to the surface.
        const double length = std::sqrt(dot(place, place));
        const double scale = 1.0 - bandDistance(place[0], place[1], place[2]) / length;
        for (double& component : place) {
            component *= scale;
        }
        positions.push_back(rounded(place));
    }
    return positions;
}

std::vector<vec3i> cellsOf(const std::vector<vec3f>& in_positions)
{
    std::vector<vec3i> cells;
    cells.reserve(in_positions.size());
    for (const vec3f& p : in_positions) {
        cells.push_back({static_cast<int>(std::floor(p[0])), static_cast<int>(std::floor(p[1])),
                         static_cast<int>(std::floor(p[2]))});
    }
    return cells;
}

bool isInBall(double in_radius, const vec3i& in_cell)
{
    double square = 0.0;
    for (int a = 0; a < 3; ++a) {
        square += (in_cell[a] + 0.5) * (in_cell[a] + 0.5);
    }
    return square < in_radius * in_radius;
}

float ballDensity(const vec3i& in_cell, unsigned long long in_seed)
{
    const double x = in_cell[0] + 0.5;
    const double y = in_cell[1] + 0.5;
    const double z = in_cell[2] + 0.5;
    return static_cast<float>(1.0 + 0.5 * valueNoise(x / 48, y / 48, z / 48, in_seed) +
                              0.25 * valueNoise(x / 24, y / 24, z / 24, in_seed + 1) +
                              0.125 * valueNoise(x / 12, y / 12, z / 12, in_seed + 2) +
                              cellHash(in_cell[0], in_cell[1], in_cell[2], in_seed + 3) / 4096.0);
}

float poissonSource(const vec3i& in_cell)
{
    const double smooth =
        valueNoise((in_cell[0] + 0.5) / 16, (in_cell[1] + 0.5) / 16, (in_cell[2] + 0.5) / 16, 700);
    return static_cast<float>(smooth + 0.1 * cellHash(in_cell[0], in_cell[1], in_cell[2], 701));
}

std::vector<vec3f> particles(std::size_t in_count)
{
    constexpr unsigned long long kSeed = 501;
    constexpr double kPi = 3.14159265358979323846;
    const double cube = 3.0 * static_cast<double>(in_count) / (32.0 * kPi);
    double radius = std::max(cube, 1.0);
    for (int n = 0; n < 100; ++n) {
        radius = (2.0 * radius + cube / (radius * radius)) / 3.0;
    }
    Random random(kSeed);
    std::vector<vec3f> points;
    points.reserve(in_count);
    while (points.size() < in_count) {
        double p[3];
        for (double& component : p) {
            component = random.symmetric();
        }
        if (dot(p, p) < 1.0) {
            points.push_back({static_cast<float>(radius * p[0]), static_cast<float>(radius * p[1]),
                              static_cast<float>(radius * p[2])});
        }
    }
    return points;
}

vec3f displacement(const vec3f& in_position)
{
    constexpr unsigned long long kFactors[3] = {0x9E3779B1u, 0x85EBCA77ull, 0xC2B2AE3Dull};
    constexpr float kJitter = 0.25f / 1048576.0f;
    unsigned long long word = 601;
    for (int a = 0; a < 3; ++a) {
        word += widened(static_cast<int>(in_position[a] * 256)) * kFactors[a];
    }
    word = mix(word);
    const vec3f flow = {-0.04f * in_position[1], 0.04f * in_position[0], 0.01f * in_position[0]};
    vec3f way{};
    for (int a = 0; a < 3; ++a) {
        const int noise = static_cast<int>(word >> (21 * a) & 0x1FFFFF) - 1048576;
        way[a] = flow[a] + kJitter * static_cast<float>(noise);
    }
    return way;
}

}  // namespace Bench
