#include <tests/tools/KvfFolder.h>
#include <tests/tools/TestMeshes.h>

namespace Skelvar::Tool::Test {
namespace {

class TreeCommand : public KvfFolder {};

TEST_F(TreeCommand, TellsDepthsRootsGradingAndSoundness)
{
    folder.write("cube.obj", kCubeObj);
    done("voxelize cube.obj plain.kvf --voxel-size 0.02");
    done("voxelize cube.obj graded.kvf --voxel-size 0.02 --graded");

    const json trees = jsonOf("tree plain.kvf graded.kvf");

    ASSERT_EQ(2u, trees.size());
    for (const json& tree : trees) {
        EXPECT_EQ(1, tree["roots"]);
        EXPECT_TRUE(tree["consistent"]);
        ASSERT_EQ(8u, tree["depths"].size());
        for (const json& depth : tree["depths"]) {
            // The channels are a float and a vector of three; a node above depth 7 has child slots.
            const long long nodes = depth["nodes"];
            EXPECT_EQ(2 * nodes, depth["tiles"]);
            const long long node_bytes = depth["depth"] == 7 ? 64 : 572;
            EXPECT_EQ(nodes * (node_bytes + 125 * 16), depth["bytes"]);
        }
        EXPECT_GT(tree["depths"][7]["nodes"], 100);
    }
    EXPECT_TRUE(trees[1]["graded"]);
    // Grading adds above the finest depth alone.
    EXPECT_EQ(trees[0]["depths"][7]["nodes"], trees[1]["depths"][7]["nodes"]);
    EXPECT_GT(trees[1]["depths"][5]["nodes"], trees[0]["depths"][5]["nodes"]);

    const std::string text = done("tree graded.kvf");
    EXPECT_NE(std::string::npos, text.find("roots: 1\n"));
    EXPECT_NE(std::string::npos, text.find("\nconsistent\n"));
    expectFailures({{3, "tree absent.kvf", "absent.kvf"}});
}

}  // namespace
}  // namespace Skelvar::Tool::Test
