#include <skelvar/mesh/Mesh.h>

#include <gtest/gtest.h>

#include <string>

namespace Skelvar {
namespace {

std::string meshHash(const Mesh& in_mesh)
{
    Mesh::MeshHash hash;
    in_mesh.getMeshHash(hash);
    return std::to_string(hash.words[0]) + " " + std::to_string(hash.words[1]);
}

/// Worked out apart from this library, by a MurmurHash3_x64_128 that has its published check value.
TEST(MeshHash, FollowsItsDefinition)
{
    Mesh mesh("wall");
    EXPECT_EQ("696843724201061692 3799208396478913328", meshHash(mesh));

    mesh.vertices().push_back({1, 2, 3});
    mesh.triangles().push_back({0, 0, 0});
    mesh.velocities().push_back({4, 5, 6});
    mesh.addChannelEntry<Mesh::Channel<float>>("heat", 1)->values().push_back(0.5f);
    mesh.addChannelEntry<Mesh::Channel<int>>("part", 1)->values().push_back(7);
    mesh.addChannelEntry<Mesh::Channel<vec3f>>("normal", 1)->values().push_back({0, 0, 1});
    mesh.addChannelEntry<Mesh::Channel<vec3i>>("cell", 1)->values().push_back({1, 2, 3});
    mesh.addChannelEntry<Mesh::Channel<vec2f>>("uv", 1)->values().push_back({1, 2});
    EXPECT_EQ("2545117632571512177 2270786069865635083", meshHash(mesh));
}

TEST(MeshHash, SeesContentsAndNotTheRest)
{
    Mesh mesh("wall");
    mesh.vertices().push_back({1, 2, 3});
    mesh.addChannelEntry<Mesh::Channel<vec2f>>("uv", 1)->values().push_back({1, 2});
    const std::string before = meshHash(mesh);

    mesh.findChannelEntry<Mesh::Channel<vec2f>>("uv")->values()[0] = {3, 4};
    mesh.transforms().resize(2);
    mesh.setIsStaticMesh(true);
    EXPECT_EQ(before, meshHash(mesh));

    mesh.setName("floor");
    EXPECT_NE(before, meshHash(mesh));
    mesh.setName("wall");
    mesh.vertices()[0][2] = 4;
    EXPECT_NE(before, meshHash(mesh));
    mesh.vertices()[0][2] = 3;
    mesh.removeChannel("uv");
    EXPECT_NE(before, meshHash(mesh));
}

TEST(MeshHash, IsOrderedByItsFirstWord)
{
    EXPECT_TRUE((Mesh::MeshHash{{1, 9}} < Mesh::MeshHash{{2, 0}}));
    EXPECT_TRUE((Mesh::MeshHash{{1, 3}} < Mesh::MeshHash{{1, 4}}));
    EXPECT_FALSE((Mesh::MeshHash{{2, 0}} < Mesh::MeshHash{{1, 9}}));
}

}  // namespace
}  // namespace Skelvar
