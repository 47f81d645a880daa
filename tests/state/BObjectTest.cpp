#include <skelvar/state/BObject.h>

#include <tests/support/ErrorOf.h>
#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::errorOf;
using Test::RainScene;
using Test::ScopedStateServer;

using Names = std::vector<std::string>;

std::shared_ptr<BObject> objectNamed(const std::string& in_name)
{
    auto object = std::make_shared<BObject>();
    object->setName(in_name);
    return object;
}

TEST(BObject, ThrowsTheStatedTextForWrongNames)
{
    const auto object = objectNamed("o");
    const auto a = std::make_shared<VoxelShape>("a");
    const auto a_too = std::make_shared<VoxelShape>("a");
    const auto b = std::make_shared<DictionaryShape>("b");
    object->addShape(a);
    object->addShape(b);

    const struct {
        const char* expected;
        std::string found;
    } rows[] = {
        {"addShape: BObject o already has a shape with name a",
         errorOf([&] { object->addShape(a_too); })},
        {"updateShape: BObject o does not have a shape with name c",
         errorOf([&] { object->updateShape(std::make_shared<VoxelShape>("c")); })},
        {"removeShape: BObject o does not have a shape with name c",
         errorOf([&] { object->removeShape("c"); })},
        {"renameShape: BObject o does not have a shape with name c",
         errorOf([&] { object->renameShape("c", "a"); })},
        {"renameShape: BObject o already has shape with name b",
         errorOf([&] { object->renameShape("a", "b"); })},
        {"renameShape: BObject o already has shape with name a",
         errorOf([&] { object->renameShape("a", "a"); })},
        {"BObject::shapePtr: shape with name c does not exist in BObject o",
         errorOf([&] { object->shapePtr<VoxelShape>("c"); })},
        {"BObject::shapePtr(): requested type VoxelShapedoes not match stored type "
         "DictionaryShape in object o",
         errorOf([&] { object->shapePtr<VoxelShape>("b"); })},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, row.found);
    }
    EXPECT_EQ(nullptr, a_too->object());
}

TEST(BObject, KeepsItsShapesInStep)
{
    const auto object = objectNamed("o");
    const auto shape = std::make_shared<VoxelShape>("a");
    const auto update = std::make_shared<VoxelShape>("a");
    Similarity place;
    place.toWorld(3, 0) = 2.0f;
    place.fromWorld(3, 0) = -2.0f;

    object->addShape(shape);
    object->updateShape(update);
    object->setName("p");
    object->setToWorld(place);
    object->renameShape("a", "b");

    EXPECT_EQ(update, object->shapePtr<VoxelShape>("b"));
    EXPECT_FALSE(object->hasShape("a"));
    EXPECT_EQ("b", update->name());
    EXPECT_EQ("p", update->objectName());
    EXPECT_EQ(object, update->object());
    EXPECT_EQ(2.0f, update->toWorld().toWorld(3, 0));
    object->removeShape("b");
    EXPECT_EQ(nullptr, update->object());
    EXPECT_EQ("", update->objectName());
}

TEST(BObject, RefusesShapesAndDictionariesWithoutAnOwner)
{
    ScopedStateServer server;
    BObject object;
    object.setStateServerID(server.id());
    std::shared_ptr<Dictionary> dictionary;
    Names shapes;

    EXPECT_THROW(object.addShape(std::make_shared<VoxelShape>("a")), std::bad_weak_ptr);
    EXPECT_THROW(object.dictionary(dictionary), std::bad_weak_ptr);

    server->shapes(shapes);
    EXPECT_EQ(Names{}, shapes);
    EXPECT_FALSE(object.hasShape("a"));
}

