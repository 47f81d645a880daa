// Particles: filling tiles, moving and removing particles, and what a step costs that moves none.

#include <bench/support/Harness.h>
#include <bench/support/ParticleSource.h>

#include <skelvar/particles/ParticleBins.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/RefineLayout.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using Bench::vec3f;
using Skelvar::kMaxTileDepth;
using Skelvar::ParticleChannel;
using Skelvar::ParticleShape;
using Skelvar::VoxelLayout;

/// Particles with the three channels of the peer.
struct Particles {
    std::shared_ptr<VoxelLayout> layout = std::make_shared<VoxelLayout>("tree");
    std::shared_ptr<ParticleShape> shape = std::make_shared<ParticleShape>("particles");
    std::shared_ptr<ParticleChannel<vec3f>> position;
    std::shared_ptr<ParticleChannel<vec3f>> velocity;
    std::shared_ptr<ParticleChannel<unsigned long long>> id;

    Particles()
    {
        shape->setLayout(layout);
        position = std::make_shared<ParticleChannel<vec3f>>("position", shape, vec3f{});
        velocity = std::make_shared<ParticleChannel<vec3f>>("velocity", shape, vec3f{});
        id = std::make_shared<ParticleChannel<unsigned long long>>("id", shape, 0);
        shape->addChannel(position);
        shape->addChannel(velocity);
        shape->addChannel(id);
    }
    explicit Particles(const Bench::ParticleSource& in_source) : Particles()
    {
        const Skelvar::ParticleBins bins(in_source.positions.data(), in_source.positions.size());
        bins.addTiles(*layout);
        bins.append(in_source.positions.data(), *position);
        bins.append(in_source.velocities.data(), *velocity);
        bins.append(in_source.ids.data(), *id);
        position->syncShapeParticleCounts();
    }

    template <typename Body>
    void forTiles(const Body& in_body)
    {
        tbb::parallel_for(tbb::blocked_range<int>(0, position->numTiles(kMaxTileDepth)),
                          [&](const tbb::blocked_range<int>& in_range) {
                              for (int n = in_range.begin(); n < in_range.end(); ++n) {
                                  in_body(n);
                              }
                          });
    }
    void displace()
    {
        forTiles([&](int in_tile) {
            for (vec3f& p : position->tile(in_tile, kMaxTileDepth)) {
                p += Bench::displacement(p);
            }
        });
    }
    void refine()
    {
        Skelvar::refineLayout(layout.get(), layout.get(),
                              static_cast<Skelvar::VoxelShape*>(nullptr), shape.get(), 0.0f,
                              Skelvar::eOffsetCorner);
    }
};

std::unique_ptr<Particles> s_particles;

/// Resident memory of the process.
double residentBytes()
{
    long pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        long total = 0;
        if (std::fscanf(file, "%ld %ld", &total, &pages) != 2) {
            pages = 0;
        }
        std::fclose(file);
    }
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void addMemoryJob(std::size_t in_count, const std::string& in_size)
{
    constexpr double kPayload = 2 * sizeof(vec3f) + sizeof(unsigned long long);
    static double s_before = 0.0;
    Bench::add({"particles.memory." + in_size + "/skelvar", 2, "of payload",
                [=] {
                    // The printed figure is a rate; this one is not.
                    Bench::print(
                        "particles.memory.resident." + in_size + "/skelvar/2t",
                        (residentBytes() - s_before) / (kPayload * static_cast<double>(in_count)),
                        "of payload");
                    return 1.0;
                },
                [=] { s_particles = std::make_unique<Particles>(Bench::particleSource(in_count)); },
                [=] {
                    Bench::particleSource(in_count);
                    s_before = residentBytes();
                },
                1});
}

void addJobs(std::size_t in_count, const std::string& in_size, int in_threads)
{
    const auto work = [=] { return static_cast<double>(in_count) * 1e-6; };
    const auto job = [&](const std::string& in_name) {
        return "particles." + in_name + "." + in_size + "/skelvar";
    };
    const auto build = [=] {
        s_particles = std::make_unique<Particles>(Bench::particleSource(in_count));
    };
    Bench::add({job("build.posvelid"), in_threads, "Mpoints/s", work, build,
                [=] { s_particles = nullptr, Bench::particleSource(in_count); }, 3});
    Bench::add({job("move.posvelid"), in_threads, "Mpoints/s", work,
                [] {
                    s_particles->displace();
                    s_particles->refine();
                    Skelvar::reblockByPosition(*s_particles->position);
                },
                build, 3});
    Bench::add({job("displace"), in_threads, "Mpoints/s", work, [] { s_particles->displace(); },
                build, 3});
    Bench::add({job("reblock"), in_threads, "Mpoints/s", work,
                [] { Skelvar::reblockByPosition(*s_particles->position); },
                [=] {
                    build();
                    s_particles->displace();
                    s_particles->refine();
                },
                3});
    Bench::add({job("reblock.none"), in_threads, "Mpoints/s", work,
                [] { Skelvar::reblockByPosition(*s_particles->position); }, build, 5});
    Bench::add({job("readpositions"), in_threads, "Mpoints/s", work,
                [] {
                    s_particles->forTiles([&](int in_tile) {
                        float sum[4] = {};
                        for (const vec3f& p : s_particles->position->tile(in_tile, kMaxTileDepth)) {
                            sum[0] += p[0];
                            sum[1] += p[1];
                            sum[2] += p[2];
                        }
                        Bench::keep(sum[0] + sum[1] + sum[2]);
                    });
                },
                build, 5});
    Bench::add({job("refine"), in_threads, "Mpoints/s", work, [] { s_particles->refine(); },
                [=] {
                    build();
                    s_particles->displace();
                },
                3});
    Bench::add({job("delete10pct.posvelid"), in_threads, "Mpoints/s", work,
                [] {
                    auto accessor = s_particles->id->accessor();
                    s_particles->forTiles([&](int in_tile) {
                        const auto& ids = s_particles->id->tile(in_tile, kMaxTileDepth);
                        for (unsigned long n = 0; n < ids.size(); ++n) {
                            if (ids[n] % 10 == 7) {
                                accessor.removeElement(in_tile, kMaxTileDepth, n);
                            }
                        }
                    });
                    accessor.update();
                },
                build, 3});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addMemoryJob(8000000, "8e6");
    for (const int threads : {1, 2}) {
        addJobs(1000000, "1e6", threads);
        addJobs(8000000, "8e6", threads);
    }
    return Bench::runAll(in_argc, in_argv);
}
