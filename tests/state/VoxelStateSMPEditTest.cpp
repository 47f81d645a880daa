#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/particles/ParticleChannel.h>
#include <skelvar/particles/ParticleShape.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/VoxelStateSMPMaps.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;
using Test::ScopedStateServer;

using Names = std::vector<std::string>;

std::string dumpOf(const VoxelState& in_server)
{
    std::ostringstream text;
    in_server.dump(text, 0, 2);
    return text.str();
}

Names namesOf(const ScopedStateServer& in_server)
{
    return in_server->maps().names();
}

TEST(Rename, MovesAllThatBeginsWithTheObjectsName)
{
    RainScene scene;
    std::shared_ptr<TreeChannel3DBase> made;
    scene.server->newChannel("VoxelChannel<float>", "rain-wind", "rain-volume", made);
    scene.server->newChannel("VoxelChannel<float>", "u", "rain-volume", made);
    scene.object->addLayout(scene.layout);

    ASSERT_EQ(kVoxelStateOk, scene.server->renameObject(scene.object, "snow"));

    EXPECT_EQ((Names{"snow", "snow-volume", "snow-volume.u", "snow-volume/density",
                     "snow-volumelayout", "snow-wind"}),
              namesOf(scene.server));
    EXPECT_TRUE(scene.object->hasLayout("snow-volumelayout"));
}

TEST(Rename, MayTakeANameThatItFreesItself)
{
    ScopedStateServer server;
    std::string object_name = "a";
    std::shared_ptr<BObject> object;
    std::shared_ptr<VoxelShape> shape;
    server->newObject("a");
    server->objectRef("a", object);
    server->newVoxelLayout("ab", 1.0f);
    server->newVoxelShape("abb", "ab", &object_name, shape);

    EXPECT_EQ(kVoxelStateOk, server->renameObject(object, "ab"));

    EXPECT_EQ((Names{"ab", "abb", "abbb"}), namesOf(server));
    EXPECT_EQ("abbb", shape->name());
    EXPECT_EQ("abb", shape->layoutName());
}

TEST(CopyShape, HasItsOwnNodesAndDataUnderTheNewNames)
{
    RainScene scene;
    scene.density->set(3.0f, 0, 7);

    ASSERT_EQ(kVoxelStateOk,
              scene.server->copyShape("rain-volume", "fog-volume", "fog-layout",
                                      {{"rain-volume/density", "fog-volume/density"}}));
    scene.layout->addNode(0, 0, 5, 7);
    scene.density->set(4.0f, 0, 7);

    std::shared_ptr<TreeShape3DBase> fog;
    std::shared_ptr<TreeChannel3DBase> copied;
    scene.server->shapeRef("fog-volume", fog);
    scene.server->channelRef("fog-volume/density", copied);
    EXPECT_EQ("fog-layout", fog->layoutName());
    EXPECT_EQ(0.25f, fog->voxelSize());
    EXPECT_EQ(1, fog->layout().numNodes(7));
    EXPECT_EQ(fog, copied->shapePtr());
    EXPECT_EQ("fog-volume", copied->shapeName());
    EXPECT_EQ(3.0f, static_cast<VoxelChannel<float>&>(*copied).tile(0, 7)(2, 2, 2));
    fog->layout().nodesCleared();
    EXPECT_EQ(2, scene.density->numTiles(7)) << "the copies observe apart";
}

TEST(CopyMesh, HasValuesOfItsOwnUnderAFreeName)
{
    using Heat = Mesh::Channel<float>;
    ScopedStateServer server;
    const auto surface = std::make_shared<Mesh>("surface");
    surface->addChannelEntry<Heat>("heat", 1)->values().push_back(0.5f);
    server->updateMesh(surface);
    server->newObject("taken");

    EXPECT_EQ(kVoxelStateOk, server->copyMesh("surface", "skin"));

    std::shared_ptr<Mesh> skin;
    server->mesh("skin", skin, VoxelState::eHintDoNotCopy);
    ASSERT_TRUE(skin);
    surface->findChannelEntry<Heat>("heat")->values()[0] = 2.0f;
    EXPECT_EQ("skin", skin->name());
    EXPECT_EQ(0.5f, skin->findChannelEntry<Heat>("heat")->values()[0]);
    const Names before = namesOf(server);
    EXPECT_EQ(kVoxelStateFailed, server->copyMesh("surface", "taken"));
    EXPECT_EQ(kVoxelStateFailed, server->copyMesh("absent", "new"));
    EXPECT_EQ(before, namesOf(server));
}