TEST(BObject, CopyKnowsShapesByNameAndLayoutsOfItsServer)
{
    RainScene scene;
    std::shared_ptr<Dictionary> dictionary;
    std::shared_ptr<Dictionary> copied_dictionary;
    std::shared_ptr<TreeLayout3DBase> layout;
    scene.object->dictionary(dictionary);
    scene.object->addLayout(scene.layout);
    auto foreign = objectNamed("x");
    foreign->setStateServerID(scene.server.id() + 1000);

    const auto copy = scene.object->copy();
    scene.object->copyInto(foreign);
    scene.object->copyInto(scene.object);

    EXPECT_TRUE(copy->hasShape("rain-volume"));
    EXPECT_EQ(nullptr, copy->shapePtr<VoxelShape>("rain-volume"));
    EXPECT_EQ(scene.server.id(), copy->stateServerID());
    copy->dictionary(copied_dictionary);
    EXPECT_EQ(dictionary, copied_dictionary);
    copy->layoutRef("rain-volumelayout", layout);
    EXPECT_EQ(scene.layout, layout);
    foreign->layoutRef("rain-volumelayout", layout);
    EXPECT_EQ(nullptr, layout);
    EXPECT_EQ(scene.shape, scene.object->shapePtr<VoxelShape>("rain-volume"));
}

TEST(BObject, MakesOneDictionaryWithItsShapeAndLayout)
{
    RainScene scene;
    std::shared_ptr<Dictionary> first;
    std::shared_ptr<Dictionary> second;
    scene.object->dictionary(first);
    first->setValue("gravity", 9.81f);
    scene.object->dictionary(second);

    Names shapes;
    Names layouts;
    scene.server->shapes(shapes);
    scene.server->layouts(layouts);
    EXPECT_EQ(first, second);
    EXPECT_EQ((Names{"__OBJECT-DICTIONARY__", "rain-volume"}), shapes);
    EXPECT_EQ((Names{"__OBJECT-DICTIONARY___layout", "rain-volumelayout"}), layouts);
    std::shared_ptr<TreeLayout3DBase> layout;
    scene.server->layoutRef("__OBJECT-DICTIONARY___layout", layout);
    EXPECT_EQ(0.5f, layout->MVS());
    EXPECT_EQ("__OBJECT-DICTIONARY___layout",
              scene.object->shapePtr<TreeShape3DBase>("__OBJECT-DICTIONARY__")->layoutName());
}

TEST(BObject, DeletesAllShapesAndChannelsButTheDictionary)
{
    RainScene scene;
    std::shared_ptr<Dictionary> dictionary;
    scene.object->dictionary(dictionary);
    std::shared_ptr<TreeChannel3DBase> by_path;
    scene.server->newChannel("VoxelChannel<vec<3,float>>", "wind", "rain-volume", by_path);
    const auto loaded = objectNamed("loaded");  // the same shapes, with an empty cache
    loaded->setStateServerID(scene.server.id());
    loaded->addShape(scene.object->shapePtr<TreeShape3DBase>("__OBJECT-DICTIONARY__"));
    loaded->addShape(scene.object->shapePtr<TreeShape3DBase>("rain-volume"));

    loaded->deleteAllShapes();

    Names shapes;
    Names channels;
    scene.server->shapes(shapes);
    scene.server->channels(channels);
    EXPECT_EQ(Names{"__OBJECT-DICTIONARY__"}, shapes);
    EXPECT_EQ(Names{}, channels);
    EXPECT_TRUE(loaded->hasShape("__OBJECT-DICTIONARY__"));
    EXPECT_FALSE(loaded->hasShape("rain-volume"));
    EXPECT_EQ(0, scene.shape->channelCount());
    EXPECT_EQ(kVoxelStateOk, scene.server->hasLayout("rain-volumelayout"));
}

TEST(BObject, WalksShapesOfOneKindAndStopsWhereOnlyTheNameIs)
{
    const auto object = objectNamed("o");
    object->addShape(std::make_shared<DictionaryShape>("a"));
    object->addShape(std::make_shared<VoxelShape>("b"));
    object->addShape(std::make_shared<DictionaryShape>("c"));
    const TypeMeta<VoxelShape> kind;
    const auto walk = [&](const BObject& in_object) {
        Names names;
        for (auto at = in_object.beginShapes(kind); at != in_object.endShapes(kind); ++at) {
            names.push_back(at.name() + (at.ptr() ? "" : " without a shape"));
        }
        return names;
    };

    EXPECT_EQ(Names{"b"}, walk(*object));
    EXPECT_EQ((Names{"a without a shape", "b without a shape", "c without a shape"}),
              walk(*object->copy()));
}

}  // namespace
}  // namespace Skelvar
