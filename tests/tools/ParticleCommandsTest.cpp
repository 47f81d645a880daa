#include <skelvar/particles/ParticleShape.h>
#include <skelvar/particles/ReblockByPosition.h>
#include <skelvar/state/VoxelState.h>

#include <tools/kvf/ChannelValues.h>
#include <tools/kvf/ShapeFile.h>

#include <tests/tools/KvfFolder.h>
#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <sstream>

namespace Skelvar::Tool::Test {

namespace {

/// A folder with a closed cube of side 2 and one without a face.
class KvfParticles : public KvfFolder {
protected:
    void SetUp() override
    {
        folder.write("cube.obj", kCubeObj);
        folder.write("open.obj", kOpenCubeObj);
    }
    json statsOf(const std::string& in_file, const std::string& in_channel) const
    {
        const json report = jsonOf("stats " + in_file)[0];
        for (const json& channel : report["channels"]) {
            if (channel["name"] == "cube-particles/" + in_channel) {
                return channel["depths"].back()["components"];
            }
        }
        return {};
    }
};

}  // namespace

TEST_F(KvfParticles, ScatterFillsAClosedMeshEvenly)
{
    const std::string told = done("scatter cube.obj cube.kvf --per-cell 2 --voxel-size 0.1");
    EXPECT_NE(std::string::npos, told.find("16000 particles")) << told;

    const json position = statsOf("cube.kvf", "position");
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(16000, position[axis]["values"]);
        EXPECT_GE(position[axis]["min"], -10.0);
        EXPECT_LE(position[axis]["max"], 10.0);
        EXPECT_NEAR(0.0, position[axis]["mean"].get<double>(), 0.2);
    }
    EXPECT_EQ(0, statsOf("cube.kvf", "id")[0]["min"]);
    EXPECT_EQ(15999, statsOf("cube.kvf", "id")[0]["max"]);
    EXPECT_EQ(1.0, statsOf("cube.kvf", "density")[0]["mean"]);
    EXPECT_EQ(16000, statsOf("cube.kvf", "velocity")[2]["values"]);
    EXPECT_EQ("cube.kvf: ok\n", kvf("check cube.kvf").output);
    EXPECT_NE(std::string::npos, kvf("info cube.kvf").output.find("ParticleShape"));

    done("scatter cube.obj again.kvf --per-cell 2 --voxel-size 0.1");
    EXPECT_TRUE(folder.read("cube.kvf") == folder.read("again.kvf")) << "the same seed";
    done("scatter cube.obj other.kvf --per-cell 2 --voxel-size 0.1 --seed 2");
    EXPECT_FALSE(folder.read("cube.kvf") == folder.read("other.kvf"));
}

TEST_F(KvfParticles, ScatterCountsExactlyAndLeavesStraysOut)
{
    const std::string exact = done("scatter cube.obj cube.kvf --count 12345 --quality 3");
    EXPECT_NE(std::string::npos, exact.find("12345 particles")) << exact;
    EXPECT_EQ(12345, statsOf("cube.kvf", "position")[0]["values"]);

    // The far half of the cube lies outside of the tree.
    folder.write("far.obj",
                 "v 39062 0 0\nv 39063 0 0\nv 39062 1 0\nv 39062 0 1\n"
                 "f 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n");
    const std::string far =
        done("scatter far.obj far.kvf --count 1000 --voxel-size 0.2 --name far");
    EXPECT_NE(std::string::npos, far.find("left out")) << far;
}

