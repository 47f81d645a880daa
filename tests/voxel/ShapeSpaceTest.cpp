#include <tests/voxel/VoxelFixture.h>

#include <cmath>
#include <random>

namespace Skelvar::Test {
namespace {

/// A rotation about an axis, a scale and a translation, with the inverse from its closed form.
Similarity randomSimilarity(std::mt19937& io_random)
{
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    double axis[3];
    double length = 0.0;
    do {
        length = 0.0;
        for (double& component : axis) {
            component = unit(io_random);
            length += component * component;
        }
    } while (length < 0.01);
    for (double& component : axis) {
        component /= std::sqrt(length);
    }
    const double angle = 3.0 * unit(io_random);
    const double scale = std::exp(unit(io_random));
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const double t[3] = {10.0 * unit(io_random), 10.0 * unit(io_random), 10.0 * unit(io_random)};
    double r[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const double cross = i == j ? 0.0 : ((j - i + 3) % 3 == 1 ? 1.0 : -1.0);
            r[i][j] = (i == j ? c : 0.0) + (1.0 - c) * axis[i] * axis[j] +
                      s * cross * axis[(6 - i - j) % 3];
        }
    }
    Similarity similarity;
    for (int i = 0; i < 3; ++i) {
        double back = 0.0;
        for (int j = 0; j < 3; ++j) {
            similarity.toWorld(i, j) = static_cast<float>(scale * r[i][j]);
            similarity.fromWorld(i, j) = static_cast<float>(r[j][i] / scale);
            back += t[j] * r[i][j] / scale;
        }
        similarity.toWorld(3, i) = static_cast<float>(t[i]);
        similarity.fromWorld(3, i) = static_cast<float>(-back);
    }
    return similarity;
}

void expectNear(const vec3f& in_expected, const vec3f& in_found, float in_tolerance)
{
    for (int a = 0; a < 3; ++a) {
        EXPECT_NEAR(in_expected[a], in_found[a], in_tolerance) << "axis " << a;
    }
}

TEST(ShapeSpace, TreeToWorldAndBackIsTheIdentity)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-100.0f, 100.0f);
    const auto layout = std::make_shared<VoxelLayout>("l", 0.3f);
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->setLayout(layout);
    for (int n = 0; n < 200; ++n) {
        shape->setToWorld(randomSimilarity(random));
        const vec3f point{coordinate(random), coordinate(random), coordinate(random)};
        const auto offset = static_cast<VoxelOffsetType>(random() % 8);
        const int depth = 5 + static_cast<int>(random() % 3);

        expectNear(point, shape->tsx(shape->wsx(point)), 2e-3f);
        expectNear(point, shape->tsx(shape->wsx(point, offset, depth), offset, depth), 2e-3f);
    }
}

TEST(ShapeSpace, OffsetsAreCellsOfTheDepth)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    shape->dxChanged(2.0f);

    EXPECT_EQ((vec3f{3.0f, 5.0f, 7.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetCentre, 7));
    EXPECT_EQ((vec3f{2.0f, 9.0f, 11.0f}), shape->wsx({1.0f, 2.0f, 3.0f}, eOffsetFaceX, 6));
    EXPECT_EQ((vec3f{1.0f, 2.0f, 3.0f}), shape->tsx({2.0f, 9.0f, 11.0f}, eOffsetFaceX, 6));
}

TEST(ShapeSpace, WorldUsesRowVectors)
{
    const auto shape = std::make_shared<VoxelShape>("s");
    Similarity quarter_turn;  // x to y, y to -x, then 10 along x
    quarter_turn.toWorld = {{0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1}};
    quarter_turn.fromWorld = {{0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 10, 0, 1}};
    shape->setToWorld(quarter_turn);
    shape->dxChanged(2.0f);

    EXPECT_EQ((vec3f{6.0f, 2.0f, 6.0f}), shape->wsx({1.0f, 2.0f, 3.0f}));
    EXPECT_EQ((vec3f{1.0f, 2.0f, 3.0f}), shape->tsx({6.0f, 2.0f, 6.0f}));
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
    vec3i tile_lo{};
    vec3i tile_hi{};
    shape->tileBounds(tile_lo, tile_hi);
    shape->worldBounds(lo, hi);

    EXPECT_EQ((vec3i{-2, -7, 8}), tile_lo);
    EXPECT_EQ((vec3i{18, 8, 13}), tile_hi);
    EXPECT_EQ((vec3f{-1.0f, -3.5f, 4.0f}), lo);
    EXPECT_EQ((vec3f{9.0f, 4.0f, 6.5f}), hi);
}

TEST(ShapeBounds, InAnotherTreeSpaceAreThoseOfTheCorners)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
    for (int n = 0; n < 50; ++n) {
        const auto from = std::make_shared<VoxelShape>("from");
        const auto to = std::make_shared<VoxelShape>("to");
        from->dxChanged(0.5f);
        to->dxChanged(0.2f);
        from->setToWorld(randomSimilarity(random));
        to->setToWorld(randomSimilarity(random));
        vec3f lo{};
        vec3f hi{};
        for (int a = 0; a < 3; ++a) {
            const float first = coordinate(random);
            const float second = coordinate(random);
            lo[a] = std::min(first, second);
            hi[a] = std::max(first, second);
        }
        vec3f found_lo{};
        vec3f found_hi{};

        from->tsxBBox(lo, hi, to.get(), 1.5f, found_lo, found_hi);

        vec3f expected_lo{1e9f, 1e9f, 1e9f};
        vec3f expected_hi{-1e9f, -1e9f, -1e9f};
        for (const float x : {lo[0] - 1.5f, hi[0] + 1.5f}) {
            for (const float y : {lo[1] - 1.5f, hi[1] + 1.5f}) {
                for (const float z : {lo[2] - 1.5f, hi[2] + 1.5f}) {
                    const vec3f corner = to->tsx(from->wsx({x, y, z}));
                    for (int a = 0; a < 3; ++a) {
                        expected_lo[a] = std::min(expected_lo[a], corner[a]);
                        expected_hi[a] = std::max(expected_hi[a], corner[a]);
                    }
                }
            }
        }
        EXPECT_EQ(expected_lo, found_lo);
        EXPECT_EQ(expected_hi, found_hi);
    }
}

}  // namespace
}  // namespace Skelvar::Test
