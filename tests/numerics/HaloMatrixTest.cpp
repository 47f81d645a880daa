#include <skelvar/numerics/HaloMatrix.h>
#include <skelvar/numerics/SparseMatrixOperations.h>
#include <skelvar/sampling/ContinuousHalo.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/numerics/DenseReference.h>
#include <tests/sampling/Field.h>

#include <gtest/gtest.h>

#include <cmath>

namespace Skelvar::Testing {

namespace {

using Skelvar::Test::Field;

constexpr int kHaloedSize = 343;

/// A channel of any values.
Field<float> anyValues(const std::shared_ptr<VoxelLayout>& in_layout, VoxelOffsetType in_offset,
                       Random& io_random)
{
    Field<float> field(in_layout, 0.0f, in_offset);
    field.fill([&](const vec3f&) { return static_cast<float>(io_random.real(-1.0, 1.0)); });
    return field;
}

/// Several depths, with neighbours and without.
std::shared_ptr<VoxelLayout> steppedLayout(Random& io_random)
{
    Skelvar::Test::LayoutBuilder builder;
    builder.tile({0, 0, 0}, 4);
    builder.box({-62, -62, -62}, {63, 63, 0}, 5);
    for (int n = 0; n < 8; ++n) {
        const auto place = [&] { return io_random.integer(-40, 20); };
        builder.tile({place(), place(), place() / 2 - 10}, io_random.integer(6, 7));
    }
    builder.box({-12, -12, -12}, {13, 13, 13}, 7);
    return builder.build();
}

void expectHaloedTiles(const SparseMatrix<float>& in_matrix, const Field<float>& in_field)
{
    const VoxelLayout& layout = *in_matrix.layout();
    GenericDenseVector<float> values(layout, 0.0f);
    fillVector(values, [&](int in_depth, int in_tile, int in_n) {
        return in_field.channel->tile(in_tile, in_depth)(in_n);
    });
    GenericDenseVector<float> found(layout, 9.0f, kHaloedSize);
    matrixVectorMultiply(in_matrix, values, &found);

    HaloCache<float> cache = makeHaloCache<float>();
    auto accessor = layout.accessor();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < layout.numNodes(depth); ++tile) {
            if (!layout.node(tile, depth).valid()) {
                continue;
            }
            Detail::updateTileCache<Detail::ContinuousHalo<float>, float>(
                tile, depth, layout, accessor, *in_field.channel, cache);
            for (int n = 0; n < kHaloedSize; ++n) {
                const float value = cache[depth].second.data()[n];
                ASSERT_NEAR(value, found.tileData(tile, depth)[n], 2e-6 * (10 + std::abs(value)))
                    << "position " << n << " of tile " << tile << " at depth " << depth;
            }
        }
    }
}

}  // namespace

TEST(HaloMatrix, GivesTheHaloedTilesOfEveryOffset)
{
    Random random(3);
    SCOPED_TRACE(random.seed());
    const auto bare_roots = Skelvar::Test::LayoutBuilder().box({-7, -7, -7}, {8, 8, 8}).build();
    const auto with_gaps = steppedLayout(random);
    with_gaps->deleteNode(with_gaps->node(with_gaps->nodeIndex<true>(5, 5, 5, 7)).id());
    for (const auto& layout : {bare_roots, with_gaps, steppedLayout(random)}) {
        for (int type = 0; type < 8; ++type) {
            SCOPED_TRACE(type);
            const auto offset = static_cast<VoxelOffsetType>(type);
            const Field<float> field = anyValues(layout, offset, random);
            SparseMatrix<float> A(*layout);
            for (int depth = 0; depth < kNumDepths; ++depth) {
                for (int tile = 0; tile < layout->numNodes(depth); ++tile) {
                    makeInterpolationMatrixTile(*layout, tile, depth, offset, true, true, &A);
                }
            }
            expectHaloedTiles(A, field);
            SparseMatrix<float> whole;
            if (offset == eOffsetCentre) {
                makeCenterHaloSparseMatrix(*layout, true, true, &whole);
                expectHaloedTiles(whole, field);
            } else if (offset == eOffsetCorner) {
                makeCornerHaloSparseMatrix(*layout, &whole);
                expectHaloedTiles(whole, field);
            }
        }
    }
}

TEST(HaloMatrix, LeavesOutWhatItIsTold)
{
    const auto layout =
        Skelvar::Test::LayoutBuilder().tile({0, 0, 0}, 6).box({-2, -2, -2}, {8, 3, 3}).build();
    const int tile = layout->nodeIndex<true>(0, 0, 0, 7).first;
    SparseMatrix<float> own;
    SparseMatrix<float> copied;

    makeCenterHaloSparseMatrix(*layout, false, true, &own);
    makeCenterHaloSparseMatrix(*layout, true, false, &copied);

    ASSERT_EQ(1, own.blocks(tile, 7).size());
    EXPECT_EQ(125, own.blocks(tile, 7)[0].numEntries());
    EXPECT_EQ(1 + 7 + 49, own.blocks(tile, 7)[0].rowIds()[0]);
    // The one neighbour, at +x, gives a face of 25 values.
    ASSERT_EQ(2, copied.blocks(tile, 7).size());
    const SparseMatrixTile<float>& face = copied.blocks(tile, 7)[tile == 0 ? 1 : 0];
    EXPECT_EQ(1 - tile, face.tileIndex());
    ASSERT_EQ(25, face.numEntries());
    EXPECT_EQ(6 + 7 + 49, face.rowIds()[0]);
    EXPECT_EQ(0, face.columnIds()[0]);
    EXPECT_EQ(1.0f, face.values()[0]);
}

}  // namespace Skelvar::Testing
