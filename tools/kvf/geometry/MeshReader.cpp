#include <tools/kvf/geometry/MeshReader.h>

#include <tools/kvf/ToolError.h>

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>

#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <unordered_map>

namespace Skelvar::Tool {

namespace {

struct PositionHash {
    std::size_t operator()(const vec3f& in_p) const
    {
        unsigned long long hash = 0;
        for (int a = 0; a < 3; ++a) {
            hash = (hash ^ std::bit_cast<unsigned int>(in_p[a])) * 0x9E3779B97F4A7C15ull;
            hash ^= hash >> 29;
        }
        return static_cast<std::size_t>(hash);
    }
};

/// Gathers triangles and joins vertices that lie at the very same place.
class MeshBuilder {
public:
    explicit MeshBuilder(const std::string& in_path) : m_path(in_path) {}

    void add(const aiMesh& in_mesh, const aiMatrix4x4& in_to_world)
    {
        std::vector<int> joined(in_mesh.mNumVertices);
        for (unsigned int v = 0; v < in_mesh.mNumVertices; ++v) {
            joined[v] = vertex(in_to_world * in_mesh.mVertices[v]);
        }
        // A mirroring transform turns the front of each triangle to the back.
        const bool mirrored = in_to_world.Determinant() < 0.0f;
        for (unsigned int f = 0; f < in_mesh.mNumFaces; ++f) {
            const aiFace& face = in_mesh.mFaces[f];
            if (face.mNumIndices == 3) {
                add(joined[face.mIndices[0]], joined[face.mIndices[mirrored ? 2 : 1]],
                    joined[face.mIndices[mirrored ? 1 : 2]]);
            }
        }
    }

    TriangleMesh take() { return std::move(m_mesh); }

private:
    int vertex(const aiVector3D& in_p)
    {
        if (!std::isfinite(in_p.x) || !std::isfinite(in_p.y) || !std::isfinite(in_p.z)) {
            throw ToolError(eDataSaysNo, "mesh " + m_path + " has a vertex that is not finite");
        }
        const vec3f position{in_p.x + 0.0f, in_p.y + 0.0f, in_p.z + 0.0f};  // -0 becomes 0
        const auto [entry, is_new] =
            m_places.try_emplace(position, static_cast<int>(m_mesh.vertices.size()));
        if (is_new) {
            m_mesh.vertices.push_back(position);
        }
        return entry->second;
    }

    void add(int in_a, int in_b, int in_c)
    {
        if (in_a != in_b && in_b != in_c && in_c != in_a) {
            m_mesh.triangles.push_back({in_a, in_b, in_c});
        }
    }

    const std::string& m_path;
    TriangleMesh m_mesh;
    std::unordered_map<vec3f, int, PositionHash> m_places;
};

void addNode(const aiScene& in_scene, const aiNode& in_node, const aiMatrix4x4& in_parent_to_world,
             MeshBuilder& io_builder)
{
    const aiMatrix4x4 to_world = in_parent_to_world * in_node.mTransformation;
    for (unsigned int m = 0; m < in_node.mNumMeshes; ++m) {
        io_builder.add(*in_scene.mMeshes[in_node.mMeshes[m]], to_world);
    }
    for (unsigned int c = 0; c < in_node.mNumChildren; ++c) {
        addNode(in_scene, *in_node.mChildren[c], to_world, io_builder);
    }
}

/// The first line of a text, for the one line of an error.
std::string firstLine(const std::string& in_text)
{
    return in_text.substr(0, in_text.find_first_of("\r\n"));
}

}  // namespace

TriangleMesh readMesh(const std::string& in_path)
{
    std::error_code error;
    if (std::filesystem::is_directory(in_path, error)) {
        throw ToolError(eFileUnreadable, "mesh " + in_path + " is a folder");
    }
    if (!std::ifstream(in_path)) {
        throw ToolError(eFileUnreadable, "mesh " + in_path + " cannot be opened");
    }
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(in_path, aiProcess_Triangulate);
    if (scene == nullptr || scene->mRootNode == nullptr) {
        throw ToolError(eFileUnreadable, "mesh " + in_path + " cannot be read: " +
                                             firstLine(importer.GetErrorString()));
    }
    MeshBuilder builder(in_path);
    addNode(*scene, *scene->mRootNode, aiMatrix4x4(), builder);
    TriangleMesh mesh = builder.take();
    if (mesh.triangles.empty()) {
        throw ToolError(eDataSaysNo, "mesh " + in_path + " has no triangles");
    }
    return mesh;
}

}  // namespace Skelvar::Tool
