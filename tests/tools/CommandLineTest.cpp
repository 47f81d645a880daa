#include <skelvar/state/VoxelState.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/ShapeFile.h>

#include <tests/tools/KvfFolder.h>
#include <tests/tools/Pixels.h>
#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace Skelvar::Tool::Test {

namespace {

/// A folder with a mesh and a file made of it, and the program at hand.
class KvfProgram : public KvfFolder {
protected:
    void SetUp() override
    {
        folder.write("cube.obj", kCubeObj);
        done("voxelize cube.obj cube.kvf --voxel-size 0.1 --frame 3");
    }
};

}  // namespace

TEST_F(KvfProgram, HelpsAndStatesItsVersion)
{
    for (const char* command :
         {"", "voxelize", "info", "check", "convert", "stats", "slice", "tree", "solve",
          "solve poisson", "dump", "scatter", "export", "ls", "diff", "sample", "render"}) {
        const Outcome outcome = kvf(std::string(command) + " --help");
        EXPECT_EQ(0, outcome.status);
        EXPECT_NE(std::string::npos, outcome.output.find("Usage:")) << outcome.output;
        EXPECT_EQ("", outcome.error);
    }
    EXPECT_EQ(0u, kvf("--version").output.find("kvf "));
}

TEST_F(KvfProgram, TellsMisuseFromUnreadableFilesFromDataThatSaysNo)
{
    expectFailures({
        {2, "", "subcommand"},
        {2, "dance", "dance"},
        {2, "info", "FILE"},
        {2, "voxelize cube.obj a.kvf --voxel-size 0", "voxel size"},
        {2, "voxelize cube.obj a.kvf --quality 4", "quality"},
        {2, "voxelize cube.obj a.kvf --name 'a b'", "a b"},
        {2, "slice cube.kvf --channel distance --axis w", "axis"},
        {2, "convert cube.kvf cube.kvf", "exists"},
        {3, "voxelize absent.obj a.kvf", "absent.obj"},
        {3, "voxelize . a.kvf", "folder"},
        {3, "voxelize cube.kvf a.kvf", "cube.kvf"},
        {3, "voxelize cube.obj cube.obj/a.kvf", "cube.obj"},
        {3, "info absent.kvf", "absent.kvf"},
        {3, "info .", "."},
        {3, "info cube.obj", "cube.obj"},
        {3, "stats absent.kvf --json", "absent.kvf"},
        {3, "check absent.kvf", "absent.kvf"},
        {3, "check cube.obj", "cube.obj"},
        {3, "info 'a.#.kvf'", "a.#.kvf"},
        {3, "slice cube.kvf --channel distance -o no/a.png", "kvf: no/a.png cannot"},
        {1, "slice cube.kvf --channel density", "distance"},
        {1, "slice cube.kvf --channel distance --at 1e6", "misses"},
    });
    folder.write("flat.obj", "v 0 0 0\nv 1 0 0\n");
    EXPECT_NE(0, kvf("voxelize flat.obj a.kvf").status);
    EXPECT_FALSE(std::filesystem::exists(folder.file("a.kvf")));
}

TEST_F(KvfProgram, InfoTellsWhatTheFileHolds)
{
    const std::string text = done("info cube.kvf");
    EXPECT_NE(std::string::npos, text.find("   name     cube-volume\n")) << text;
    EXPECT_NE(std::string::npos, text.find("on disk"));

    const json all = jsonOf("info cube.kvf cube.kvf");
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(3, all[0]["frame"]);
    EXPECT_EQ(4, all[0]["version"]);
    EXPECT_EQ("cube-volumelayout", all[0]["shape"]["layout"]);
    const json& channels = all[0]["channels"];
    ASSERT_EQ(2u, channels.size());
    EXPECT_EQ("cube-volume/distance", channels[0]["name"]);
    EXPECT_EQ("VoxelChannel<vec<3,float>>", channels[1]["type"]);
    unsigned long long end = 0;
    for (const json& channel : channels) {
        EXPECT_GT(channel["offset"].get<unsigned long long>(), 0u);
        EXPECT_TRUE(end == 0 || end == channel["offset"].get<unsigned long long>());
        end = channel["offset"].get<unsigned long long>() +
              channel["diskBytes"].get<unsigned long long>();
        EXPECT_GT(channel["memoryBytes"].get<unsigned long long>(),
                  4 * channel["elements"].get<unsigned long long>());
    }
    EXPECT_EQ(std::filesystem::file_size(folder.file("cube.kvf")), end);
}

