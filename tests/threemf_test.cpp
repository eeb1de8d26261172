// The 3MF reader and writer: a coloured model round-trips bit-exact; a package
// made here with two objects, build items, a component, base materials and a
// colour group reads as separate placed shells with their colours; damaged
// packages, cycles and zip bombs give an empty mesh.
#include "io/threemf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "face_list.h"
#include "io/zip_archive.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"

namespace {

namespace test = vekmesh::test;
using test::ScratchDir;
using vekmesh::TriMesh;

const char* const kRels =
    "<?xml version=\"1.0\"?><Relationships "
    "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"><Relationship "
    "Target=\"/3D/Model.model\" Id=\"r\" "
    "Type=\"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel\"/></Relationships>";

// A package whose root relationship names "3D/Model.model" holding `body`.
std::string package(const ScratchDir& dir, const std::string& name, const std::string& body,
                    bool with_rels = true) {
  std::vector<vekmesh::ZipEntry> entries = {
      {"3D/Model.model",
       "<?xml version=\"1.0\"?><model unit=\"millimeter\" "
       "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/2015/02\" "
       "xmlns:mat=\"http://schemas.microsoft.com/3dmanufacturing/material/2015/02\">" +
           body + "</model>"}};
  if (with_rels) entries.push_back({"_rels/.rels", kRels});
  EXPECT_TRUE(vekmesh::writeZip(dir.file(name).c_str(), entries));
  return dir.file(name);
}

// A unit tetrahedron as a 3MF object; `props` goes on the first triangle.
std::string tetrahedron(int id, const std::string& props = "",
                        const std::string& object_attrs = "") {
  return "<object id=\"" + std::to_string(id) + "\" type=\"model\" " + object_attrs +
         "><mesh><vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"1\" y=\"0\" z=\"0\"/>"
         "<vertex x=\"0\" y=\"1\" z=\"0\"/><vertex x=\"0\" y=\"0\" z=\"1\"/></vertices><triangles>"
         "<triangle v1=\"0\" v2=\"2\" v3=\"1\" " +
         props +
         "/><triangle v1=\"0\" v2=\"1\" v3=\"3\"/><triangle v1=\"0\" v2=\"3\" v3=\"2\"/>"
         "<triangle v1=\"1\" v2=\"2\" v3=\"3\"/></triangles></mesh></object>";
}

TEST(ThreeMf, ColouredModelRoundTrips) {
  ScratchDir dir;
  test::Soup s = test::torusSoup(2.7f, 0.9f, 24, 12);
  test::paint(s, {1.0f, 1.0f, 1.0f});
  for (uint32_t t = 0; t < s.triangleCount(); t += 3) s.colors[9 * t + 4] = 0.25f;
  const TriMesh in = test::buildMesh(s);
  ASSERT_TRUE(vekmesh::write3mf(dir.file("t.3mf").c_str(), in));
  TriMesh back;
  EXPECT_EQ(vekmesh::read3mf(dir.file("t.3mf").c_str(), back), s.triangleCount());
  EXPECT_EQ(test::faceList(back), test::faceList(in));
  EXPECT_EQ(back.vertices.size(), in.vertices.size());
}

TEST(ThreeMf, ItemsComponentsAndColoursArePlaced) {
  ScratchDir dir;
  const std::string body =
      "<resources><basematerials id=\"1\"><base name=\"red\" displaycolor=\"#FF0000\"/>"
      "<base name=\"blue\" displaycolor=\"#0000FFFF\"/></basematerials>"
      "<mat:colorgroup id=\"5\"><mat:color color=\"#00FF00\"/><mat:color color=\"#102030\"/>"
      "</mat:colorgroup>" +
      tetrahedron(2, "pid=\"5\" p1=\"0\" p2=\"1\" p3=\"1\"", "pid=\"1\" pindex=\"1\"") +
      tetrahedron(3) +
      "<object id=\"4\" type=\"model\"><components><component objectid=\"3\" "
      "transform=\"2 0 0 0 2 0 0 0 2 0 0 10\"/></components></object></resources>"
      "<build><item objectid=\"2\"/><item objectid=\"2\" transform=\"1 0 0 0 1 0 0 0 1 5 0 0\"/>"
      "<item objectid=\"4\" transform=\"1 0 0 0 1 0 0 0 1 0 5 0\"/></build>";
  TriMesh m;
  vekmesh::ModelNames names;
  EXPECT_EQ(vekmesh::read3mf(package(dir, "m.3mf", body).c_str(), m, &names), 12u);
  ASSERT_EQ(names.materials.size(), 2u);
  EXPECT_EQ(names.materials[0].name, "red");
  EXPECT_EQ(names.materials[1].name, "blue");
  vekmesh::buildShells(m);
  EXPECT_EQ(m.shells.size(), 3u) << "each placed object its own shell";
  float lo[3] = {1e9f, 1e9f, 1e9f}, hi[3] = {-1e9f, -1e9f, -1e9f};
  for (const vekmesh::Vertex& v : m.vertices)
    for (int k = 0; k < 3; ++k) {
      lo[k] = std::min(lo[k], v.position[k]);
      hi[k] = std::max(hi[k], v.position[k]);
    }
  EXPECT_EQ(lo[0], 0.0f);
  EXPECT_EQ(hi[0], 6.0f);  // the moved copy of object 2
  EXPECT_EQ(hi[1], 7.0f);  // the component doubled, then the item moved
  EXPECT_EQ(hi[2], 12.0f);
  // Object 2's first triangle from the colour group, its others blue.
  int green = 0, dark = 0, blue = 0;
  for (const vekmesh::Face& f : m.faces)
    for (const auto& c : f.colors) {
      green += c[0] == 0 && c[1] == 255 && c[2] == 0;
      dark += c[0] == 0x10 && c[1] == 0x20 && c[2] == 0x30;
      blue += c[0] == 0 && c[1] == 0 && c[2] == 255;
    }
  EXPECT_EQ(green, 2);
  EXPECT_EQ(dark, 4);
  EXPECT_EQ(blue, 2 * 9);
  // The blue triangles carry the base material; the colour group gives none.
  int blue_material = 0, none = 0;
  for (const vekmesh::Face& f : m.faces) {
    blue_material += f.material == 1;
    none += f.material == vekmesh::kNoMaterial;
  }
  EXPECT_EQ(blue_material, 6);
  EXPECT_EQ(none, 6);
}

TEST(ThreeMf, MaterialNamesRoundTripUnlessCornersAreColoured) {
  ScratchDir dir;
  TriMesh in = test::buildMesh(test::torusSoup(2.7f, 0.9f, 24, 12));
  for (size_t f = 0; f < in.faces.size(); ++f)
    in.faces[f].material = static_cast<int16_t>(f % 3 == 0 ? vekmesh::kNoMaterial : f % 2);
  vekmesh::ModelNames names;
  names.materials = {{"steel", ""}, {"a&b <\"c\">", "skin.png"}};
  ASSERT_TRUE(vekmesh::write3mf(dir.file("m.3mf").c_str(), in, &names));
  TriMesh back;
  vekmesh::ModelNames read;
  ASSERT_EQ(vekmesh::read3mf(dir.file("m.3mf").c_str(), back, &read), in.faces.size());
  EXPECT_EQ(test::faceList(back), test::faceList(in));
  ASSERT_EQ(read.materials.size(), 2u);
  EXPECT_EQ(read.materials[0].name, "steel");
  EXPECT_EQ(read.materials[1].name, "a&b <\"c\">");
  for (size_t f = 0; f < in.faces.size(); ++f)
    ASSERT_EQ(back.faces[f].material, in.faces[f].material) << f;

  // A coloured corner takes the triangle's one property group.
  in.faces[1].colors[0][0] = 10;
  ASSERT_TRUE(vekmesh::write3mf(dir.file("c.3mf").c_str(), in, &names));
  ASSERT_EQ(vekmesh::read3mf(dir.file("c.3mf").c_str(), back, &read), in.faces.size());
  EXPECT_TRUE(read.materials.empty());
  EXPECT_EQ(back.faces[1].colors[0][0], 10);
}

TEST(ThreeMf, DamagedPackagesGiveEmptyMeshes) {
  ScratchDir dir;
  const std::string item = "<build><item objectid=\"2\"/></build>";
  std::string past = tetrahedron(2);
  past.replace(past.find("v3=\"3\""), 6, "v3=\"4\"");
  const std::vector<std::string> paths = {
      dir.write("text.3mf", "PK\x03\x04 not really a zip"),
      package(dir, "norels.3mf", "<resources>" + tetrahedron(2) + "</resources>" + item, false),
      package(dir, "past.3mf", "<resources>" + past + "</resources>" + item),
      package(dir, "missing.3mf", "<resources>" + tetrahedron(3) + "</resources>" + item),
      package(dir, "cycle.3mf",
              "<resources><object id=\"2\"><components><component objectid=\"2\"/></components>"
              "</object></resources>" +
                  item),
      package(dir, "badxml.3mf", "<resources><object id=\"2\"></resources>" + item)};
  for (const std::string& p : paths) {
    SCOPED_TRACE(p);
    TriMesh m;
    EXPECT_EQ(vekmesh::read3mf(p.c_str(), m), 0u);
    EXPECT_TRUE(m.faces.empty());
  }
  // 64 MB of spaces inside the model: far more than the archive's size allows.
  ASSERT_TRUE(vekmesh::writeZip(
      dir.file("bomb.3mf").c_str(),
      {{"_rels/.rels", kRels}, {"3D/Model.model", "<model>" + std::string(64 << 20, ' ')}}));
  TriMesh bomb;
  EXPECT_EQ(vekmesh::read3mf(dir.file("bomb.3mf").c_str(), bomb), 0u);

  // Components that multiply: 4^12 instances of a tetrahedron asked for, the
  // budget (16 per defined triangle plus a million) honoured.
  std::string tree = "<resources>" + tetrahedron(1);
  for (int id = 2; id <= 13; ++id) {
    tree += "<object id=\"" + std::to_string(id) + "\"><components>";
    for (int k = 0; k < 4; ++k) tree += "<component objectid=\"" + std::to_string(id - 1) + "\"/>";
    tree += "</components></object>";
  }
  tree += "</resources><build><item objectid=\"13\"/></build>";
  TriMesh many;
  EXPECT_LE(vekmesh::read3mf(package(dir, "tree.3mf", tree).c_str(), many), 1000064u);
}

}  // namespace