TEST(CopyChannel, TakesDataOnlyWhereTheyFitTileByTile)
{
    ScopedStateServer server;
    std::shared_ptr<VoxelLayout> trees[2];
    for (const int n : {0, 1}) {
        const std::string tree = "tree" + std::to_string(n);
        std::shared_ptr<VoxelShape> voxels;
        std::shared_ptr<ParticleShape> particles;
        std::string object = "rain" + std::to_string(n);
        server->newObject(object);
        server->newVoxelLayout(tree, 1.0f);
        server->voxelLayout(tree, trees[n], VoxelState::eHintDoNotCopy);
        trees[n]->addNode(0, 0, 0, 7);
        server->newVoxelShape("voxels" + std::to_string(n), tree, &object, voxels);
        server->newParticleShape("particles" + std::to_string(n), tree, &object, particles);
    }
    server->newVoxelChannel<float>("u", "voxels0", eOffsetCentre, 2.0f);
    server->newParticleChannel<float>("p", "particles0", 0.0f);
    server->newParticleChannel<float>("q", "particles1", 0.0f);
    EXPECT_EQ(kVoxelStateOk, server->copyChannel("voxels0", "voxels1", {{"u", "v"}}));
    EXPECT_EQ(kVoxelStateOk, server->copyChannel("particles0", "particles1", {{"p", "r"}}));

    std::shared_ptr<TreeChannel3DBase> q;
    server->channelRef("q", q);
    const TileIndex tile{0, 7};
    auto& values = dynamic_cast<ParticleChannel<float>&>(*q);
    values.tile(tile).push_back(1.0f);
    values.syncShapeParticleCounts();
    EXPECT_EQ(kVoxelStateFailed, server->copyChannel("particles0", "particles1", {{"p", "s"}}));
    EXPECT_EQ(1u, q->numElements());
    trees[1]->addNode(0, 0, 40, 7);
    EXPECT_EQ(kVoxelStateFailed, server->copyChannel("voxels0", "voxels1", {{"u", "w"}}));
    EXPECT_EQ(kVoxelStateFailed, server->hasChannel("w"));
}

TEST(CopyShapeTo, KeepsKindsOfKeysAndSparesWhatIsThere)
{
    RainScene scene;
    ScopedStateServer target;
    std::shared_ptr<TreeChannel3DBase> wind;
    std::shared_ptr<Dictionary> words;
    scene.server->newChannel("VoxelChannel<float>", "wind", "rain-volume", wind);
    scene.object->setCustomType("liquid");
    scene.object->dictionary(words);
    words->setValue("k", 1);

    ASSERT_EQ(kVoxelStateOk,
              scene.server->copyShapeTo(*target, "rain-volume", {"rain-volume/density", "wind"}));

    EXPECT_EQ((Names{"rain", "rain-volume", "rain-volume.wind", "rain-volume/density",
                     "rain-volumelayout"}),
              namesOf(target));
    std::shared_ptr<BObject> object;
    std::shared_ptr<TreeShape3DBase> shape;
    std::shared_ptr<Dictionary> copied_words;
    target->objectRef("rain", object);
    target->shapeRef("rain-volume", shape);
    object->dictionary(copied_words);
    words->setValue("later", 2);
    EXPECT_EQ("liquid", object->customType());
    EXPECT_TRUE(copied_words->hasValue("k"));
    EXPECT_FALSE(copied_words->hasValue("later")) << "another server has a dictionary of its own";
    EXPECT_EQ(object, shape->object());
    EXPECT_NE(scene.layout->nodeDataPtr(), shape->layout().nodeDataPtr());
    EXPECT_EQ(target.id(), shape->stateServerID());

    EXPECT_EQ(kVoxelStateFailed, scene.server->copyShapeTo(*target, "rain-volume", {}));
    EXPECT_EQ(kVoxelStateFailed, scene.server->copyShapeTo(*scene.server, "rain-volume", {}));
    EXPECT_EQ(shape, object->shapePtr<TreeShape3DBase>("rain-volume"));
}

