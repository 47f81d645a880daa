#pragma once

#include <skelvar/base/ValueTypes.h>

#include <vector>

namespace Bench {

using Skelvar::vec3f;
using Skelvar::vec3i;

// Seeded inputs of the benchmarks. Every number comes from + - * /, square roots and integer
// hashing, so that each compiler and each C library gives the same bits.
//
// A cell has edge 1: cell (i, j, k) covers [i, i+1) x [j, j+1) x [k, k+1), and its value stands at
// its centre. A library whose values stand at integer positions keeps the value of cell (i, j, k)
// at (i, j, k).

/// A stream of random numbers (the splitmix64 generator). One thread.
class Random {
public:
    explicit Random(unsigned long long in_seed) : m_state(in_seed) {}

    unsigned long long next();
    /// In [-1, 1).
    double symmetric();
    /// Uniform on the unit sphere, by rejection in the cube.
    void direction(double (&out_direction)[3]);

private:
    unsigned long long m_state;
};

/// The number of a cell in [-1, 1): white noise, the same for each caller.
double cellHash(int in_i, int in_j, int in_k, unsigned long long in_seed);
/// Noise in [-1, 1] on a hashed lattice of spacing 1, trilinear with smoothstep weights.
double valueNoise(double in_x, double in_y, double in_z, unsigned long long in_seed);

/// A million points about the surface of a bumpy ball of radius 600, in random order: a random
/// direction d, and the radius 600 + 12 noise(8 d) + 1.5 random.
std::vector<vec3f> shellPoints();
/// `shellPoints` in the order of the blocks of 8^3 cells that hold them, z slowest.
std::vector<vec3f> orderedShellPoints();

constexpr double kBandRadius = 300.0;
constexpr float kBandHalfWidth = 3.0f;
/// No cell of the band is farther from the surface of the plain ball, in cells.
constexpr double kBandReach = 8.0;

/// Distance like field of a bumpy ball of radius 300 about the origin. A cell belongs to the narrow
/// band if the field at its centre is within (-3, 3): about 6.8 million cells.
float bandDistance(double in_x, double in_y, double in_z);
/// The field at the centre of a cell.
float bandDistance(const vec3i& in_cell);
bool isInBand(float in_distance);
bool isInBand(const vec3i& in_cell);

/// A million positions within 1.5 cells of the band's surface, in random order.
std::vector<vec3f> bandRandomPositions();
/// A million positions in walks of 1000 steps of a quarter of a cell along the surface.
std::vector<vec3f> bandWalkPositions();
/// The cells that hold the positions.
std::vector<vec3i> cellsOf(const std::vector<vec3f>& in_positions);

/// Particles spread evenly in a ball about the origin that holds eight a cell, in random order.
std::vector<vec3f> particles(std::size_t in_count);
/// The way of a particle in one step: a swirl about z, a vertical shear, and a jitter of a quarter
/// of a cell; at most 1.63 cells for a million particles. A function of the position alone.
vec3f displacement(const vec3f& in_position);

constexpr double kFloatBallRadius = 184.0;  ///< 26.1 million cells, 104 MB of float
constexpr double kVec3BallRadius = 128.0;   ///< 8.8 million cells, 105 MB of vec3f
constexpr unsigned long long kFloatBallSeed = 300;
constexpr unsigned long long kVec3BallSeed = 400;  ///< and 410, 420 for the next components

/// Whether the centre of a cell lies inside the ball of that radius about the origin.
bool isInBall(double in_radius, const vec3i& in_cell);
/// Density of a cell as a simulation leaves it: 1 and three octaves of noise (spacings 48, 24, 12),
/// and white noise of 2^-12, which makes the low bits of each mantissa incompressible.
float ballDensity(const vec3i& in_cell, unsigned long long in_seed);

constexpr double kPoissonRadius = 62.04;  ///< 1,000,611 cells

/// The right-hand side at a cell of that ball: noise of spacing 16 and a tenth of white noise.
float poissonSource(const vec3i& in_cell);

}  // namespace Bench
