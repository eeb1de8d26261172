// 3MF files written by the vekmesh tool, opened with lib3mf (an independent
// reader, used by this test only): one build item per model, placing a mesh
// object with the model's vertex and triangle counts and its coordinates.
// Built only when lib3mf is installed.
#include <Model/COM/NMR_DLLInterfaces.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "io/stl.h"
#include "io/threemf.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"

namespace {

namespace test = vekmesh::test;
using Point = std::array<float, 3>;

// lib3mf objects are released when the holder goes.
struct Released {
  NMR::PLib3MFBase* object = nullptr;
  ~Released() {
    if (object) NMR::lib3mf_release(object);
  }
};

struct Opened {
  bool read = false;
  int items = 0;
  bool mesh_object = false;
  uint32_t vertices = 0, triangles = 0;
  std::vector<Point> points;  // the first item's object's vertices
};

Opened openWithLib3mf(const std::string& path) {
  Opened out;
  Released model, reader, items;
  if (NMR::lib3mf_createmodel(&model.object) != 0) return out;
  if (NMR::lib3mf_model_queryreader(model.object, "3mf", &reader.object) != 0) return out;
  if (NMR::lib3mf_reader_readfromfileutf8(reader.object, path.c_str()) != 0) return out;
  out.read = true;
  if (NMR::lib3mf_model_getbuilditems(model.object, &items.object) != 0) return out;
  BOOL more = false;
  while (NMR::lib3mf_builditemiterator_movenext(items.object, &more) == 0 && more) {
    Released item, object;
    if (NMR::lib3mf_builditemiterator_getcurrent(items.object, &item.object) != 0) break;
    if (++out.items > 1) continue;
    if (NMR::lib3mf_builditem_getobjectresource(item.object, &object.object) != 0) break;
    BOOL is_mesh = false;
    NMR::lib3mf_object_ismeshobject(object.object, &is_mesh);
    out.mesh_object = is_mesh;
    if (!is_mesh) continue;
    DWORD vertices = 0, triangles = 0;
    NMR::lib3mf_meshobject_getvertexcount(object.object, &vertices);
    NMR::lib3mf_meshobject_gettrianglecount(object.object, &triangles);
    out.vertices = vertices;
    out.triangles = triangles;
    for (DWORD v = 0; v < vertices; ++v) {
      NMR::MODELMESHVERTEX vertex;
      if (NMR::lib3mf_meshobject_getvertex(object.object, v, &vertex) != 0) break;
      out.points.push_back({vertex.m_fPosition[0], vertex.m_fPosition[1], vertex.m_fPosition[2]});
    }
  }
  return out;
}

TEST(Lib3mf, OpensTheToolsFilesWithOneBuildItemPerModel) {
  test::ScratchDir dir;
  test::Soup coloured = test::torusSoup(12.5f, 3.3f, 30, 14);
  test::paint(coloured, {0.1f, 0.5f, 0.9f});
  const test::Soup two_shells =
      test::concatenate(test::cubeSoup(10.0f), test::uvSphereSoup(4.0f, 16, 9));
  for (const auto& [name, soup] : {std::make_pair("torus", coloured), {"two_shells", two_shells}}) {
    const vekmesh::TriMesh mesh = test::buildMesh(soup);
    const std::string stl = dir.file(std::string(name) + ".stl");
    const std::string package = dir.file(std::string(name) + ".3mf");
    ASSERT_TRUE(vekmesh::writeStl(stl.c_str(), mesh));
    const std::string command =
        std::string(VEKMESH_TOOL) + " convert '" + stl + "' '" + package + "' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;

    const Opened opened = openWithLib3mf(package);
    ASSERT_TRUE(opened.read) << name;
    EXPECT_EQ(opened.items, 1) << name;
    EXPECT_TRUE(opened.mesh_object) << name;
    EXPECT_EQ(opened.triangles, vekmesh::liveFaceCount(mesh)) << name;
    EXPECT_EQ(opened.vertices, mesh.vertices.size()) << name;
    // The coordinates lib3mf reads are the model's, bit for bit.
    std::vector<Point> ours;
    for (const vekmesh::Vertex& v : mesh.vertices) ours.push_back(v.position);
    std::vector<Point> theirs = opened.points;
    std::sort(ours.begin(), ours.end());
    std::sort(theirs.begin(), theirs.end());
    EXPECT_EQ(theirs, ours) << name;
  }
}

}  // namespace
