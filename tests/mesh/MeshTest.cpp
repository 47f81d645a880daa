#include <skelvar/mesh/Mesh.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Skelvar {
namespace {

/// One triangle with a velocity and a channel of each type.
std::shared_ptr<Mesh> makeMesh()
{
    auto mesh = std::make_shared<Mesh>("wall");
    mesh->vertices().resize(3);
    mesh->vertices()[0] = {0, 0, 0};
    mesh->vertices()[1] = {1, 0, 0};
    mesh->vertices()[2] = {0, 1, 0};
    mesh->triangles().push_back({0, 1, 2});
    mesh->velocities().push_back({0, 0, 5});
    mesh->transforms().push_back(mat4f());
    mesh->addChannelEntry<Mesh::Channel<float>>("heat", 3)->values().push_back(0.5f);
    mesh->addChannelEntry<Mesh::Channel<int>>("patch", 4)->values().push_back(7);
    mesh->addChannelEntry<Mesh::Channel<vec2f>>("uv", 5)->values().push_back({1, 2});
    mesh->addChannelEntry<Mesh::Channel<vec3f>>("normal", 6)->values().push_back({0, 0, 1});
    mesh->addChannelEntry<Mesh::Channel<vec3i>>("cell", 7)->values().push_back({1, 2, 3});
    return mesh;
}

TEST(Mesh, TopologyIsCountsAndTriangles)
{
    const auto a = makeMesh();
    const auto b = makeMesh();
    EXPECT_TRUE(Mesh().hasMatchingTopology(Mesh()));

    b->vertices()[1] = {9, 9, 9};
    EXPECT_TRUE(a->hasMatchingTopology(*b));
    b->triangles()[0][2] = 1;
    EXPECT_FALSE(a->hasMatchingTopology(*b));
    b->triangles()[0][2] = 2;
    b->vertices().push_back({0, 0, 0});
    EXPECT_FALSE(a->hasMatchingTopology(*b));
}

TEST(Mesh, GivesBackAChannelOfTheSameClassOnly)
{
    const auto mesh = makeMesh();

    Mesh::Channel<float>* const heat = mesh->findChannelEntry<Mesh::Channel<float>>("heat");
    ASSERT_NE(nullptr, heat);
    EXPECT_EQ(heat, mesh->addChannelEntry<Mesh::Channel<float>>("heat", 99));
    EXPECT_EQ(3u, heat->type());
    EXPECT_EQ(nullptr, mesh->addChannelEntry<Mesh::Channel<int>>("heat", 3));
    EXPECT_EQ(nullptr, mesh->findChannelEntry<Mesh::Channel<vec3f>>("heat"));
    EXPECT_EQ(nullptr, mesh->findChannelEntry<Mesh::Channel<vec3f>>("none"));
    EXPECT_EQ(5u, mesh->channelCount());
}

TEST(Mesh, TellsItsChannelsInTheOrderOfTheirNames)
{
    const auto mesh = makeMesh();
    const char* const rows[] = {"cell 7 103", "heat 3 102", "normal 6 101", "patch 4 104",
                                "uv 5 105"};
    std::string name;
    unsigned int type = 0;
    unsigned int data_type = 0;

    for (unsigned long index = 0; index < 5; ++index) {
        EXPECT_TRUE(mesh->channelInfo(index, name, type, data_type));
        EXPECT_EQ(rows[index], name + " " + std::to_string(type) + " " + std::to_string(data_type));
    }
    EXPECT_FALSE(mesh->channelInfo(5, name, type, data_type));
    EXPECT_TRUE(mesh->removeChannel("uv"));
    EXPECT_FALSE(mesh->removeChannel("uv"));
}

TEST(Mesh, CopyIsDeepAndWhole)
{
    const auto mesh = makeMesh();
    mesh->setIsStaticMesh(true);
    mesh->setIsEnabled(false);
    mesh->setVelocitiesDefined(true);
    Mesh::MeshHash before;
    mesh->getMeshHash(before);

    const auto copy = mesh->copy();
    mesh->vertices()[0] = {5, 5, 5};
    mesh->findChannelEntry<Mesh::Channel<int>>("patch")->values()[0] = 8;
    mesh->findChannelEntry<Mesh::Channel<vec2f>>("uv")->values().clear();

    Mesh::MeshHash after;
    copy->getMeshHash(after);
    EXPECT_TRUE(before == after);
    EXPECT_EQ(1, copy->findChannelEntry<Mesh::Channel<vec2f>>("uv")->values().size());
    EXPECT_EQ(5u, copy->findChannelEntry<Mesh::Channel<vec2f>>("uv")->type());
    EXPECT_EQ(1, copy->transforms().size());
    EXPECT_TRUE(copy->isStaticMesh());
    EXPECT_FALSE(copy->isEnabled());
    EXPECT_TRUE(copy->hasEnableTransitioned());
    EXPECT_TRUE(copy->hasDefinedVelocities());
}

TEST(Mesh, CountsArraysAndChannelsButNoTransforms)
{
    Mesh mesh;
    mesh.vertices().reserve(10);
    mesh.vertices().resize(2);
    mesh.triangles().push_back({0, 0, 1});
    mesh.transforms().resize(100);
    mesh.addChannelEntry<Mesh::Channel<float>>("heat", 1)->values().resize(6);

    EXPECT_EQ(3 * 12 + 176 + 24, mesh.memUsage(MemUsage::eMemUsed));
    EXPECT_EQ(11 * 12 + 176 + 24, mesh.memUsage(MemUsage::eMemAllocated));
}

}  // namespace
}  // namespace Skelvar