TEST(MergeIn, GoesOnAfterAFailureAndCopiesNoData)
{
    RainScene source;
    ScopedStateServer target;
    std::shared_ptr<VoxelShape> second;
    std::string object_name = "fog";
    source.server->newObject("fog");
    source.server->newVoxelLayout("fog-layout", 1.0f);
    source.server->newVoxelShape("fog-volume", "fog-layout", &object_name, second);
    const auto data = source.density->blockDataPtr();

    EXPECT_EQ(kVoxelStateFailed,
              target->mergeIn(*source.server, {"rain-volume", "absent", "fog-volume"}));

    EXPECT_EQ((Names{"fog", "fog-layout", "fog-volume", "rain", "rain-volume",
                     "rain-volume/density", "rain-volumelayout"}),
              namesOf(target));
    EXPECT_EQ(target.id(), source.shape->stateServerID());
    EXPECT_EQ(data, source.density->blockDataPtr());
    EXPECT_EQ(kVoxelStateOk, target->mergeIn(*source.server, {}));
    std::shared_ptr<BObject> object;
    target->objectRef("rain", object);
    EXPECT_EQ(object, source.shape->object());
    EXPECT_EQ(std::string::npos, dumpOf(*target).find("ERROR:")) << dumpOf(*target);
}

TEST(MergeIn, BringsOtherShapesOfTheStoredLayoutToItsNewSizeAndVoxelSize)
{
    RainScene target;
    ScopedStateServer source;
    std::shared_ptr<VoxelShape> beside;
    target.server->newVoxelShape("beside", "rain-volumelayout", nullptr, beside);
    target.server->newVoxelChannel<int>("count", "beside", eOffsetCentre, 1);
    std::shared_ptr<VoxelShape> shape;
    std::string object = "rain";
    source->newObject(object);
    source->newVoxelLayout("rain-volumelayout", 0.5f);
    source->newVoxelShape("rain-volume", "rain-volumelayout", &object, shape);
    shape->layout().addNodes({0, 0, 0}, {15, 5, 5}, 7);

    ASSERT_EQ(kVoxelStateOk, target.server->mergeIn(*source, {"rain-volume"}));

    EXPECT_EQ(target.layout, shape->layoutPtr()) << "the stored layout stays the same";
    EXPECT_EQ(3, target.layout->numNodes(7));
    EXPECT_EQ(3, beside->channelBasePtr("count")->numTiles(7));
    EXPECT_EQ(0.5f, beside->voxelSize());
    EXPECT_EQ(2.0f, beside->inverseVoxelSize());
}

TEST(Update, ShapeOnANewLayoutTakesOthersOfTheOldOneAlong)
{
    RainScene scene;
    std::shared_ptr<VoxelShape> beside;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelLayout> layout;
    scene.server->newVoxelShape("beside", "rain-volumelayout", nullptr, beside);
    scene.server->newVoxelChannel<int>("count", "beside", eOffsetCentre, 1);
    scene.server->voxelShape("rain-volume", shape, nullptr, VoxelState::eHintCopyData);
    scene.server->voxelLayout("rain-volumelayout", shape, layout, VoxelState::eHintCopyData);
    layout->addNode(0, 0, 40, 7);

    ASSERT_EQ(kVoxelStateOk, scene.server->updateShape(shape));

    EXPECT_EQ(layout, beside->layoutPtr());
    EXPECT_EQ(2, beside->channelBasePtr("count")->numTiles(7));
    EXPECT_EQ(shape, scene.object->shapePtr<VoxelShape>("rain-volume"));
    layout->addNode(0, 0, 80, 7);
    EXPECT_EQ(3, shape->channelBasePtr("rain-volume/density")->numTiles(7)) << "it observes now";
}

TEST(Update, ShapeThatComesBackAfterAnEditHasATileForEachNode)
{
    RainScene scene;
    std::shared_ptr<VoxelShape> shape;
    scene.server->voxelShape("rain-volume", shape, nullptr, VoxelState::eHintCopyData);
    scene.layout->addNode(0, 0, 40, 7);

    ASSERT_EQ(kVoxelStateOk, scene.server->updateShape(shape));

    EXPECT_EQ(2, shape->channelBasePtr("rain-volume/density")->numTiles(7));
}

