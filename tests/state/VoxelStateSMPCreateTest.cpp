#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;
using Test::ScopedStateServer;

using Names = std::vector<std::string>;

Names channelsOf(const VoxelState& in_server)
{
    Names names;
    in_server.channels(names);
    return names;
}

bool isMarked(const VoxelState& in_server, const std::string& in_name)
{
    std::shared_ptr<Dictionary> marks;
    in_server.dictionary(marks);
    bool marked = false;
    return marks->getValue(in_name, marked) && marked;
}

TEST(VoxelStateSMP, AllKindsOfItemsShareOneNamespace)
{
    ScopedStateServer server;
    std::shared_ptr<TreeShape3DBase> shape;
    std::shared_ptr<TreeLayout3DBase> layout = std::make_shared<VoxelLayout>("style");
    const auto mesh = std::make_shared<Mesh>("a");

    EXPECT_EQ(kVoxelStateOk, server->newObject("a"));
    EXPECT_EQ(kVoxelStateFailed, server->newObject("a"));
    EXPECT_EQ(kVoxelStateFailed, server->newVoxelLayout("a", 1.0f));
    EXPECT_EQ(kVoxelStateFailed, server->newShape("VoxelShape", "a", shape));
    EXPECT_EQ(kVoxelStateFailed, server->updateMesh(mesh));
    EXPECT_EQ(kVoxelStateFailed, server->newLayout("a", layout, layout));
    EXPECT_EQ(nullptr, layout);

    EXPECT_EQ(kVoxelStateOk, server->newVoxelLayout("b1", 1.0f));
    EXPECT_EQ(kVoxelStateFailed, server->newObject("b01")) << "the same name by its number";
    EXPECT_EQ(kVoxelStateFailed, server->deleteVoxelLayout("b01"));
    EXPECT_EQ(kVoxelStateOk, server->deleteVoxelLayout("b1"));
    EXPECT_EQ(kVoxelStateOk, server->newObject("b01"));
}

TEST(VoxelStateSMP, LayoutFromAStyleHasItsNodesAndANameOfItsOwn)
{
    RainScene scene;
    std::shared_ptr<TreeLayout3DBase> made;

    EXPECT_EQ(kVoxelStateOk, scene.server->newLayout("copy", scene.layout, made));

    EXPECT_EQ("copy", made->name());
    EXPECT_EQ(0.25f, made->MVS());
    EXPECT_EQ(scene.server.id(), made->stateServerID());
    EXPECT_EQ(scene.layout->numNodes(), made->numNodes());
    EXPECT_NE(scene.layout->nodeDataPtr(), made->nodeDataPtr());
    EXPECT_EQ("rain-volumelayout", scene.layout->name());
}

TEST(VoxelStateSMP, ShapeStandsOnItsLayoutAndInItsObject)
{
    RainScene scene;

    EXPECT_EQ(scene.layout, scene.shape->layoutPtr());
    EXPECT_EQ(0.25f, scene.shape->voxelSize());
    EXPECT_EQ(scene.object, scene.shape->object());
    EXPECT_EQ(scene.shape, scene.object->shapePtr<VoxelShape>("rain-volume"));
    EXPECT_EQ(scene.server.id(), scene.shape->stateServerID());
    EXPECT_EQ(scene.layout->numNodes(7), scene.density->numTiles(7)) << "the shape listens";
}

TEST(VoxelStateSMP, NewShapeFailsWithoutAThrowAndLeavesTheObjectAsItWas)
{
    RainScene scene;
    std::string no_object = "no";
    std::string object = "rain";
    std::shared_ptr<VoxelShape> made = scene.shape;

    EXPECT_EQ(kVoxelStateFailed, scene.server->newVoxelShape("new", "no layout", &object, made));
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->newVoxelShape("new", "rain-volumelayout", &no_object, made));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->newVoxelShape("rain-volume", "rain-volumelayout", &object, made));
    EXPECT_FALSE(scene.object->hasShape("new"));
    EXPECT_EQ(scene.shape, scene.object->shapePtr<VoxelShape>("rain-volume"));
    EXPECT_EQ(1u, scene.layout->observers().size());
}

