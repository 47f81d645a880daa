#include <tests/io/Scene.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfJobHandler.h>
#include <skelvar/io/KvfJobs.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <thread>
#include <vector>

namespace Skelvar {
namespace {

using namespace Test;

/// A scene of one tile, findable by its id as jobs need it.
class Jobs : public ::testing::Test {
protected:
    Jobs() : m_state(StateServerManager::instance().createNewStateServer())
    {
        Scene scene(1, m_state);
        m_density = scene.add<float>("density");
        scene.add<vec3f>("wind");
    }
    ~Jobs() override
    {
        KvfJobHandler::instance().wait();
        StateServerManager::instance().removeStateServer(m_state->getId());
    }

    unsigned int save(const std::string& in_path, bool in_copy, int in_frame,
                      unsigned long long& out_handle)
    {
        std::string resolved;
        return kvfSaveAsync(*m_state, in_path, in_copy, "volume", {"density", "wind"}, in_frame,
                            eQualityLossless, resolved, out_handle);
    }
    static KvfJobResult await(unsigned long long in_handle)
    {
        KvfJobResult result;
        while (!kvfFetchResult(in_handle, result)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return result;
    }
    /// Whether no server is left of those made after the state's.
    bool noServerSince() const
    {
        for (unsigned int id = m_state->getId() + 1; id <= StateServerManager::baseId; ++id) {
            if (StateServerManager::instance().getStateServer(id)) {
                return false;
            }
        }
        return true;
    }

    TempFolder m_folder;
    std::shared_ptr<VoxelState> m_state;
    std::shared_ptr<VoxelChannel<float>> m_density;
};

TEST_F(Jobs, CopyIsSavedAsItWasWithTheVeryBytesOfASaveOfTheOriginal)
{
    unsigned long long handle = 0;
    std::string resolved;
    ASSERT_TRUE(kvfSave(*m_state, m_folder.file("now.kvf"), "volume", {"density", "no", "wind"}, 7,
                        eQualityLossless, resolved));

    ASSERT_EQ(2u, kvfSaveAsync(*m_state, m_folder.file("later.#.kvf"), true, "volume",
                               {"density", "no", "wind"}, 7, eQualityLossless, resolved, handle));
    m_density->set(5.0f, 0, 7);
    m_state->deleteShape("volume");
    const KvfJobResult result = await(handle);

    EXPECT_EQ(0u, result.status);
    EXPECT_EQ(7, result.frame);
    EXPECT_EQ(m_folder.file("later.#.kvf"), result.path);
    EXPECT_EQ("volume", result.name);
    EXPECT_EQ(m_folder.file("later.0007.kvf"), resolved);
    EXPECT_EQ(readFile(m_folder.file("now.kvf")), readFile(resolved));
    KvfJobResult again;
    EXPECT_FALSE(kvfFetchResult(handle, again)) << "a result is fetched once";
    EXPECT_EQ(0u, KvfJobHandler::instance().tasksInUse());
    EXPECT_TRUE(noServerSince());
}

TEST_F(Jobs, LoadTellsFrameAndShapeOfTheHeader)
{
    unsigned long long saved = 0;
    unsigned long long loaded = 0;
    save(m_folder.file("a.kvf"), false, 12, saved);
    EXPECT_EQ(0u, await(saved).status);
    const auto other = StateServerManager::instance().createNewStateServer();

    EXPECT_EQ(2u, kvfLoadAsync(*other, m_folder.file("a.kvf"), loaded));
    const KvfJobResult result = await(loaded);

    EXPECT_EQ(0u, result.status);
    EXPECT_EQ(12, result.frame);
    EXPECT_EQ("volume", result.name);
    EXPECT_TRUE(sameTiles(*m_density, *Scene::channelOf<float>(*other, "density")));
    EXPECT_EQ(2u, kvfLoadAsync(*other, m_folder.file("a.kvf"), loaded));
    EXPECT_EQ(1u, await(loaded).status) << "the names are taken";
    EXPECT_EQ(2u, kvfLoadAsync(*other, m_folder.file("absent.kvf"), loaded));
    EXPECT_EQ(1u, await(loaded).status);
    StateServerManager::instance().removeStateServer(other->getId());
}

TEST_F(Jobs, WithoutAJobThereIsNoHandleButForACopyThatFailed)
{
    unsigned long long handle = 4711;
    std::string resolved;
    KvfJobHandler& handler = KvfJobHandler::instance();

    EXPECT_EQ(0u, handler.save(m_state->getId(), eQualityPlain, m_folder.file("a.kvf"), true,
                               "volume", {"density"}, 0, false, true, handle));
    EXPECT_EQ(1u, handler.save(StateServerManager::invalidId, eQualityPlain, m_folder.file("b.kvf"),
                               true, "volume", {}, 0, true, true, handle));
    EXPECT_EQ(1u, kvfSaveAsync(*m_state, m_folder.file("c.kvf"), true, "no shape", {}, 0,
                               eQualityPlain, resolved));
    EXPECT_EQ(4711u, handle);
    EXPECT_EQ(1u, kvfSaveAsync(*m_state, m_folder.file("c.kvf"), true, "no shape", {}, 0,
                               eQualityPlain, resolved, handle));
    EXPECT_NE(4711u, handle);
    EXPECT_EQ(1u, await(handle).status);
    EXPECT_EQ(0u, handler.tasksInUse());
    EXPECT_TRUE(noServerSince());
    EXPECT_EQ(std::set<std::string>{"a.kvf"}, m_folder.names());
}

TEST_F(Jobs, ParticlesAreSavedAsTheyWereWhileTheyMoveAndGo)
{
    const std::vector<std::string> names = {"drops/position", "drops/id"};
    std::string object = "ball";
    std::string resolved;
    std::shared_ptr<ParticleShape> shape;
    m_state->newParticleShape("drops", "tree", &object, shape);
    shape->layout().addNodes({-20, -20, -20}, {20, 20, 20}, 7);
    m_state->newParticleChannel<vec3f>("drops/position", "drops", {});
    m_state->newParticleChannel<unsigned long long>("drops/id", "drops", 7);
    auto& position = static_cast<ParticleChannel<vec3f>&>(*shape->channelBasePtr("drops/position"));
    for (int n = 0; n < shape->layout().numNodes(7); ++n) {
        const VoxelLayoutNode& node = shape->layout().node(n, 7);
        position.tile(n, 7).resize(static_cast<unsigned long>(n % 40),
                                   {static_cast<float>(node.i()), static_cast<float>(node.j()),
                                    static_cast<float>(node.k())});
    }
    position.syncShapeParticleCounts();
    for (const CompressionQuality quality : {eQualityPlain, eQualityLossless}) {
        unsigned long long copied = 0;
        unsigned long long shared = 0;
        ASSERT_TRUE(
            kvfSave(*m_state, m_folder.file("now.kvf"), "drops", names, 7, quality, resolved));
        ASSERT_GT(shape->numParticles(), 1000u);

        ASSERT_EQ(2u, kvfSaveAsync(*m_state, m_folder.file("shared.kvf"), false, "drops", names, 7,
                                   quality, resolved, shared));
        EXPECT_EQ(0u, await(shared).status);
        ASSERT_EQ(2u, kvfSaveAsync(*m_state, m_folder.file("copied.kvf"), true, "drops", names, 7,
                                   quality, resolved, copied));
        // The caller's particles move on meanwhile, and some go.
        for (vec3f& point : position) {
            point += vec3f{1.5f, 0.0f, -0.5f};
        }
        reblockByPosition(position, eStraysGo);
        EXPECT_EQ(0u, await(copied).status);

        EXPECT_EQ(readFile(m_folder.file("now.kvf")), readFile(m_folder.file("shared.kvf")));
        EXPECT_EQ(readFile(m_folder.file("now.kvf")), readFile(m_folder.file("copied.kvf")));
    }
    EXPECT_TRUE(noServerSince());
}

/// A save to a pipe goes on only when somebody reads it.
class Pipes {
public:
    explicit Pipes(const TempFolder& in_folder, int in_count)
    {
        for (int n = 0; n < in_count; ++n) {
            m_paths.push_back(in_folder.file("pipe" + std::to_string(n)));
            EXPECT_EQ(0, ::mkfifo(m_paths.back().c_str(), 0600));
        }
    }
    const std::string& path(int in_n) const { return m_paths[in_n]; }
    /// All at once: the jobs on them run in any order, and not all at a time.
    void drain() const
    {
        std::vector<std::thread> readers;
        for (const std::string& path : m_paths) {
            readers.emplace_back([&path] { readFile(path); });
        }
        for (std::thread& reader : readers) {
            reader.join();
        }
    }

private:
    std::vector<std::string> m_paths;
};

TEST_F(Jobs, SixthIsDoneByTheCallerAndTheOthersWhenTheyCan)
{
    const Pipes pipes(m_folder, 5);
    std::vector<unsigned long long> handles(5);
    for (int n = 0; n < 5; ++n) {
        EXPECT_EQ(2u, save(pipes.path(n), n % 2 == 0, n, handles[n]));
    }
    unsigned long long sixth = 4711;
    KvfJobResult result;

    EXPECT_EQ(5u, KvfJobHandler::instance().tasksInUse());
    EXPECT_FALSE(kvfFetchResult(handles[0], result));
    EXPECT_EQ(2u, result.status);
    EXPECT_EQ(0u, save(m_folder.file("sixth.kvf"), true, 6, sixth));
    EXPECT_EQ(1u, save(m_folder.file("sixth.kvf/x.kvf"), true, 6, sixth));
    EXPECT_EQ(4711u, sixth);
    pipes.drain();

    for (const unsigned long long handle : handles) {
        EXPECT_EQ(0u, await(handle).status);
    }
    EXPECT_EQ(0u, KvfJobHandler::instance().tasksInUse());
    EXPECT_TRUE(noServerSince());
}

TEST_F(Jobs, ServerThatGoesBeforeItsJobRunsIsAFailure)
{
    const tbb::global_control one_worker(tbb::global_control::max_allowed_parallelism, 2);
    const Pipes pipes(m_folder, 1);
    const auto other = StateServerManager::instance().createNewStateServer();
    unsigned long long first = 0;
    unsigned long long second = 0;
    save(pipes.path(0), false, 0, first);

    EXPECT_EQ(2u, kvfLoadAsync(*other, m_folder.file("a.kvf"), second));
    StateServerManager::instance().removeStateServer(other->getId());
    pipes.drain();

    EXPECT_EQ(1u, await(second).status);
    EXPECT_EQ(0u, await(first).status);
    EXPECT_EQ(0u, KvfJobHandler::instance().tasksInUse());
}

/// A channel for which there is never enough memory.
class GreedyChannel : public VoxelChannel<int> {
public:
    bool save(OutputStream&) const override { throw std::bad_alloc(); }
    void copyInto(const std::shared_ptr<TreeChannel3DBase>&, bool, bool) const override
    {
        throw std::bad_alloc();
    }
};

TEST_F(Jobs, LackOfMemoryIsAFailureOfTheOneJob)
{
    const auto greedy = std::make_shared<GreedyChannel>();
    greedy->setName("greedy");
    ASSERT_EQ(kVoxelStateOk, m_state->newChannel(greedy, "volume"));
    unsigned long long handle = 0;
    std::string resolved;

    EXPECT_EQ(1u, kvfSaveAsync(*m_state, m_folder.file("a.kvf"), true, "volume", {"greedy"}, 0,
                               eQualityPlain, resolved, handle));
    EXPECT_EQ(1u, await(handle).status);
    EXPECT_EQ(2u, kvfSaveAsync(*m_state, m_folder.file("a.kvf"), false, "volume", {"greedy"}, 0,
                               eQualityPlain, resolved, handle));
    EXPECT_EQ(1u, await(handle).status);

    EXPECT_EQ(0u, KvfJobHandler::instance().tasksInUse());
    EXPECT_TRUE(noServerSince());
    EXPECT_TRUE(m_folder.names().empty()) << "no half file";
}

TEST_F(Jobs, TenThousandInBurstsAreAllDoneAndNoneIsLost)
{
    constexpr int kThreads = 4;
    constexpr int kJobs = 2500;
    std::atomic<int> done_here = 0;
    std::atomic<int> done_there = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            std::vector<unsigned long long> handles;
            for (int n = 0; n < kJobs; ++n) {
                unsigned long long handle = 0;
                const unsigned int status = save("/dev/null", (n + thread) % 2 == 0, n, handle);
                done_here += status == 0;
                if (status == 2) {
                    handles.push_back(handle);
                }
            }
            for (const unsigned long long handle : handles) {
                done_there += await(handle).status == 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(kThreads * kJobs, done_here + done_there);
    EXPECT_GT(done_there, 0);
    EXPECT_EQ(0u, KvfJobHandler::instance().tasksInUse());
    EXPECT_TRUE(noServerSince());
}

TEST_F(Jobs, EndOfTheProcessWaitsForThem)
{
    const std::string command = END_WITH_JOBS_PROGRAM + std::string(" ") + m_folder.path();

    ASSERT_EQ(0, std::system(command.c_str()));

    for (int frame = 0; frame < 5; ++frame) {
        const auto loaded = newState();
        EXPECT_TRUE(kvfLoad(*loaded, m_folder.file("end." + std::to_string(frame) + ".kvf")))
            << kvfLastError();
    }
    EXPECT_EQ(5u, m_folder.names().size());

    // What a job makes first must outlive it, whichever thread has started it. A failure is
    // printed.
    const std::string said = m_folder.file("said.txt");
    const std::string loads = command + " " + m_folder.file("end.1.kvf") + " > " + said;
    for (int n = 0; n < 10; ++n) {
        ASSERT_EQ(0, std::system(loads.c_str()));
        ASSERT_EQ(0u, std::filesystem::file_size(said));
    }
}

}  // namespace
}  // namespace Skelvar