TEST_F(KvfProgram, StatsCountEachDepth)
{
    const json report = jsonOf("stats cube.kvf")[0];
    const json& distance = report["channels"][0];
    EXPECT_EQ("cube-volume/distance", distance["name"]);
    const json& finest = distance["depths"].back();
    EXPECT_EQ(7, finest["depth"]);
    const json& numbers = finest["components"][0];
    EXPECT_EQ(125 * finest["tiles"].get<int>(), numbers["values"]);
    EXPECT_EQ(0, numbers["nan"]);
    EXPECT_LT(numbers["min"], -0.25);
    EXPECT_GT(numbers["max"], 0.25);
    EXPECT_EQ(3u, report["channels"][1]["depths"][0]["components"].size());
    EXPECT_NE(std::string::npos, kvf("stats cube.kvf").output.find("7.z"));
}

TEST_F(KvfProgram, CheckNamesTheDamagedFilesAndThePlace)
{
    const std::string good = folder.read("cube.kvf");
    std::string bad = good;
    bad[bad.size() - 40] ^= 0x55;
    folder.write("bad.kvf", bad);
    folder.write("cut.kvf", good.substr(0, good.size() - 10));
    folder.write("long.kvf", good + "rest");

    EXPECT_EQ("cube.kvf: ok\n", kvf("check cube.kvf").output);
    for (const char* name : {"bad.kvf", "cut.kvf", "long.kvf"}) {
        const Outcome outcome = kvf(std::string("check cube.kvf ") + name);
        EXPECT_EQ(1, outcome.status) << name;
        EXPECT_EQ(2, std::count(outcome.output.begin(), outcome.output.end(), '\n'));
        EXPECT_NE(std::string::npos, outcome.output.find(std::string(name) + ": damaged: "))
            << outcome.output;
        EXPECT_NE(std::string::npos, outcome.output.find("byte ")) << outcome.output;
    }
    EXPECT_EQ(3, kvf("check bad.kvf absent.kvf").status);
    expectFailures({
        {3, "stats bad.kvf", "bad.kvf"},
    });
}

TEST_F(KvfProgram, CheckSeesWhatIsBehindAFileWithoutChannels)
{
    {
        const ShapeFile file = loadShapeFile(folder.file("cube.kvf"));
        saveShapeFile(*file.state, folder.file("bare.kvf"), file.shape->name(), {}, 0, 0);
    }
    const std::string bare = folder.read("bare.kvf");
    folder.write("long.kvf", bare + "x");

    EXPECT_EQ("bare.kvf: ok\n", done("check bare.kvf"));
    const Outcome outcome = kvf("check long.kvf");
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("long.kvf: damaged: at byte " + std::to_string(bare.size()) +
                  ": all that the file holds ends here, and it has " +
                  std::to_string(bare.size() + 1) + " bytes\n",
              outcome.output);
}

TEST_F(KvfProgram, ConvertKeepsEveryValueAndOverwritesOnlyWhenTold)
{
    done("convert cube.kvf planes.kvf --quality 1");
    EXPECT_EQ(1, jsonOf("info planes.kvf")[0]["quality"]);
    EXPECT_EQ(3, jsonOf("info planes.kvf")[0]["frame"]);
    expectFailures({
        {2, "convert cube.kvf planes.kvf", "-f"},
    });
    done("convert -f planes.kvf planes.kvf --quality 0");
    // The channels' bytes are those of the first file again.
    const auto channelBytes = [&](const char* in_name) {
        const json info = jsonOf(std::string("info ") + in_name);
        return folder.read(in_name).substr(info[0]["channels"][0]["offset"].get<std::size_t>());
    };
    EXPECT_GT(channelBytes("cube.kvf").size(), 1000u);
    EXPECT_TRUE(channelBytes("cube.kvf") == channelBytes("planes.kvf"));
}

TEST_F(KvfProgram, PathsMayHoldAFramePattern)
{
    done("convert cube.kvf 'f.#.kvf' --frame 12");
    EXPECT_TRUE(std::filesystem::exists(folder.file("f.0012.kvf")));
    done("info 'f.#.kvf' --frame 12");
    done("check 'f.@@@@.kvf' --frame 12");
    done("convert f.0012.kvf 'g.@@.kvf'");
    EXPECT_TRUE(std::filesystem::exists(folder.file("g.12.kvf"))) << "the frame of the header";
    expectFailures({
        {3, "info 'f.#.kvf' --frame 13", "f.0013.kvf"},
    });
}

