#include <skelvar/state/BObject.h>

#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;
using Test::ScopedStateServer;

using Names = std::vector<std::string>;

std::string messageOf(const std::function<void()>& in_action)
{
    try {
        in_action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

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

    EXPECT_EQ("addShape: BObject o already has a shape with name a",
              messageOf([&] { object->addShape(a_too); }));
    EXPECT_EQ(nullptr, a_too->object());
    EXPECT_EQ("updateShape: BObject o does not have a shape with name c",
              messageOf([&] { object->updateShape(std::make_shared<VoxelShape>("c")); }));
    EXPECT_EQ("removeShape: BObject o does not have a shape with name c",
              messageOf([&] { object->removeShape("c"); }));
    EXPECT_EQ("renameShape: BObject o does not have a shape with name c",
              messageOf([&] { object->renameShape("c", "a"); }));
    EXPECT_EQ("renameShape: BObject o already has shape with name b",
              messageOf([&] { object->renameShape("a", "b"); }));
    EXPECT_EQ("renameShape: BObject o already has shape with name a",
              messageOf([&] { object->renameShape("a", "a"); }));
    EXPECT_EQ("BObject::shapePtr: shape with name c does not exist in BObject o",
              messageOf([&] { object->shapePtr<VoxelShape>("c"); }));
    EXPECT_EQ(
        "BObject::shapePtr(): requested type VoxelShapedoes not match stored type DictionaryShape "
        "in object o",
        messageOf([&] { object->shapePtr<VoxelShape>("b"); }));
    EXPECT_EQ(b, object->shapePtr<TreeShape3DBase>("b"));
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

TEST(BObject, CopyKnowsShapesByNameAndSharesTheDictionary)
{
    RainScene scene;
    std::shared_ptr<Dictionary> dictionary;
    scene.object->dictionary(dictionary);
    scene.object->setCustomType("water");
    scene.object->addLayout(scene.layout);

    const auto copy = scene.object->copy();
    copy->setName("fog");

    EXPECT_TRUE(copy->hasShape("rain-volume"));
    EXPECT_EQ(nullptr, copy->shapePtr<VoxelShape>("rain-volume"));
    EXPECT_EQ("rain", scene.shape->objectName());
    EXPECT_EQ("water", copy->customType());
    EXPECT_EQ(scene.server.id(), copy->stateServerID());
    std::shared_ptr<Dictionary> copied_dictionary;
    copy->dictionary(copied_dictionary);
    EXPECT_EQ(dictionary, copied_dictionary);
    std::shared_ptr<TreeLayout3DBase> layout;
    copy->layoutRef("rain-volumelayout", layout);
    EXPECT_EQ(scene.layout, layout);
}

TEST(BObject, CopyForAnotherServerDropsTheLayoutsAndACopyIntoItselfChangesNothing)
{
    RainScene scene;
    scene.object->addLayout(scene.layout);
    auto foreign = objectNamed("x");
    foreign->setStateServerID(scene.server.id() + 1000);

    scene.object->copyInto(foreign);
    scene.object->copyInto(scene.object);

    std::shared_ptr<TreeLayout3DBase> layout = scene.layout;
    foreign->layoutRef("rain-volumelayout", layout);
    EXPECT_EQ(nullptr, layout);
    EXPECT_EQ("rain", foreign->name());
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

TEST(BObject, FindsTheDictionaryOfAShapeThatItWasGiven)
{
    const auto object = objectNamed("loaded");
    const auto shape = std::make_shared<DictionaryShape>("d");
    std::shared_ptr<Dictionary> of_shape;
    std::shared_ptr<Dictionary> of_object;
    std::shared_ptr<Dictionary> of_homeless;
    shape->dictionary(of_shape);
    object->addShape(shape);

    object->dictionary(of_object);
    objectNamed("homeless")->dictionary(of_homeless);

    EXPECT_EQ(of_shape, of_object);
    EXPECT_EQ(nullptr, of_homeless);
}

TEST(BObject, DeletesAllShapesAndChannelsButTheDictionary)
{
    RainScene scene;
    std::shared_ptr<Dictionary> dictionary;
    scene.object->dictionary(dictionary);
    std::shared_ptr<TreeChannel3DBase> by_path;
    scene.server->newChannel("VoxelChannel<vec<3,float>>", "wind", "rain-volume", by_path);
    Names channels;
    scene.server->channels(channels);
    EXPECT_EQ((Names{"rain-volume.wind", "rain-volume/density"}), channels);
    const auto loaded = objectNamed("loaded");  // the same shapes, with an empty cache
    loaded->setStateServerID(scene.server.id());
    loaded->addShape(scene.object->shapePtr<TreeShape3DBase>("__OBJECT-DICTIONARY__"));
    loaded->addShape(scene.object->shapePtr<TreeShape3DBase>("rain-volume"));

    loaded->deleteAllShapes();

    Names shapes;
    scene.server->shapes(shapes);
    scene.server->channels(channels);
    EXPECT_EQ(Names{"__OBJECT-DICTIONARY__"}, shapes);
    EXPECT_EQ(Names{}, channels);
    EXPECT_TRUE(loaded->hasShape("__OBJECT-DICTIONARY__"));
    EXPECT_FALSE(loaded->hasShape("rain-volume"));
    EXPECT_EQ(0, scene.shape->channelCount());
    EXPECT_EQ(kVoxelStateOk, scene.server->hasLayout("rain-volumelayout"));
}

TEST(BObject, KnowsLayoutsByNameAndFindsThemAgain)
{
    RainScene scene;
    BObject& object = *scene.object;
    const auto other = std::make_shared<VoxelLayout>("other");

    EXPECT_TRUE(object.addLayout(scene.layout));
    EXPECT_FALSE(object.addLayout(scene.layout));
    EXPECT_FALSE(object.updateLayout(other));
    EXPECT_TRUE(object.addLayout(other));
    EXPECT_FALSE(object.renameLayout("rain-volumelayout", "other"));
    EXPECT_FALSE(object.renameLayout("no", "x"));
    EXPECT_TRUE(object.renameLayout("rain-volumelayout", "b"));

    Names names;
    for (auto entry = object.beginLayouts(); entry != object.endLayouts(); ++entry) {
        names.push_back(entry.name() + "=" + entry->name());
    }
    EXPECT_EQ((Names{"b=rain-volumelayout", "other=other"}), names);
    // The reference keeps the name under which the server holds the layout.
    scene.server->deleteVoxelLayout("rain-volumelayout");
    scene.layout.reset();
    std::shared_ptr<TreeLayout3DBase> anew;
    scene.server->newLayout("rain-volumelayout", 1.0f, anew);
    EXPECT_EQ(anew, object.beginLayouts().ptr());
    EXPECT_TRUE(object.removeLayout("b"));
    EXPECT_FALSE(object.removeLayout("b"));
    EXPECT_EQ(1u, object.layoutCount());
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
