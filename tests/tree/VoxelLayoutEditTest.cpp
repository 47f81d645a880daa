#include <skelvar/tree/VoxelLayout.h>

#include <skelvar/base/Dictionary.h>
#include <skelvar/tree/LayoutConsistency.h>

#include "tests/support/LayoutBuilder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>

namespace Skelvar::Test {
namespace {

TEST(VoxelLayout, LinksANewTileThroughAllDepthsBetween)
{
    VoxelLayout layout;
    std::vector<TileId> added;
    std::vector<TileId> roots;
    layout.addNode(TileId{0}, &added, &roots);

    const TileIndex leaf = layout.addNode(0, 0, 0, 7, &added, &roots);

    EXPECT_EQ((TileIndex{0, 7}), leaf);
    EXPECT_EQ(std::vector<TileId>{0}, roots);
    ASSERT_EQ(8u, added.size());
    EXPECT_EQ(tileCoordsToId(0, 0, 0, 7), added[1]);  // before what lies between
    EXPECT_EQ(tileCoordsToId(0, 0, 0, 1), added[2]);
    EXPECT_EQ(0, checkLayout(layout).total());
}

TEST(VoxelLayout, IgnoresWhatNamesNoTile)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).build();

    EXPECT_EQ((TileIndex{-1, -1}), layout->addNode(0, 195313, 0, 7));
    EXPECT_EQ((TileIndex{-1, -1}), layout->addNode(0, 0, 0, 8));
    EXPECT_EQ((TileIndex{-1, -1}), layout->addNode(kNoTile));
    EXPECT_EQ((TileIndex{-1, -1}), layout->addNode(TileId{126} << 57));
    EXPECT_EQ(kNoTileIndex, layout->nodeIndex<false>(kNoTile));
    for (const TileIndex& index : {TileIndex{-1, -1}, TileIndex{-2, -1}, TileIndex{1, 7},
                                   TileIndex{0, 8}, TileIndex{0, -3}, TileIndex{-5, 7}}) {
        layout->deleteNode(index);
    }
    layout->deleteNode(tileCoordsToId(50, 0, 0, 7));

    EXPECT_EQ(1, layout->numNodes());
}

TEST(VoxelLayout, WalksABoxByTilesInsideTheCube)
{
    VoxelLayout layout;
    layout.addNodes({-2, -2, -2}, {8, 3, 4}, 7);
    EXPECT_EQ(2 * 1 * 2, layout.numNodes());
    // The third one on z lies behind the half-open end if the box ends at a corner.
    layout.addNodes({195303, 195303, INT_MIN}, {INT_MAX, INT_MAX, -195312 + 5}, 7);
    EXPECT_EQ(4 + 2 * 2 * 1, layout.numNodes());
    EXPECT_TRUE(layout.nodeExists(tileCoordsToId(195312, 195312, -195312, 7)));
    layout.addNodes({195312, 195312, 195312}, {195313, 195313, 195313}, 7);
    EXPECT_TRUE(layout.nodeExists(tileCoordsToId(195312, 195312, 195312, 7)));
}

TEST(VoxelLayout, DeletesABranchAndClosesItsGaps)
{
    const auto layout = LayoutBuilder()
                            .tile({0, 0, 0}, 4)
                            .tile({0, 0, 0}, 7)
                            .tile({100, 0, 0}, 7)
                            .tile({100, 5, 0}, 7)
                            .build();
    const long long cells = layout->numVoxels();
    std::vector<TileId> deleted;
    std::vector<TileIndex> indices;

    layout->deleteNode(tileCoordsToId(0, 0, 0, 6), &deleted, &indices);

    EXPECT_EQ((std::vector<TileId>{tileCoordsToId(0, 0, 0, 7), tileCoordsToId(0, 0, 0, 6)}),
              deleted);
    EXPECT_EQ((std::vector<TileIndex>{{0, 7}, {0, 6}}), indices);
    EXPECT_EQ(cells - 250, layout->numVoxels());
    EXPECT_EQ(0, checkLayout(*layout).total());
}

