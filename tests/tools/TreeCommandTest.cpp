#include <tests/tools/RunProgram.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Skelvar::Tool::Test {
namespace {

using nlohmann::json;

constexpr const char* kTetrahedron =
    "v -1 -1 -1\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";

Outcome kvf(const TemporaryFolder& in_folder, const std::string& in_arguments)
{
    return runProgram(in_folder, std::string("'") + KVF_PROGRAM + "' " + in_arguments);
}

TEST(TreeCommand, TellsDepthsRootsGradingAndSoundness)
{
    TemporaryFolder folder;
    folder.write("mesh.obj", kTetrahedron);
    ASSERT_EQ(0, kvf(folder, "voxelize mesh.obj plain.kvf --voxel-size 0.02").status);
    ASSERT_EQ(0, kvf(folder, "voxelize mesh.obj graded.kvf --voxel-size 0.02 --graded").status);

    const Outcome outcome = kvf(folder, "tree plain.kvf graded.kvf --json");

    ASSERT_EQ(0, outcome.status) << outcome.error;
    const json trees = json::parse(outcome.output);
    ASSERT_EQ(2u, trees.size());
    for (const json& tree : trees) {
        EXPECT_EQ(1, tree["roots"]);
        EXPECT_TRUE(tree["consistent"]);
        ASSERT_EQ(8u, tree["depths"].size());
        for (const json& depth : tree["depths"]) {
            // The channels are a float and a vector of three; a node above depth 7 has child slots.
            const long long nodes = depth["nodes"];
            EXPECT_EQ(2 * nodes, depth["tiles"]);
            const long long node_bytes = depth["depth"] == 7 ? 64 : 564;
            EXPECT_EQ(nodes * (node_bytes + 125 * 16), depth["bytes"]);
        }
        EXPECT_GT(tree["depths"][7]["nodes"], 100);
    }
    EXPECT_TRUE(trees[1]["graded"]);
    // Grading adds above the finest depth alone.
    EXPECT_EQ(trees[0]["depths"][7]["nodes"], trees[1]["depths"][7]["nodes"]);
    EXPECT_GT(trees[1]["depths"][5]["nodes"], trees[0]["depths"][5]["nodes"]);

    const Outcome text = kvf(folder, "tree graded.kvf");
    EXPECT_NE(std::string::npos, text.output.find("roots: 1\n"));
    EXPECT_NE(std::string::npos, text.output.find("\nconsistent\n"));
    EXPECT_EQ(3, kvf(folder, "tree absent.kvf").status);
}

}  // namespace
}  // namespace Skelvar::Tool::Test