TEST_F(KvfProgram, SolveAddsTheResultAndDrawsTheResiduals)
{
    const std::string before = folder.read("cube.kvf");
    expectFailures({
        {2, "solve", "subcommand"},
        {2, "solve poisson cube.kvf --rhs distance", "--out"},
        {2, "solve poisson cube.kvf --rhs distance --out 'a b'", "a b"},
        {2, "solve poisson cube.kvf --rhs distance --out u -o cube.obj", "-f"},
        {1, "solve poisson cube.kvf --rhs normal --out u", "normal"},
        {1, "solve poisson cube.kvf --rhs density --out u", "distance"},
    });
    const Outcome capped = kvf("solve poisson cube.kvf --rhs distance --out u --max-iterations 1");
    EXPECT_EQ(1, capped.status);
    EXPECT_NE(std::string::npos, capped.error.find("not solved")) << capped.error;
    EXPECT_TRUE(before == folder.read("cube.kvf"));

    const std::string passes =
        done("solve poisson cube.kvf --rhs distance --out u -o u.kvf --plot u.png");

    EXPECT_NE(std::string::npos, passes.find("\nu.png\n")) << passes;
    EXPECT_NE(std::string::npos, passes.find("     1  ")) << passes;
    EXPECT_GT(folder.read("u.png").size(), 1000u);
    EXPECT_TRUE(before == folder.read("cube.kvf"));
    const json channels = jsonOf("info u.kvf")[0]["channels"];
    ASSERT_EQ(3u, channels.size());
    EXPECT_EQ("cube-volume/u", channels[2]["name"]);
    // Into the file itself, over the channel of the last time; without sides it is singular.
    done("solve poisson u.kvf --rhs u --out u --sides neumann");
    EXPECT_EQ(3u, jsonOf("info u.kvf")[0]["channels"].size());
    EXPECT_FALSE(before == folder.read("u.kvf"));
}

TEST_F(KvfProgram, SolveRefusesChannelsThatItCannotReadOrWrite)
{
    {
        const ShapeFile file = loadShapeFile(folder.file("cube.kvf"));
        const std::string shape = file.shape->name();
        file.state->newVoxelChannel<float>("faces", shape, eOffsetFaceX, 0.0f);
        file.state->newVoxelChannel<float>("holes", shape, eOffsetCentre, std::nanf(""));
        file.state->newVoxelChannel<int>("count", shape, eOffsetCentre, 1);
        saveShapeFile(*file.state, folder.file("odd.kvf"), shape, file.channelNames(), 0, 0);
    }
    std::filesystem::copy_file(folder.file("cube.kvf"), folder.file("kvf.png"));
    expectFailures({
        {1, "solve poisson odd.kvf --rhs faces --out u", "centres"},
        {1, "solve poisson odd.kvf --rhs distance --out faces", "centres"},
        {1, "solve poisson odd.kvf --rhs holes --out u", "nan"},
        {1, "solve poisson odd.kvf --rhs distance --out count", "int32"},
        {2, "solve poisson odd.kvf --rhs distance --out u --plot kvf.png", "is a KVF file"},
        {3, "solve poisson odd.kvf --rhs distance --out u --max-iterations 1 -o cube.obj/u.kvf",
         "no folder"},
        {2, "solve poisson odd.kvf --rhs distance --out u --tolerance inf", "--tolerance"},
    });
}

TEST_F(KvfProgram, DumpWritesAText)
{
    done("dump cube.kvf cube.txt --verbose");
    EXPECT_EQ(0u, folder.read("cube.txt").find("VoxelStateSMP contents:"));
    folder.write("target.txt", "old");
    std::filesystem::create_symlink("target.txt", folder.file("link.txt"));
    done("dump cube.kvf link.txt");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link.txt")));
    EXPECT_EQ(0u, folder.read("target.txt").find("VoxelStateSMP contents:"));
    expectFailures({
        {3, "dump absent.kvf cube.txt", "absent.kvf"},
        {2, "dump cube.kvf cube.kvf", "is a KVF file"},
        {3, "dump cube.kvf /dev/null", "no plain file"},
    });
}

TEST_F(KvfProgram, SliceDrawsByFullOrShortName)
{
    for (const char* name : {"distance", "cube-volume/normal"}) {
        EXPECT_EQ("cube.png\n",
                  done(std::string("slice cube.kvf --axis x --size 700 --channel ") + name));
        EXPECT_EQ(700, readPng(folder.file("cube.png")).width);
    }
}

}  // namespace Skelvar::Tool::Test
