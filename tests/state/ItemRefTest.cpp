#include <skelvar/state/ItemRef.h>

#include <tests/support/ScopedStateServer.h>

#include <gtest/gtest.h>

namespace Skelvar {
namespace {

using Test::RainScene;

TEST(ItemRef, FindsAnItemThatWasDeletedAndMadeAnew)
{
    RainScene scene;
    ItemRef<TreeLayout3DBase> reference(scene.layout, "rain-volumelayout");
    scene.server->deleteVoxelLayout("rain-volumelayout");
    scene.layout.reset();
    EXPECT_FALSE(reference.valid(scene.server.id()));
    EXPECT_EQ(nullptr, reference.shared(scene.server.id()));

    std::shared_ptr<TreeLayout3DBase> anew;
    scene.server->newLayout("rain-volumelayout", 1.0f, anew);

    EXPECT_FALSE(reference.valid(StateServerManager::invalidId));
    EXPECT_EQ(anew, reference.shared(scene.server.id()));
    EXPECT_TRUE(reference.valid(StateServerManager::invalidId));
}

TEST(ItemRef, KeepsALiveItemWhoseNameNowMeansAnother)
{
    RainScene scene;
    ItemRef<TreeShape3DBase> reference(scene.shape, "rain-volume");
    scene.server->deleteShape("rain-volume");
    std::shared_ptr<TreeShape3DBase> other;
    scene.server->newShape("VoxelShape", "rain-volume", other);

    EXPECT_EQ(scene.shape, reference.shared(scene.server.id()));
    reference.reset(false);
    EXPECT_EQ(other, reference.shared(scene.server.id()));
    reference.reset(true);
    EXPECT_EQ(nullptr, reference.shared(scene.server.id()));
}

}  // namespace
}  // namespace Skelvar
