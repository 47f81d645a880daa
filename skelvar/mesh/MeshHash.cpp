#include <skelvar/mesh/Mesh.h>

#include <murmurhash.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

namespace Skelvar {

namespace {

// Seeds of the digests, which keep blocks of different meaning apart.
constexpr unsigned int kNameSeed = 1;
constexpr unsigned int kListSeed = 16;

/// MurmurHash3_x64_128 of a block of bytes.
Mesh::MeshHash hashBlock(const void* in_bytes, unsigned long in_count, unsigned int in_seed)
{
    if (in_count > std::numeric_limits<unsigned int>::max()) {
        throw std::runtime_error("Mesh::getMeshHash: too large an array, bytes: " +
                                 std::to_string(in_count));
    }
    std::uint64_t digest[2];
    lmmh_x64_128(in_bytes, static_cast<unsigned int>(in_count), in_seed, digest);
    return {{digest[0], digest[1]}};
}

Mesh::MeshHash hashName(const std::string& in_name)
{
    return hashBlock(in_name.data(), in_name.size(), kNameSeed);
}

template <typename T>
Mesh::MeshHash hashArray(const array1<T>& in_array)
{
    return hashBlock(in_array.data(), in_array.size() * sizeof(T), sizeof(T));
}

template <typename T>
Mesh::MeshHash hashValues(const Mesh::ChannelBase& in_channel)
{
    return hashArray(static_cast<const Mesh::Channel<T>&>(in_channel).values());
}

/// Appends the digest of the channel's values, if they are of a type that counts.
void appendValues(const Mesh::ChannelBase& in_channel, std::vector<Mesh::MeshHash>& io_digests)
{
    switch (in_channel.dataType()) {
        case Mesh::eDataVec3f:
            io_digests.push_back(hashValues<vec3f>(in_channel));
            break;
        case Mesh::eDataFloat:
            io_digests.push_back(hashValues<float>(in_channel));
            break;
        case Mesh::eDataVec3i:
            io_digests.push_back(hashValues<vec3i>(in_channel));
            break;
        case Mesh::eDataInt:
            io_digests.push_back(hashValues<int>(in_channel));
            break;
        default:
            break;
    }
}

}  // namespace

void Mesh::getMeshHash(MeshHash& out_hash) const
{
    std::vector<MeshHash> digests;
    digests.reserve(2 * channelCount() + 4);
    digests.push_back(hashName(m_name));
    digests.push_back(hashArray(m_vertices));
    digests.push_back(hashArray(m_triangles));
    digests.push_back(hashArray(m_velocities));
    for (const auto& [name, channel] : m_channels) {
        digests.push_back(hashName(name));
        appendValues(*channel, digests);
    }
    out_hash = hashBlock(digests.data(), digests.size() * sizeof(MeshHash), kListSeed);
}

static_assert(sizeof(Mesh::MeshHash) == 16, "the digests are hashed as one block");

}  // namespace Skelvar