TEST(VoxelStateSMP, ShapeKindIsTheFirstKnownWordOfTheText)
{
    RainScene scene;
    std::shared_ptr<TreeShape3DBase> made;

    EXPECT_EQ(kVoxelStateOk, scene.server->newShape("a DictionaryShape!", "d", made));
    EXPECT_EQ(DictionaryShape::typeName(), made->typeMeta()->typeName());
    EXPECT_EQ(kVoxelStateOk, scene.server->newShape("VoxelShape or DictionaryShape", "v", made));
    EXPECT_EQ(VoxelShape::typeName(), made->typeMeta()->typeName());
    EXPECT_EQ(kVoxelStateFailed, scene.server->newShape("Shape", "s", made));
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(kVoxelStateOk,
              scene.server->newShape("DictionaryShape", "od", "rain-volumelayout", "rain", made));
    EXPECT_TRUE(scene.object->hasShape("od"));
    EXPECT_EQ(kVoxelStateOk,
              scene.server->newShape("Shape", "s", "rain-volumelayout", "rain", made))
        << "an unknown kind is judged by what the output holds";
    EXPECT_THROW(scene.server->newShape("ParticleShape VoxelShape", "p", made), std::runtime_error);
}

TEST(VoxelStateSMP, ChannelByTypeNameStandsUnderThePathOfItsUniqueName)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    std::shared_ptr<TreeChannel3DBase> first;
    std::shared_ptr<TreeChannel3DBase> second;

    EXPECT_EQ(kVoxelStateOk,
              server.newChannel("VoxelChannel<float>", "my wind", "rain-volume", first));
    EXPECT_EQ(kVoxelStateOk,
              server.newChannel("VoxelChannel<int32_t>", "my_wind", "rain-volume", second));

    EXPECT_EQ("my_wind", first->name());
    EXPECT_EQ("rain-volume.my_wind", first->partialPathName());
    EXPECT_EQ("my_wind1", second->name());
    EXPECT_EQ((Names{"rain-volume.my_wind", "rain-volume.my_wind1", "rain-volume/density"}),
              channelsOf(server));
    EXPECT_EQ("rain-volume.my_wind", server.channelStoringKey("rain-volume", "my_wind"));
    EXPECT_FALSE(isMarked(server, "my_wind"));
    EXPECT_EQ(scene.server.id(), first->stateServerID());
    EXPECT_EQ(scene.layout->numNodes(7), first->numTiles(7));
}

TEST(VoxelStateSMP, ReadyChannelStandsUnderItsBareName)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;

    EXPECT_TRUE(isMarked(server, "rain-volume/density"));
    EXPECT_EQ("rain-volume/density",
              server.channelStoringKey("rain-volume", "rain-volume/density"));
    EXPECT_EQ(0.5f, scene.density->backgroundValue());
    EXPECT_EQ(0.5f, scene.density->tile(0, 7)(2, 2, 2));

    std::shared_ptr<Dictionary> marks;
    server.dictionary(marks);
    marks->setValue("old", 3);
    EXPECT_EQ(kVoxelStateOk,
              server.newVoxelChannel<vec3f>("old", "rain-volume", eOffsetFaceX, vec3f{}));
    EXPECT_TRUE(isMarked(server, "old"));
    EXPECT_EQ(kVoxelStateOk, server.deleteChannel("old", "rain-volume"));
    EXPECT_FALSE(isMarked(server, "old"));
    EXPECT_FALSE(scene.shape->hasChannel("old"));
}

