// Carries a disc of particles round in a vortex that turns back half-way, so that each ends where
// it began: fills a shape, moves particles from tile to tile, writes frames and a strip of
// pictures.

#include <skelvar/io/Kvf.h>
#include <skelvar/particles/ParticleBins.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/RefineLayout.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/Progress.h>
#include <tools/kvf/picture/Canvas.h>
#include <tools/kvf/picture/ColorMap.h>

#include <tbb/parallel_for.h>

#include <cmath>
#include <filesystem>
#include <iostream>

using namespace Skelvar;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kSteps = 100;
constexpr double kPeriod = 8.0;
constexpr float kCells = 100.0f;  ///< the unit square of the field in cells
constexpr int kPicture = 240;     ///< pixels

using vec2d = orvel::Math::vec<2, double>;

/// The single vortex on the unit square (Bell, Colella, Glaz 1989; with LeVeque's turn in time).
vec2d flow(const vec2d& in_p, double in_time)
{
    const double sx = std::sin(kPi * in_p[0]), sy = std::sin(kPi * in_p[1]);
    const double turn = std::cos(kPi * in_time / kPeriod);
    return {-turn * sx * sx * std::sin(2.0 * kPi * in_p[1]),
            turn * sy * sy * std::sin(2.0 * kPi * in_p[0])};
}

/// Carries a position, in cells, through one time step: some steps of Runge and Kutta.
void advect(vec3f& io_position, double in_time, double in_step)
{
    constexpr int kParts = 4;
    const double h = in_step / kParts;
    vec2d p = {io_position[0] / kCells, io_position[1] / kCells};
    for (int n = 0; n < kParts; ++n) {
        const double t = in_time + n * h;
        const vec2d a = flow(p, t);
        const vec2d b = flow(p + a * (0.5 * h), t + 0.5 * h);
        const vec2d c = flow(p + b * (0.5 * h), t + 0.5 * h);
        p += (a + (b + c) * 2.0 + flow(p + c * h, t + h)) * (h / 6.0);
    }
    io_position[0] = static_cast<float>(p[0]) * kCells;
    io_position[1] = static_cast<float>(p[1]) * kCells;
}

/// A disc of particles, four a cell, in one layer.
std::vector<vec3f> makeDisc()
{
    std::vector<vec3f> points;
    for (float y = 60.25f; y < 90.0f; y += 0.5f) {
        for (float x = 35.25f; x < 65.0f; x += 0.5f) {
            if (std::hypot(x - 50.0f, y - 75.0f) < 15.0f) {
                points.push_back({x, y, 0.5f});
            }
        }
    }
    return points;
}

/// One picture of the strip: a dot for each particle, coloured by its number.
void draw(const ParticleChannel<vec3f>& in_position,
          const ParticleChannel<unsigned long long>& in_id, int in_place, Tool::Canvas& io_strip)
{
    const float scale = kPicture / kCells;
    const float count = static_cast<float>(in_position.numElements());
    io_strip.frame(in_place * kPicture, 0, kPicture, kPicture, Tool::kFaint);
    for (int n = 0; n < in_position.numTiles(kMaxTileDepth); ++n) {
        for (unsigned long i = 0; i < in_position.tile(n, kMaxTileDepth).size(); ++i) {
            const vec3f& p = in_position(n, kMaxTileDepth, i);
            const float part = static_cast<float>(in_id(n, kMaxTileDepth, i)) / count;
            io_strip.set(in_place * kPicture + static_cast<int>(p[0] * scale),
                         kPicture - 1 - static_cast<int>(p[1] * scale),
                         Tool::sequentialColor(part));
        }
    }
}

}  // namespace

int main()
{
    const std::vector<vec3f> start = makeDisc();
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "swirl", written;
    std::shared_ptr<ParticleShape> shape;
    state->newObject(object);
    state->newVoxelLayout("swirl-layout", 1.0f / kCells);
    state->newParticleShape("swirl-drops", "swirl-layout", &object, shape);
    state->newParticleChannel<vec3f>("position", "swirl-drops", {});
    state->newParticleChannel<unsigned long long>("id", "swirl-drops", 0);
    std::shared_ptr<ParticleChannel<vec3f>> position;
    std::shared_ptr<ParticleChannel<unsigned long long>> id;
    state->particleChannel("position", shape, &position, VoxelState::eHintDoNotCopy);
    state->particleChannel("id", shape, &id, VoxelState::eHintDoNotCopy);

    std::vector<unsigned long long> numbers;
    for (std::size_t n = 0; n < start.size(); ++n) {
        numbers.push_back(shape->nextParticleId());
    }
    const ParticleBins bins(start.data(), start.size());
    bins.addTiles(shape->layout());
    bins.append(start.data(), *position);
    bins.append(numbers.data(), *id);
    position->syncShapeParticleCounts();

    std::filesystem::create_directories("out");
    Tool::Canvas strip(5 * kPicture, kPicture, Tool::kPaper);
    draw(*position, *id, 0, strip);
    bool ok = true;
    {
        Tool::Progress progress("Swirling", kSteps);
        for (int step = 0; step < kSteps; ++step) {
            tbb::parallel_for(0, position->numTiles(kMaxTileDepth), [&](int n) {
                for (vec3f& p : position->tile(n, kMaxTileDepth)) {
                    advect(p, step * kPeriod / kSteps, kPeriod / kSteps);
                }
            });
            // Tiles where particles have come to, and then each particle into its tile.
            VoxelLayout& layout = shape->layout();
            refineLayout(&layout, &layout, static_cast<VoxelShape*>(nullptr), shape.get(), 0.0f,
                         eOffsetCorner);
            reblockByPosition(*position);
            ok = ok && kvfSave(*state, "out/swirl.@@@@.kvf", "swirl-drops", {"position", "id"},
                               step + 1, eQualityLossless, written);
            if ((step + 1) % 25 == 0) {
                draw(*position, *id, (step + 1) / 25, strip);
            }
            progress.advance(1);
        }
    }
    double largest = 0.0;
    for (int n = 0; n < id->numTiles(kMaxTileDepth); ++n) {
        for (unsigned long i = 0; i < id->tile(n, kMaxTileDepth).size(); ++i) {
            const vec3f away = (*position)(n, kMaxTileDepth, i) -
                               start[static_cast<std::size_t>((*id)(n, kMaxTileDepth, i))];
            largest = std::max(largest, std::sqrt(static_cast<double>(dot(away, away))));
        }
    }
    std::string reason;
    ok = strip.writePng("out/swirl.png", reason) && ok;
    std::cout << shape->numParticles() << " of " << start.size() << " particles, "
              << (ok ? kSteps : 0) << " frames, last " << written << "\n"
              << "largest distance from the start " << largest << " cells\n"
              << "picture out/swirl.png\n";
    return ok ? 0 : 1;
}
