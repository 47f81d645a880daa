#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/TypeMeta.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/SkelvarModule.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::RainScene;
using Test::ScopedStateServer;

constexpr auto kDefault = VoxelState::eHintDefault;
constexpr auto kDoNotCopy = VoxelState::eHintDoNotCopy;
constexpr auto kCopy = VoxelState::eHintCopy;
constexpr auto kCopyData = VoxelState::eHintCopyData;
const char* const kDensity = "rain-volume/density";

std::string messageOf(const std::function<void()>& in_action)
{
    try {
        in_action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(Fetch, TheLargerOfHintAndGlobalHintCounts)
{
    struct Row {
        VoxelState::VoxelStateHint global;
        VoxelState::VoxelStateHint hint;
        bool is_copy;
        bool shares;
    };
    const Row rows[] = {
        {kDefault, kDefault, false, true},    {kDoNotCopy, kDefault, false, true},
        {kDefault, kDoNotCopy, false, true},  {kDoNotCopy, kCopy, true, true},
        {kDoNotCopy, kCopyData, true, false}, {kCopy, kDefault, true, true},
        {kCopy, kDoNotCopy, true, true},      {kCopyData, kDoNotCopy, true, false},
        {kCopyData, kCopy, true, false},      {kCopy, kCopyData, true, false},
    };
    RainScene scene;
    for (const Row& row : rows) {
        SCOPED_TRACE("global " + std::to_string(row.global) + " hint " + std::to_string(row.hint));
        std::shared_ptr<VoxelChannel<float>> channel;
        std::shared_ptr<VoxelLayout> layout;
        std::shared_ptr<VoxelShape> shape;
        scene.server->setGlobalHint(row.global);

        EXPECT_EQ(kVoxelStateOk, scene.server->voxelChannel(kDensity, nullptr, &channel, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->voxelLayout("rain-volumelayout", layout, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->voxelShape("rain-volume", shape, nullptr, row.hint));

        const auto shape_channel = shape->channelBasePtr(kDensity);
        EXPECT_EQ(row.is_copy, channel != scene.density);
        EXPECT_EQ(row.is_copy, layout != scene.layout);
        EXPECT_EQ(row.is_copy, shape != scene.shape);
        EXPECT_EQ(row.is_copy, shape_channel != scene.density);
        EXPECT_EQ(row.shares, channel->blockDataPtr() == scene.density->blockDataPtr());
        EXPECT_EQ(row.shares, layout->nodeDataPtr() == scene.layout->nodeDataPtr());
        EXPECT_EQ(row.shares, shape_channel->blockDataPtr() == scene.density->blockDataPtr());
        EXPECT_EQ(0.5f, channel->tile(0, 7)(1, 2, 3));
        EXPECT_EQ(1u, scene.layout->observers().size()) << "a copy does not listen";
    }
}

TEST(Fetch, ObjectsAndMeshesAreCopiedWholeForBothCopyingHints)
{
    RainScene scene;
    const auto stored_mesh = std::make_shared<Mesh>("surface");
    EXPECT_EQ(kVoxelStateOk, scene.server->updateMesh(stored_mesh));
    for (const auto hint : {kDoNotCopy, kCopy, kCopyData}) {
        SCOPED_TRACE(hint);
        std::shared_ptr<BObject> object;
        std::shared_ptr<BObject> stored_object;
        std::shared_ptr<Mesh> mesh;

        EXPECT_EQ(kVoxelStateOk, scene.server->object("rain", &object, hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->mesh("surface", mesh, hint));

        scene.server->objectRef("rain", stored_object);
        EXPECT_EQ(scene.object, stored_object);
        EXPECT_EQ(hint == kDoNotCopy, object == stored_object);
        EXPECT_EQ("rain", object->name());
        EXPECT_EQ(hint == kDoNotCopy, mesh == stored_mesh);
        EXPECT_EQ("surface", mesh->name());
    }
}

TEST(Fetch, AbsentNamesFailAndOnlyAMeshIsCleared)
{
    RainScene scene;
    std::shared_ptr<BObject> object = scene.object;
    auto mesh = std::make_shared<Mesh>("m");
    std::shared_ptr<VoxelShape> shape = scene.shape;
    std::shared_ptr<VoxelLayout> layout = scene.layout;
    std::shared_ptr<VoxelChannel<float>> channel = scene.density;
    std::shared_ptr<TreeShape3DBase> dictionary_shape;
    scene.server->newShape("DictionaryShape", "d", dictionary_shape);
    const auto stranger = std::make_shared<VoxelShape>("stranger");
    const auto strange_object = std::make_shared<BObject>();

    EXPECT_EQ(kVoxelStateFailed, scene.server->object("no", &object, kDefault));
    EXPECT_EQ(kVoxelStateFailed, scene.server->mesh("no", mesh, kDefault));
    EXPECT_EQ(kVoxelStateFailed, scene.server->voxelShape("no", shape, nullptr, kDefault));
    EXPECT_EQ(kVoxelStateFailed, scene.server->voxelShape("d", shape, nullptr, kDefault));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->voxelShape("rain-volume", shape, strange_object, kDefault));
    EXPECT_EQ(kVoxelStateFailed, scene.server->voxelLayout("no", layout, kDefault));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->voxelLayout("rain-volumelayout", stranger, layout, kDefault));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->voxelLayout("rain-volumelayout", std::shared_ptr<TreeShape3DBase>(),
                                        nullptr, kDefault));
    EXPECT_EQ(kVoxelStateFailed, scene.server->voxelChannel("no", nullptr, &channel, kDefault));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->voxelChannel(kDensity, stranger, &channel, kDefault));
    EXPECT_EQ(kVoxelStateFailed,
              scene.server->voxelChannel<float>(kDensity, nullptr, nullptr, kDefault));

    EXPECT_EQ(scene.object, object);
    EXPECT_EQ(nullptr, mesh);
    EXPECT_EQ(scene.shape, shape);
    EXPECT_EQ(scene.layout, layout);
    EXPECT_EQ(scene.density, channel);
}

TEST(Fetch, ChannelOfAnotherTypeIsOkAndWritesNothing)
{
    RainScene scene;
    std::shared_ptr<VoxelChannel<int>> wrong;

    EXPECT_EQ(kVoxelStateOk, scene.server->voxelChannel(kDensity, nullptr, &wrong, kCopy));

    EXPECT_EQ(nullptr, wrong);
}

TEST(Fetch, CopiesOfAnObjectItsShapeItsLayoutAndItsChannelFormAScene)
{
    RainScene scene;
    std::shared_ptr<BObject> object;
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelChannel<float>> channel;

    scene.server->object("rain", &object, kCopy);
    scene.server->voxelLayout("rain-volumelayout", layout, kCopy);
    scene.server->voxelShape("rain-volume", shape, object, layout, kCopy);
    scene.server->voxelChannel(kDensity, shape, &channel, kCopyData);

    EXPECT_EQ(shape, object->shapePtr<VoxelShape>("rain-volume"));
    EXPECT_EQ(object, shape->object());
    EXPECT_EQ(layout, shape->layoutPtr());
    EXPECT_EQ(channel, shape->channelBasePtr(kDensity));
    EXPECT_EQ(shape, channel->shapePtr());
    EXPECT_NE(scene.density->blockDataPtr(), channel->blockDataPtr());
    EXPECT_EQ(scene.density, scene.shape->channelBasePtr(kDensity));
    EXPECT_EQ(scene.shape, scene.density->shapePtr());
    channel->tile(0, 7)(0, 0, 0) = 9.0f;
    EXPECT_EQ(0.5f, scene.density->tile(0, 7)(0, 0, 0));

    std::shared_ptr<VoxelLayout> stored_layout;
    scene.server->voxelLayout("rain-volumelayout", shape, stored_layout, kDoNotCopy);
    EXPECT_EQ(scene.layout, shape->layoutPtr()) << "a copy of a shape goes back to the stored one";
}

TEST(Fetch, CopyOfAChannelEntersAShapeThatDoesNotHaveItYet)
{
    RainScene scene;
    std::shared_ptr<VoxelShape> shape;
    scene.server->voxelShape("rain-volume", shape, nullptr, kCopy);
    shape->removeChannel(kDensity);

    EXPECT_EQ(kVoxelStateOk, scene.server->voxelChannel(kDensity, shape, kCopy));

    EXPECT_EQ(scene.density->blockDataPtr(), shape->channelBasePtr(kDensity)->blockDataPtr());
    EXPECT_EQ(scene.shape, scene.density->shapePtr());
}

TEST(Fetch, MetaDataOfAChannelIsACopyWithoutTiles)
{
    RainScene scene;
    const TypeMeta<VoxelChannel<float>> type;
    for (const auto hint : {kCopy, kCopyData}) {
        SCOPED_TRACE(hint);
        std::shared_ptr<TreeChannel3DBase> header;

        EXPECT_EQ(kVoxelStateOk,
                  scene.server->channelMetaData(kDensity, nullptr, &header, type, hint));

        EXPECT_EQ(kDensity, header->name());
        EXPECT_EQ(nullptr, header->blockDataPtr());
    }
    std::shared_ptr<TreeChannel3DBase> stored;
    scene.server->channelMetaData(kDensity, nullptr, &stored, type, kDefault);
    EXPECT_EQ(scene.density, stored);
}

TEST(Fetch, MixingStoredItemsWithCopiesThrowsTheStatedText)
{
    RainScene scene;
    VoxelState& server = *scene.server;
    const TypeMeta<VoxelChannel<float>> type;
    std::shared_ptr<BObject> object;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelShape> shape_copy;
    std::shared_ptr<VoxelLayout> layout;
    std::shared_ptr<VoxelLayout> layout_copy;
    std::shared_ptr<TreeChannel3DBase> channel;
    server.object("rain", &object, kCopy);
    server.voxelShape("rain-volume", shape_copy, nullptr, kCopy);
    server.voxelLayout("rain-volumelayout", layout_copy, kCopy);

    EXPECT_EQ("VoxelStateSMP: shape(): inconsistent usage, io_object should be a copy",
              messageOf([&] { server.voxelShape("rain-volume", shape, scene.object, kCopy); }));
    EXPECT_EQ("VoxelStateSMP: shape(): inconsistent usage, io_object cannot be a copy",
              messageOf([&] { server.voxelShape("rain-volume", shape, object, kDoNotCopy); }));
    EXPECT_EQ(
        "VoxelStateSMP: shape: in_layout not a copy and in_hint == VoxelState::eHintDoNotCopy",
        messageOf([&] {
            server.voxelShape("rain-volume", shape, scene.object, layout_copy, kDoNotCopy);
        }));
    EXPECT_EQ(
        "VoxelStateSMP: voxelLayout: io_shape not an copy and in_hint == VoxelState::eHintCopy",
        messageOf([&] { server.voxelLayout("rain-volumelayout", scene.shape, layout, kCopy); }));
    EXPECT_EQ("VoxelStateSMP: channel: io_shape not an copy COPY_LIGHTWEIGHT_OBJECTS is defined",
              messageOf([&] { server.channel(kDensity, scene.shape, &channel, type, kCopy); }));
    EXPECT_EQ("VoxelStateSMP: channel: io_shape cannot be a copy if you do not copy the channel",
              messageOf([&] { server.channel(kDensity, shape_copy, &channel, type, kDoNotCopy); }));
    EXPECT_EQ(
        "VoxelStateSMP: channelMetaData: io_shape not an copy COPY_LIGHTWEIGHT_OBJECTS is defined",
        messageOf([&] { server.channelMetaData(kDensity, scene.shape, &channel, type, kCopy); }));
    EXPECT_EQ(
        "VoxelStateSMP: channelMetaData: io_shape cannot be a copy if you do not copy the channel",
        messageOf(
            [&] { server.channelMetaData(kDensity, shape_copy, &channel, type, kDoNotCopy); }));
    EXPECT_EQ(
        "VoxelStateSMP: Method partialVoxelLayout not supported by VoxelStateSMP!", messageOf([&] {
            server.partialVoxelLayout("rain-volumelayout", VoxelState::TileIds{}, layout, kDefault);
        }));
    EXPECT_EQ(
        "VoxelStateSMP: Method partialChannel not supported by VoxelStateSMP!",
        messageOf([&] { server.partialChannel(kDensity, {}, nullptr, &channel, type, kDefault); }));

    EXPECT_EQ(nullptr, shape);
    EXPECT_EQ(nullptr, layout);
    EXPECT_EQ(nullptr, channel);
}

TEST(Fetch, TypeRecordIsThatOfTheFirstKindThatHasTheName)
{
    RainScene scene;
    const auto type_of = [&](const std::string& in_name) {
        TypeMetaBase* found = nullptr;
        const bool ok = scene.server->typeMeta(in_name, &found) == kVoxelStateOk;
        const std::unique_ptr<TypeMetaBase> record(found);
        return ok ? record->typeName() : "";
    };
    const auto mesh = std::make_shared<Mesh>("surface");
    scene.server->updateMesh(mesh);
    std::shared_ptr<TreeChannel3DBase> wind;
    scene.server->newChannel("VoxelChannel<vec<3,float>>", "wind", "rain-volume", wind);

    EXPECT_EQ("VoxelChannel<float>", type_of(kDensity));
    EXPECT_EQ("VoxelChannel<vec<3,float>>", type_of("rain.rain-volume.wind"));
    EXPECT_EQ("VoxelShape", type_of("rain-volume"));
    EXPECT_EQ("BObject", type_of("rain"));
    EXPECT_EQ("VoxelLayout", type_of("rain-volumelayout"));
    EXPECT_EQ("Mesh", type_of("surface"));
    EXPECT_EQ("", type_of("no"));
    EXPECT_EQ(kVoxelStateFailed, scene.server->typeMeta("rain", nullptr));
}

TEST(Fetch, UnknownChannelIsToldOnStandardError)
{
    RainScene scene;
    testing::internal::CaptureStderr();

    EXPECT_EQ(kVoxelStateFailed, scene.server->voxelChannel("no", scene.shape, kDefault));

    EXPECT_EQ("Error: can't find name no\n", testing::internal::GetCapturedStderr());
}

TEST(SkelvarModule, CallbacksLeaveTheTextOfAnUnknownServerAlone)
{
    std::string text = "as it was";
    const unsigned long long nobody = StateServerManager::invalidId | (3ull << 32);

    skelvar_dumpStateServerCB(&nobody, &text);
    skelvar_memoryUsageCB(&nobody, &text);

    EXPECT_EQ("as it was", text);
}

}  // namespace
}  // namespace Skelvar
