// A channel of the narrow band: growing, filling, scaling, copying, averaging, and its memory, each
// beside a plain loop over as many bytes.

#include <bench/support/Harness.h>
#include <bench/support/Memory.h>
#include <bench/support/Scene.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

#include <functional>
#include <memory>
#include <string>

namespace {

using Channel = Skelvar::VoxelChannel<float>;
using Skelvar::kMaxTileDepth;
using Skelvar::kNumDepths;

/// Bytes of all tiles of the band's channel.
std::size_t channelBytes()
{
    return Bench::bandScene().channel->numElements() * sizeof(float);
}

double channelGigabytes()
{
    return static_cast<double>(channelBytes()) * 1e-9;
}

/// Only what a user asked for: the cells of the band.
double usefulGigabytes()
{
    return Bench::bandCells() * sizeof(float) * 1e-9;
}

/// A copy of the band's channel that the jobs write to.
Channel& target()
{
    static const std::shared_ptr<Channel> s_channel =
        std::static_pointer_cast<Channel>(Bench::bandScene().channel->copy(true, false));
    return *s_channel;
}

Bench::MemoryBlock& block(int in_number, std::size_t in_bytes)
{
    static Bench::MemoryBlock s_blocks[3];
    if (s_blocks[in_number].size() != in_bytes) {
        s_blocks[in_number].resize(in_bytes);
        Bench::fillParallel(s_blocks[in_number], 1);
    }
    return s_blocks[in_number];
}

/// x := s x + t on the tiles of one depth, as a user would write it.
void scale(Channel& io_channel, int in_depth, float in_s, float in_t)
{
    float* const values = io_channel.tiles(in_depth).data()->data();
    const long long count = io_channel.tiles(in_depth).size() * Skelvar::kTileSize;
    tbb::parallel_for(tbb::blocked_range<long long>(0, count, 1 << 18),
                      [=](const tbb::blocked_range<long long>& in_range) {
                          for (long long n = in_range.begin(); n != in_range.end(); ++n) {
                              values[n] = values[n] * in_s + in_t;
                          }
                      });
}

void scaleAll(Channel& io_channel)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        if (io_channel.numTiles(depth) > 0) {
            scale(io_channel, depth, 1.0001f, 0.5f);
        }
    }
}

/// Sum of the averages of all tiles.
double sumOfAverages(const Channel& in_channel)
{
    double sum = 0.0;
    for (int depth = 0; depth < kNumDepths; ++depth) {
        const auto& tiles = in_channel.tiles(depth);
        sum += tbb::parallel_reduce(
            tbb::blocked_range<long long>(0, tiles.size(), 1024), 0.0,
            [&](const tbb::blocked_range<long long>& in_range, double in_sum) {
                for (long long n = in_range.begin(); n != in_range.end(); ++n) {
                    in_sum += tiles[n].computeTileAverage();
                }
                return in_sum;
            },
            std::plus<>());
    }
    return sum;
}

/// A job over the bytes of the channel, and over its useful cells under the name that peers use.
void addPair(const std::string& in_job, const std::function<void()>& in_run)
{
    const auto prepare = [] { target(); };
    Bench::add({"channel." + in_job + "/skelvar", 2, "GB/s", channelGigabytes, in_run, prepare, 9});
    Bench::add({"bulk." + in_job + "/skelvar", 2, "GB/s", usefulGigabytes, in_run, prepare, 9});
}

void addPlain(const std::string& in_job, const std::function<void()>& in_run)
{
    Bench::add({"channel." + in_job, 2, "GB/s", channelGigabytes, in_run,
                [] {
                    block(0, channelBytes());
                    block(1, channelBytes());
                },
                9});
}

