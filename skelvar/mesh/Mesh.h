#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/base/array1.h>

#include <map>
#include <memory>
#include <string>
#include <type_traits>

namespace Skelvar {

/// A triangle mesh: collision geometry, with transforms over time and named channels of values for
/// its elements. The store holds it by name. Owns its arrays and channels. Without a lock: the
/// store governs access.
class SKELVAR_API Mesh {
public:
    /// What a channel holds. `getMeshHash` knows the first four.
    enum DataType : unsigned int {
        eDataNone = 100,
        eDataVec3f = 101,
        eDataFloat = 102,
        eDataVec3i = 103,
        eDataInt = 104,
        eDataVec2f = 105,
    };

    /// A channel without values.
    class SKELVAR_API ChannelBase {
    public:
        virtual ~ChannelBase() = default;

        virtual unsigned int dataType() const { return eDataNone; }
        /// What the values stand for: a number of the caller's. 0 is unset.
        virtual unsigned int type() const { return 0; }
        /// Whether both data type and type are set.
        virtual bool valid() const { return false; }
        /// Bytes of the values; for `eMemAllocated` of their capacity.
        virtual long long memUsage(MemUsage::Type in_type) const;
        /// A channel of the same class with values of its own.
        virtual std::unique_ptr<ChannelBase> copy() const;
    };

    /// What the values of a `Channel<T>` are called.
    template <typename T>
    static constexpr DataType dataTypeOf()
    {
        if constexpr (std::is_same_v<T, vec3f>) {
            return eDataVec3f;
        } else if constexpr (std::is_same_v<T, float>) {
            return eDataFloat;
        } else if constexpr (std::is_same_v<T, vec3i>) {
            return eDataVec3i;
        } else if constexpr (std::is_same_v<T, int>) {
            return eDataInt;
        } else {
            static_assert(std::is_same_v<T, vec2f>);
            return eDataVec2f;
        }
    }

    /// The values of one channel, for `T` of int, float, vec2f, vec3f, vec3i.
    template <typename T>
    class SKELVAR_API Channel : public ChannelBase {
    public:
        static constexpr DataType kDataType = dataTypeOf<T>();

        explicit Channel(unsigned int in_type = 0) : m_type(in_type) {}

        unsigned int dataType() const override { return m_data_type; }
        unsigned int type() const override { return m_type; }
        bool valid() const override { return m_data_type != eDataNone && m_type != 0; }
        long long memUsage(MemUsage::Type in_type) const override;
        std::unique_ptr<ChannelBase> copy() const override;

        array1<T>& values() { return m_values; }
        const array1<T>& values() const { return m_values; }

    private:
        array1<T> m_values;
        unsigned int m_data_type = kDataType;
        unsigned int m_type;
    };

    /// A digest of a mesh's contents, 128 bits.
    struct SKELVAR_API MeshHash {
        unsigned long long words[2] = {0, 0};

        friend bool operator==(const MeshHash& in_a, const MeshHash& in_b)
        {
            return in_a.words[0] == in_b.words[0] && in_a.words[1] == in_b.words[1];
        }
        friend bool operator<(const MeshHash& in_a, const MeshHash& in_b)
        {
            return in_a.words[0] != in_b.words[0] ? in_a.words[0] < in_b.words[0]
                                                  : in_a.words[1] < in_b.words[1];
        }
    };

    /// Without vertices; moving, enabled, and the same at the last frame.
    explicit Mesh(const std::string& in_name = std::string());
    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    /// A mesh of its own with the same name, arrays, flags and channels.
    std::shared_ptr<Mesh> copy() const;

    static const std::string& typeName();  // "Mesh"
    const TypeMetaBase* typeMeta() const { return &m_typeMeta; }

    const std::string& name() const { return m_name; }
    void setName(const std::string& in_name) { m_name = in_name; }

