// The tool's OBJ reader and writer: round trips keep positions bit-exact with
// colours, texture coordinates, material names, images and groups; a plain
// model stays plain; relative numbers, polygons and continued lines read as
// meant; faults are errors that name their line.
#include "io/obj_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "io/file_dispatch.h"
#include "io/mtl.h"
#include "io/text_lines.h"
#include "io_samples.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::ScratchDir;
using test::Soup;

// One live face as comparable values: corner positions, colour bytes and
// texture coordinates from the smallest corner on, and its material's name
// ("-" for none).
using FaceRecord =
    std::tuple<std::vector<float>, std::vector<int>, std::vector<double>, std::string>;

std::vector<FaceRecord> records(const SubMesh& mesh, const ModelNames& names) {
  std::vector<FaceRecord> out;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    int first = 0;
    for (int c = 1; c < 3; ++c)
      if (mesh.vertices[f.v[c]].position < mesh.vertices[f.v[first]].position) first = c;
    FaceRecord r;
    for (int k = 0; k < 3; ++k) {
      const int c = (first + k) % 3;
      for (float x : mesh.vertices[f.v[c]].position) std::get<0>(r).push_back(x);
      for (int ch = 0; ch < 3; ++ch) std::get<1>(r).push_back(f.colors[c][ch]);
      if (f.material >= 0) {
        std::get<2>(r).push_back(mesh.texCoords[f.uv[c]].u);
        std::get<2>(r).push_back(mesh.texCoords[f.uv[c]].v);
      }
    }
    std::get<3>(r) = f.material < 0 ? "-" : names.materials.at(f.material).name;
    out.push_back(std::move(r));
  }
  std::sort(out.begin(), out.end());
  return out;
}

struct Read {
  TriMesh mesh;
  ModelNames names;
  ObjToolRead result;
};

Read readPath(const std::string& path) {
  Read r;
  r.result = readObjTool(path.c_str(), r.mesh, r.names);
  return r;
}

Read readText(ScratchDir& dir, const std::string& text, const std::string& name = "in.obj") {
  return readPath(dir.write(name, text));
}

// Positions that need all nine digits of a float: a "%.5f" writer would
// merge or move them.
Soup awkwardTorus() {
  Soup s = test::torusSoup(0.066f, 0.0217f, 20, 9);
  for (float& x : s.corners) x = std::nextafter(x * 3.0f, 1.0f) / 3.0f + 1e-3f;
  return s;
}

TEST(ObjTool, ColoursTextureCoordinatesAndMaterialNamesRoundTripExactly) {
  ScratchDir dir;
  // Coloured faces without a material beside textured ones of two materials
  // that share a vertex ring, some textured corners coloured as well.
  Soup coloured = awkwardTorus();
  coloured.colors.clear();
  for (size_t i = 0; i < coloured.corners.size(); ++i)
    coloured.colors.push_back(float((i * 37) % 256) / 255.0f);
  Soup textured = test::cubeSoup(0.5f, test::Winding::kOutward, {3, 0, 0});
  test::assignMaterial(textured, 0);
  for (size_t t = 6; t < 12; ++t) textured.materials[t] = 1;
  for (float& uv : textured.uvs) uv = uv / 7.0f + 0.1f;
  test::paint(textured, {0.2f, 0.4f, 1.0f});
  const TriMesh mesh = test::buildMesh(test::concatenate(coloured, textured));
  ModelNames names;
  names.materials = {{"bark wood", dir.file("bark.png")}, {"leaf", ""}};

  const std::string path = dir.file("out.obj");
  ASSERT_TRUE(writeObjTool(path.c_str(), mesh, names));
  const Read back = readPath(path);
  ASSERT_EQ(back.result.error, "");
  EXPECT_EQ(test::invariantViolation(back.mesh), "");
  EXPECT_EQ(records(back.mesh, back.names), records(mesh, names));
  EXPECT_EQ(back.mesh.vertices.size(), mesh.vertices.size());
  ASSERT_EQ(back.names.materials.size(), 2u);
  EXPECT_EQ(back.names.materials[0].image, dir.file("bark.png"));
  EXPECT_EQ(test::readFileBytes(mtlPathOf(path)),
            "# materials written by vekmesh\n\nnewmtl bark wood\nKd 1 1 1\nmap_Kd bark.png\n\n"
            "newmtl leaf\nKd 1 1 1\n");
  EXPECT_EQ(test::edgeCensus(back.mesh).edges, test::edgeCensus(mesh).edges);
}

