#include <tests/support/ScopedStateServer.h>

#include <skelvar/mesh/Mesh.h>
#include <skelvar/state/BObject.h>
#include <skelvar/state/SkelvarAsciiWriter.h>
#include <skelvar/state/SkelvarModule.h>
#include <skelvar/state/StandaloneHost.h>
#include <skelvar/state/StandaloneStateServer.h>
#include <skelvar/state/ToHumanUnits.h>
#include <skelvar/state/VoxelStateSMPMaps.h>

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <thread>

namespace Skelvar {
namespace {

using Test::RainScene;
using Test::ScopedStateServer;

std::string dumpOf(const VoxelState& in_server, int in_detail)
{
    std::ostringstream text;
    in_server.dump(text, 1, in_detail);
    return text.str();
}

int countOf(const std::string& in_part, const std::string& in_text)
{
    int count = 0;
    for (std::size_t at = 0; (at = in_text.find(in_part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

TEST(ToHumanUnits, StepsByPowersOf1024)
{
    EXPECT_EQ("0 bytes", toHumanUnits(0));
    EXPECT_EQ("1023 bytes", toHumanUnits(1023));
    EXPECT_EQ("1 KB", toHumanUnits(1024));
    EXPECT_EQ("1.5 MB", toHumanUnits(3ull << 19));
    EXPECT_EQ("1 GB", toHumanUnits(1073741824));
    EXPECT_EQ("2048 TB", toHumanUnits(1ull << 51));
}

TEST(SkelvarAsciiWriter, PrintsOneLineForEachWriteAndForEachByte)
{
    std::ostringstream text;
    SkelvarAsciiWriter writer(text, "> ");

    EXPECT_TRUE(writer.write(1.5f) && writer.write(true) && writer.write("name") &&
                writer.write(vec3i{1, 2, 3}) && writer.writebytes(2, "ab") &&
                writer.write(vec2f{0.5f, 2.0f}) && writer.write(~0ull));
    writer.userdata(7);

    EXPECT_EQ("> 1.5\n> 1\n> name\n> 1 2 3\n> a\n> b\n> 0.5 2\n> 18446744073709551615\n",
              text.str());
    EXPECT_EQ(0ull, writer.userdata());
    EXPECT_EQ(4, writer.version());
    EXPECT_EQ(0, writer.quality());
    text.setstate(std::ios::badbit);
    EXPECT_FALSE(writer.write(1));
}

TEST(Dump, OfAnEmptyServerIsAHeadingAndNoBytes)
{
    ScopedStateServer server;

    EXPECT_EQ("", dumpOf(*server, 0));
    EXPECT_EQ(" VoxelStateSMP contents:\n   Total = 0 bytes/0 bytes\n", dumpOf(*server, 1));
}

TEST(Dump, ShowsItemsWithSizesAndRanges)
{
    RainScene scene;
    scene.server->newVoxelChannel<vec2i>("pair", "rain-volume", eOffsetCentre, vec2i{-1, 2});
    scene.server->updateMesh(std::make_shared<Mesh>("box"));
    scene.density->tile(0, 7)(0, 0, 0) = std::numeric_limits<float>::quiet_NaN();
    scene.density->tile(0, 7)(1, 0, 0) = 7.0f;

    const std::string text = dumpOf(*scene.server, 2);

    for (const char* const part :
         {"BObject: rain (1 shapes)", "Shape: rain-volume (", " voxels)",
          "Layout: rain-volumelayout (dx=0.25", "Channel: rain-volume/density", " tiles, ",
          " [min=0.5], [max=7]", " [min=-1 2], [max=-1 2]", "Mesh: box", " per depth ="}) {
        EXPECT_EQ(1, std::min(1, countOf(part, text))) << part << " is not in\n" << text;
    }
    EXPECT_EQ(0, countOf("ERROR", text)) << text;
}

TEST(Dump, TellsEveryNameThatDoesNotFit)
{
    RainScene scene;
    const auto timesTold = [&](const std::string& in_error) {
        return countOf(in_error, dumpOf(*scene.server, 1));
    };
    scene.object->removeShape("rain-volume");
    EXPECT_EQ(1, timesTold("ERROR - Unreferenced name in m_shapes:rain-volume"));
    scene.object->addShape(scene.shape);
    scene.shape->setObjectName("fog");
    EXPECT_EQ(1, timesTold("ERROR: Shape object name mismatch!"));
    scene.shape->setObject(std::make_shared<BObject>());
    EXPECT_EQ(1, timesTold("ERROR: Shape object mismatch!"));
    scene.shape->setObject(scene.object);
    scene.density->setShapeName("fog");
    EXPECT_EQ(1, timesTold("ERROR: Channel shape name mismatch!"));
    scene.shape->setName("fog");
    EXPECT_EQ(1, timesTold("ERROR: Unregistered name in m_shapes"));
    EXPECT_EQ(1, timesTold("ERROR: Unregistered name in m_names"));
    scene.shape->setName("rain-volume");
    scene.layout->setName("rain");
    EXPECT_EQ(1, timesTold("ERROR: Unregistered name in m_layouts"));
    scene.layout->setName("rain-volumelayout");
    scene.object->updateShape(std::make_shared<VoxelShape>("rain-volume"));
    EXPECT_EQ(1, timesTold("ERROR: Registration mismatch inm_shapes"));
    scene.object->setName("fog");
    EXPECT_EQ(1, timesTold("ERROR: BObject name mismatch!"));
}

TEST(MemoryUsage, CountsLayoutsChannelsAndMeshesAlsoThroughTheCallback)
{
    RainScene scene;
    const auto mesh = std::make_shared<Mesh>("box");
    mesh->vertices().resize(10);
    scene.server->updateMesh(mesh);
    const unsigned long long arg = scene.server.id() | 5ull << 32;
    std::string text = "x";

    EXPECT_EQ(scene.layout->memUsage(MemUsage::eMemUsed, true) +
                  scene.density->memUsage(MemUsage::eMemUsed, true) +
                  static_cast<unsigned long long>(mesh->memUsage(MemUsage::eMemUsed)),
              scene.server->totalMemUsage(MemUsage::eMemUsed));
    skelvar_memoryUsageCB(&arg, &text);
    EXPECT_EQ(std::to_string(scene.server->totalMemUsage(MemUsage::eMemAllocated)), text);
    skelvar_dumpStateServerCB(&arg, &text);
    EXPECT_EQ(0u, text.find("VoxelStateSMP contents:\n")) << text;
}

unsigned int serverOfThread()
{
    unsigned int id = 0;
    void** const table = orvel::runtime::GetLocalServiceTable();
    const auto* const parameters = static_cast<const orvel::compute::EvaluationParameters*>(
        table[orvel::runtime::kEvaluationParametersEntry]);
    EXPECT_TRUE(parameters->getGlobal("G.__stateserver__", &id, orvel::compute::wrapIn<unsigned>,
                                      orvel::compute::wrapCopy<unsigned>));
    return id;
}

TEST(StandaloneStateServer, IsOneForAThreadAndGoesWithIt)
{
    StateServerManager& manager = StateServerManager::instance();
    const auto server = StandaloneStateServer::getStateServer(StateServerManager::invalidId);
    const unsigned int id = server->getId();
    unsigned int other = id;
    std::thread([&] {
        EXPECT_FALSE(StandaloneStateServer::exists());
        other = StandaloneStateServer::getStateServer(StateServerManager::invalidId)->getId();
        EXPECT_EQ(other, serverOfThread());
    }).join();

    EXPECT_EQ(server, StandaloneStateServer::getStateServer(other)) << "the first call decides";
    EXPECT_EQ(id, serverOfThread());
    EXPECT_NE(id, other);
    EXPECT_EQ(nullptr, manager.getStateServer(other));
    StandaloneStateServer::kill();
    EXPECT_EQ(nullptr, manager.getStateServer(id));
    EXPECT_EQ(nullptr, orvel::runtime::GetLocalServiceTable());
}

TEST(StandaloneStateServer, LeavesABorrowedServerInTheRegistry)
{
    ScopedStateServer server;

    EXPECT_EQ(server.id(), StandaloneStateServer::getStateServer(server.id())->getId());
    StandaloneStateServer::kill();

    EXPECT_NE(nullptr, StateServerManager::instance().getStateServer(server.id()));
    EXPECT_EQ(nullptr, StandaloneStateServer::getStateServer(StateServerManager::invalidId - 1));
    StandaloneStateServer::kill();
}

TEST(StandaloneHost, GivesAThreadItsServerItsGlobalsAndItsFrameForAScope)
{
    unsigned int id = 0;
    {
        StandaloneHost host;
        id = host.server()->getId();
        host.setGlobal("G.__dt__", 0.5f);
        {
            const auto bound = host.bind();
            StandaloneHost::setFrame(12);
            EXPECT_EQ(id, serverOfThread());
            EXPECT_EQ(12, orvel::runtime::GetCurrentFrame());
        }
        float dt = 0.0f;
        EXPECT_TRUE(host.global("G.__dt__", dt));
        EXPECT_EQ(0.5f, dt);
        EXPECT_EQ(nullptr, orvel::runtime::GetLocalServiceTable());
    }
    EXPECT_EQ(nullptr, StateServerManager::instance().getStateServer(id));
}

}  // namespace
}  // namespace Skelvar