TEST(VoxelStateSMP, FailedChannelLeavesNothingBehind)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    std::shared_ptr<TreeShape3DBase> dictionary_shape;
    std::shared_ptr<TreeChannel3DBase> made = scene.density;
    server.newShape("DictionaryShape", "d", dictionary_shape);
    server.newObject("rain-volume.taken");

    EXPECT_EQ(kVoxelStateFailed, server.newChannel("Channel", "x", "rain-volume", made));
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(kVoxelStateFailed, server.newChannel("VoxelChannel<bool>", "x", "rain-volume", made));
    EXPECT_EQ(kVoxelStateFailed, server.newChannel("VoxelChannel<float>", "x", "no", made));
    EXPECT_EQ(kVoxelStateFailed,
              server.newChannel("VoxelChannel<float>", "taken", "rain-volume", made));
    EXPECT_EQ(kVoxelStateFailed,
              server.newVoxelChannel<int>("rain-volume/density", "rain-volume", eOffsetCentre, 0));
    EXPECT_EQ(kVoxelStateFailed,
              server.deprecated_newChannel("VoxelChannel<x>", "x", "rain-volume", made));
    EXPECT_EQ(kVoxelStateFailed, server.deprecated_newChannel("VoxelChannel<float>",
                                                              "rain-volume/density", "d", made));
    EXPECT_THROW(server.newVoxelChannel<int>("x", "d", eOffsetCentre, 0), std::runtime_error);
    EXPECT_THROW(server.newChannel("VoxelChannel<float>", "x", "d", made), std::runtime_error);
    EXPECT_EQ(nullptr, made);

    EXPECT_EQ(Names{"rain-volume/density"}, channelsOf(server));
    EXPECT_EQ(Names{"rain-volume/density"}, scene.shape->channelNames());
    EXPECT_FALSE(isMarked(server, "x"));
    std::string free_name;
    server.uniqueName("x", free_name);
    EXPECT_EQ("x", free_name);
}

TEST(VoxelStateSMP, ChannelInTheStyleOfAnotherStandsUnderTheSameKindOfKey)
{
    RainScene scene;
    RainScene target;
    std::shared_ptr<TreeChannel3DBase> made;
    std::shared_ptr<TreeChannel3DBase> wind;
    scene.server->newChannel("VoxelChannel<float>", "wind", "rain-volume", wind);
    const auto make = [&](const char* in_name, const char* in_style) {
        return scene.server->newChannelFromStyleChannel(
            "VoxelChannel<float>", in_name, "rain-volume", in_style, *target.server, made);
    };

    EXPECT_EQ(kVoxelStateOk, make("rain-volume/bare", "rain-volume/density"));
    EXPECT_EQ(kVoxelStateOk, make("rain-volume.gust", "wind"));
    EXPECT_EQ(kVoxelStateFailed, make("a.b.c.d", "wind"));

    EXPECT_EQ((Names{"rain-volume.gust", "rain-volume/bare", "rain-volume/density"}),
              channelsOf(*target.server));
}

TEST(VoxelStateSMP, ChannelIsFoundByItsKeyAndByThePathThatMatchesItsObject)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    std::shared_ptr<TreeChannel3DBase> found;
    std::shared_ptr<TreeChannel3DBase> wind;
    server.newChannel("VoxelChannel<float>", "wind", "rain-volume", wind);
    std::shared_ptr<TreeShape3DBase> lone_shape;
    server.newShape("VoxelShape", "lone", lone_shape);

    EXPECT_EQ(kVoxelStateOk, server.channelRef("rain-volume.wind", found));
    EXPECT_EQ(wind, found);
    EXPECT_EQ(kVoxelStateOk, server.hasChannel("rain.rain-volume.wind"));
    EXPECT_EQ(kVoxelStateFailed, server.hasChannel("fog.rain-volume.wind"));
    EXPECT_EQ(kVoxelStateFailed, server.hasChannel("wind"));
    EXPECT_EQ(kVoxelStateFailed, server.hasChannel("rain-volume.rain-volume/density"));
    EXPECT_EQ(kVoxelStateFailed, server.channelRef("", found));
    EXPECT_EQ(nullptr, found);

    scene.server->newObject("fog");
    EXPECT_EQ(kVoxelStateFailed, server.hasChannel("fog.rain-volume.wind"));
    EXPECT_EQ(kVoxelStateOk, server.deleteChannel("rain.rain-volume.wind", ""));
    EXPECT_FALSE(scene.shape->hasChannel("wind"));
    EXPECT_EQ(kVoxelStateFailed, server.deleteChannel("rain-volume.wind", ""));
}

