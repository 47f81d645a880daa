#include <tests/support/ErrorOf.h>
#include <tests/support/ParticleScene.h>
#include <tests/support/Random.h>

#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/tree/LayoutConsistency.h>
#include <skelvar/tree/RefineLayout.h>
#include <skelvar/voxel/VoxelShape.h>

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace Skelvar {
namespace {

using Test::errorOf;
using Test::ParticleScene;

std::set<TileId> tilesOf(const VoxelLayout& in_layout)
{
    std::vector<TileId> ids;
    in_layout.tileIds(&ids, 0, kMaxTileDepth);
    return {ids.begin(), ids.end()};
}

TEST(RefineLayout, AroundParticlesMakesWhatTheirPointsAskFor)
{
    for (unsigned int seed = 1; seed <= 8; ++seed) {
        Testing::Random random(seed);
        SCOPED_TRACE(random.seed());
        const int depth = random.integer(5, 7);
        const float radius = seed % 2 == 0 ? 0.0f : static_cast<float>(random.real(0.0, 9.0));
        const auto offset = static_cast<VoxelOffsetType>(random.integer(0, 7));
        ParticleScene scene;
        scene.layout->addNode(TileId(0));
        scene.layout->addNodes(vec3i{-20, -20, -20}, vec3i{20, 20, 20}, depth);
        std::vector<vec3f> points;
        for (int n = 0; n < 400; ++n) {
            // In their tiles at first, and then some way off, a few far away.
            const auto any = [&](double reach) {
                return static_cast<float>(random.real(-reach, reach));
            };
            const vec3f start = {any(19), any(19), any(19)};
            const TileIndex tile = scene.tileAt(start);
            const double step = n % 50 == 0 ? 1e6 : n % 3 == 0 ? 8.0 : 0.1;
            points.push_back(start + vec3f{any(step), any(step), any(step)});
            scene.push(tile, points.back(), static_cast<unsigned long long>(n));
        }
        scene.id->syncShapeParticleCounts();
        const auto expected = std::static_pointer_cast<VoxelLayout>(scene.layout->copy(true));
        VoxelShape* const no_shape = nullptr;
        refineLayout(expected.get(), no_shape, points.begin(), points.end(), radius, offset, depth);

        std::vector<TileId> added;
        const std::size_t old_count = tilesOf(*scene.layout).size();
        refineLayout(scene.layout.get(), scene.layout.get(), no_shape, scene.shape.get(), radius,
                     offset, &added, depth);

        EXPECT_TRUE(tilesOf(*expected) == tilesOf(*scene.layout));
        EXPECT_EQ(old_count + added.size(), tilesOf(*scene.layout).size());
        EXPECT_EQ(0, checkLayout(*scene.layout).total());
        EXPECT_EQ(400u, scene.shape->numParticles());
        EXPECT_EQ(scene.layout->numNodes(depth), scene.id->numTiles(depth));
        added.clear();
        refineLayout(scene.layout.get(), scene.layout.get(), no_shape, scene.shape.get(), radius,
                     offset, &added, depth);
        EXPECT_TRUE(added.empty()) << "once is enough";
    }
}

TEST(RefineLayout, AroundParticlesMakesTheOneTileOfDepthZero)
{
    ParticleScene scene;
    scene.layout->addNode(TileId(0));
    scene.push(scene.tileAt({1.0f, 2.0f, 3.0f}), {1.0f, 2.0f, 3.0f}, 7);
    VoxelLayout target("target", 1.0f);
    VoxelShape* const no_shape = nullptr;
    std::vector<TileId> added;

    refineLayout(&target, scene.layout.get(), no_shape, scene.shape.get(), 0.0f, eOffsetCentre,
                 &added, 0);

    EXPECT_EQ(std::vector<TileId>{TileId(0)}, added);
    EXPECT_EQ(1, target.numNodes());
}

TEST(RefineLayout, AroundParticlesGoesThroughTheWorldToTheVoxelsOfAnotherShape)
{
    ParticleScene scene(std::make_shared<VoxelLayout>("tree", 2.0f));
    scene.layout->addNode(0, 0, 0, 7);
    scene.push({0, 7}, {2.5f, 0, 0}, 0);
    scene.id->syncShapeParticleCounts();
    const auto voxels = std::make_shared<VoxelLayout>("voxels", 0.5f);
    const auto shape = std::make_shared<VoxelShape>("volume");
    shape->setLayout(voxels);

    refineLayout(voxels.get(), scene.layout.get(), shape.get(), scene.shape.get(), 0.0f,
                 eOffsetCorner);

    EXPECT_EQ(1, voxels->numNodes(7));
    EXPECT_EQ(7, voxels->nodeIndex<false>(10, 0, 0, 7).second) << "2.5 times 2 over 0.5";
    EXPECT_EQ(0, scene.layout->numNodes(7) - 1) << "the particles' own layout stays";
}

TEST(RefineLayout, AroundParticlesNeedsPositions)
{
    const auto layout = std::make_shared<VoxelLayout>("tree");
    const auto shape = std::make_shared<ParticleShape>("bare");
    shape->setLayout(layout);
    VoxelShape* const no_shape = nullptr;
    EXPECT_EQ("refineLayout: shape bare has no channel of positions", errorOf([&] {
                  refineLayout(layout.get(), layout.get(), no_shape, shape.get(), 0.0f,
                               eOffsetCorner);
              }));
}

}  // namespace
}  // namespace Skelvar
