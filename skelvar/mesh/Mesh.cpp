#include <skelvar/mesh/Mesh.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Skelvar {

namespace {

constexpr long long kMeshBytes = 176;  ///< of a mesh without elements, in memory figures

template <typename T>
long long arrayBytes(const array1<T>& in_array, MemUsage::Type in_type)
{
    const long long count =
        in_type == MemUsage::eMemAllocated ? in_array.capacity() : in_array.size();
    return count * static_cast<long long>(sizeof(T));
}

}  // namespace

long long Mesh::ChannelBase::memUsage(MemUsage::Type) const
{
    return 0;
}

std::unique_ptr<Mesh::ChannelBase> Mesh::ChannelBase::copy() const
{
    return std::make_unique<ChannelBase>();
}

template <typename T>
long long Mesh::Channel<T>::memUsage(MemUsage::Type in_type) const
{
    return arrayBytes(m_values, in_type);
}

template <typename T>
std::unique_ptr<Mesh::ChannelBase> Mesh::Channel<T>::copy() const
{
    return std::make_unique<Channel>(*this);
}

const TypeMeta<Mesh> Mesh::m_typeMeta;

Mesh::Mesh(const std::string& in_name) : m_name(in_name) {}

Mesh::~Mesh() = default;

const std::string& Mesh::typeName()
{
    static const std::string& s_typeName = *new std::string("Mesh");
    return s_typeName;
}

std::shared_ptr<Mesh> Mesh::copy() const
{
    auto mesh = std::make_shared<Mesh>(m_name);
    mesh->m_vertices = m_vertices;
    mesh->m_triangles = m_triangles;
    mesh->m_velocities = m_velocities;
    mesh->m_transforms = m_transforms;
    mesh->m_is_static = m_is_static;
    mesh->m_static_transitioned = m_static_transitioned;
    mesh->m_is_enabled = m_is_enabled;
    mesh->m_enable_transitioned = m_enable_transitioned;
    mesh->m_velocities_defined = m_velocities_defined;
    for (const auto& [name, channel] : m_channels) {
        mesh->m_channels.emplace(name, channel->copy());
    }
    return mesh;
}

bool Mesh::hasMatchingTopology(const Mesh& in_other) const
{
    return m_vertices.size() == in_other.m_vertices.size() &&
           std::equal(m_triangles.begin(), m_triangles.end(), in_other.m_triangles.begin(),
                      in_other.m_triangles.end());
}

template <typename C>
C* Mesh::addChannelEntry(const std::string& in_name, unsigned int in_type)
{
    if (!hasChannel(in_name)) {
        m_channels.emplace(in_name, std::make_unique<C>(in_type));
    }
    return findChannelEntry<C>(in_name);
}

template <typename C>
C* Mesh::findChannelEntry(const std::string& in_name)
{
    return const_cast<C*>(std::as_const(*this).findChannelEntry<C>(in_name));
}

template <typename C>
const C* Mesh::findChannelEntry(const std::string& in_name) const
{
    const auto found = m_channels.find(in_name);
    if (found == m_channels.end() || found->second->dataType() != C::kDataType) {
        return nullptr;
    }
    return static_cast<const C*>(found->second.get());
}

bool Mesh::removeChannel(const std::string& in_name)
{
    return m_channels.erase(in_name) != 0;
}

void Mesh::removeAllChannels()
{
    m_channels.clear();
}

bool Mesh::hasChannel(const std::string& in_name) const
{
    return m_channels.count(in_name) != 0;
}

unsigned long Mesh::channelCount() const
{
    return m_channels.size();
}

bool Mesh::channelInfo(const std::string& in_name, unsigned int& out_type,
                       unsigned int& out_data_type) const
{
    const auto found = m_channels.find(in_name);
    if (found == m_channels.end()) {
        return false;
    }
    out_type = found->second->type();
    out_data_type = found->second->dataType();
    return true;
}

bool Mesh::channelInfo(unsigned long in_index, std::string& out_name, unsigned int& out_type,
                       unsigned int& out_data_type) const
{
    if (in_index >= channelCount()) {
        return false;
    }
    out_name = std::next(m_channels.begin(), static_cast<long>(in_index))->first;
    return channelInfo(out_name, out_type, out_data_type);
}

long long Mesh::memUsage(MemUsage::Type in_type) const
{
    long long bytes = kMeshBytes + arrayBytes(m_vertices, in_type) +
                      arrayBytes(m_triangles, in_type) + arrayBytes(m_velocities, in_type);
    for (const auto& [name, channel] : m_channels) {
        bytes += channel->memUsage(in_type);
    }
    return bytes;
}

#define SKELVAR_INSTANTIATE(T)                                                          \
    template class Mesh::Channel<T>;                                                    \
    template Mesh::Channel<T>* Mesh::addChannelEntry(const std::string&, unsigned int); \
    template const Mesh::Channel<T>* Mesh::findChannelEntry(const std::string&) const;  \
    template Mesh::Channel<T>* Mesh::findChannelEntry(const std::string&);
SKELVAR_FOR_MESH_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
