#include <skelvar/numerics/HaloMatrix.h>
#include <skelvar/numerics/SparseMatrixOperations.h>
#include <skelvar/sampling/ContinuousHalo.h>
#include <skelvar/tree/VoxelLayoutAccessor.h>

#include <tests/numerics/DenseReference.h>

#include <gtest/gtest.h>

#include <cmath>

namespace Skelvar::Testing {

namespace {

constexpr int kHaloedSize = 343;

/// A field over a layout, as the evaluator of haloed tiles wants one.
class Field {
public:
    Field(const VoxelLayout& in_layout, VoxelOffsetType in_offset, Random& io_random)
        : values(in_layout, 0.0f), m_offset(in_offset)
    {
        fillVector(values, [&](int, int, int) { return io_random.real(-1.0, 1.0); });
        for (int depth = 0; depth < kNumDepths; ++depth) {
            for (int tile = 0; tile < in_layout.numNodes(depth); ++tile) {
                m_tiles[depth].emplace_back(0.0f);
                std::copy_n(values.tileData(tile, depth), kTileSize, m_tiles[depth].back().data());
            }
        }
    }

    const VoxelTile<float, 0, 5>& tile(int in_tile, int in_depth) const
    {
        return m_tiles[in_depth][in_tile];
    }
    VoxelOffsetType offsetType() const { return m_offset; }
    float backgroundValue() const { return 0.0f; }

    GenericDenseVector<float> values;

private:
    VoxelOffsetType m_offset;
    std::vector<VoxelTile<float, 0, 5>> m_tiles[kNumDepths];
};

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

void expectHaloedTiles(const SparseMatrix<float>& in_matrix, const Field& in_field)
{
    const VoxelLayout& layout = *in_matrix.layout();
    GenericDenseVector<float> found(layout, 9.0f, kHaloedSize);
    matrixVectorMultiply(in_matrix, in_field.values, &found);

    HaloCache<float> cache = makeHaloCache<float>();
    auto accessor = layout.accessor();
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < layout.numNodes(depth); ++tile) {
            if (!layout.node(tile, depth).valid()) {
                continue;
            }
            Detail::updateTileCache<Detail::ContinuousHalo<float>, float>(
                tile, depth, layout, accessor, in_field, cache);
            for (int n = 0; n < kHaloedSize; ++n) {
                const float value = cache[depth].second.data()[n];
                ASSERT_NEAR(value, found.tileData(tile, depth)[n], 2e-6 * (10 + std::abs(value)))
                    << "position " << n << " of tile " << tile << " at depth " << depth;
            }
        }
    }
}

}  // namespace

TEST(HaloMatrix, GivesTheHaloedTiles)
{
    for (unsigned seed = 1; seed <= 2; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const auto layout = steppedLayout(random);
        SparseMatrix<float> centre;
        SparseMatrix<float> corner;

        makeCenterHaloSparseMatrix(*layout, true, true, &centre);
        makeCornerHaloSparseMatrix(*layout, &corner);

        expectHaloedTiles(centre, Field(*layout, eOffsetCentre, random));
        expectHaloedTiles(corner, Field(*layout, eOffsetCorner, random));
    }
}

TEST(HaloMatrix, GivesTheHaloedTilesOfEveryOffset)
{
    Random random(3);
    SCOPED_TRACE(random.seed());
    const auto bare_roots = Skelvar::Test::LayoutBuilder().box({-7, -7, -7}, {8, 8, 8}).build();
    const auto with_gaps = steppedLayout(random);
    with_gaps->deleteNode(with_gaps->node(with_gaps->nodeIndex<true>(5, 5, 5, 7)).id());
    for (const auto& layout : {bare_roots, with_gaps}) {
        for (int type = 0; type < 8; ++type) {
            const auto offset = static_cast<VoxelOffsetType>(type);
            SparseMatrix<float> A(*layout);
            for (int depth = 0; depth < kNumDepths; ++depth) {
                for (int tile = 0; tile < layout->numNodes(depth); ++tile) {
                    makeInterpolationMatrixTile(*layout, tile, depth, offset, true, true, &A);
                }
            }
            SCOPED_TRACE(type);
            expectHaloedTiles(A, Field(*layout, offset, random));
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