// A line ending in "\\" goes on in the next: names that end so must not take
// the next line with them, in the OBJ or in its material library.
TEST(ObjTool, NamesEndingInABackslashKeepTheLineAfterThem) {
  ScratchDir dir;
  Soup s = test::cubeSoup(1.0f);
  test::assignMaterial(s, 0);
  for (size_t t = 6; t < 12; ++t) s.materials[t] = 1;
  const TriMesh mesh = test::buildMesh(s);
  ModelNames names;
  names.materials = {{"oak\\", dir.file("oak.png")}, {"pine \\", ""}};
  names.groups = {"top\\", "rest"};
  for (size_t f = 0; f < mesh.faces.size(); ++f) names.faceGroups.push_back(f < 4 ? 0 : 1);
  const std::string path = dir.file("b.obj");
  ASSERT_TRUE(writeObjTool(path.c_str(), mesh, names));
  const Read back = readPath(path);
  ASSERT_EQ(back.result.error, "");
  ASSERT_EQ(back.mesh.faces.size(), mesh.faces.size());
  EXPECT_EQ(records(back.mesh, back.names), records(mesh, names));
  ASSERT_EQ(back.names.materials.size(), 2u);
  EXPECT_EQ(back.names.materials[0].image, dir.file("oak.png"));
  EXPECT_EQ(back.names.groups, names.groups);
  EXPECT_EQ(back.names.faceGroups, names.faceGroups);
}

TEST(ObjTool, ThirtyEightMaterialGroupsKeepTheirNames) {
  ScratchDir dir;
  Soup s = test::uvSphereSoup(1.0f, 19, 5);
  test::assignMaterial(s, 0);
  for (uint32_t t = 0; t < s.triangleCount(); ++t) s.materials[t] = int32_t((t * 7) % 38);
  const TriMesh mesh = test::buildMesh(s);
  ModelNames names;
  for (int m = 0; m < 38; ++m) names.materials.push_back({"mat " + std::to_string(37 - m), ""});
  ASSERT_TRUE(writeObjTool(dir.file("m.obj").c_str(), mesh, names));
  const Read back = readPath(dir.file("m.obj"));
  ASSERT_EQ(back.result.error, "");
  EXPECT_EQ(back.names.materials.size(), 38u);
  EXPECT_EQ(records(back.mesh, back.names), records(mesh, names));
  // One usemtl line per material: faces come grouped.
  const std::string text = test::readFileBytes(dir.file("m.obj"));
  size_t lines = 0;
  for (size_t at = text.find("usemtl "); at != std::string::npos; at = text.find("usemtl ", at + 1))
    ++lines;
  EXPECT_EQ(lines, 38u);
}

TEST(ObjTool, PlainModelStaysPlainAndReadsItsOwnGroupsBack) {
  ScratchDir dir;
  const TriMesh mesh = test::buildMesh(awkwardTorus());
  ModelNames none;
  ASSERT_TRUE(writeObjTool(dir.file("p.obj").c_str(), mesh, none));
  const std::string text = test::readFileBytes(dir.file("p.obj"));
  EXPECT_EQ(text.find("mtllib"), std::string::npos);
  EXPECT_EQ(text.find("vt "), std::string::npos);
  EXPECT_EQ(text.find("usemtl"), std::string::npos);
  EXPECT_FALSE(test::readFileBytes(dir.file("p.mtl")).size());
  // Three numbers on every vertex line: no colour invented.
  for (size_t at = text.find("\nv "); at != std::string::npos; at = text.find("\nv ", at + 1)) {
    const std::string line = text.substr(at + 1, text.find('\n', at + 1) - at - 1);
    EXPECT_EQ(std::count(line.begin(), line.end(), ' '), 3) << line;
  }
  Read back = readPath(dir.file("p.obj"));
  EXPECT_EQ(records(back.mesh, back.names), records(mesh, none));

  // Groups written with the faces they name come back with them.
  ModelNames grouped;
  grouped.groups = {"left half", "right"};
  for (const Face& f : mesh.faces)
    grouped.faceGroups.push_back(mesh.vertices[f.v[0]].position[0] < 0 ? 0 : 1);
  ASSERT_TRUE(writeObjTool(dir.file("g.obj").c_str(), mesh, grouped));
  back = readPath(dir.file("g.obj"));
  auto group_names = [](const ModelNames& n) {
    std::vector<std::string> out;
    for (const uint32_t g : n.faceGroups) out.push_back(n.groups.at(g));
    return out;
  };
  ASSERT_EQ(back.mesh.faces.size(), mesh.faces.size());
  EXPECT_EQ(group_names(back.names), group_names(grouped));
}