TEST(VoxelLayout, BatchDeletionTakesDuplicatesAncestorsAndStrangers)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 4).box({-12, -12, -12}, {13, 13, 13}).build();
    ASSERT_EQ(125, layout->numNodes(7));
    std::vector<std::vector<int>> lists(8);
    lists[6] = {0, 0, 99, -1};
    lists[7] = {5, 5, 124, 7000, 3};
    layout->setCompactOnDelete(false);
    std::vector<TileId> deleted;

    layout->deleteNodes(lists, &deleted);

    EXPECT_EQ(std::vector<int>{0}, lists[6]);
    EXPECT_EQ(125u, lists[7].size());
    EXPECT_EQ(126u, deleted.size());
    EXPECT_EQ(2, layout->numNodes());
    EXPECT_EQ(0, checkLayout(*layout).total());
}

TEST(VoxelLayout, DeletesManyThenIsEmpty)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 7).tile({9000, 0, 0}, 3).build();
    layout->setCompactOnDelete(false);

    layout->deleteNodes(std::vector<TileIndex>{{0, 7}, {0, 7}, {0, 3}});

    EXPECT_TRUE(layout->compactOnDelete());
    EXPECT_EQ(0, layout->numNodes());
    EXPECT_EQ(0, layout->numRoots());
    EXPECT_EQ(0, layout->numNodes(7));
    EXPECT_EQ(0, layout->finestRootDepth());
}

TEST(VoxelLayout, DeletesWhereGapsAreOpenFromBefore)
{
    const auto layout =
        LayoutBuilder().tile({0, 0, 0}, 6).box({-12, -12, -12}, {13, 13, 13}).build();
    const TileId first = layout->node(0, 7).id();
    const TileId last = layout->node(124, 7).id();
    layout->setCompactOnDelete(false);
    layout->deleteNode(last);
    layout->setCompactOnDelete(true);

    layout->deleteNode(first);

    EXPECT_EQ(123 + 1, layout->numNodes());
    EXPECT_EQ(0, checkLayout(*layout).total());
    EXPECT_LT(layout->nodeIndex<true>(first).first, 0);
    EXPECT_LT(layout->nodeIndex<true>(last).first, 0);
}

TEST(VoxelLayout, CollectsNodesByBoxAndBranch)
{
    const auto layout = LayoutBuilder()
                            .tile({0, 0, 0}, 5)
                            .box({-12, -12, -12}, {13, 13, 13})
                            .tile({500, 0, 0}, 7)
                            .build();
    std::vector<TileIndex> found;

    layout->nodeIndices({-1, -1, -1}, {1, 1, 1}, found, 7);
    EXPECT_EQ((std::vector<TileIndex>{layout->nodeIndex<true>(0, 0, 0, 7)}), found);

    found.clear();
    layout->nodeIndices({-2, -1, -1}, {1, 1, 1}, found, 7);  // touches a face
    EXPECT_EQ(2u, found.size());

    found.clear();
    layout->nodeIndices(layout->nodeIndex<true>(0, 0, 0, 5), found, 7);
    EXPECT_EQ(125u, found.size());

    std::vector<TileId> ids;
    layout->tileIds(&ids, 5, 6);
    EXPECT_EQ((std::vector<TileId>{tileCoordsToId(0, 0, 0, 5), tileCoordsToId(0, 0, 0, 6)}), ids);

    vec3i lo;
    vec3i hi;
    layout->bounds(lo, hi);
    EXPECT_EQ((vec3i{-62, -62, -62}), lo);
    EXPECT_EQ((vec3i{503, 63, 63}), hi);
    layout->bounds(6, lo, hi);
    EXPECT_EQ((vec3i{-12, -12, -12}), lo);
    EXPECT_EQ((vec3i{13, 13, 13}), hi);
}