TEST_F(KvfParticles, OpenMeshesAndMisuseAreToldInOneLine)
{
    const Outcome open = kvf("scatter open.obj open.kvf --count 100");
    EXPECT_EQ(1, open.status);
    EXPECT_NE(std::string::npos, open.error.find("--shell")) << open.error;
    EXPECT_FALSE(std::filesystem::exists(folder.file("open.kvf")));
    done("scatter open.obj cube.kvf --count 5000 --shell --voxel-size 0.1 --name cube");
    const json position = statsOf("cube.kvf", "position");
    EXPECT_LT(position[0]["min"], -10.0);
    EXPECT_GE(position[0]["min"], -11.01);

    done("voxelize cube.obj voxels.kvf --voxel-size 0.2");
    expectFailures({
        {2, "scatter cube.obj a.kvf --count 5 --per-cell 5", "--per-cell"},
        {2, "scatter cube.obj a.kvf --voxel-size -1", "voxel size"},
        {1, "scatter cube.obj a.kvf --voxel-size 1e-9", ""},
        {2, "export cube.kvf a.txt", ".csv"},
        {3, "export cube.kvf no/a.ply", "no/a.ply"},
        {1, "export voxels.kvf a.ply", "VoxelShape"},
        {1, "diff voxels.kvf cube.kvf", "cube.kvf a ParticleShape"},
        {1, "diff cube.kvf cube.kvf --id density", "no ids"},
        {1, "diff cube.kvf cube.kvf --id name", "no channel name"},
    });
}

TEST_F(KvfParticles, ExportWritesEveryParticleWithAllChannels)
{
    done("scatter cube.obj cube.kvf --count 300 --voxel-size 0.1");
    done("export cube.kvf cube.csv");
    done("export cube.kvf cube.ply");

    const std::string ply = folder.read("cube.ply");
    const std::string head =
        "ply\nformat binary_little_endian 1.0\nelement vertex 300\nproperty float x\n"
        "property float y\nproperty float z\nproperty float density\nproperty double id\n"
        "property float velocity_x\nproperty float velocity_y\nproperty float velocity_z\n"
        "end_header\n";
    constexpr std::size_t kRow = 7 * sizeof(float) + sizeof(double);
    ASSERT_EQ(head, ply.substr(0, head.size()));
    ASSERT_EQ(head.size() + 300 * kRow, ply.size());

    std::istringstream csv(folder.read("cube.csv"));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ("x,y,z,density,id,velocity_x,velocity_y,velocity_z", line);
    for (std::size_t row = 0; row < 300; ++row) {
        ASSERT_TRUE(std::getline(csv, line));
        float binary[3];
        std::memcpy(binary, ply.data() + head.size() + row * kRow, sizeof(binary));
        std::istringstream fields(line);
        for (const float expected : binary) {
            std::string field;
            std::getline(fields, field, ',');
            EXPECT_EQ(expected, std::stof(field)) << "all digits";
            EXPECT_LE(std::abs(expected), 1.0f) << "in the world";
        }
        EXPECT_NE(std::string::npos, line.find(",1," + std::to_string(row) + ",0,0,0"));
    }
    EXPECT_FALSE(std::getline(csv, line));
}

TEST_F(KvfParticles, ExportLeavesOutThoseWithoutAPlaceAndCountsThem)
{
    done("scatter cube.obj cube.kvf --count 300 --voxel-size 0.1");
    const ShapeFile file = loadShapeFile(folder.file("cube.kvf"));
    auto& positions = positionChannel(*file.particleShape())->tile(3, kMaxTileDepth);
    positions[0][1] = std::numeric_limits<float>::quiet_NaN();
    positions[1][2] = 195313.0f;
    saveShapeFile(*file.state, folder.file("cube.kvf"), file.shape->name(), file.channelNames(), 1,
                  0);

    const std::string told = done("export cube.kvf cube.ply");

    EXPECT_EQ(0u, told.find("  2 positions are outside")) << told;
    EXPECT_NE(std::string::npos, told.find("cube.ply: 298 particles"));
    EXPECT_NE(std::string::npos, folder.read("cube.ply").find("element vertex 298\n"));
    done("export cube.kvf cube.csv");
    const std::string rows = folder.read("cube.csv");
    EXPECT_EQ(299, std::count(rows.begin(), rows.end(), '\n'));
}