TEST(ObjTool, RelativeNumbersPolygonsAndContinuedLines) {
  ScratchDir dir;
  // The tetrahedron with relative numbers (texture coordinates too) reads as
  // the one with absolute numbers.
  const Read relative =
      readText(dir,
               "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.5 0.25\nusemtl a\nf -3/-1 -1/-1 -2/-1\n"
               "v 0 0 1\nf -4/-1 -3/-1 -1/-1\nf -4/-1 -1/-1 \\\n -2/-1\nf -3/-1/-1 -2/-1 -1/-1\n",
               "r.obj");
  const Read absolute =
      readText(dir,
               "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.5 0.25\nusemtl a\nf 1/1 3/1 2/1\nv 0 0 1\n"
               "f 1/1 2/1 4/1\nf 1/1 4/1 3/1\nf 2/1 3/1 4/1\n",
               "a.obj");
  ASSERT_EQ(relative.result.error, "");
  EXPECT_EQ(relative.mesh.faces.size(), 4u);
  EXPECT_EQ(records(relative.mesh, relative.names), records(absolute.mesh, absolute.names));
  EXPECT_TRUE(test::edgeCensus(relative.mesh).closedManifoldOriented());

  // A concave hexagon is covered without folds; a convex quad is fanned from
  // its first corner; repeated points go; "a//c" corners have no texture.
  const Read l_shape = readText(dir, test::kConcavePolygonObj);
  ASSERT_EQ(l_shape.mesh.faces.size(), 4u);
  double area = 0.0;
  for (const Face& f : l_shape.mesh.faces) {
    const auto &p = l_shape.mesh.vertices[f.v[0]].position,
               &q = l_shape.mesh.vertices[f.v[1]].position,
               &r = l_shape.mesh.vertices[f.v[2]].position;
    const double a = 0.5 * ((q[0] - p[0]) * (r[1] - p[1]) - (q[1] - p[1]) * (r[0] - p[0]));
    EXPECT_GT(a, 0.0);
    area += a;
  }
  EXPECT_DOUBLE_EQ(area, 3.0);
  const Read quad =
      readText(dir, "v 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\nvn 0 0 1\nf 1//1 1//1 2//1 3//1 4//1\n");
  ASSERT_EQ(quad.mesh.faces.size(), 2u);
  EXPECT_EQ(quad.mesh.faces[1].v[0], quad.mesh.faces[0].v[0]);
  EXPECT_EQ(quad.mesh.faces[0].material, kNoMaterial);
}

TEST(ObjTool, MaterialLibraryImagesAndUnnamedTexturedFaces) {
  ScratchDir dir;
  dir.write("lib.mtl",
            "newmtl skin\r\nKd 1 0 0\r\nmap_Kd -s 1 1 1 -clamp on tex/skin map.png\r\n"
            "newmtl bare\nnewmtl \"odd\"\nmap_Kd C:\\maps\\odd.jpg\n");
  const Read r =
      readText(dir,
               "mtllib lib.mtl missing.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nvt 1 1\n"
               "f 1/1 2/1 3/1\nusemtl bare\nf 1 2 4\nusemtl skin\nf 2 3 4\nusemtl \"odd\"\n"
               "f 1 3 4\nusemtl bare\nf 4 3 1\nusemtl\nf 4 2 1\n");
  ASSERT_EQ(r.result.error, "");
  ASSERT_EQ(r.result.warnings.size(), 1u);
  EXPECT_NE(r.result.warnings[0].find("missing.mtl"), std::string::npos);
  // The faces with texture coordinates before any usemtl keep them under a
  // material without a name; usemtl names are numbered once each.
  ASSERT_EQ(r.names.materials.size(), 4u);
  EXPECT_EQ(r.names.materials[0].name, "");
  EXPECT_EQ(r.names.materials[1].name, "bare");
  EXPECT_EQ(r.names.materials[2].image, dir.file("tex/skin map.png"));
  EXPECT_EQ(r.names.materials[3].image, "C:/maps/odd.jpg");
  const int16_t expected[] = {0, 1, 2, 3, 1, kNoMaterial};
  ASSERT_EQ(r.mesh.faces.size(), 6u);
  for (size_t f = 0; f < 6; ++f) EXPECT_EQ(r.mesh.faces[f].material, expected[f]) << f;
  EXPECT_EQ(r.mesh.texCoords[r.mesh.faces[0].uv[0]].u, 1.0);

  // Written back: the unnamed material keeps its coordinates without a
  // usemtl, and its image-less name is not listed in the .mtl.
  EXPECT_FALSE(writeObjTool(dir.file("sub/out.obj").c_str(), r.mesh, r.names));
  ASSERT_TRUE(writeObjTool(dir.file("out.obj").c_str(), r.mesh, r.names));
  const Read back = readPath(dir.file("out.obj"));
  EXPECT_EQ(records(back.mesh, back.names), records(r.mesh, r.names));
  EXPECT_EQ(back.names.materials[2].image, dir.file("tex/skin map.png"));
  EXPECT_EQ(test::readFileBytes(dir.file("out.mtl")).find("newmtl \n"), std::string::npos);
}

