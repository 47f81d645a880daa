#include <tests/tools/RunProgram.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

namespace Skelvar::Tool::Test {

TEST(Examples, StateSavesLoadsAndReadsBack)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_STATE_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.error;
    EXPECT_EQ("./smoke.0007.kvf: 2 tiles, density in the middle 1.5\n", outcome.output);
}

TEST(Examples, TreeGrowsAndShrinks)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_TREE_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.error;
    EXPECT_EQ(
        "one branch: 4 nodes, 1 root, tiles by depth 1 1 1 1\n"
        "filled    : 128 nodes, 1 root, tiles by depth 1 1 1 125\n"
        "deleted   : 2 nodes, 1 root, tiles by depth 1 1 0 0\n"
        "depth at the origin 5\n",
        outcome.output);
}

TEST(Examples, SampleReadsAcrossDepths)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_SAMPLE_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.error;
    std::istringstream lines(outcome.output);
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

TEST(Examples, PoissonIsSolvedAcrossDepths)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_POISSON_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.error;
    EXPECT_NE(std::string::npos, outcome.output.find("\nsolved, ")) << outcome.output;
    // 0.0562 is the value in the middle of the cube, whose walls stand half a cell farther out
    // here.
    EXPECT_NE(std::string::npos, outcome.output.find("u in the middle 0.06")) << outcome.output;
}

TEST(Examples, FramesSavedInTheBackgroundAreWhole)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_BACKGROUND_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.output << outcome.error;
    EXPECT_NE(std::string::npos, outcome.output.find("frame 99: saved ")) << outcome.output;
    EXPECT_NE(std::string::npos, outcome.output.find("\n100 of 100 frames are as they were"));
}

TEST(Examples, SwirlBringsEachParticleBack)
{
    const TemporaryFolder folder;

    const Outcome outcome = runProgram(folder, EXAMPLE_SWIRL_PROGRAM);

    EXPECT_EQ(0, outcome.status) << outcome.error;
    const std::string phrase = "largest distance from the start ";
    const std::size_t at = outcome.output.find(phrase);
    ASSERT_NE(std::string::npos, at) << outcome.output;
    EXPECT_LT(std::stod(outcome.output.substr(at + phrase.size())), 0.05);
    EXPECT_EQ(0u, outcome.output.find("2828 of 2828 particles, 100 frames")) << outcome.output;
    EXPECT_TRUE(std::filesystem::exists(folder.path("out/swirl.0100.kvf")));
    EXPECT_GT(std::filesystem::file_size(folder.path("out/swirl.png")), 2000u);
}

TEST(Examples, DemoBringsEveryBitBackAndDrawsIt)
{
    const TemporaryFolder folder;
    const std::string cube =
        folder.write("box.obj",
                     "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1\n"
                     "f 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 3 4 8 7\nf 1 5 8 4\nf 2 3 7 6\n");

    const Outcome outcome = runProgram(folder, DEMO_PROGRAM + std::string(" --mesh box.obj"));

    EXPECT_EQ(0, outcome.status) << outcome.error;
    EXPECT_NE(std::string::npos, outcome.output.find("all 8 files came back")) << outcome.output;
    EXPECT_TRUE(std::filesystem::exists(folder.path("out/demo.0003.kvf")));
    for (const char* picture : {"out/demo.png", "out/demo-surface.png", "out/demo-graded.png"}) {
        EXPECT_GT(std::filesystem::file_size(folder.path(picture)), 10000u) << picture;
    }
    EXPECT_NE(0, runProgram(folder, DEMO_PROGRAM + std::string(" --mesh absent.obj")).status);
}

}  // namespace Skelvar::Tool::Test