TEST_F(KvfParticles, DiffMatchesThemByIdWhereverTheyStand)
{
    done("scatter cube.obj a.kvf --count 300 --voxel-size 0.1 --frame 1");
    const auto save = [&](const std::string& in_name, const auto& in_change) {
        const ShapeFile file = loadShapeFile(folder.file("a.kvf"));
        in_change(file, *file.particleShape());
        saveShapeFile(*file.state, folder.file(in_name), file.shape->name(), file.channelNames(), 1,
                      0);
    };
    const auto channelOf = [&]<typename T>(const ShapeFile& in_file, const char* in_name, T) {
        return std::static_pointer_cast<ParticleChannel<T>>(in_file.channel(in_name));
    };
    save("turned.kvf", [&](const ShapeFile& in_file, const ParticleShape&) {
        for (const std::string& name : in_file.channelNames()) {
            visitParticleChannel(*in_file.channel(name), [](const auto& in_channel) {
                using Channel = std::decay_t<decltype(in_channel)>;
                for (int n = 0; n < in_channel.numTiles(kMaxTileDepth); ++n) {
                    auto& tile = const_cast<Channel&>(in_channel).tile(n, kMaxTileDepth);
                    std::reverse(tile.begin(), tile.end());
                }
            });
        }
    });
    vec3f place;
    save("denser.kvf", [&](const ShapeFile& in_file, const ParticleShape& in_shape) {
        const auto density = channelOf(in_file, "density", 0.0f);
        density->tile(3, kMaxTileDepth)[0] = 3.5f;
        density->tile(4, kMaxTileDepth)[0] = 1.5f;
        place = in_shape.wsx(channelOf(in_file, "position", vec3f{})->tile(3, kMaxTileDepth)[0]);
    });
    save("other.kvf", [&](const ShapeFile& in_file, const ParticleShape&) {
        channelOf(in_file, "id", 0ULL)->tile(3, kMaxTileDepth)[0] = (1ULL << 60) + 1;
    });
    save("twice.kvf", [&](const ShapeFile& in_file, const ParticleShape&) {
        auto& ids = channelOf(in_file, "id", 0ULL)->tile(3, kMaxTileDepth);
        ids[0] = ids[1];
    });

    EXPECT_NE(std::string::npos, done("diff a.kvf turned.kvf").find("0 of 900 values differ"));
    const Outcome denser = kvf("diff a.kvf denser.kvf");
    EXPECT_EQ(1, denser.status);
    const std::string phrase = "2 of 300 values differ, largest 2.5 at (";
    const std::size_t at = denser.output.find(phrase);
    ASSERT_NE(std::string::npos, at) << denser.output;
    std::istringstream numbers(denser.output.substr(at + phrase.size()));
    for (int axis = 0; axis < 3; ++axis) {
        float number = 0.0f;
        char comma = 0;
        numbers >> number >> comma;
        EXPECT_NEAR(place[axis], number, 1e-6f);
    }
    EXPECT_NE(std::string::npos, denser.output.find(", where 1 meets 3.5, mean 0.01\n"));
    done("diff a.kvf denser.kvf --abs 2.5");
    for (const char* name : {"other.kvf", "twice.kvf"}) {
        const Outcome other = kvf(std::string("diff a.kvf ") + name);
        EXPECT_EQ(1, other.status);
        EXPECT_NE(std::string::npos,
                  other.output.find("1 particles only in the first, 1 only in the second"))
            << other.output;
    }
}

TEST_F(KvfParticles, SliceDrawsDots)
{
    done("scatter cube.obj cube.kvf --count 3000 --voxel-size 0.2");
    done("slice cube.kvf --channel id -o id.png");
    EXPECT_GT(std::filesystem::file_size(folder.file("id.png")), 10000u);
    done("slice cube.kvf --channel velocity --axis x -o v.png");
    EXPECT_EQ(1, kvf("slice cube.kvf --channel id --at 1e7").status);
    EXPECT_EQ(2, kvf("slice cube.kvf --channel id --kind linear").status);
}

}  // namespace Skelvar::Tool::Test