TEST(Update, CopyWithTheArraysOfTheStoredShapeComesBackOnALayoutOfItsOwn)
{
    for (const bool by_object : {false, true}) {
        RainScene scene;
        std::shared_ptr<BObject> object;
        std::shared_ptr<VoxelShape> shape;
        std::shared_ptr<VoxelLayout> layout;
        scene.server->object("rain", &object, VoxelState::eHintCopy);
        scene.server->voxelShape("rain-volume", shape, object, VoxelState::eHintCopy);
        scene.server->voxelLayout("rain-volumelayout", shape, layout, VoxelState::eHintCopyData);
        scene.layout->addNode(0, 0, 40, 7);

        ASSERT_EQ(kVoxelStateOk, by_object ? scene.server->updateObject(object)
                                           : scene.server->updateShape(shape));

        EXPECT_EQ(1, layout->numNodes(7));
        EXPECT_EQ(1, shape->channelBasePtr("rain-volume/density")->numTiles(7));
        std::shared_ptr<BObject> stored;
        scene.server->objectRef("rain", stored);
        EXPECT_EQ(shape, stored->shapePtr<VoxelShape>("rain-volume"));
        EXPECT_EQ(stored, shape->object());
    }
}

TEST(Update, ChannelDataAreCopiedOnlyIfTheyAreNotShared)
{
    RainScene scene;
    const auto shared =
        std::static_pointer_cast<VoxelChannel<float>>(scene.density->copy(false, true));
    const auto own =
        std::static_pointer_cast<VoxelChannel<float>>(scene.density->copy(true, false));
    const auto header = scene.density->copy(false, false);
    const auto data = scene.density->blockDataPtr();
    shared->setTagText("shared");
    own->setTagText("own");
    own->set(9.0f, 0, 7);

    EXPECT_EQ(kVoxelStateOk, scene.server->updateChannelBlockData(*shared));
    EXPECT_EQ(data, scene.density->blockDataPtr());
    EXPECT_EQ("shared", scene.density->tagText());
    EXPECT_EQ(kVoxelStateOk, scene.server->updateChannelMetaData(*own));
    EXPECT_EQ(data, scene.density->blockDataPtr());
    EXPECT_EQ("own", scene.density->tagText());
    EXPECT_EQ(kVoxelStateOk, scene.server->updateChannelBlockData(*header));
    EXPECT_EQ(0.5f, scene.density->tile(0, 7)(0, 0, 0)) << "a header overwrites no data";
    EXPECT_EQ(kVoxelStateOk, scene.server->updateChannelBlockData(*own));
    EXPECT_EQ(9.0f, scene.density->tile(0, 7)(0, 0, 0));
    EXPECT_EQ(kVoxelStateFailed, scene.server->updateChannelBlockData(VoxelChannel<int>(
                                     "rain-volume/density", nullptr, 0, eOffsetCentre)));
}

TEST(Update, LayoutCopyBringsItsTilesBackWhetherItSharesNodesOrNot)
{
    for (const auto hint : {VoxelState::eHintCopy, VoxelState::eHintCopyData}) {
        RainScene scene;
        std::shared_ptr<VoxelLayout> copy;
        scene.server->voxelLayout("rain-volumelayout", copy, hint);
        const VoxelState::TileIds ids = {copy->node(copy->addNode(0, 0, 40, 7)).id()};

        EXPECT_EQ(kVoxelStateOk, scene.server->refineVoxelLayout(*copy, ids));
        EXPECT_TRUE(scene.layout->nodeExists(ids[0]));
        EXPECT_EQ(copy->numNodes(), scene.layout->numNodes());
        EXPECT_EQ(2, scene.density->numTiles(7));

        copy->deleteNodes(ids);
        EXPECT_EQ(kVoxelStateOk, scene.server->coarsenVoxelLayout(*copy, ids));
        EXPECT_FALSE(scene.layout->nodeExists(ids[0]));
        EXPECT_EQ(1, scene.density->numTiles(7));
    }
}

}  // namespace
}  // namespace Skelvar
