#include <tests/support/ErrorOf.h>
#include <tests/support/ScopedStateServer.h>

#include <skelvar/base/TypeMeta.h>
#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/DictionaryShape.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Test::errorOf;
using Test::RainScene;

constexpr auto kDefault = VoxelState::eHintDefault;
constexpr auto kDoNotCopy = VoxelState::eHintDoNotCopy;
constexpr auto kCopy = VoxelState::eHintCopy;
constexpr auto kCopyData = VoxelState::eHintCopyData;
const char* const kDensity = "rain-volume/density";

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
    const TypeMeta<VoxelChannel<float>> type;
    const auto stored_mesh = std::make_shared<Mesh>("surface");
    EXPECT_EQ(kVoxelStateOk, scene.server->updateMesh(stored_mesh));
    for (const Row& row : rows) {
        SCOPED_TRACE("global " + std::to_string(row.global) + " hint " + std::to_string(row.hint));
        std::shared_ptr<VoxelChannel<float>> channel;
        std::shared_ptr<TreeChannel3DBase> header;
        std::shared_ptr<VoxelLayout> layout;
        std::shared_ptr<VoxelShape> shape;
        std::shared_ptr<BObject> object;
        std::shared_ptr<Mesh> mesh;
        scene.server->setGlobalHint(row.global);

        EXPECT_EQ(kVoxelStateOk, scene.server->voxelChannel(kDensity, nullptr, &channel, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->voxelLayout("rain-volumelayout", layout, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->voxelShape("rain-volume", shape, nullptr, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->object("rain", &object, row.hint));
        EXPECT_EQ(kVoxelStateOk, scene.server->mesh("surface", mesh, row.hint));
        EXPECT_EQ(kVoxelStateOk,
                  scene.server->channelMetaData(kDensity, nullptr, &header, type, row.hint));

        const auto shape_channel = shape->channelBasePtr(kDensity);
        EXPECT_EQ(row.is_copy, channel != scene.density);
        EXPECT_EQ(row.is_copy, layout != scene.layout);
        EXPECT_EQ(row.is_copy, shape != scene.shape);
        EXPECT_EQ(row.is_copy, shape_channel != scene.density);
        EXPECT_EQ(row.is_copy, object != scene.object);
        EXPECT_EQ(row.is_copy, mesh != stored_mesh);
        EXPECT_EQ(row.is_copy, header != scene.density);
        EXPECT_EQ(row.is_copy, header->blockDataPtr() == nullptr);
        EXPECT_EQ(row.shares, channel->blockDataPtr() == scene.density->blockDataPtr());
        EXPECT_EQ(row.shares, layout->nodeDataPtr() == scene.layout->nodeDataPtr());
        EXPECT_EQ(row.shares, shape_channel->blockDataPtr() == scene.density->blockDataPtr());
        EXPECT_EQ(0.5f, channel->tile(0, 7)(1, 2, 3));
        EXPECT_EQ(1u, scene.layout->observers().size()) << "a copy does not listen";
    }
}

TEST(Fetch, AbsentNamesFailAndOnlyAMeshIsCleared)
{
    RainScene scene;
    VoxelState& server = *scene.server;
    std::shared_ptr<BObject> object = scene.object;
    auto mesh = std::make_shared<Mesh>("m");
    std::shared_ptr<VoxelShape> shape = scene.shape;
    std::shared_ptr<VoxelLayout> layout = scene.layout;
    std::shared_ptr<VoxelChannel<float>> channel = scene.density;
    std::shared_ptr<TreeShape3DBase> dictionary_shape;
    server.newShape("DictionaryShape", "d", dictionary_shape);
    const auto stranger = std::make_shared<VoxelShape>("stranger");
    const auto strange_object = std::make_shared<BObject>();
    const VoxelStateResult results[] = {
        server.object("no", &object, kDefault),
        server.mesh("no", mesh, kDefault),
        server.voxelShape("no", shape, nullptr, kDefault),
        server.voxelShape("d", shape, nullptr, kDefault),
        server.voxelShape("rain-volume", shape, strange_object, kDefault),
        server.voxelLayout("no", layout, kDefault),
        server.voxelLayout("rain-volumelayout", stranger, layout, kDefault),
        server.voxelChannel("no", nullptr, &channel, kDefault),
        server.voxelChannel(kDensity, stranger, &channel, kDefault),
        server.voxelChannel<float>(kDensity, nullptr, nullptr, kDefault),
    };

    for (const VoxelStateResult& result : results) {
        EXPECT_EQ(kVoxelStateFailed, result) << "row " << &result - results;
    }
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

    const std::string no_copy = "io_shape not an copy COPY_LIGHTWEIGHT_OBJECTS is defined";
    const std::string is_copy = "io_shape cannot be a copy if you do not copy the channel";
    const struct {
        std::string expected;
        std::string found;
    } rows[] = {
        {"shape(): inconsistent usage, io_object should be a copy",
         errorOf([&] { server.voxelShape("rain-volume", shape, scene.object, kCopy); })},
        {"shape(): inconsistent usage, io_object cannot be a copy",
         errorOf([&] { server.voxelShape("rain-volume", shape, object, kDoNotCopy); })},
        {"shape: in_layout not a copy and in_hint == VoxelState::eHintDoNotCopy", errorOf([&] {
             server.voxelShape("rain-volume", shape, scene.object, layout_copy, kDoNotCopy);
         })},
        {"voxelLayout: io_shape not an copy and in_hint == VoxelState::eHintCopy",
         errorOf([&] { server.voxelLayout("rain-volumelayout", scene.shape, layout, kCopy); })},
        {"channel: " + no_copy,
         errorOf([&] { server.channel(kDensity, scene.shape, &channel, type, kCopy); })},
        {"channel: " + is_copy,
         errorOf([&] { server.channel(kDensity, shape_copy, &channel, type, kDoNotCopy); })},
        {"channelMetaData: " + no_copy,
         errorOf([&] { server.channelMetaData(kDensity, scene.shape, &channel, type, kCopy); })},
        {"channelMetaData: " + is_copy, errorOf([&] {
             server.channelMetaData(kDensity, shape_copy, &channel, type, kDoNotCopy);
         })},
        {"Method partialVoxelLayout not supported by VoxelStateSMP!", errorOf([&] {
             server.partialVoxelLayout("rain-volumelayout", VoxelState::TileIds{}, layout,
                                       kDefault);
         })},
        {"Method partialChannel not supported by VoxelStateSMP!",
         errorOf([&] { server.partialChannel(kDensity, {}, nullptr, &channel, type, kDefault); })},
    };

    for (const auto& row : rows) {
        EXPECT_EQ("VoxelStateSMP: " + row.expected, row.found);
    }
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

}  // namespace
}  // namespace Skelvar
