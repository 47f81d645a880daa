#include <tests/io/Scene.h>
#include <tests/support/TempFolder.h>

#include <skelvar/io/KvfDump.h>
#include <skelvar/state/StandaloneStateServer.h>

#include <gtest/gtest.h>

#include <orvel/Runtime.h>

#include <filesystem>

namespace Skelvar {
namespace {

using namespace Test;

class Dump : public ::testing::Test {
protected:
    Dump() : m_file(m_folder.file("a.kvf")), m_text(m_folder.file("new/folder/a.txt"))
    {
        m_scene.add<float>("density");
        m_scene.save(m_file);
    }
    std::string dump(bool in_verbose) const
    {
        EXPECT_TRUE(kvfDump(m_file, m_text, in_verbose)) << kvfLastError();
        return readFile(m_text);
    }

    TempFolder m_folder;
    Scene m_scene;
    std::string m_file;
    std::string m_text;
};

TEST_F(Dump, NamesWhatTheFileHoldsTheSameEachTime)
{
    const std::string first = dump(false);
    const std::string verbose = dump(true);

    EXPECT_EQ(0u, first.find("VoxelStateSMP contents:\n")) << first;
    EXPECT_NE(std::string::npos, first.find("Channel: density")) << first;
    EXPECT_EQ(std::string::npos, first.find("ERROR")) << first;
    EXPECT_EQ(std::string::npos, first.find("per depth"));
    EXPECT_NE(std::string::npos, verbose.find(" per depth = 0 0 0 0 0 "));
    EXPECT_EQ(first, dump(false));
    EXPECT_FALSE(StandaloneStateServer::exists());
}

TEST_F(Dump, LeavesTheServerAndTheServiceTableOfTheThreadAlone)
{
    void* table[orvel::runtime::kServiceTableSize] = {};
    const orvel::runtime::ServiceTableScope scope(table);
    dump(false);
    EXPECT_EQ(table, orvel::runtime::GetLocalServiceTable());

    const auto own = StandaloneStateServer::getStateServer(StateServerManager::invalidId);
    dump(false);
    std::vector<std::string> shapes;
    own->shapes(shapes);
    EXPECT_TRUE(shapes.empty());
    EXPECT_EQ(own, StandaloneStateServer::getStateServer(StateServerManager::invalidId));
    StandaloneStateServer::kill();
}

TEST_F(Dump, ShowsWhatCouldBeLoadedOfADamagedFile)
{
    const std::string bytes = readFile(m_file);
    writeFile(m_file, bytes.substr(0, bytes.size() - 5));

    const std::string text = dump(false);

    EXPECT_NE(std::string::npos, text.find("Shape: volume (375 voxels)")) << text;
}

TEST_F(Dump, FailsWithoutAFolderAFileOrAKnownVersion)
{
    const std::string bytes = readFile(m_file);
    EXPECT_FALSE(kvfDump(m_file, "bare.txt", false));
    EXPECT_FALSE(kvfDump(m_folder.file("absent.kvf"), m_text, false));
    writeFile(m_file, bytes.substr(0, 4) + std::string({0, 0, 0, 9}) + bytes.substr(8));
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(kvfDump(m_file, m_text, false));
    EXPECT_EQ("[KVF error] - File version 9 is not supported\n",
              ::testing::internal::GetCapturedStdout());
    writeFile(m_file, bytes.substr(0, 20));
    EXPECT_FALSE(kvfDump(m_file, m_text, false));
    EXPECT_FALSE(StandaloneStateServer::exists());
    EXPECT_FALSE(std::filesystem::exists(m_text));
}

}  // namespace
}  // namespace Skelvar
