#include <tests/support/ErrorOf.h>
#include <tests/support/ParticleScene.h>
#include <tests/support/ScopedStateServer.h>

#include <skelvar/particles/ParticleBins.h>
#include <skelvar/particles/ParticleChannelFactory.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/voxel/VoxelShape.h>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace Skelvar {
namespace {

using Test::errorOf;
using Test::ParticleScene;
using Test::ScopedStateServer;

/// Ids of a tile, in their order.
std::vector<unsigned long long> idsOf(const ParticleScene& in_scene, int in_tile)
{
    const auto& tile = in_scene.id->tile(in_tile, 7);
    return {tile.begin(), tile.end()};
}

/// Two neighbouring tiles of depth 7, the first with particles 0 to 5.
struct TwoTiles : ParticleScene {
    TwoTiles()
    {
        layout->addNode(0, 0, 0, 7);
        layout->addNode(5, 0, 0, 7);
        for (int n = 0; n < 6; ++n) {
            drop({0.25f * static_cast<float>(n), 0, 0});
        }
    }
};

TEST(ParticleAccessor, FillsHolesFromTheTailInAllChannels)
{
    TwoTiles scene;
    auto accessor = scene.position->accessor();

    accessor.removeElement(0, 7, 3);
    accessor.removeElement(0, 7, 5);
    accessor.removeElement(0, 7, 1);
    EXPECT_EQ(6u, scene.id->tile(0, 7).size()) << "nothing goes before the update";
    accessor.update();

    // 5 is dropped from the tail, 4 fills the hole of 1, and 3 is the tail by then.
    EXPECT_EQ((std::vector<unsigned long long>{0, 4, 2}), idsOf(scene, 0));
    EXPECT_EQ(ParticleScene::densityOf(4), scene.density->tile(0, 7)[1]);
    EXPECT_EQ(3u, scene.shape->numElements({0, 7}));
    accessor.update();
    EXPECT_EQ(3u, scene.shape->numParticles()) << "what was removed is not asked for again";
}

TEST(ParticleAccessor, RemovingAllElementsFreesTheMemory)
{
    TwoTiles scene;
    auto accessor = scene.velocity->accessor();
    for (unsigned long n = 0; n < 6; ++n) {
        accessor.removeElement(0, 7, n);
    }
    accessor.update();
    EXPECT_EQ(0u, scene.cell->tile(0, 7).capacity());
    EXPECT_EQ(0u, scene.shape->numParticles());
}

TEST(ParticleAccessor, AddedElementsReachOtherChannelsBySyncAtTheLatestInTheDestructor)
{
    TwoTiles scene;
    const float value = 8.0f;
    {
        auto accessor = scene.density->accessor();
        accessor.addElement(1, 7, &value);
        auto moved = std::move(accessor);
        EXPECT_EQ(nullptr, accessor.parent());
        EXPECT_EQ(0u, scene.velocity->tile(1, 7).size());
    }
    ASSERT_EQ(1u, scene.velocity->tile(1, 7).size());
    EXPECT_EQ((vec3f{-2, -2, -2}), scene.velocity->tile(1, 7)[0]);
    EXPECT_EQ(7u, scene.shape->numParticles(7));
    {
        auto accessor = scene.density->accessor();
        accessor.disableSync();
        accessor.addElement(1, 7, &value);
        accessor.update();
    }
    {
        auto accessor = scene.density->accessor();
        accessor.autoSync() = false;
        accessor.addElement(1, 7, &value);
    }
    EXPECT_EQ(1u, scene.velocity->tile(1, 7).size());
    auto accessor = scene.density->accessor();
    accessor.setDirty(true);
    accessor.sync();
    EXPECT_EQ(3u, scene.velocity->tile(1, 7).size());
}

TEST(ParticleAccessor, MovesRemovesAndKeepsOrderWithIndicesGivenOrNot)
{
    // 1 and 4 go to the second tile, 2 goes for good.
    const std::vector<ParticleToFrom> list = {{1, 0, 1}, {-1, 0, 2}, {1, 0, 4}};
    const std::vector<unsigned long> by_destination = {1, 0, 2};
    for (const bool given : {true, false}) {
        TwoTiles scene;
        if (given) {
            scene.id->syncShapeParticleReblock(&list, &by_destination, 7, 7);
        } else {
            scene.id->accessor().reblock(&list, 7);
        }
        EXPECT_EQ((std::vector<unsigned long long>{1, 4}), idsOf(scene, 1));
        EXPECT_EQ((std::vector<unsigned long long>{0, 5, 3}), idsOf(scene, 0));
        EXPECT_EQ(2u, scene.shape->numElements({1, 7}));
        EXPECT_EQ(2u, scene.position->tile(1, 7).capacity()) << "exactly what arrives";
    }
}

TEST(ParticleAccessor, BadListsDoNotHarmMemory)
{
    const int big = std::numeric_limits<int>::max();
    const unsigned long long far = std::numeric_limits<unsigned long long>::max();
    const std::vector<std::vector<ParticleToFrom>> lists = {
        {{1, 0, 6}, {1, 0, far}},
        {{1, 0, 2}, {1, 0, 2}, {1, 0, 2}, {0, 0, 2}},
        {{1, -5, 0}, {2, 0, 0}, {big, 0, 1}, {1, 2, 0}, {1, big, far}},
        {{-1, 0, 0}, {-1, 0, 0}, {-1, 0, 5}, {-1, 0, 5}, {-1, 0, 5}, {-1, 0, 6}},
        std::vector<ParticleToFrom>(500, {0, 0, 0}),
    };
    for (const std::vector<ParticleToFrom>& list : lists) {
        TwoTiles scene;
        auto accessor = scene.id->accessor();
        accessor.reblock(&list, 7);
        std::vector<unsigned long> places(list.size());
        for (std::size_t n = 0; n < places.size(); ++n) {
            places[n] = n % 2 == 0 ? places.size() - n : n;
        }
        scene.id->syncShapeParticleReblock(&list, &places, 7, 7);
        accessor.reblock(&list, 9, 7);
        accessor.removeElement(-1, 7, 0);
        accessor.removeElement(0, 8, 0);
        accessor.removeElement(1000000, 7, 0);
        accessor.removeElement(0, 7, far);
        accessor.update();
        for (int tile = 0; tile < 2; ++tile) {
            EXPECT_EQ(scene.id->tile(tile, 7).size(), scene.position->tile(tile, 7).size());
            EXPECT_EQ(scene.id->tile(tile, 7).size(), scene.shape->numElements({tile, 7}));
        }
    }
}

TEST(ParticleChannel, JoinsAShapeWithItsCountsAndBackgroundValue)
{
    TwoTiles scene;
    const auto late = scene.add<vec2i>("late", {7, 8});
    ASSERT_EQ(6u, late->tile(0, 7).size());
    EXPECT_EQ((vec2i{7, 8}), late->tile(0, 7)[5]);
    unsigned long count = 9;
    EXPECT_EQ(nullptr, late->tileArrayPtr({2, 7}, count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(nullptr, late->tileArrayPtr({0, 8}, count));
    const vec2i value{1, 1};
    late->setElemVoidPtr({0, 7}, 5, 0, 0, &value);
    EXPECT_EQ(&late->tile(0, 7)[5], late->getElemVoidPtr({0, 7}, 5, 3, 3));
    EXPECT_EQ(value, (*late)(0, 7, 5));
    EXPECT_EQ("ParticleChannel.setShape: in_shape not of type ParticleShape",
              errorOf([&] { late->setShape(std::make_shared<VoxelShape>("v")); }));
}

TEST(ParticleChannel, CopiesHaveTheirOwnTilesOrShareThemOrHaveNone)
{
    TwoTiles scene;
    const auto as_ids = [](const std::shared_ptr<TreeChannel3DBase>& in_channel) {
        return std::static_pointer_cast<ParticleChannel<unsigned long long>>(in_channel);
    };
    const auto own = as_ids(scene.id->copy(true, false));
    const auto shared = as_ids(scene.id->copy(false, true));
    const auto header = as_ids(scene.id->copy(false, false));
    scene.id->tile(0, 7)[0] = 77;
    EXPECT_EQ(0u, own->tile(0, 7)[0]);
    EXPECT_EQ(77u, shared->tile(0, 7)[0]);
    EXPECT_EQ(scene.id->blockDataPtr(), shared->blockDataPtr());
    EXPECT_EQ(0, header->numTiles());
    EXPECT_EQ(~0ULL, header->backgroundValue());
    header->sync();
    header->accessor().update();

    const auto copy = std::static_pointer_cast<ParticleShape>(scene.shape->copy(true, false));
    EXPECT_EQ(6u, copy->numElements({0, 7}));
    copy->setLayout(scene.layout);
    EXPECT_EQ(6u, copy->numParticles()) << "a layout of the same size keeps the counts";
    as_ids(copy->channelBasePtr("id"))->tile(0, 7).push_back(5);
    as_ids(copy->channelBasePtr("id"))->syncShapeParticleCounts();
    EXPECT_EQ(7u, copy->numParticles());
    EXPECT_EQ(6u, scene.shape->numParticles());
}

TEST(ParticleShape, CopiesBetweenServersWithItsCountsAndIds)
{
    const ScopedStateServer source;
    const ScopedStateServer target;
    TwoTiles scene;
    scene.shape->setObjectName("rain");
    ASSERT_EQ(kVoxelStateOk, source->updateShapeAndItsObjectLayoutChannels(scene.shape));

    ASSERT_EQ(kVoxelStateOk, source->copyShapeTo(*target, "drops", {"position", "cell"}));
    ASSERT_EQ(kVoxelStateOk, source->copyShape("drops", "copies", "copies-tree",
                                               {{"position", "where"}, {"cell", "cells"}}));

    const struct {
        const ScopedStateServer& server;
        const char* shape;
        const char* cell;
    } rows[] = {{target, "drops", "cell"}, {source, "copies", "cells"}};
    for (const auto& row : rows) {
        std::shared_ptr<ParticleShape> copy;
        ASSERT_EQ(kVoxelStateOk,
                  row.server->particleShape(row.shape, copy, nullptr, VoxelState::eHintDoNotCopy));
        EXPECT_EQ(6u, copy->numElements({0, 7}));
        EXPECT_EQ(6u, copy->numParticles());
        EXPECT_EQ(6u, copy->maxParticleId());
        auto& cells = static_cast<ParticleChannel<vec4i>&>(*copy->channelBasePtr(row.cell));
        ASSERT_EQ(6u, cells.tile(0, 7).size());
        EXPECT_EQ(ParticleScene::cellOf(2), cells.tile(0, 7)[2]);
        auto accessor = cells.accessor();
        accessor.removeElement(0, 7, 0);
        accessor.update();
        EXPECT_EQ(5u, copy->numParticles());
    }
    EXPECT_EQ(6u, scene.shape->numParticles());
}

TEST(ParticleChannelFactory, KnowsElevenTypes)
{
    std::shared_ptr<TreeChannel3DBase> made;
    int known = 0;
#define SKELVAR_MAKE(T) \
    known += ParticleChannelFactory::create(ParticleChannel<T>::typeName(), made);
    SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_MAKE)
#undef SKELVAR_MAKE
    EXPECT_EQ(11, known);
    EXPECT_FALSE(ParticleChannelFactory::create("ParticleChannel<uint8_t>", made));
    EXPECT_EQ("ParticleChannel<uint64_t>", made->typeMeta()->typeName());
}

TEST(ParticleShape, HandsOutIdsAndRefusesOtherLayouts)
{
    ParticleShape shape("p");
    EXPECT_EQ(0u, shape.maxParticleId());
    EXPECT_EQ(0u, shape.numParticles());
    shape.nextParticleId();
    shape.nextParticleId();
    EXPECT_EQ(2u, shape.nextParticleId());
    EXPECT_EQ(3u, shape.maxParticleId());
    EXPECT_EQ(0u, shape.numElements({0, 9}));
    EXPECT_EQ("ParticleShape.layout(): layout==null. Did you fetch it from state server?",
              errorOf([&] { shape.layout(); }));
}

TEST(ReblockByPosition, StraysStayOrGo)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (const StrayParticles strays : {eStraysStay, eStraysGo}) {
        TwoTiles scene;
        auto& points = scene.position->tile(0, 7);
        points[0] = {nan, 0, 0};
        points[1] = {7, 0, 0};
        points[2] = {0, -inf, 0};
        points[3] = {0, 0, 1e30f};
        points[4] = {500, 0, 0};

        const ReblockResult result = reblockByPosition(*scene.position, strays);

        EXPECT_EQ(1u, result.moved);
        EXPECT_EQ(4u, result.strays);
        EXPECT_EQ((std::vector<unsigned long long>{1}), idsOf(scene, 1));
        EXPECT_EQ(strays == eStraysGo ? 1u : 5u, scene.id->tile(0, 7).size());
    }
}

TEST(ParticleBins, SortPointsByTileWhetherNearOrFarApart)
{
    const float far = 190000.0f;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<vec3f> near_points = {{0, 0, 0},   {5, 0, 0},      {-2, -2, -2},
                                            {nan, 0, 0}, {-2.01f, 0, 0}, {2.9f, 2.9f, 2.9f}};
    std::vector<vec3f> far_points = near_points;
    far_points.push_back({far, far, -far});
    far_points.push_back({2 * far, 0, 0});
    for (const auto& points : {near_points, far_points}) {
        ParticleScene scene;
        const ParticleBins bins(points.data(), points.size());
        bins.addTiles(*scene.layout);
        bins.append(points.data(), *scene.position);
        scene.position->syncShapeParticleCounts();

        const bool has_far = points.size() > near_points.size();
        EXPECT_EQ(has_far ? 2u : 1u, bins.numStrays());
        EXPECT_EQ(has_far ? 4u : 3u, bins.tiles().size());
        EXPECT_EQ(points.size() - bins.numStrays(), scene.shape->numParticles(7));
        const auto& middle = scene.position->tile(scene.tileAt({0, 0, 0}));
        ASSERT_EQ(3u, middle.size());
        EXPECT_EQ(points[2], middle[1]) << "in the order of the points";
        EXPECT_EQ(0u, reblockByPosition(*scene.position).moved);
    }
    const ParticleBins none(nullptr, 0);
    EXPECT_TRUE(none.tiles().empty());
}

}  // namespace
}  // namespace Skelvar
