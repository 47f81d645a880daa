#include <tests/tools/RunProgram.h>
#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

namespace Skelvar::Tool::Test {

class Examples : public ::testing::Test {
protected:
    /// What a program prints that must do its work.
    std::string outputOf(const std::string& in_command) const
    {
        const Outcome outcome = runProgram(folder, in_command);
        EXPECT_EQ(0, outcome.status) << outcome.output << outcome.error;
        return outcome.output;
    }

    TempFolder folder;
};

TEST_F(Examples, StateSavesLoadsAndReadsBack)
{
    const std::string output = outputOf(EXAMPLE_STATE_PROGRAM);

    EXPECT_EQ("./smoke.0007.kvf: 2 tiles, density in the middle 1.5\n", output);
}

TEST_F(Examples, TreeGrowsAndShrinks)
{
    const std::string output = outputOf(EXAMPLE_TREE_PROGRAM);

    EXPECT_EQ(
        "one branch: 4 nodes, 1 root, tiles by depth 1 1 1 1\n"
        "filled    : 128 nodes, 1 root, tiles by depth 1 1 1 125\n"
        "deleted   : 2 nodes, 1 root, tiles by depth 1 1 0 0\n"
        "depth at the origin 5\n",
        output);
}

TEST_F(Examples, SampleReadsAcrossDepths)
{
    const std::string output = outputOf(EXAMPLE_SAMPLE_PROGRAM);

    std::istringstream lines(output);
    int rows = 0;
    for (std::string line; std::getline(lines, line); ++rows) {
        float x = 0.0f, distance = 0.0f, gradient = 0.0f;
        ASSERT_EQ(3, std::sscanf(line.c_str(), "x %f: distance %f, gradient %f", &x, &distance,
                                 &gradient))
            << line;
        // Coarse cells are 25 wide, and the sphere's middle is a kink.
        EXPECT_NEAR(std::abs(x) - 50.0f, distance, x > 0.0f ? 0.5f : 15.0f) << line;
        EXPECT_TRUE(x == 0.0f || gradient * x > 0.0f) << line;
    }
    EXPECT_EQ(5, rows);
}

TEST_F(Examples, PoissonIsSolvedAcrossDepths)
{
    const std::string output = outputOf(EXAMPLE_POISSON_PROGRAM);

    EXPECT_NE(std::string::npos, output.find("\nsolved, ")) << output;
    // 0.0562 is the value in the middle of the cube, whose walls stand half a cell farther out
    // here.
    EXPECT_NE(std::string::npos, output.find("u in the middle 0.06")) << output;
}

TEST_F(Examples, FramesSavedInTheBackgroundAreWhole)
{
    const std::string output = outputOf(EXAMPLE_BACKGROUND_PROGRAM);

    EXPECT_NE(std::string::npos, output.find("frame 99: saved ")) << output;
    EXPECT_NE(std::string::npos, output.find("\n100 of 100 frames are as they were"));
}

TEST_F(Examples, SwirlBringsEachParticleBack)
{
    const std::string output = outputOf(EXAMPLE_SWIRL_PROGRAM);

    const std::string phrase = "largest distance from the start ";
    const std::size_t at = output.find(phrase);
    ASSERT_NE(std::string::npos, at) << output;
    EXPECT_LT(std::stod(output.substr(at + phrase.size())), 0.05);
    EXPECT_EQ(0u, output.find("2828 of 2828 particles, 100 frames")) << output;
    EXPECT_TRUE(std::filesystem::exists(folder.file("out/swirl.0100.kvf")));
    EXPECT_GT(std::filesystem::file_size(folder.file("out/swirl.png")), 2000u);
}

TEST_F(Examples, DemoBringsEveryBitBackAndDrawsIt)
{
    folder.write("cube.obj", kCubeObj);

    const std::string output = outputOf(DEMO_PROGRAM + std::string(" --mesh cube.obj"));

    EXPECT_NE(std::string::npos, output.find("all 8 files came back")) << output;
    EXPECT_TRUE(std::filesystem::exists(folder.file("out/demo.0003.kvf")));
    for (const char* picture : {"out/demo.png", "out/demo-surface.png", "out/demo-graded.png"}) {
        EXPECT_GT(std::filesystem::file_size(folder.file(picture)), 10000u) << picture;
    }
    EXPECT_NE(0, runProgram(folder, DEMO_PROGRAM + std::string(" --mesh absent.obj")).status);
}

}  // namespace Skelvar::Tool::Test
