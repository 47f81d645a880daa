#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ShapeFile.h>

#include <tests/tools/RunProgram.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace Skelvar::Tool::Test {
namespace {

using nlohmann::json;

/// A folder with frames 1, 2, 3, 6 and 7 of a small field, and the program at hand.
class KvfSequence : public ::testing::Test {
protected:
    void SetUp() override
    {
        write("f.#.kvf", {});
        for (const int frame : {2, 3, 6, 7}) {
            std::filesystem::copy_file(folder.path("f.0001.kvf"), path("f.#.kvf", frame));
        }
    }

    std::string path(const std::string& in_pattern, int in_frame) const
    {
        return framePath(folder.path(in_pattern), in_frame);
    }

    Outcome kvf(const std::string& in_arguments) const
    {
        return runProgram(folder, std::string("'") + KVF_PROGRAM + "' " + in_arguments);
    }

    struct Change {
        int tile = 0;
        int cell = 0;
        float value = 0.0f;
    };

    /// Saves frame 1 of a field with some values changed.
    void write(const std::string& in_pattern, const std::vector<Change>& in_changes,
               const std::string& in_shape = "volume") const
    {
        const auto state = makeServer();
        std::string object = "ball";
        std::shared_ptr<VoxelShape> shape;
        std::shared_ptr<VoxelLayout> layout;
        state->newObject(object);
        state->newVoxelLayout("tree", 0.5f);
        state->voxelLayout("tree", layout, VoxelState::eHintDoNotCopy);
        for (int n = 0; n < 30; ++n) {
            layout->addNode(5 * n - 2, -2, -5 * n - 2, n < 25 ? 7 : 6);
        }
        state->newVoxelShape(in_shape, "tree", &object, shape);
        std::shared_ptr<TreeChannel3DBase> made;
        state->newChannel("VoxelChannel<float>", "density", in_shape, made);
        auto& density = static_cast<VoxelChannel<float>&>(*made);
        density.set(1.0f, 0, 7);
        for (const Change& change : in_changes) {
            density.tile(change.tile, 7).data()[change.cell] = change.value;
        }
        saveShapeFile(*state, folder.path(in_pattern), in_shape, {"density"}, 1, 0);
    }

