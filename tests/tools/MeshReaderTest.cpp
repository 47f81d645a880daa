#include <tools/kvf/geometry/MeshReader.h>

#include <tools/kvf/ToolError.h>

#include <tests/support/TempFolder.h>
#include <tests/tools/TestMeshes.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace Skelvar::Tool::Test {

using Skelvar::Test::TempFolder;

namespace {

ExitStatus statusOfReading(const std::string& in_path)
{
    try {
        readMesh(in_path);
    } catch (const ToolError& error) {
        return error.status();
    }
    return eDone;
}

/// A scene whose one node moves, scales and mirrors a triangle.
constexpr const char* kMirroredTriangle = R"(<?xml version="1.0" encoding="utf-8"?>
<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
<asset><unit meter="1"/><up_axis>Y_UP</up_axis></asset>
<library_geometries><geometry id="g"><mesh>
<source id="p"><float_array id="pa" count="9">0 0 0 1 0 0 0 1 0</float_array>
<technique_common><accessor source="#pa" count="3" stride="3">
<param name="X" type="float"/><param name="Y" type="float"/><param name="Z" type="float"/>
</accessor></technique_common></source>
<vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
<triangles count="1"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles>
</mesh></geometry></library_geometries>
<library_visual_scenes><visual_scene id="s"><node id="n">
<matrix>-2 0 0 10  0 2 0 20  0 0 2 30  0 0 0 1</matrix>
<instance_geometry url="#g"/></node></visual_scene></library_visual_scenes>
<scene><instance_visual_scene url="#s"/></scene></COLLADA>
)";

}  // namespace

TEST(MeshReader, CutsFacesAndJoinsVerticesOfSeparateParts)
{
    const TempFolder folder;
    // Two squares that share an edge, as two groups with vertices of their own.
    const std::string path = folder.write("two.obj",
                                          "o a\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n"
                                          "o b\nv 1 0 0\nv 2 0 0\nv 2 1 0\nv 1 1 -0\nf 5 6 7 8\n");

    const TriangleMesh mesh = readMesh(path);

    EXPECT_EQ(6u, mesh.vertices.size());
    EXPECT_EQ(4u, mesh.triangles.size());
    EXPECT_EQ(6, findTopology(mesh).boundary_edges);
}

TEST(MeshReader, AppliesTheTransformsOfNodesAndKeepsTheFrontOfMirroredFaces)
{
    const TempFolder folder;

    const TriangleMesh mesh = readMesh(folder.write("mirrored.dae", kMirroredTriangle));

    ASSERT_EQ(1u, mesh.triangles.size());
    const vec3i& t = mesh.triangles[0];
    EXPECT_EQ((vec3f{10.0f, 20.0f, 30.0f}), mesh.vertices[t[0]]);
    const vec3f normal =
        cross(mesh.vertices[t[1]] - mesh.vertices[t[0]], mesh.vertices[t[2]] - mesh.vertices[t[0]]);
    EXPECT_EQ((vec3f{0.0f, 0.0f, 4.0f}), normal);
}

TEST(MeshReader, TellsUnreadableFilesFromMeshesThatAreNoUse)
{
    const TempFolder folder;

    EXPECT_EQ(eFileUnreadable, statusOfReading(folder.file("absent.obj")));
    EXPECT_EQ(eFileUnreadable, statusOfReading(folder.path()));
    EXPECT_EQ(eFileUnreadable, statusOfReading(folder.write("empty.obj", "")));
    EXPECT_EQ(eFileUnreadable, statusOfReading(folder.write("noise.ply", "no mesh at all\n")));
    EXPECT_EQ(eFileUnreadable, statusOfReading(folder.write("kind.nothing", "v 0 0 0\n")));
    EXPECT_EQ(eDataSaysNo,
              statusOfReading(folder.write("same.obj", "v 1 2 3\nv 1 2 3\nv 1 2 3\nf 1 2 3\n")));
    EXPECT_EQ(eDataSaysNo,
              statusOfReading(folder.write("far.obj", "v 1e39 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")));
}

}  // namespace Skelvar::Tool::Test
