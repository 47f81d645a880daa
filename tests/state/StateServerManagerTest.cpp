#include <skelvar/state/StateServerManager.h>

#include <tests/support/ScopedStateServer.h>

#include <skelvar/state/BObject.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;

StateServerManager& registry()
{
    return StateServerManager::instance();
}

/// Puts `baseId` back at the end, so that other tests see ids that only rise.
struct ScopedBaseId {
    const unsigned int before = StateServerManager::baseId;
    explicit ScopedBaseId(unsigned int in_id) { StateServerManager::baseId = in_id; }
    ~ScopedBaseId() { StateServerManager::baseId = before; }
};

/// An offload manager that asks the registry when its server goes, as destructors of items may.
class AskingManager : public VoxelState::OffloadManager {
public:
    void pinForFrame(const std::string&, int) override {}
    void ensureData(const std::string&) override {}
    void memoryReport(unsigned int) override {}
    void clearAll() override {}
    void detachServer() override
    {
        found = registry().getStateServer(id) != nullptr;
        ++calls;
    }

    unsigned int id = StateServerManager::invalidId;
    bool found = true;
    int calls = 0;
};

TEST(StateServerManager, CountsFromZeroSkipsTheInvalidIdAndReplacesAServerWhenIdsWrap)
{
    const ScopedBaseId at_start(StateServerManager::invalidId);
    const auto old_server = registry().createNewStateServer();
    EXPECT_EQ(0u, old_server->getId());
    EXPECT_EQ(old_server, registry().getStateServer(0));
    StateServerManager::baseId = 0xFFFFFFFDu;

    const auto last = registry().createNewStateServer();
    const auto wrapped = registry().createNewStateServer();

    EXPECT_EQ(0xFFFFFFFEu, last->getId());
    EXPECT_EQ(0u, wrapped->getId());
    EXPECT_EQ(wrapped, registry().getStateServer(0));
    EXPECT_EQ(1, old_server.use_count());
    EXPECT_EQ(nullptr, registry().getStateServer(StateServerManager::invalidId));
    registry().removeStateServer(0xFFFFFFFEu);
    registry().removeStateServer(0);
}

TEST(StateServerManager, ServerMayAskTheRegistryWhileItIsRemovedOrReplaced)
{
    AskingManager removed;
    AskingManager replaced;
    const ScopedBaseId before_wrap(0xFFFFFFF0u);
    {
        const auto first = registry().createNewStateServer();
        const auto second = registry().createNewStateServer();
        first->setOffloadManager(&removed);
        second->setOffloadManager(&replaced);
        removed.id = first->getId();
        replaced.id = second->getId();
    }

    registry().removeStateServer(removed.id);
    StateServerManager::baseId = replaced.id - 1;
    registry().createNewStateServer();

    EXPECT_EQ(1, removed.calls);
    EXPECT_FALSE(removed.found);
    EXPECT_EQ(1, replaced.calls);
    EXPECT_TRUE(replaced.found);  // the new one
    registry().removeStateServer(replaced.id);
}

/// Says on standard error what it found when its server went.
class TellingManager : public AskingManager {
public:
    void detachServer() override
    {
        AskingManager::detachServer();
        std::fputs(found ? "found its server" : "its server is gone", stderr);
    }
};

TEST(StateServerManagerDeathTest, ProcessEndsCleanlyWithALiveServerWhoseEndAsksTheRegistry)
{
    const auto end_with_server = [] {
        static TellingManager& s_manager = *new TellingManager;
        const auto keep_in_registry = [] {
            RainScene scene;
            std::shared_ptr<Dictionary> dictionary;
            scene.object->dictionary(dictionary);
            scene.server->setOffloadManager(&s_manager);
            s_manager.id = scene.server.release();
        };
        keep_in_registry();
        std::exit(s_manager.calls);
    };

    EXPECT_EXIT(end_with_server(), testing::ExitedWithCode(0), "^its server is gone$");
}

TEST(StateServerManager, GivesEveryThreadItsOwnIds)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    std::vector<std::vector<unsigned int>> ids(kThreads);
    std::vector<std::thread> threads;

    for (auto& own : ids) {
        threads.emplace_back([&own] {
            for (int n = 0; n < kRounds; ++n) {
                const auto server = registry().createNewStateServer();
                const bool found = registry().getStateServer(server->getId()) == server;
                const bool gone = registry().removeStateServer(server->getId()) &&
                                  !registry().getStateServer(server->getId());
                own.push_back(found && gone ? server->getId() : StateServerManager::invalidId);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    std::set<unsigned int> all;
    for (const auto& own : ids) {
        EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
        all.insert(own.begin(), own.end());
    }
    EXPECT_EQ(kThreads * kRounds, static_cast<int>(all.size()));
    EXPECT_FALSE(all.contains(StateServerManager::invalidId));
}

}  // namespace
}  // namespace Skelvar