TEST(VoxelStateSMP, DeletingDoesNotCascade)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    Names shapes;

    EXPECT_EQ(kVoxelStateOk, server.deleteShape("rain-volume"));
    EXPECT_FALSE(scene.object->hasShape("rain-volume"));
    EXPECT_EQ(kVoxelStateOk, server.hasChannel("rain-volume/density"));
    EXPECT_EQ(kVoxelStateOk, server.hasLayout("rain-volumelayout"));

    std::string object_name = "rain";
    server.newVoxelShape("rain-volume", "rain-volumelayout", &object_name, scene.shape);
    scene.object.reset();
    EXPECT_EQ(kVoxelStateOk, server.deleteObject("rain"));
    EXPECT_EQ(nullptr, scene.shape->object());
    server.shapes(shapes);
    EXPECT_EQ(Names{"rain-volume"}, shapes);
    EXPECT_EQ(kVoxelStateFailed, server.deleteObject("rain"));
    EXPECT_EQ(kVoxelStateFailed, server.deleteShape("rain"));
    EXPECT_EQ(kVoxelStateFailed, server.deleteMesh("rain"));
}

TEST(VoxelStateSMP, ClearForgetsEverything)
{
    RainScene scene;
    Names names;
    std::string free_name;

    EXPECT_EQ(kVoxelStateOk, scene.server->clear());

    scene.server->objects(names);
    EXPECT_EQ(Names{}, names);
    EXPECT_EQ(Names{}, channelsOf(*scene.server));
    EXPECT_FALSE(isMarked(*scene.server, "rain-volume/density"));
    scene.server->uniqueName("rain", free_name);
    EXPECT_EQ("rain", free_name);
    EXPECT_EQ(scene.density, scene.shape->channelBasePtr("rain-volume/density"));
}

TEST(VoxelStateSMP, NameWithANumberThatDoesNotFitChangesNothing)
{
    ScopedStateServer server;
    server->newObject("a1");

    EXPECT_THROW(server->newObject("a99999999999"), std::out_of_range);
    EXPECT_EQ(kVoxelStateFailed, server->deleteObject("a99999999999"));

    EXPECT_EQ(kVoxelStateOk, server->deleteObject("a1"));
    EXPECT_EQ(kVoxelStateOk, server->newObject("a99999999999")) << "compared with no other number";
    EXPECT_EQ(kVoxelStateOk, server->deleteObject("a99999999999"));
    EXPECT_EQ(kVoxelStateOk, server->newObject("a1"));
}

TEST(VoxelStateSMP, OneThreadOfSeveralGetsEachName)
{
    constexpr int kThreads = 4;
    constexpr int kNames = 200;
    ScopedStateServer server;
    std::vector<int> won(kThreads, 0);
    std::vector<std::thread> threads;

    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&server, &wins = won[thread], thread] {
            for (int n = 0; n < kNames; ++n) {
                const std::string name = "item" + std::to_string(n);
                std::shared_ptr<TreeShape3DBase> shape;
                const VoxelStateResult result =
                    thread % 2 ? server->newObject(name) : server->newVoxelLayout(name, 1.0f);
                wins += result == kVoxelStateOk;
                wins += server->newShape("VoxelShape", name + "-shape", shape) == kVoxelStateOk;
                // A shape belongs to the thread that made it, and channels are put into it by one.
                if (shape) {
                    server->newVoxelChannel<float>(name + "/c", shape->name(), eOffsetCentre, 0.0f);
                    server->hasChannel("item0/c");
                    server->deleteChannel(name + "/c", shape->name());
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    int total = 0;
    for (const int wins : won) {
        total += wins;
    }
    EXPECT_EQ(2 * kNames, total);
    Names objects;
    Names layouts;
    Names shapes;
    server->objects(objects);
    server->layouts(layouts);
    server->shapes(shapes);
    EXPECT_EQ(kNames, static_cast<int>(objects.size() + layouts.size()));
    EXPECT_EQ(kNames, static_cast<int>(shapes.size()));
    EXPECT_EQ(Names{}, channelsOf(*server));
}

}  // namespace
}  // namespace Skelvar
