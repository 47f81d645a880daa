#pragma once

#include <skelvar/base/Api.h>

#include <memory>

namespace Skelvar {

class StandaloneHost;
class VoxelState;

/// The state server of a thread outside of a graph's evaluation: binds a service table with the
/// global "G.__stateserver__" to the thread, so that nodes and file tools find a server there as
/// they would in a running graph. One for each thread, until `kill` or the thread's end. Its end
/// leaves the thread without a service table, so never use it on a thread of a graph.
class SKELVAR_API StandaloneStateServer {
public:
    /// The thread's server. The first call makes one, or takes the one with that id if that is not
    /// `StateServerManager::invalidId`; later calls pay no heed to the id. Empty if the first call
    /// named a server that does not exist.
    static std::shared_ptr<VoxelState> getStateServer(const unsigned int& in_id);
    /// Whether the thread has one.
    static bool exists();
    /// Ends the thread's one. A server that was made for it leaves the registry.
    static void kill();
    /// Deletes what is not null.
    static void cleanUp(StandaloneStateServer* in_instance);

    StandaloneStateServer(const StandaloneStateServer&) = delete;
    StandaloneStateServer& operator=(const StandaloneStateServer&) = delete;

private:
    explicit StandaloneStateServer(const unsigned int& in_id);
    ~StandaloneStateServer();

    std::unique_ptr<StandaloneHost> m_host;
};

}  // namespace Skelvar