TEST(VoxelLayout, CopiesABranchOfAnotherLayoutBelowItsParent)
{
    const auto source =
        LayoutBuilder().tile({0, 0, 0}, 5).box({-12, -12, -12}, {13, 13, 13}).build();
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 4).tile({0, 0, 0}, 7).build();
    const TileIndex parent = layout->nodeIndex<true>(0, 0, 0, 4);

    layout->addBranch(parent, source->node(0, 0, 0, 6), *source);  // not a child of it
    EXPECT_EQ(4, layout->numNodes());
    layout->addBranch(parent, source->node(0, 0, 0, 5), *source);

    EXPECT_EQ(3 + 125, layout->numNodes());
    EXPECT_EQ(0, checkLayout(*layout).total());
}

TEST(VoxelLayout, SharesNodesInAShallowCopyAndOwnsThemInADeepOne)
{
    const auto layout = LayoutBuilder("a", 0.5f).tile({0, 0, 0}, 3).tile({0, 0, 0}, 7).build();
    std::shared_ptr<Dictionary> dictionary;
    layout->dictionary(dictionary);
    dictionary->setValue("key", 7);
    layout->setStateServerID(4);

    const auto shallow = std::static_pointer_cast<VoxelLayout>(layout->copy(false));
    const auto deep = std::static_pointer_cast<VoxelLayout>(layout->copy(true));
    dictionary->removeValue("key");

    EXPECT_EQ(layout->nodeDataPtr(), shallow->nodeDataPtr());
    EXPECT_NE(layout->nodeDataPtr(), deep->nodeDataPtr());
    for (const auto& copy : {shallow, deep}) {
        EXPECT_EQ("a", copy->name());
        EXPECT_EQ(0.5f, copy->MVS());
        EXPECT_EQ(4u, copy->stateServerID());
        EXPECT_EQ(0, checkLayout(*copy).total());
        copy->dictionary(dictionary);
        EXPECT_TRUE(dictionary->hasValue("key"));
        EXPECT_TRUE(copy->observers().empty());
    }
    deep->addNode(100, 0, 0, 7);
    deep->deleteNode(tileCoordsToId(0, 0, 0, 7));
    EXPECT_EQ(0, checkLayout(*deep).total());
    EXPECT_EQ(0, checkLayout(*layout).total());
    EXPECT_TRUE(layout->nodeExists(tileCoordsToId(0, 0, 0, 7)));

    const auto other = std::make_shared<VoxelLayout>("b");
    other->setStateServerID(9);
    layout->copyInto(other, false);
    EXPECT_EQ(9u, other->stateServerID());
}

TEST(VoxelLayout, LookupsInAShallowCopySeeWhatTheOtherDeletes)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 0).tile({0, 0, 0}, 7).build();
    const auto shallow = std::static_pointer_cast<VoxelLayout>(layout->copy(false));
    ASSERT_EQ((TileIndex{0, 7}), shallow->nodeIndex<false>(0, 0, 0, 7));

    layout->deleteNode(TileIndex{0, 3});

    EXPECT_EQ((TileIndex{0, 2}), shallow->nodeIndex<false>(0, 0, 0, 7));
    EXPECT_EQ((TileIndex{0, 2}), shallow->nodeIndex<false>(tileCoordsToId(0, 0, 0, 7)));
}

TEST(VoxelLayout, MayBeCopiedWhileOthersReadIt)
{
    const auto layout = LayoutBuilder().tile({0, 0, 0}, 0).tile({0, 0, 0}, 7).build();
    std::atomic<bool> done{false};
    long long missed = 0;
    std::thread reader([&] {
        do {
            missed += layout->nodeIndex<true>(0, 0, 0, 7).first != 0;
        } while (!done);
    });

    for (int n = 0; n < 2000; ++n) {
        layout->copy(false);
    }
    done = true;
    reader.join();

    EXPECT_EQ(0, missed);
}

}  // namespace
}  // namespace Skelvar::Test
