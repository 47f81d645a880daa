#include <tests/io/Scene.h>
#include <tests/io/SlowFile.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfFormat.h>

namespace Skelvar {
namespace {

using namespace Test;

/// What a file of the current version says, for writing it in the form of older ones.
SlowFile describe(const Scene& in_scene, const TempFolder& in_folder)
{
    EXPECT_TRUE(in_scene.save(in_folder.file("current.kvf"), eQualityPlain, 3));
    return SlowFile::read(readFile(in_folder.file("current.kvf")));
}

class OldVersion : public ::testing::TestWithParam<int> {
protected:
    OldVersion() : m_scene(120)
    {
        m_scene.add<float>("density", 1);
        m_scene.add<vec3f>("velocity", 2);
        m_scene.add<long long>("id", 3);
        m_file = describe(m_scene, m_folder);
    }
    /// Writes the scene in the form of the version and gives the path.
    std::string write()
    {
        const std::string path = m_folder.file("old.kvf");
        writeFile(path, m_file.write(static_cast<unsigned>(GetParam())));
        return path;
    }

    TempFolder m_folder;
    Scene m_scene;
    SlowFile m_file;
};
INSTANTIATE_TEST_SUITE_P(KvfFile, OldVersion, ::testing::Values(1, 2, 3));

TEST_P(OldVersion, IsLoaded)
{
    const auto loaded = newState();

    ASSERT_TRUE(kvfLoad(*loaded, write())) << kvfLastError();

    const auto density = Scene::channelOf<float>(*loaded, "density");
    EXPECT_TRUE(sameTiles(*Scene::channelOf<float>(m_scene.state(), "density"), *density));
    EXPECT_TRUE(sameTiles(*Scene::channelOf<vec3f>(m_scene.state(), "velocity"),
                          *Scene::channelOf<vec3f>(*loaded, "velocity")));
    EXPECT_TRUE(sameTiles(*Scene::channelOf<long long>(m_scene.state(), "id"),
                          *Scene::channelOf<long long>(*loaded, "id")));
    EXPECT_EQ(GetParam() >= 3 ? "role of density" : "", density->customType());
    EXPECT_EQ("", density->tagText());
    EXPECT_EQ(GetParam() >= 3 ? 1 : 0, density->creationKind());
    std::vector<std::string> keys;
    loaded->channels(keys);
    EXPECT_EQ(GetParam() >= 3 ? "volume.density" : "density", keys.front());
}

TEST_P(OldVersion, TellsTheSizesOfItsChannels)
{
    const std::string path = write();
    std::vector<KvfChannelSize> sizes;

    ASSERT_TRUE(kvfChannelSizes(path, sizes)) << kvfLastError();

    ASSERT_EQ(3u, sizes.size());
    EXPECT_EQ(GetParam() == 1 ? 0u : 1u, sizes[2].chunks);
    const auto bytes = Slow::writeChannel(m_file.channels[2], static_cast<unsigned>(GetParam()));
    EXPECT_EQ(bytes.size(), sizes[2].memoryBytes);
    EXPECT_EQ(std::filesystem::file_size(path), sizes[2].offset + sizes[2].diskBytes);
}

TEST(KvfFile, OfAnUnknownVersionIsRefusedAfterItsHeader)
{
    const TempFolder folder;
    Scene scene;
    scene.add<float>("density");
    const SlowFile file = describe(scene, folder);
    for (const unsigned version : {0u, 5u, 77u}) {
        const std::string path = folder.file("a.kvf");
        writeFile(path, file.write(version));
        const auto state = newState();
        KVFInfo info{};
        EXPECT_TRUE(kvfInfo(path, info));
        EXPECT_EQ(version, info.version);

        testing::internal::CaptureStdout();
        EXPECT_FALSE(kvfLoad(*state, path));
        EXPECT_EQ("[KVF error] - File version " + std::to_string(version) + " is not supported\n",
                  testing::internal::GetCapturedStdout());
    }
}

}  // namespace
}  // namespace Skelvar
