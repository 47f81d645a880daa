#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
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
    EXPECT_EQ(kVoxelStateOk, scene.server->newShape("VoxelShape or ParticleShape", "p", made));
    EXPECT_EQ("ParticleShape", made->typeMeta()->typeName());
}

TEST(VoxelStateSMP, ChannelStandsUnderThePathOfItsUniqueNameOrUnderAMarkedBareName)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    std::shared_ptr<TreeChannel3DBase> wind;

    EXPECT_EQ(kVoxelStateOk,
              server.newChannel("VoxelChannel<float>", "my wind", "rain-volume", wind));

    EXPECT_EQ("rain-volume.my_wind", wind->partialPathName());
    EXPECT_EQ("rain-volume.my_wind", server.channelStoringKey("rain-volume", "my_wind"));
    EXPECT_FALSE(isMarked(server, "my_wind"));
    EXPECT_EQ(scene.server.id(), wind->stateServerID());
    EXPECT_EQ(scene.layout->numNodes(7), wind->numTiles(7));
    std::shared_ptr<Dictionary> marks;
    server.dictionary(marks);
    marks->setValue("old", 3);
    EXPECT_EQ(kVoxelStateOk, server.newVoxelChannel<int>("old", "rain-volume", eOffsetFaceX, 0));
    EXPECT_TRUE(isMarked(server, "old"));
}

TEST(VoxelStateSMP, FailedChannelLeavesNothingBehind)
{
    RainScene scene;
    VoxelStateSMP& server = *scene.server;
    std::shared_ptr<TreeShape3DBase> dictionary_shape;
    std::shared_ptr<TreeChannel3DBase> made = scene.density;
    server.newShape("DictionaryShape", "d", dictionary_shape);
    server.newObject("rain-volume.taken");

    const char* const floats = "VoxelChannel<float>";
    const VoxelStateResult results[] = {
        server.newChannel("Channel", "x", "rain-volume", made),
        server.newChannel("VoxelChannel<bool>", "x", "rain-volume", made),
        server.newChannel(floats, "x", "no", made),
        server.newChannel(floats, "taken", "rain-volume", made),
        server.newVoxelChannel<int>("rain-volume/density", "rain-volume", eOffsetCentre, 0),
        server.deprecated_newChannel("VoxelChannel<x>", "x", "rain-volume", made),
        server.deprecated_newChannel(floats, "rain-volume/density", "d", made),
    };

    for (const VoxelStateResult& result : results) {
        EXPECT_EQ(kVoxelStateFailed, result) << "row " << &result - results;
    }
    EXPECT_THROW(server.newVoxelChannel<int>("x", "d", eOffsetCentre, 0), std::runtime_error);
    EXPECT_THROW(server.newChannel(floats, "x", "d", made), std::runtime_error);
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

    EXPECT_EQ(2 * kNames, std::accumulate(won.begin(), won.end(), 0));
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
