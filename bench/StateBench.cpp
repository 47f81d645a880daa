// The store: private copies for saves in the background, how long a save holds its caller up, jobs
// side by side, merging, and many names.

#include <bench/support/Harness.h>
#include <bench/support/Memory.h>
#include <bench/support/Scene.h>

#include <skelvar/io/KvfJobHandler.h>
#include <skelvar/io/KvfJobs.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using Skelvar::KvfJobHandler;
using Skelvar::StateServerManager;
using Skelvar::VoxelState;

constexpr int kFrames = 200;

void require(bool in_done, const std::string& in_step)
{
    if (!in_done) {
        throw std::runtime_error(in_step + " failed");
    }
}

void require(Skelvar::VoxelStateResult in_result, const std::string& in_step)
{
    require(in_result == Skelvar::kVoxelStateOk, in_step);
}

/// A server with the shape "volume" and its float channel "density" on a slab of tiles.
std::shared_ptr<VoxelState> makeSlab(int in_width)
{
    const auto state = StateServerManager::instance().createNewStateServer();
    std::string object = "slab";
    std::shared_ptr<Skelvar::VoxelShape> shape;
    std::shared_ptr<Skelvar::TreeChannel3DBase> channel;
    require(state->newObject(object), "newObject");
    require(state->newVoxelLayout("tree", 1.0f), "newVoxelLayout");
    require(state->newVoxelShape("volume", "tree", &object, shape), "newVoxelShape");
    shape->layout().addNodes({0, 0, 0}, {in_width, in_width, 100}, Skelvar::kMaxTileDepth);
    require(state->newVoxelChannel<float>("density", "volume", Skelvar::eOffsetCentre, 0.0f),
            "newVoxelChannel");
    require(state->channelRef("density", channel), "channelRef");
    Bench::fillFinest(shape->layout(), static_cast<Skelvar::VoxelChannel<float>&>(*channel),
                      [](const Bench::vec3i& in_cell) {
                          return static_cast<float>((in_cell[0] * 31 + in_cell[1] * 17) % 97) +
                                 0.01f * static_cast<float>(in_cell[2]);
                      });
    return state;
}

/// 100 MB of values: 200,000 tiles.
VoxelState& large()
{
    static const std::shared_ptr<VoxelState> s_state = makeSlab(500);
    return *s_state;
}

/// 160 kB of values: a frame of one chunk, which is the work of one thread.
VoxelState& small()
{
    static const std::shared_ptr<VoxelState> s_state = makeSlab(20);
    return *s_state;
}

std::shared_ptr<Skelvar::TreeChannel3DBase> densityOf(const VoxelState& in_state)
{
    std::shared_ptr<Skelvar::TreeChannel3DBase> channel;
    require(in_state.channelRef("density", channel), "channelRef");
    return channel;
}

std::size_t bytesOf(const VoxelState& in_state)
{
    return densityOf(in_state)->memUsage(Skelvar::MemUsage::eMemUsed, false);
}

/// Whether the finest tiles of two channels hold the same bytes.
bool holdsSame(const Skelvar::TreeChannel3DBase& in_a, const Skelvar::TreeChannel3DBase& in_b)
{
    bool same = in_a.numTiles() == in_b.numTiles();
    for (int n = 0; same && n < in_a.numTiles(Skelvar::kMaxTileDepth); ++n) {
        unsigned long count = 0;
        const void* const a = in_a.tileArrayPtr({n, Skelvar::kMaxTileDepth}, count);
        const void* const b = in_b.tileArrayPtr({n, Skelvar::kMaxTileDepth}, count);
        same = std::memcmp(a, b, count * sizeof(float)) == 0;
    }
    return same;
}

std::shared_ptr<VoxelState> s_target;

void renewTarget()
{
    if (s_target) {
        StateServerManager::instance().removeStateServer(s_target->getId());
    }
    s_target = nullptr;
    s_target = StateServerManager::instance().createNewStateServer();
}

void addCopyJobs()
{
    const auto gigabytes = [] { return static_cast<double>(bytesOf(large())) * 1e-9; };
    Bench::add({"state.copy/skelvar", 2, "GB/s",
                [=] {
                    require(holdsSame(*densityOf(large()), *densityOf(*s_target)), "the copy");
                    renewTarget();
                    return gigabytes();
                },
                [] { require(large().copyShapeTo(*s_target, "volume", {"density"}), "copy"); },
                renewTarget});
    // What a copy cannot avoid: the first touch of fresh memory.
    static Bench::MemoryBlock s_from;
    static Bench::MemoryBlock s_to;
    Bench::add({"state.copy/memcpy-fresh", 2, "GB/s", gigabytes,
                [] {
                    s_to.resize(s_from.size());
                    Bench::copyParallel(s_from, s_to, s_from.size());
                },
                [] {
                    if (s_from.size() == 0) {
                        s_from.resize(bytesOf(large()));
                        Bench::fillParallel(s_from, 1);
                    }
                    s_to = {};
                }});
}

