#pragma once

#include <skelvar/base/Api.h>

#include <atomic>
#include <memory>

namespace Skelvar {

class VoxelState;

/// The registry of the process: makes, numbers, finds and drops state servers. There is one, built
/// at start-up. It shares the ownership of each server with whoever holds it, so a removed server
/// works on for its holders, but is found no more. Any thread may call. Items of a server may ask
/// the registry from their destructors, also while the process ends.
class SKELVAR_API StateServerManager {
public:
    /// Never the id of a server.
    static constexpr unsigned int invalidId = 0xFFFFFFFFu;

    static StateServerManager& instance();

    /// A new server, a `VoxelStateSMP`. Ids count up from 0, skip `invalidId` and wrap; a server
    /// whose id comes round again loses its place in the registry. Empty while the registry itself
    /// is being destroyed. Exceptions of allocation pass through.
    std::shared_ptr<VoxelState> createNewStateServer();

    /// The server with that id, empty if there is none.
    std::shared_ptr<VoxelState> getStateServer(const unsigned int& in_id);

    /// Drops the registry's share of the server. False if there is none.
    bool removeStateServer(const unsigned int& in_id);

    ~StateServerManager();
    StateServerManager(const StateServerManager&) = delete;
    StateServerManager& operator=(const StateServerManager&) = delete;

    static unsigned int baseId;  ///< the last id given out; guarded by the registry's lock
    static std::atomic<unsigned char> m_locked;  ///< 1 while the registry is being destroyed
    static StateServerManager stateServerMgr;

private:
    StateServerManager() = default;
};

}  // namespace Skelvar
