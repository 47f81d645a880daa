#include <tools/kvf/geometry/Voxelizer.h>

#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ShapeFile.h>
#include <tools/kvf/ToolError.h>

#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Skelvar::Tool::Test {

namespace {

/// A voxelised mesh with its items at hand.
struct Voxels {
    std::shared_ptr<VoxelState> state = makeServer();
    VoxelizeResult result;
    std::shared_ptr<VoxelShape> shape;
    std::shared_ptr<VoxelChannel<float>> distance;
    std::shared_ptr<VoxelChannel<vec3f>> normal;

    Voxels(const TriangleMesh& in_mesh, const VoxelizeOptions& in_options)
    {
        result = voxelize(*state, in_mesh, in_options);
        std::shared_ptr<TreeShape3DBase> base;
        state->shapeRef(result.shape_name, base);
        shape = std::static_pointer_cast<VoxelShape>(base);
        distance = channel<float>("/distance");
        normal = channel<vec3f>("/normal");
    }

    template <typename T>
    std::shared_ptr<VoxelChannel<T>> channel(const std::string& in_suffix) const
    {
        return std::static_pointer_cast<VoxelChannel<T>>(
            shape->channelBasePtr(result.shape_name + in_suffix));
    }

    VoxelLayout& layout() const { return shape->layout(); }

    vec3f cellCentre(const VoxelLayoutNode& in_node, int in_i, int in_j, int in_k) const
    {
        const int cell = kTileSideLUT[in_node.depth() + 1];
        return shape->wsx(vec3f{float(in_node.i() + in_i * cell), float(in_node.j() + in_j * cell),
                                float(in_node.k() + in_k * cell)},
                          eOffsetCentre, in_node.depth());
    }
};

}  // namespace

TEST(Voxelizer, GivesTheExactDistanceAtEveryDepth)
{
    const TriangleMesh mesh = makeTorusKnot(2, 3, 80, 10);
    const Voxels voxels(mesh, {.voxel_size = 0.03f, .name = "knot"});
    int depths = 0;
    for (int depth = 0; depth <= 7; ++depth) {
        const int count = voxels.layout().numNodes(depth);
        depths += count > 0 ? 1 : 0;
        for (int n = 0; n < count; n += std::max(1, count / 20)) {
            const VoxelLayoutNode& node = voxels.layout().node(n, depth);
            for (int cell = 0; cell < 125; cell += 3) {
                const int i = cell % 5, j = cell / 5 % 5, k = cell / 25;
                const vec3f p = voxels.cellCentre(node, i, j, k);
                const float found = voxels.distance->tile(n, depth)(i, j, k);
                const vec3f normal = voxels.normal->tile(n, depth)(i, j, k);

                const double expected = bruteDistance(mesh, p);
                ASSERT_NEAR(expected, std::abs(found), 1e-6 * (1.0 + expected)) << depth;
                ASSERT_EQ(bruteWinding(mesh, p) > 0.5, found < 0.0f) << depth;
                ASSERT_NEAR(1.0, dot(normal, normal), 1e-5) << depth;
            }
        }
    }
    EXPECT_GE(depths, 3);
}

TEST(Voxelizer, CoversTheBandWithFinestTilesUnderOneRoot)
{
    TriangleMesh mesh = makeBall(24);
    for (vec3f& vertex : mesh.vertices) {
        vertex += vec3f{2.0f, 2.0f, 2.0f};  // across a side of the tile that holds its middle
    }
    constexpr float kVoxel = 0.04f, kBand = 2.5f;
    const Voxels voxels(mesh, {.voxel_size = kVoxel, .band = kBand, .name = "ball"});
    const VoxelLayout& layout = voxels.layout();

    EXPECT_EQ(1, layout.numRoots());
    EXPECT_EQ(layout.numNodes(), voxels.result.tiles);
    int missing = 0, needless = 0;
    const TriangleBvh tree(mesh);
    const auto isInBand = [&](const vec3f& in_p) {
        return tree.closest(in_p).distance <= kVoxel * kBand;
    };
    for (int n = 0; n < 80 * 80 * 80; ++n) {
        const vec3i cell{n % 80 + 10, n / 80 % 80 + 10, n / 6400 + 10};
        const vec3f p =
            vec3f{float(cell[0]) + 0.5f, float(cell[1]) + 0.5f, float(cell[2]) + 0.5f} * kVoxel;
        const int depth = layout.nodeIndex<false>(cell[0], cell[1], cell[2], 7).second;
        missing += isInBand(p) && depth != 7 ? 1 : 0;
    }
    EXPECT_EQ(0, missing);
    for (int n = 0; n < layout.numNodes(7); ++n) {
        const float* distance = voxels.distance->tile(n, 7).data();
        needless += std::none_of(distance, distance + 125, [](float in_d) {
            return std::abs(in_d) <= kVoxel * kBand * 1.0001f;
        });
    }
    EXPECT_EQ(0, needless);
}

TEST(Voxelizer, FollowsAMeshFarFromTheOrigin)
{
    TriangleMesh mesh = makeCube(0.5f);
    for (vec3f& vertex : mesh.vertices) {
        vertex += vec3f{1000.0f, -300.0f, 0.0f};
    }
    const Voxels voxels(mesh, {.voxel_size = 0.05f});
    EXPECT_EQ(1, voxels.layout().numRoots());
    const TileIndex middle = voxels.layout().nodeIndex<false>(20000, -6000, 0, 7);
    ASSERT_GE(middle.first, 0);
    EXPECT_LT(voxels.distance->tile(middle)(2, 2, 2), 0.0f);

    EXPECT_THROW(voxelize(*voxels.state, mesh, {.voxel_size = 0.005f, .name = "b"}), ToolError);
}

TEST(Voxelizer, RefusesWhatMakesNoSense)
{
    const auto state = makeServer();
    const TriangleMesh cube = makeCube();
    TriangleMesh point;
    point.vertices.assign(3, vec3f{1.0f, 2.0f, 3.0f});
    point.triangles.push_back({0, 1, 2});
    const auto statusOf = [&](const TriangleMesh& in_mesh, const VoxelizeOptions& in_options) {
        try {
            voxelize(*state, in_mesh, in_options);
        } catch (const ToolError& error) {
            return error.status();
        }
        return eDone;
    };

    EXPECT_EQ(eDone, statusOf(cube, {.voxel_size = 0.2f, .name = "a"}));
    EXPECT_EQ(eDataSaysNo, statusOf(cube, {.voxel_size = 0.2f, .name = "a"})) << "name taken";
    EXPECT_EQ(eMisuse, statusOf(cube, {.voxel_size = -0.2f, .name = "b"}));
    EXPECT_EQ(eMisuse, statusOf(cube, {.voxel_size = NAN, .name = "b"}));
    EXPECT_EQ(eMisuse, statusOf(cube, {.voxel_size = 0.2f, .band = 0.5f, .name = "b"}));
    EXPECT_EQ(eMisuse, statusOf(cube, {.voxel_size = 0.2f, .name = "a-b"}));
    EXPECT_EQ(eDataSaysNo, statusOf(point, {.name = "b"})) << "no extent";
    EXPECT_EQ(eDataSaysNo, statusOf(cube, {.voxel_size = 1.1e-5f, .name = "b"})) << "no memory";
}

}  // namespace Skelvar::Tool::Test