TEST(ObjTool, FaultsAreErrorsNamingTheirLine) {
  ScratchDir dir;
  const std::pair<std::string, std::string> cases[] = {
      {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n", "line 4: a face refers to vertex 4 of 3"},
      {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf -4 -2 -1\n", "line 4: a face refers to vertex -4"},
      {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n", "line 4: a face refers to vertex 0"},
      {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1/2 2 3\n", "texture coordinate 2 of 0"},
      {"# x\n\nv 1e39 0 0\n", "line 3: a vertex coordinate is not a finite"},
      {"v nan 0 0\n", "line 1: a vertex coordinate is not a finite"},
      {"v 0 0 zero\n", "'zero' is not a number"},
      {"v 0 0\n", "a vertex needs three coordinates"},
      {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 99999999999999999999\n", "is not a vertex number"},
      {"v 0 0 0\n\x7f"
       "ELF\x01\x02\x03\x00\x00\n",
       "line 2: holds a control character"},
      {"vt inf 0\n", "texture coordinate is not a finite"},
  };
  for (const auto& [text, message] : cases) {
    const Read r = readText(dir, text);
    EXPECT_NE(r.result.error.find(message), std::string::npos) << r.result.error;
    EXPECT_TRUE(r.mesh.faces.empty());
    EXPECT_EQ(r.result.triangles, 0u);
  }
  // A line too long to be honest ends the reading with an error, the
  // continuation of a line counted from its first physical line.
  std::string long_line =
      "v 0 0 0\nv 1 0 0\nv 0 1 0\n# " + std::string(TextLines::kMaxLineBytes, 'x');
  EXPECT_NE(readText(dir, long_line).result.error.find("line 4: is longer than 16 MiB"),
            std::string::npos);
  // A NaN colour, a short face and a missing file are not faults of the
  // geometry: the first two are warnings, the last has no mesh.
  const Read warned = readText(dir, "v 0 0 0 nan 0 0\nv 1 0 0 2 -1 0.5\nv 0 1 0\nf 1 2\nf 1 2 3\n");
  ASSERT_EQ(warned.result.error, "");
  EXPECT_EQ(warned.result.warnings.size(), 2u);
  ASSERT_EQ(warned.mesh.faces.size(), 1u);
  EXPECT_EQ(warned.mesh.faces[0].colors[0][0], 255);
  EXPECT_EQ(warned.mesh.faces[0].colors[1][0], 255);  // clamped
  EXPECT_EQ(warned.mesh.faces[0].colors[1][1], 0);
  EXPECT_EQ(warned.mesh.faces[0].colors[1][2], 128);  // rounded
  EXPECT_NE(readPath(dir.file("none.obj")).result.error, "");
  // The tool's dispatch reads the same way.
  TriMesh dispatched;
  importByExtension(dir.write("rel.OBJ", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf -3 -2 -1\n").c_str(),
                    dispatched, nullptr, ExtensionMatch::kToolNames);
  EXPECT_EQ(dispatched.faces.size(), 1u);
}

}  // namespace
}  // namespace vekmesh
