#pragma once

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelStateSMP.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace SkelvarTest {

/// A server of the registry for the length of a scope.
class ScopedStateServer {
public:
    ScopedStateServer() : m_server(Skelvar::StateServerManager::instance().createNewStateServer())
    {
        m_smp = std::static_pointer_cast<Skelvar::VoxelStateSMP>(m_server).get();
    }
    ~ScopedStateServer()
    {
        Skelvar::StateServerManager::instance().removeStateServer(m_server->getId());
    }
    ScopedStateServer(const ScopedStateServer&) = delete;
    ScopedStateServer& operator=(const ScopedStateServer&) = delete;

    Skelvar::VoxelStateSMP& operator*() const { return *m_smp; }
    Skelvar::VoxelStateSMP* operator->() const { return m_smp; }
    unsigned int id() const { return m_server->getId(); }

private:
    std::shared_ptr<Skelvar::VoxelState> m_server;
    Skelvar::VoxelStateSMP* m_smp;
};

/// Object "rain", layout "rain-volumelayout" with three tiles under one root, shape "rain-volume"
/// and on it the float channel "rain-volume/density" with background 0.5, all in one server.
struct RainScene {
    ScopedStateServer server;
    std::shared_ptr<Skelvar::BObject> object;
    std::shared_ptr<Skelvar::VoxelLayout> layout;
    std::shared_ptr<Skelvar::VoxelShape> shape;
    std::shared_ptr<Skelvar::VoxelChannel<float>> density;

    RainScene()
    {
        std::string object_name = "rain";
        require(server->newObject("rain"));
        require(server->objectRef("rain", object));
        std::shared_ptr<Skelvar::TreeLayout3DBase> layout_base;
        require(server->newLayout("rain-volumelayout", 0.25f, layout_base));
        layout = std::static_pointer_cast<Skelvar::VoxelLayout>(layout_base);
        require(server->newVoxelShape("rain-volume", "rain-volumelayout", &object_name, shape));
        require(server->newVoxelChannel<float>("rain-volume/density", "rain-volume",
                                               Skelvar::eOffsetCentre, 0.5f));
        std::shared_ptr<Skelvar::TreeChannel3DBase> channel;
        require(server->channelRef("rain-volume/density", channel));
        density = std::static_pointer_cast<Skelvar::VoxelChannel<float>>(channel);
        layout->addNode(0, 0, 0, 7);
    }

private:
    static void require(Skelvar::VoxelStateResult in_result)
    {
        if (in_result != Skelvar::kVoxelStateOk) {
            throw std::runtime_error("RainScene: an item cannot be made");
        }
    }
};

}  // namespace SkelvarTest
