#include <skelvar/mesh/Mesh.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

using Word = unsigned long long;

Word mix(Word in_word)
{
    in_word = (in_word ^ (in_word >> 33)) * 0xff51afd7ed558ccdull;
    in_word = (in_word ^ (in_word >> 33)) * 0xc4ceb9fe1a85ec53ull;
    return in_word ^ (in_word >> 33);
}

/// MurmurHash3_x64_128, written out step by step: 16 bytes, two little-endian words.
std::string slowMurmur(const std::string& in_bytes, unsigned int in_seed)
{
    const Word c1 = 0x87c37b91114253d5ull;
    const Word c2 = 0x4cf5ad432745937full;
    const auto scramble1 = [&](Word in_word) { return std::rotl(in_word * c1, 31) * c2; };
    const auto scramble2 = [&](Word in_word) { return std::rotl(in_word * c2, 33) * c1; };
    const auto word_at = [&](std::size_t in_place) {
        Word word = 0;
        for (std::size_t n = 0; n < 8 && in_place + n < in_bytes.size(); ++n) {
            word |= Word(static_cast<unsigned char>(in_bytes[in_place + n])) << (8 * n);
        }
        return word;
    };
    Word h1 = in_seed;
    Word h2 = in_seed;
    std::size_t place = 0;
    for (; place + 16 <= in_bytes.size(); place += 16) {
        h1 = (std::rotl(h1 ^ scramble1(word_at(place)), 27) + h2) * 5 + 0x52dce729;
        h2 = (std::rotl(h2 ^ scramble2(word_at(place + 8)), 31) + h1) * 5 + 0x38495ab5;
    }
    h1 ^= scramble1(word_at(place)) ^ in_bytes.size();
    h2 ^= scramble2(word_at(place + 8)) ^ in_bytes.size();
    h1 += h2;
    h2 += h1;
    h1 = mix(h1);
    h2 = mix(h2);
    h1 += h2;
    h2 += h1;
    std::string digest(16, '\0');
    std::memcpy(digest.data(), &h1, 8);
    std::memcpy(digest.data() + 8, &h2, 8);
    return digest;
}

/// The check value that the author of the algorithm publishes for this variant.
TEST(MeshHash, TheSlowHashHasThePublishedCheckValue)
{
    std::string digests;
    std::string key;
    for (int n = 0; n < 256; ++n) {
        digests += slowMurmur(key, 256 - n);
        key += static_cast<char>(n);
    }
    EXPECT_EQ(std::string("\x69\xba\x84\x63"), slowMurmur(digests, 0).substr(0, 4));
}

template <typename T>
std::string rawBytes(const array1<T>& in_array)
{
    return std::string(reinterpret_cast<const char*>(in_array.data()), in_array.size() * sizeof(T));
}

/// The hash as its definition has it.
std::string slowMeshHash(const Mesh& in_mesh)
{
    std::string digests = slowMurmur(in_mesh.name(), 1) +
                          slowMurmur(rawBytes(in_mesh.vertices()), 12) +
                          slowMurmur(rawBytes(in_mesh.triangles()), 12) +
                          slowMurmur(rawBytes(in_mesh.velocities()), 12);
    std::string name;
    unsigned int type = 0;
    unsigned int data_type = 0;
    for (unsigned long n = 0; in_mesh.channelInfo(n, name, type, data_type); ++n) {
        digests += slowMurmur(name, 1);
        if (const auto* vec3fs = in_mesh.findChannelEntry<Mesh::Channel<vec3f>>(name)) {
            digests += slowMurmur(rawBytes(vec3fs->values()), 12);
        }
        if (const auto* vec3is = in_mesh.findChannelEntry<Mesh::Channel<vec3i>>(name)) {
            digests += slowMurmur(rawBytes(vec3is->values()), 12);
        }
        if (const auto* floats = in_mesh.findChannelEntry<Mesh::Channel<float>>(name)) {
            digests += slowMurmur(rawBytes(floats->values()), 4);
        }
        if (const auto* ints = in_mesh.findChannelEntry<Mesh::Channel<int>>(name)) {
            digests += slowMurmur(rawBytes(ints->values()), 4);
        }
    }
    return slowMurmur(digests, 16);
}

std::string meshHash(const Mesh& in_mesh)
{
    Mesh::MeshHash hash;
    in_mesh.getMeshHash(hash);
    return std::string(reinterpret_cast<const char*>(hash.words), 16);
}

TEST(MeshHash, FollowsItsDefinition)
{
    Mesh mesh("wall");
    EXPECT_EQ(slowMeshHash(mesh), meshHash(mesh));

    mesh.vertices().push_back({1, 2, 3});
    mesh.triangles().push_back({0, 0, 0});
    mesh.velocities().push_back({4, 5, 6});
    mesh.addChannelEntry<Mesh::Channel<float>>("heat", 1)->values().push_back(0.5f);
    mesh.addChannelEntry<Mesh::Channel<int>>("part", 1)->values().push_back(7);
    mesh.addChannelEntry<Mesh::Channel<vec3f>>("normal", 1)->values().push_back({0, 0, 1});
    mesh.addChannelEntry<Mesh::Channel<vec3i>>("cell", 1)->values().push_back({1, 2, 3});
    mesh.addChannelEntry<Mesh::Channel<vec2f>>("uv", 1)->values().push_back({1, 2});
    EXPECT_EQ(slowMeshHash(mesh), meshHash(mesh));
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

TEST(MeshHash, DoesNotDependOnTheOrderOfChannels)
{
    Mesh a;
    a.addChannelEntry<Mesh::Channel<float>>("heat", 1);
    a.addChannelEntry<Mesh::Channel<int>>("part", 1);
    Mesh b;
    b.addChannelEntry<Mesh::Channel<int>>("part", 1);
    b.addChannelEntry<Mesh::Channel<float>>("heat", 1);

    EXPECT_EQ(meshHash(a), meshHash(b));
}

TEST(MeshHash, IsOrderedByItsFirstWord)
{
    EXPECT_TRUE((Mesh::MeshHash{{1, 9}} < Mesh::MeshHash{{2, 0}}));
    EXPECT_TRUE((Mesh::MeshHash{{1, 3}} < Mesh::MeshHash{{1, 4}}));
    EXPECT_FALSE((Mesh::MeshHash{{2, 0}} < Mesh::MeshHash{{1, 9}}));
}

}  // namespace
}  // namespace Skelvar
