#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/TypeMeta.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;

using Calls = std::vector<std::string>;

/// Records what it is told, each time together with whether another thread could take the lock of
/// the server meanwhile.
class RecordingManager : public VoxelState::OffloadManager {
public:
    void pinForFrame(const std::string& in_path, int) override { record("pin " + in_path); }
    void ensureData(const std::string& in_name) override { record("ensure " + in_name); }
    void memoryReport(unsigned int in_value) override
    {
        record("memory " + std::to_string(in_value));
    }
    void clearAll() override
    {
        std::vector<std::string> names;
        server->objects(names);
        record("clear " + std::to_string(names.size()));
    }
    void detachServer() override {}

    /// What was told since the last call.
    Calls taken() { return std::exchange(calls, {}); }

    VoxelState* server = nullptr;

private:
    void record(const std::string& in_call)
    {
        // Hangs if the caller holds the server's lock.
        std::async(std::launch::async, [this] { return server->hasLayout("x"); }).get();
        calls.push_back(in_call);
    }

    Calls calls;
};

TEST(OffloadManager, HearsOfEveryFetchOutsideTheLockAndOfNothingElse)
{
    RainScene scene;
    VoxelState& server = *scene.server;
    RecordingManager manager;
    manager.server = &server;
    server.setOffloadManager(&manager);
    EXPECT_EQ(&manager, server.offloadManager());
    const auto mesh = std::make_shared<Mesh>();
    mesh->setName("mesh");
    const TypeMeta<TreeChannel3DBase> any_channel;
    const auto hint = VoxelState::eHintDefault;

    std::shared_ptr<BObject> object;
    server.object("rain", &object, hint);
    std::shared_ptr<VoxelShape> shape;
    server.voxelShape("rain-volume", shape, nullptr, hint);
    server.voxelShape("no", shape, nullptr, nullptr, hint);
    std::shared_ptr<VoxelLayout> layout;
    server.voxelLayout("rain-volumelayout", layout, hint);
    std::shared_ptr<TreeChannel3DBase> channel;
    server.channel("rain-volume/density", nullptr, &channel, any_channel, hint);
    server.channelMetaData("rain-volume/density", nullptr, &channel, any_channel, hint);
    EXPECT_EQ((Calls{"ensure rain", "ensure rain-volume", "ensure no", "ensure rain-volumelayout",
                     "ensure rain-volume/density", "ensure rain-volume/density"}),
              manager.taken());

    std::shared_ptr<Mesh> found_mesh;
    server.updateMesh(mesh);
    server.mesh("mesh", found_mesh, hint);
    std::shared_ptr<TreeShape3DBase> shape_ref;
    server.shapeRef("rain-volume", shape_ref);
    server.hasChannel("rain-volume/density");
    server.newObject("other");
    server.deleteObject("other");
    EXPECT_EQ(Calls{}, manager.taken());

    server.clear();
    EXPECT_EQ(Calls{"clear 0"}, manager.taken());
    server.setOffloadManager(nullptr);
}

}  // namespace
}  // namespace Skelvar