    TemporaryFolder folder;
};

TEST_F(KvfSequence, IsListedWithItsHolesAndDamage)
{
    const std::string good = folder.read("f.0001.kvf");
    folder.write("f.0006.kvf", good.substr(0, good.size() - 20));
    folder.write("f.0007.kvf", "nothing of the kind");
    folder.write("f.0009.kvf", good + "rest");

    const json listing = json::parse(kvf("ls 'f.#.kvf' --json").output);
    EXPECT_EQ(json({1, 2, 3, 6, 7, 9}), listing["frames"]);
    EXPECT_EQ(json({4, 5, 8}), listing["missing"]);
    EXPECT_EQ(json({6, 7, 9}), listing["damaged"]);
    EXPECT_EQ(3, listing["last_complete"]);
    EXPECT_EQ(good.size(), listing["files"][0]["bytes"]);

    const json narrow = json::parse(kvf("ls 'f.#.kvf' --frames 0-4x2 --json").output);
    EXPECT_EQ(json::array({2}), narrow["frames"]);
    EXPECT_EQ(json({0, 4}), narrow["missing"]);

    const std::string text = kvf("ls 'f.#.kvf'").output;
    EXPECT_NE(std::string::npos, text.find("3 damaged, 3 missing: 4-5, 8\n")) << text;
    EXPECT_NE(std::string::npos, text.find("last complete frame: 3\n")) << text;
}

TEST_F(KvfSequence, DiffFindsAPlantedDifferenceAtItsPlace)
{
    write("g.#.kvf", {{3, 1 + 5 * 2 + 25 * 4, 3.5f}, {4, 0, 1.5f}});

    const Outcome outcome = kvf("diff f.0001.kvf g.0001.kvf");
    EXPECT_EQ(1, outcome.status) << outcome.error;
    // Tile 3 begins at (13, -2, -17); the middle of its cell (1, 2, 4) lies 1.5, 2.5, 4.5 further.
    EXPECT_NE(std::string::npos, outcome.output.find("2 of ")) << outcome.output;
    EXPECT_NE(std::string::npos,
              outcome.output.find("largest 2.5 at (7.25, 0.25, -6.25), depth 7, where 1 meets 3.5"))
        << outcome.output;
    EXPECT_EQ(1, kvf("diff f.0001.kvf g.0001.kvf --abs 2.4").status);
    EXPECT_EQ(0, kvf("diff f.0001.kvf g.0001.kvf --abs 2.5").status);
    EXPECT_EQ(0, kvf("diff f.0001.kvf g.0001.kvf --rel 0.72").status);

    const Outcome frames = kvf("diff 'f.#.kvf' 'f.#.kvf' --jobs 2");
    EXPECT_EQ(0, frames.status);
    EXPECT_NE(std::string::npos, frames.output.find("0 of ")) << frames.output;
    write("nan.#.kvf", {{3, 7, std::numeric_limits<float>::quiet_NaN()}});
    EXPECT_EQ(1, kvf("diff f.0001.kvf nan.0001.kvf --abs 100").status);
    EXPECT_EQ(0, kvf("diff nan.0001.kvf nan.0001.kvf").status);
}

TEST_F(KvfSequence, IsConvertedInPartsThatLeaveOutWhatIsThere)
{
    const Outcome first = kvf("convert 'f.#.kvf' 'g.@@.kvf' --frames 1-6 --shard 1/2 --jobs 2");
    EXPECT_EQ(0, first.status);
    EXPECT_NE(std::string::npos, first.error.find("2 of 6 frames have no file")) << first.error;
    EXPECT_TRUE(std::filesystem::exists(folder.path("g.01.kvf")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("g.03.kvf")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("g.02.kvf")));

    folder.write("g.01.kvf", "mine");
    EXPECT_EQ(0, kvf("convert 'f.#.kvf' 'g.@@.kvf' --skip-existing").status);
    EXPECT_EQ("mine", folder.read("g.01.kvf"));
    EXPECT_EQ(7, json::parse(kvf("info --json g.07.kvf").output)[0]["frame"]);
    EXPECT_EQ(2, kvf("convert 'f.#.kvf' 'g.@@.kvf' --frames 2-3").status) << "they are there";
    EXPECT_EQ("f.0002.kvf: ok\nf.0003.kvf: ok\n",
              kvf("check 'f.#.kvf' --frames 2-3 --jobs 3").output);
}

TEST_F(KvfSequence, ThatMakesNoSenseIsRefusedInOneLine)
{
    write("f.@@.kvf", {}, "smoke");
    std::filesystem::rename(folder.path("f.01.kvf"), folder.path("f.0008.kvf"));
    const struct {
        int status;
        const char* arguments;
        const char* word;
    } rows[] = {
        {3, "ls 'none.#.kvf'", "none.#.kvf"},
        {3, "ls 'absent/f.#.kvf'", "absent/"},
        {2, "ls f.0001.kvf", "#"},
        {3, "ls 'f.#.kvf' --frames 10-20", "6 frames from 1 to 8"},
        {3, "check 'f.#.kvf' --frames 10-20", "10-20"},
        {2, "check 'f.#.kvf' --frames 20-10", "backwards"},
        {2, "check 'f.#.kvf' --shard 3/2", "3/2"},
        {2, "check f.0001.kvf --frames 1-2", "name.#.kvf"},
        {2, "convert 'f.#.kvf' g.kvf", "g.kvf"},
        {1, "convert 'f.#.kvf' 'g.#.kvf'", "frame 8 holds VoxelShape smoke"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = kvf(row.arguments);
        EXPECT_EQ(row.status, outcome.status) << row.arguments;
        EXPECT_EQ("", outcome.output);
        EXPECT_EQ(1, std::count(outcome.error.begin(), outcome.error.end(), '\n')) << outcome.error;
        EXPECT_NE(std::string::npos, outcome.error.find(row.word)) << outcome.error;
    }
}

}  // namespace
}  // namespace Skelvar::Tool::Test