void saveAsync(VoxelState& io_state, bool in_copy)
{
    std::string resolved;
    require(Skelvar::kvfSaveAsync(io_state, "/dev/null", in_copy, "volume", {"density"}, 0,
                                  Skelvar::eQualityLossless, resolved) == 2,
            "kvfSaveAsync");
}

void waitForJobs()
{
    KvfJobHandler::instance().wait();
}

/// How many times a second the caller could start such a save.
void addHoldUpJobs()
{
    const auto one = [] { return 1.0; };
    Bench::add({"state.holdup/skelvar-copy", 2, "calls/s", one, [] { saveAsync(large(), true); },
                waitForJobs});
    Bench::add({"state.holdup/copy-alone", 2, "calls/s", one,
                [] { require(large().copyShapeTo(*s_target, "volume", {"density"}), "copy"); },
                [] {
                    waitForJobs();
                    renewTarget();
                }});
    Bench::add({"state.holdup/skelvar-nocopy", 2, "calls/s",
                [] {
                    waitForJobs();
                    return 1.0;
                },
                [] { saveAsync(large(), false); }, waitForJobs});
}

/// Three threads: the caller's only waits, and the jobs have the two cores to themselves.
void addFrameJobs()
{
    const auto frames = [] { return static_cast<double>(kFrames); };
    Bench::add({"state.frames/skelvar-five", 3, "frames/s", frames,
                [] {
                    for (int frame = 0; frame < kFrames; ++frame) {
                        while (KvfJobHandler::instance().tasksInUse() == KvfJobHandler::MAX_TASKS) {
                            std::this_thread::sleep_for(std::chrono::microseconds(100));
                        }
                        saveAsync(small(), false);
                    }
                    waitForJobs();
                },
                [] { small(); }});
    Bench::add({"state.frames/skelvar-one", 3, "frames/s", frames,
                [] {
                    for (int frame = 0; frame < kFrames; ++frame) {
                        saveAsync(small(), false);
                        waitForJobs();
                    }
                },
                [] { small(); }});
}

void addMergeJobs()
{
    for (const auto& [name, slab] :
         {std::pair{"skelvar-large", &large}, {"skelvar-small", &small}}) {
        Bench::add({std::string("state.merge/") + name, 1, "shapes/s", [] { return 1.0; },
                    [slab = slab] { require(s_target->mergeIn(slab(), {"volume"}), "mergeIn"); },
                    renewTarget});
    }
}

/// Objects, each with a shape on a layout of its own: three names.
void makeObjects(int in_count)
{
    for (int n = 0; n < in_count; ++n) {
        std::string object = "object" + std::to_string(n) + "-";
        std::shared_ptr<Skelvar::VoxelShape> shape;
        s_target->newObject(object);
        s_target->newVoxelLayout(object + "volumelayout", 1.0f);
        s_target->newVoxelShape(object + "volume", object + "volumelayout", &object, shape);
    }
}

void addNameJobs()
{
    for (const int count : {10000, 100000}) {
        const std::string suffix = "/skelvar-" + std::to_string(count / 1000) + "k";
        const int objects = count / 3;
        const auto names = [=] { return count * 1e-6; };
        const auto prepare = [=] {
            renewTarget();
            makeObjects(objects);
        };
        Bench::add({"state.names.create" + suffix, 1, "Mnames/s", names,
                    [=] { makeObjects(objects); }, renewTarget, 3});
        Bench::add({"state.names.find" + suffix, 1, "Mnames/s", names,
                    [=] {
                        std::shared_ptr<Skelvar::TreeShape3DBase> shape;
                        for (int n = 0; n < count; ++n) {
                            const int object = static_cast<int>(n * 7919LL % objects);
                            require(s_target->shapeRef(
                                        "object" + std::to_string(object) + "-volume", shape),
                                    "shapeRef");
                        }
                    },
                    prepare, 3});
        Bench::add({"state.names.rename" + suffix, 1, "Mnames/s", names,
                    [=] {
                        std::shared_ptr<Skelvar::BObject> object;
                        for (int n = 0; n < objects; ++n) {
                            const std::string number = std::to_string(n);
                            s_target->objectRef("object" + number + "-", object);
                            require(s_target->renameObject(object, "thing" + number + "-"),
                                    "renameObject");
                        }
                    },
                    prepare, 3});
    }
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addCopyJobs();
    addHoldUpJobs();
    addFrameJobs();
    addMergeJobs();
    addNameJobs();
    return Bench::runAll(in_argc, in_argv);
}
