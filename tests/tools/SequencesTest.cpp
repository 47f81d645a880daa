#include <skelvar/state/VoxelState.h>
#include <skelvar/tree/VoxelLayout.h>
#include <skelvar/voxel/VoxelChannel.h>
#include <skelvar/voxel/VoxelShape.h>

#include <tools/kvf/ShapeFile.h>

#include <tests/tools/KvfFolder.h>
#include <tests/tools/TestMeshes.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <map>

namespace Skelvar::Tool::Test {
namespace {

/// A folder with frames 1, 2, 3, 6 and 7 of a small field, and the program at hand.
class KvfSequence : public KvfFolder {
protected:
    void SetUp() override
    {
        write("f.#.kvf", {});
        for (const int frame : {2, 3, 6, 7}) {
            std::filesystem::copy_file(folder.file("f.0001.kvf"), path("f.#.kvf", frame));
        }
    }

    std::string path(const std::string& in_pattern, int in_frame) const
    {
        return framePath(folder.file(in_pattern), in_frame);
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
        saveShapeFile(*state, folder.file(in_pattern), in_shape, {"density"}, 1, 0);
    }
};

TEST_F(KvfSequence, IsListedWithItsHolesAndDamage)
{
    const std::string good = folder.read("f.0001.kvf");
    folder.write("f.0006.kvf", good.substr(0, good.size() - 20));
    folder.write("f.0007.kvf", "nothing of the kind");
    folder.write("f.0009.kvf", good + "rest");

    const json listing = jsonOf("ls 'f.#.kvf'");
    EXPECT_EQ(json({1, 2, 3, 6, 7, 9}), listing["frames"]);
    EXPECT_EQ(json({4, 5, 8}), listing["missing"]);
    EXPECT_EQ(json({6, 7, 9}), listing["damaged"]);
    EXPECT_EQ(3, listing["last_complete"]);
    EXPECT_EQ(good.size(), listing["files"][0]["bytes"]);

    const json narrow = jsonOf("ls 'f.#.kvf' --frames 0-4x2");
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
    done("diff f.0001.kvf g.0001.kvf --abs 2.5");
    done("diff f.0001.kvf g.0001.kvf --rel 0.72");

    const Outcome frames = kvf("diff 'f.#.kvf' 'f.#.kvf' --jobs 2");
    EXPECT_EQ(0, frames.status);
    EXPECT_NE(std::string::npos, frames.output.find("0 of ")) << frames.output;
    EXPECT_EQ(1, kvf("diff 'f.#.kvf' g.0001.kvf --frames 2-3").status) << "one for all frames";
    write("lone.#.kvf", {});  // frame 1 alone
    const Outcome fewer = kvf("diff 'lone.#.kvf' 'f.#.kvf' --frames 1-2");
    const Outcome more = kvf("diff 'f.#.kvf' 'lone.#.kvf' --frames 1-2");
    EXPECT_EQ("1 1", std::to_string(fewer.status) + " " + std::to_string(more.status));
    EXPECT_EQ(0u, fewer.output.find("frame 2 is only in f.#.kvf\n")) << fewer.output;
    EXPECT_EQ(0u, more.output.find("frame 2 is only in f.#.kvf\n")) << more.output;
    write("nan.#.kvf", {{3, 7, std::numeric_limits<float>::quiet_NaN()}});
    EXPECT_EQ(1, kvf("diff f.0001.kvf nan.0001.kvf --abs 100").status);
    done("diff nan.0001.kvf nan.0001.kvf");
}

TEST_F(KvfSequence, IsWorkedOnInPartsThatLeaveOutWhatIsThere)
{
    write("f.#.kvf", {{3, 62, -1.0f}});  // a surface to render
    for (const int frame : {2, 3, 6, 7}) {
        std::filesystem::copy_file(folder.file("f.0001.kvf"), path("f.#.kvf", frame),
                                   std::filesystem::copy_options::overwrite_existing);
        folder.write("m." + std::to_string(frame) + ".obj", kCubeObj);
    }
    folder.write("m.1.obj", kCubeObj);
    const struct {
        const char* command;
        const char* output;
    } rows[] = {
        {"convert 'f.#.kvf' 'g.#.kvf'", "g.#.kvf"},
        {"slice 'f.#.kvf' --channel density", "f.#.png"},
        {"render 'f.#.kvf' --channel density --size 300x300 -o 'r@@.png'", "r@@.png"},
        {"solve poisson 'f.#.kvf' --rhs density --out u -o 'u.#.kvf'", "u.#.kvf"},
        {"dump 'f.#.kvf' 'f.@.txt'", "f.@.txt"},
        {"voxelize 'm.@.obj' 'v.#.kvf' --voxel-size 0.1", "v.#.kvf"},
        {"scatter 'm.@.obj' 'p.#.kvf' --voxel-size 0.1", "p.#.kvf"},
        {"export 'p.#.kvf' 'p.#.csv'", "p.#.csv"},
    };
    for (const auto& [command, output] : rows) {
        SCOPED_TRACE(command);
        const std::string run = command;
        const Outcome part = kvf(run + " --frames 1-6 --shard 1/2 --jobs 2");
        EXPECT_EQ(0, part.status) << part.error;
        EXPECT_NE(std::string::npos, part.error.find("2 of 6 frames have no file")) << part.error;
        for (const auto& [frame, is_there] :
             std::map<int, bool>{{1, true}, {2, false}, {3, true}, {6, false}, {7, false}}) {
            EXPECT_EQ(is_there, std::filesystem::exists(path(output, frame))) << frame;
        }
        const std::string first = path(output, 1);
        const std::string made = folder.read(std::filesystem::path(first).filename().string());
        std::ofstream(first) << "mine";
        done(run + " --skip-existing --jobs 3");
        EXPECT_EQ("mine", folder.read(std::filesystem::path(first).filename().string()));
        EXPECT_TRUE(std::filesystem::exists(path(output, 7)));
        std::ofstream(first, std::ios::binary) << made;
    }
    EXPECT_EQ(7, jsonOf("info g.0007.kvf")[0]["frame"]);
    EXPECT_EQ("m-volume", jsonOf("info v.0003.kvf")[0]["shape"]["name"]) << "one for all frames";
    EXPECT_EQ(2, kvf("convert 'f.#.kvf' 'g.#.kvf' --frames 2-3").status) << "they are there";
    done("solve poisson 'f.#.kvf' --rhs density --out u --frames 2 --plot 'plot@@.png'");
    EXPECT_TRUE(std::filesystem::exists(folder.file("plot02.png")));
    EXPECT_EQ(2u, jsonOf("info f.0002.kvf")[0]["channels"].size());
    EXPECT_EQ(1u, jsonOf("info f.0003.kvf")[0]["channels"].size());
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_NE(0u, entry.path().filename().string().find(".kvf-")) << entry.path();
    }
}

TEST_F(KvfSequence, IsToldFrameByFrame)
{
    write("f.#.kvf", {{3, 62, 4.0f}});
    folder.write("f.0006.kvf", "nothing of the kind");

    // The middle of tile 3, which begins at (13, -2, -17); a unit of the tree is half one.
    EXPECT_EQ(
        "1,7.75,0.25,-7.25,4\n2,7.75,0.25,-7.25,1\n3,7.75,0.25,-7.25,1\n",
        done("sample 'f.#.kvf' --frames 1-3 --channel density --at 7.75,0.25,-7.25 --jobs 3"));
    EXPECT_EQ("f.0002.kvf: ok\nf.0003.kvf: ok\n", done("check 'f.#.kvf' --frames 2-3 --jobs 3"));
    for (const char* command : {"info", "stats", "tree"}) {
        const Outcome outcome = kvf(command + std::string(" 'f.#.kvf' --json --jobs 2"));
        EXPECT_EQ(3, outcome.status);
        EXPECT_EQ(0u, outcome.error.find("kvf: frame 6: f.0006.kvf")) << outcome.error;
        std::vector<std::string> files;
        for (const json& entry : json::parse(outcome.output)) {
            files.push_back(entry["file"]);
        }
        EXPECT_EQ(
            (std::vector<std::string>{"f.0001.kvf", "f.0002.kvf", "f.0003.kvf", "f.0007.kvf"}),
            files);
    }
}

TEST_F(KvfSequence, ThatMakesNoSenseIsRefusedInOneLine)
{
    write("f.@@.kvf", {}, "smoke");
    std::filesystem::rename(folder.file("f.01.kvf"), folder.file("f.0008.kvf"));
    expectFailures({
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
        {2, "render 'f.#.kvf' --channel density -o r.png", "r.png"},
        {2, "solve poisson 'f.#.kvf' --rhs density --out u --plot p.png", "p.png"},
        {2, "solve poisson f.0001.kvf --rhs density --out u --skip-existing", "-o"},
    });
}

}  // namespace
}  // namespace Skelvar::Tool::Test
