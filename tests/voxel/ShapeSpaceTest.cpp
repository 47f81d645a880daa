#include <tests/voxel/VoxelFixture.h>

namespace Skelvar::Test {
namespace {

/// World points are row vectors: a turn of the x and y axes with cosine 3/5 and sine 4/5, then 10
/// along x.
Similarity turned()
{
    Similarity turn;
    turn.toWorld = {{0.6f, 0.8f, 0, 0, -0.8f, 0.6f, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1}};
    turn.fromWorld = {{0.6f, -0.8f, 0, 0, 0.8f, 0.6f, 0, 0, 0, 0, 1, 0, -6, 8, 0, 1}};
    return turn;
}

void expectNear(const vec3f& in_expected, const vec3f& in_found)
{
    for (int a = 0; a < 3; ++a) {
        EXPECT_NEAR(in_expected[a], in_found[a], 1e-5f) << "axis " << a;
    }
}

TEST(ShapeSpace, WorldIsTheTreeScaledThenPlaced)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setToWorld(turned());
    shape->dxChanged(2.0f);

    // (2, 4, 6) turns to (1.2 - 3.2, 1.6 + 2.4, 6).
    expectNear({8.0f, 4.0f, 6.0f}, shape->wsx({1.0f, 2.0f, 3.0f}));
    expectNear({1.0f, 2.0f, 3.0f}, shape->tsx({8.0f, 4.0f, 6.0f}));
}

TEST(ShapeSpace, OffsetsAreCellsOfTheDepth)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->dxChanged(2.0f);

    EXPECT_EQ((vec3f{3.0f, 5.0f, 7.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetCentre, 7));
    EXPECT_EQ((vec3f{2.0f, 9.0f, 11.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetFaceX, 6));
    EXPECT_EQ((vec3f{1.0f, 2.0f, 3.0f}), shape->tsx({2.0f, 9.0f, 11.0f}, eOffsetFaceX, 6));
}

TEST(ShapeBounds, InWorldAreTheScaledBoxOfTheLayout)
{
    const auto layout = std::make_shared<VoxelLayout>("l", 0.5f);
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setLayout(layout);
    vec3f lo{};
    vec3f hi{};
    shape->worldBounds(lo, hi);
    EXPECT_EQ((vec3f{}), lo);
    EXPECT_EQ((vec3f{}), hi);

    layout->addNode(-2, 3, 8, 7);   // the tile from (-2, 3, 8) to (3, 8, 13)
    layout->addNode(13, -7, 8, 7);  // and from (13, -7, 8) to (18, -2, 13)
    shape->worldBounds(lo, hi);

    EXPECT_EQ((vec3f{-1.0f, -3.5f, 4.0f}), lo);
    EXPECT_EQ((vec3f{9.0f, 4.0f, 6.5f}), hi);
}

TEST(ShapeBounds, InAnotherTreeSpaceAreThoseOfTheCorners)
{
    const auto from = std::make_shared<VoxelShape>("from");
    const auto to = std::make_shared<VoxelShape>("to");
    from->dxChanged(2.0f);
    from->setToWorld(turned());
    to->dxChanged(0.5f);
    vec3f lo{};
    vec3f hi{};

    from->tsxBBox({1, 1, 1}, {4, 9, 2}, to.get(), 1.0f, lo, hi);

    // In world (0, 0, 0) to (10, 20, 6): x from 10 - 16 to 10 + 6, y from 0 to 8 + 12.
    expectNear({-12.0f, 0.0f, 0.0f}, lo);
    expectNear({32.0f, 40.0f, 12.0f}, hi);
}

}  // namespace
}  // namespace Skelvar::Test
