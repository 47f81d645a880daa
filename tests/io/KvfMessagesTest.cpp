#include <tests/io/Scene.h>
#include <tests/io/SlowFile.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfFormat.h>
#include <skelvar/state/BObject.h>
#include <skelvar/voxel/VoxelShape.h>

namespace Skelvar {
namespace {

using namespace Test;

/// What the act writes on standard output.
template <typename Act>
std::string outputOf(const Act& in_act)
{
    testing::internal::CaptureStdout();
    in_act();
    return testing::internal::GetCapturedStdout();
}

bool saveChannels(const Scene& in_scene, const std::string& in_path,
                  const std::vector<std::string>& in_channels)
{
    std::string resolved;
    return kvfSave(in_scene.state(), in_path, "volume", in_channels, 0, eQualityPlain, resolved);
}

TEST(KvfSaveMessages, TellOfEachMissingChannelAndKeepTheFile)
{
    const TempFolder folder;
    Scene scene;
    scene.add<float>("density");

    EXPECT_EQ(
        "[KVF error] - Channel <none> doesn't exist in component <volume> and cannot be "
        "saved.\n\n",
        outputOf([&] {
            EXPECT_TRUE(saveChannels(scene, folder.file("a.kvf"), {"none", "density"}));
        }));

    // The count stays as asked, one too high.
    const std::string bytes = readFile(folder.file("a.kvf"));
    EXPECT_EQ(2, bytes[12 + (4 + 6) + (4 + 10) + (4 + 4) + (4 + 4) + 3]);
}

TEST(KvfSaveMessages, LeaveNoFileIfEveryChannelIsMissing)
{
    const TempFolder folder;
    const Scene scene;

    outputOf([&] { EXPECT_FALSE(saveChannels(scene, folder.file("a.kvf"), {"x", "y"})); });

    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(folder.file("a.kvf") + ": shape \"volume\" has none of the channels to be saved",
              kvfLastError());
}

TEST(KvfSaveMessages, SayNothingOfAMissingShape)
{
    const TempFolder folder;
    const Scene scene;
    std::string resolved;

    EXPECT_EQ("", outputOf([&] {
                  EXPECT_FALSE(kvfSave(scene.state(), folder.file("a.#.kvf"), "none", {}, 3,
                                       eQualityPlain, resolved));
              }));

    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(folder.file("a.0003.kvf"), resolved);
    EXPECT_EQ(resolved + ": there is no shape \"none\" to be saved", kvfLastError());
}

TEST(KvfLoadMessages, AShapeWhoseNameCannotBeComparedLeavesItsObjectAlone)
{
    const TempFolder folder;
    const auto source = newState();
    const auto target = newState();
    std::string object_name = "o";
    std::shared_ptr<VoxelShape> shape;
    std::string resolved;
    source->newObject(object_name);
    source->newVoxelLayout("tree", 1.0f);
    ASSERT_EQ(kVoxelStateOk, source->newVoxelShape("o-w1", "tree", &object_name, shape));
    ASSERT_TRUE(kvfSave(*source, folder.file("a.kvf"), "o-w1", {}, 0, eQualityPlain, resolved));
    target->newObject(object_name);
    ASSERT_EQ(kVoxelStateOk, target->newVoxelLayout("o-w99999999999", 1.0f));

    outputOf([&] { EXPECT_FALSE(kvfLoad(*target, folder.file("a.kvf"))); });

    std::shared_ptr<BObject> object;
    ASSERT_EQ(kVoxelStateOk, target->objectRef("o", object));
    EXPECT_FALSE(object->hasShape("o-w1"));
}

TEST(KvfLoadMessages, TellWhatCannotBeOpened)
{
    const TempFolder folder;
    const auto state = newState();
    const std::string path = folder.file("none.kvf");

    EXPECT_EQ("[KVF error] - " + path + " (Part of path doesn't exist)\n",
              outputOf([&] { EXPECT_FALSE(kvfLoad(*state, path)); }));
    EXPECT_EQ("[KVF error] - Failed to open file for reading:" + folder.path() + "\n",
              outputOf([&] { EXPECT_FALSE(kvfLoad(*state, folder.path())); }));
    EXPECT_EQ(folder.path() + ": cannot be opened for reading: Is a directory", kvfLastError());
}

TEST(KvfLoadMessages, TellWhatCannotBeMade)
{
    const TempFolder folder;
    Scene scene;
    scene.add<float>("density");
    scene.add<int>("tag");
    ASSERT_TRUE(scene.save(folder.file("good.kvf")));
    const SlowFile good = SlowFile::read(readFile(folder.file("good.kvf")));
    const std::string path = folder.file("a.kvf");
    const struct {
        void (*change)(SlowFile&);
        const char* error;
    } rows[] = {
        {[](SlowFile& io_file) { io_file.shape_type = "Cloud"; },
         "Shape creation error [Cloud] for shape [volume]"},
        {[](SlowFile& io_file) { io_file.records[1].creation_kind = 2; },
         "Channel creation error [VoxelChannel<int32_t>] for channel [tag]"},
        {[](SlowFile& io_file) { io_file.records[0].type = "VoxelChannel<bool>"; },
         "Channel creation error [VoxelChannel<bool>] for channel [density]"},
        {[](SlowFile& io_file) { io_file.records[1].name = "density"; },  // a second time
         "Channel creation error [VoxelChannel<int32_t>] for channel [density]"},
    };
    for (const auto& row : rows) {
        SlowFile file = good;
        row.change(file);
        writeFile(path, file.write(3));
        const auto state = newState();
        EXPECT_EQ("[KVF error] - " + std::string(row.error) + "\n",
                  outputOf([&] { EXPECT_FALSE(kvfLoad(*state, path)); }));
    }
}

TEST(KvfLastError, TellsTheChunkThatIsDamaged)
{
    const TempFolder folder;
    Scene scene(500);
    scene.add<float>("density");
    ASSERT_TRUE(scene.save(folder.file("a.kvf")));
    std::vector<KvfChannelSize> sizes;
    ASSERT_TRUE(kvfChannelSizes(folder.file("a.kvf"), sizes));
    ASSERT_EQ(1u, sizes[0].chunks);
    std::string bytes = readFile(folder.file("a.kvf"));
    const std::string path = folder.file("b.kvf");
    const unsigned long long chunk = sizes[0].offset + 16;
    const auto compressed = sizes[0].diskBytes - 32;
    const auto state = newState();

    std::string damaged = bytes;
    damaged.replace(chunk + 8, 8, number(compressed + 1, 8));
    writeFile(path, damaged);
    EXPECT_FALSE(kvfLoad(*state, path));
    EXPECT_EQ(path + ": at byte " + std::to_string(chunk) +
                  ": (channel \"density\", chunk 0): compressed size " +
                  std::to_string(compressed + 1) + " exceeds the " + std::to_string(compressed) +
                  " bytes left",
              kvfLastError());

    damaged = bytes;
    damaged[bytes.size() - 1] ^= 1;  // the stream's check sum
    writeFile(path, damaged);
    state->clear();
    EXPECT_FALSE(kvfLoad(*state, path));
    EXPECT_EQ(path + ": at byte " + std::to_string(chunk + 16) +
                  ": (channel \"density\", chunk 0): its " + std::to_string(compressed) +
                  " compressed bytes do not inflate to " + std::to_string(sizes[0].memoryBytes) +
                  " bytes",
              kvfLastError());

    writeFile(path, "not such a file");
    EXPECT_FALSE(kvfLoad(*state, path));
    EXPECT_EQ(path + ": at byte 0: this is no KVF file: the first word is not bbeeeeff",
              kvfLastError());
}

}  // namespace
}  // namespace Skelvar
