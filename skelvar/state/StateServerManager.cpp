#include <skelvar/state/StateServerManager.h>

#include <skelvar/state/VoxelStateSMP.h>

#include <map>
#include <utility>

#include <sched.h>

namespace Skelvar {

namespace {

using Servers = std::map<unsigned int, std::shared_ptr<VoxelState>>;

/// The map outlives the manager, so that items destroyed late may still ask and find it empty.
Servers& servers()
{
    static Servers& s_servers = *new Servers;
    return s_servers;
}

struct alignas(64) SpinByte {
    std::atomic<unsigned char> held = 0;
};

/// The registry's lock, alone on its cache line.
SpinByte g_state_server_manager_mutex;

void pauseProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

/// Holds the registry's lock for a scope: a spin lock, since it is held for one map operation only.
/// No server may be released under it, as the destructors of items may ask the registry.
class RegistryLock {
public:
    RegistryLock()
    {
        for (int pauses = 1; !tryLock(); pauses *= 2) {
            if (pauses > kMaxPauses) {
                yieldUntilLocked();
                return;
            }
            for (int n = 0; n < pauses; ++n) {
                pauseProcessor();
            }
        }
    }
    ~RegistryLock() { g_state_server_manager_mutex.held.store(0, std::memory_order_release); }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

private:
    static constexpr int kMaxPauses = 16;

    static bool tryLock()
    {
        unsigned char expected = 0;
        return g_state_server_manager_mutex.held.compare_exchange_strong(
            expected, 1, std::memory_order_acquire, std::memory_order_relaxed);
    }
    static void yieldUntilLocked()
    {
        do {
            sched_yield();
        } while (!tryLock());
    }
};

}  // namespace

unsigned int StateServerManager::baseId = StateServerManager::invalidId;
std::atomic<unsigned char> StateServerManager::m_locked = 0;
StateServerManager StateServerManager::stateServerMgr;

StateServerManager& StateServerManager::instance()
{
    return stateServerMgr;
}

std::shared_ptr<VoxelState> StateServerManager::createNewStateServer()
{
    if (m_locked.load(std::memory_order_acquire)) {
        return nullptr;
    }
    std::shared_ptr<VoxelState> replaced;  // released after the lock
    const RegistryLock lock;
    const unsigned int id = baseId + 1 == invalidId ? baseId + 2 : baseId + 1;
    baseId = id;
    std::shared_ptr<VoxelState> server = std::make_shared<VoxelStateSMP>(id);
    replaced = std::exchange(servers()[id], server);
    return server;
}

std::shared_ptr<VoxelState> StateServerManager::getStateServer(const unsigned int& in_id)
{
    if (m_locked.load(std::memory_order_acquire)) {
        return nullptr;
    }
    const RegistryLock lock;
    const auto found = servers().find(in_id);
    return found != servers().end() ? found->second : nullptr;
}

bool StateServerManager::removeStateServer(const unsigned int& in_id)
{
    if (m_locked.load(std::memory_order_acquire)) {
        return false;
    }
    Servers::node_type removed;  // released after the lock
    const RegistryLock lock;
    removed = servers().extract(in_id);
    return !removed.empty();
}

StateServerManager::~StateServerManager()
{
    Servers released;
    {
        const RegistryLock lock;
        m_locked.store(1, std::memory_order_release);
        released.swap(servers());
    }
    released.clear();
    m_locked.store(0, std::memory_order_release);
}

}  // namespace Skelvar