    array1<vec3f>& vertices() { return m_vertices; }
    const array1<vec3f>& vertices() const { return m_vertices; }
    /// Three vertex indices a triangle. Not checked against the vertices.
    array1<vec3i>& triangles() { return m_triangles; }
    const array1<vec3i>& triangles() const { return m_triangles; }
    /// One for each vertex, or none: a static mesh has none.
    array1<vec3f>& velocities() { return m_velocities; }
    const array1<vec3f>& velocities() const { return m_velocities; }
    /// One for each time sample.
    array1<mat4f>& transforms() { return m_transforms; }
    const array1<mat4f>& transforms() const { return m_transforms; }

    /// The mesh does not move.
    bool isStaticMesh() const { return m_is_static; }
    void setIsStaticMesh(bool in_value) { m_is_static = in_value; }
    /// `isStaticMesh` at the last frame.
    bool hasStaticMeshTransitioned() const { return m_static_transitioned; }
    void setStaticMeshTransitioned(bool in_value) { m_static_transitioned = in_value; }
    /// The mesh takes part in the simulation.
    bool isEnabled() const { return m_is_enabled; }
    void setIsEnabled(bool in_value) { m_is_enabled = in_value; }
    /// `isEnabled` at the last frame.
    bool hasEnableTransitioned() const { return m_enable_transitioned; }
    void setEnableTransitioned(bool in_value) { m_enable_transitioned = in_value; }
    bool hasDefinedVelocities() const { return m_velocities_defined; }
    void setVelocitiesDefined(bool in_value) { m_velocities_defined = in_value; }

    /// Same numbers of vertices and triangles, and the same triangles. Positions are not compared.
    bool hasMatchingTopology(const Mesh& in_other) const;

    /// The channel of class `C`, a `Channel<T>`, under the name: a new, empty one of that type, or
    /// the one that is there, which keeps its type. Null if that is of another class. The mesh owns
    /// it.
    template <typename C>
    C* addChannelEntry(const std::string& in_name, unsigned int in_type);
    /// Null if there is none of class `C`.
    template <typename C>
    C* findChannelEntry(const std::string& in_name);
    template <typename C>
    const C* findChannelEntry(const std::string& in_name) const;

    /// Whether there was one.
    bool removeChannel(const std::string& in_name);
    void removeAllChannels();
    bool hasChannel(const std::string& in_name) const;
    unsigned long channelCount() const;

    /// False, and the outputs stay as they were, without such a channel.
    bool channelInfo(const std::string& in_name, unsigned int& out_type,
                     unsigned int& out_data_type) const;
    /// The same by index, from 0, in the order of the names.
    bool channelInfo(unsigned long in_index, std::string& out_name, unsigned int& out_type,
                     unsigned int& out_data_type) const;

    /// A digest of name, vertices, triangles, velocities and channels, by MurmurHash3_x64_128.
    /// Transforms, flags and the values of vec2f channels do not count. Throws
    /// `std::runtime_error` if an array holds 4 GiB or more.
    void getMeshHash(MeshHash& out_hash) const;

    /// Bytes of vertices, triangles, velocities and channels, and 176 of the mesh itself; for
    /// `eMemAllocated` of the capacities. Transforms do not count.
    long long memUsage(MemUsage::Type in_type) const;

private:
    static const TypeMeta<Mesh> m_typeMeta;

    array1<vec3f> m_vertices;
    array1<vec3i> m_triangles;
    array1<vec3f> m_velocities;
    array1<mat4f> m_transforms;
    std::string m_name;
    bool m_is_static = false;
    bool m_static_transitioned = false;
    bool m_is_enabled = true;
    bool m_enable_transitioned = true;
    bool m_velocities_defined = false;
    std::map<std::string, std::unique_ptr<ChannelBase>> m_channels;
};

#define SKELVAR_EXTERN(T)                                                                          \
    extern template class SKELVAR_API Mesh::Channel<T>;                                            \
    extern template SKELVAR_API Mesh::Channel<T>* Mesh::addChannelEntry(const std::string&,        \
                                                                        unsigned int);             \
    extern template SKELVAR_API Mesh::Channel<T>* Mesh::findChannelEntry(const std::string&);      \
    extern template SKELVAR_API const Mesh::Channel<T>* Mesh::findChannelEntry(const std::string&) \
        const;
SKELVAR_FOR_MESH_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
