#pragma once

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace Skelvar::Test {

/// A server of the registry for the length of a scope.
class ScopedStateServer {
public:
    ScopedStateServer() : m_server(StateServerManager::instance().createNewStateServer())
    {
        m_smp = std::static_pointer_cast<VoxelStateSMP>(m_server).get();
    }
    ~ScopedStateServer()
    {
        if (!m_released) {
            StateServerManager::instance().removeStateServer(id());
        }
    }
    ScopedStateServer(const ScopedStateServer&) = delete;
    ScopedStateServer& operator=(const ScopedStateServer&) = delete;

    VoxelStateSMP& operator*() const { return *m_smp; }
    VoxelStateSMP* operator->() const { return m_smp; }
    unsigned int id() const { return m_server->getId(); }
    /// Leaves the server to the registry; gives its id.
    unsigned int release()
    {
        m_released = true;
        return id();
    }

private:
    std::shared_ptr<VoxelState> m_server;
    VoxelStateSMP* m_smp;
    bool m_released = false;
};

/// Object "rain", layout "rain-volumelayout" with three tiles under one root, shape "rain-volume"
/// and on it the float channel "rain-volume/density" with background 0.5, all in one server.
struct RainScene {
    ScopedStateServer server;
    std::shared_ptr<BObject> object;
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelChannel<float>> density;

    RainScene()
    {
        std::string object_name = "rain";
        require(server->newObject("rain"));
        require(server->objectRef("rain", object));
        std::shared_ptr<TreeLayout3DBase> layout_base;
        require(server->newLayout("rain-volumelayout", 0.25f, layout_base));
        layout = std::static_pointer_cast<VoxelLayout>(layout_base);
        require(server->newVoxelShape("rain-volume", "rain-volumelayout", &object_name, shape));
        require(server->newVoxelChannel<float>("rain-volume/density", "rain-volume", eOffsetCentre,
                                               0.5f));
        std::shared_ptr<TreeChannel3DBase> channel;
        require(server->channelRef("rain-volume/density", channel));
        density = std::static_pointer_cast<VoxelChannel<float>>(channel);
        layout->addNode(0, 0, 0, 7);
    }

private:
    static void require(VoxelStateResult in_result)
    {
        if (in_result != kVoxelStateOk) {
            throw std::runtime_error("RainScene: an item cannot be made");
        }
    }
};

}  // namespace Skelvar::Test