void addWriteJobs()
{
    addPair("fill", [] { target().set(1.5f, 0, kMaxTileDepth); });
    addPlain("fill/memset", [] { Bench::fillParallel(block(0, channelBytes()), 2); });
    addPair("scale", [] { scaleAll(target()); });
    // In-place scaling reads and writes each byte once, the triad reads two arrays and writes one:
    // with arrays of two thirds of the channel both move twice the channel's bytes.
    Bench::add({"channel.scale/triad", 2, "GB/s", channelGigabytes,
                [] {
                    const std::size_t bytes = channelBytes() * 2 / 3;
                    Bench::triadParallel(block(0, bytes), block(1, bytes), 1.5f, block(2, bytes));
                },
                [] {
                    for (int number = 0; number < 3; ++number) {
                        block(number, channelBytes() * 2 / 3);
                    }
                },
                9});
}

void addCopyJobs()
{
    Bench::add({"channel.set/skelvar", 2, "GB/s", channelGigabytes,
                [] { target().set(*Bench::bandScene().channel); }, [] { target(); }, 9});
    addPlain("set/memcpy", [] {
        Bench::copyParallel(block(0, channelBytes()), block(1, channelBytes()), channelBytes());
    });
    addPair("deepcopy",
            [] { Bench::keep(Bench::bandScene().channel->copy(true, false)->numTiles()); });
    // The same into fresh memory, which the system has to hand out page by page.
    addPlain("deepcopy/memcpy", [] {
        Bench::MemoryBlock fresh;
        fresh.resize(channelBytes());
        Bench::copyParallel(block(0, channelBytes()), fresh, channelBytes());
    });
}

/// A channel joins a shape whose layout stands, takes its size and fills itself.
void addGrowJob()
{
    static std::shared_ptr<Channel> s_channel;
    Bench::add({"channel.grow/skelvar", 2, "GB/s", channelGigabytes,
                [] { Bench::bandScene().shape->addChannel(s_channel); },
                [] {
                    if (s_channel) {
                        Bench::bandScene().shape->removeChannel("grown");
                    }
                    s_channel = std::make_shared<Channel>("grown", Bench::bandScene().shape, 1.0f,
                                                          Skelvar::eOffsetCentre);
                }});
    addPlain("grow/memset", [] {
        Bench::MemoryBlock fresh;
        fresh.resize(channelBytes());
        Bench::fillParallel(fresh, 2);
    });
}

void addAverageJob()
{
    Bench::add({"channel.average/skelvar", 2, "Mtiles/s",
                [] { return Bench::bandScene().channel->numTiles() * 1e-6; },
                [] { Bench::keep(sumOfAverages(*Bench::bandScene().channel)); },
                [] { Bench::bandScene(); }});
}

/// Bytes for each cell of the band, the channel alone and with the nodes of its tree.
void addMemoryJob()
{
    Bench::add(
        {"tree.memory.query/skelvar", 1, "queries/s",
         [] {
             const Bench::Scene& band = Bench::bandScene();
             const double cells = Bench::bandCells();
             const auto tiles = static_cast<double>(
                 band.channel->memUsage(Skelvar::MemUsage::eMemAllocated, true));
             const auto nodes =
                 static_cast<double>(band.layout->memUsage(Skelvar::MemUsage::eMemAllocated, true));
             Bench::print("tree.memory.bytespercell/skelvar-channel/1t", tiles / cells,
                          "bytes/cell");
             Bench::print("tree.memory.bytespercell/skelvar/1t", (tiles + nodes) / cells,
                          "bytes/cell");
             return 1.0;
         },
         [] {
             const Bench::Scene& band = Bench::bandScene();
             Bench::keep(
                 static_cast<double>(band.channel->memUsage(Skelvar::MemUsage::eMemUsed, true)));
             Bench::keep(
                 static_cast<double>(band.layout->memUsage(Skelvar::MemUsage::eMemUsed, true)));
         },
         [] { Bench::bandScene(); }, 1});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addWriteJobs();
    addCopyJobs();
    addGrowJob();
    addAverageJob();
    addMemoryJob();
    return Bench::runAll(in_argc, in_argv);
}
