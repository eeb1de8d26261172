// The OBJ writer (exact text), the reader (colours, texture numbers, the usemtl
// counter, polygons) and their round trip.
#include "io/obj.h"

#include <gtest/gtest.h>

#include <set>

#include "face_list.h"
#include "io/file_dispatch.h"
#include "io_samples.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::ScratchDir;
using test::Soup;

std::string writeToText(const SubMesh& mesh, const ScratchDir& dir) {
  writeObj(dir.file("out.obj").c_str(), mesh);
  return test::readFileBytes(dir.file("out.obj"));
}

TriMesh readText(ScratchDir& dir, const std::string& text) {
  TriMesh mesh;
  readObj(dir.write("in.obj", text).c_str(), mesh);
  return mesh;
}

// Signed area seen from +z of face `only`, or of every face.
double areaFromAbove(const SubMesh& mesh, int only = -1) {
  double area = 0.0;
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    if (only >= 0 && f != size_t(only)) continue;
    const auto& [a, b, c] = mesh.faces[f].v;
    const auto &p = mesh.vertices[a].position, &q = mesh.vertices[b].position,
               &r = mesh.vertices[c].position;
    area += 0.5 * ((double(q[0]) - p[0]) * (double(r[1]) - p[1]) -
                   (double(q[1]) - p[1]) * (double(r[0]) - p[0]));
  }
  return area;
}

TEST(ObjWriter, TexturedFacesAndGroupsInAscendingOrder) {
  ScratchDir dir;
  Soup soup;  // the unit square and a triangle on its corner (1, 1, 0)
  soup.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  soup.addTriangle({1, 0, 0}, {1, 1, 0}, {0, 1, 0});
  soup.addTriangle({1, 1, 0}, {2, 1, 0}, {1, 2, 0});
  soup.materials = {2, 0, -1};
  // The last triangle's are never read.
  soup.uvs = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f, 0.25f, 0.125f};
  soup.uvs.resize(18, 9.0f);
  test::paint(soup, {0, 1, 0});
  TriMesh mesh = test::buildMesh(soup);
  EXPECT_EQ(writeToText(mesh, dir),
            "mtllib output.mtl\n"
            "vt 0.10000 0.20000\n"
            "vt 0.30000 0.40000\n"
            "vt 0.50000 0.60000\n"
            "vt 0.70000 0.80000\n"
            "vt 0.90000 1.00000\n"
            "vt 0.25000 0.12500\n"
            "v 0.00000 0.00000 0.00000\n"
            "v 1.00000 0.00000 0.00000\n"
            "v 0.00000 1.00000 0.00000\n"
            "v 1.00000 1.00000 0.00000\n"                    // textured use of (1,1,0), no colour
            "v 1.00000 1.00000 0.00000 0.000 1.000 0.000\n"  // its untextured use
            "v 2.00000 1.00000 0.00000 0.000 1.000 0.000\n"
            "v 1.00000 2.00000 0.00000 0.000 1.000 0.000\n"
            "usemtl -1\n"
            "f 5 6 7\n"
            "usemtl 0\n"
            "f 2/4 4/5 3/6\n"
            "usemtl 2\n"
            "f 1/1 2/2 3/3\n");

  // Removed faces write neither their face line nor the vertex lines only
  // they would need.
  mesh.faces[2].removed = 1;
  const std::string text = writeToText(mesh, dir);
  EXPECT_EQ(text.find("0.000 1.000 0.000"), std::string::npos);
  EXPECT_EQ(text.find("usemtl -1"), std::string::npos);

  // Unwritable paths (a missing folder, a directory, none) leave no file.
  const std::string path = dir.path() + "/missing/out.obj";
  for (const char* bad : {path.c_str(), dir.path().c_str(), static_cast<const char*>(nullptr)})
    writeObj(bad, mesh);
  EXPECT_TRUE(test::readFileBytes(path).empty());
}

TEST(ObjReader, ColoursTextureNumbersAndUsemtlCounter) {
  ScratchDir dir;
  const TriMesh mesh = readText(dir, test::kFeaturesObj);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  // One triangle, one textured triangle, one quad; the faces with relative,
  // zero and too-large numbers are dropped.
  ASSERT_EQ(mesh.faces.size(), 4u);

  const Face& plain = mesh.faces[0];
  EXPECT_EQ(plain.material, kNoMaterial);  // before the first usemtl
  for (int c = 0; c < 3; ++c)
    for (int k = 0; k < 3; ++k) EXPECT_EQ(plain.colors[c][k], c == k ? 255 : 0);

  const Face& textured = mesh.faces[1];
  EXPECT_EQ(textured.material, 1);                                   // after the first usemtl
  const double uv[3][2] = {{0.25, 0.5}, {0.75, 0.125}, {0.0, 0.0}};  // number 7 does not exist
  for (int c = 0; c < 3; ++c) {
    ASSERT_LT(textured.uv[c], mesh.texCoords.size());
    EXPECT_EQ(mesh.texCoords[textured.uv[c]].u, uv[c][0]);
    EXPECT_EQ(mesh.texCoords[textured.uv[c]].v, uv[c][1]);
  }
  // "v 1 1 0" has no colour: white.
  EXPECT_EQ(textured.colors[1][0], 255);
  EXPECT_EQ(textured.colors[1][1], 255);

  // The same material name again is a new group: groups count by appearance.
  EXPECT_EQ(mesh.faces[2].material, 2);
  EXPECT_EQ(mesh.faces[3].material, 2);
  EXPECT_DOUBLE_EQ(areaFromAbove(mesh), 0.5 + 0.5 + 1.0);
  // Corners of the quad: "1//1" has no texture number, "2/2/2" has 2.
  std::set<std::pair<double, double>> quad_uvs;
  for (int f = 2; f < 4; ++f)
    for (int c = 0; c < 3; ++c) {
      const TexCoord& t = mesh.texCoords[mesh.faces[f].uv[c]];
      quad_uvs.insert({t.u, t.v});
    }
  EXPECT_EQ(quad_uvs, (std::set<std::pair<double, double>>{{0.0, 0.0}, {0.75, 0.125}}));
}

// Relative numbers are not the exports' to read: those faces are dropped
// (the tool's own reader takes them).
TEST(ObjReader, RelativeNumbersAreDropped) {
  ScratchDir dir;
  const TriMesh exports = readText(dir, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf -3 -2 -1\nf 1 2 3\n");
  EXPECT_EQ(exports.faces.size(), 1u);
}

TEST(ObjReader, PolygonsAreTriangulatedInsideTheirOutline) {
  ScratchDir dir;
  // Concave: every triangle must face +z, and together they cover area 3
  // (a fan from the reflex corner would fold over the notch).
  const TriMesh l_shape = readText(dir, test::kConcavePolygonObj);
  ASSERT_EQ(l_shape.faces.size(), 4u);
  for (int f = 0; f < 4; ++f) EXPECT_GT(areaFromAbove(l_shape, f), 0.0);
  EXPECT_DOUBLE_EQ(areaFromAbove(l_shape), 3.0);

  // Repeated consecutive points are skipped, including last to first; a
  // continued line is one face.
  for (const std::string& text : {std::string("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 1 1 0\n"
                                              "f 1 1 2 3 5 4 1\n"),
                                  test::objSamples()[2].bytes}) {
    const TriMesh square = readText(dir, text);
    EXPECT_EQ(square.faces.size(), 2u);
    EXPECT_DOUBLE_EQ(areaFromAbove(square), 1.0);
  }
}

// Writing and reading back keeps positions (to the 5 decimals written),
// texture coordinates, colours (bytes truncated after 3 decimals, so at most
// one step down; multiples of 0.2 exactly) and the material groups, which come
// back numbered by their order in the file.
TEST(ObjRoundTrip, KeepsColoursTextureCoordinatesAndGroups) {
  ScratchDir dir;
  Soup coloured = test::uvSphereSoup(1.0f, 16, 8);
  coloured.colors.clear();
  for (size_t i = 0; i < coloured.corners.size(); ++i)
    coloured.colors.push_back(float(i % 256) / 255.0f);
  Soup textured = test::cubeSoup(0.5f, test::Winding::kOutward, {3, 0, 0});
  test::assignMaterial(textured, 0);
  for (size_t t = 6; t < 12; ++t) textured.materials[t] = 1;
  const TriMesh mesh = test::buildMesh(test::concatenate(coloured, textured));

  const std::string path = dir.file("round.obj");
  writeObj(path.c_str(), mesh);
  TriMesh back;
  importByExtension(path.c_str(), back);
  ASSERT_EQ(back.faces.size(), mesh.faces.size());
  EXPECT_EQ(test::invariantViolation(back), "");

  // Faces come back group by group (-1, 0, 1), each group in face order; every
  // group, the untextured one included, has its "usemtl" line, so they read
  // back as 1, 2, 3.
  size_t i = 0;
  for (const int group : {-1, 0, 1})
    for (const Face& was : mesh.faces) {
      if (was.material != group) continue;
      const Face& now = back.faces[i++];
      EXPECT_EQ(now.material, was.material + 2) << "face " << i;
      for (int c = 0; c < 3; ++c) {
        for (int a = 0; a < 3; ++a)
          EXPECT_NEAR(back.vertices[now.v[c]].position[a], mesh.vertices[was.v[c]].position[a],
                      5e-6);
        if (was.material < 0) {
          for (int k = 0; k < 3; ++k) {
            const int drop = was.colors[c][k] - now.colors[c][k];
            EXPECT_TRUE(drop == 0 || (drop == 1 && was.colors[c][k] % 51 != 0)) << drop;
          }
        } else {
          EXPECT_NEAR(back.texCoords[now.uv[c]].u, mesh.texCoords[was.uv[c]].u, 5e-6);
          EXPECT_NEAR(back.texCoords[now.uv[c]].v, mesh.texCoords[was.uv[c]].v, 5e-6);
        }
      }
    }
}

}  // namespace
}  // namespace vekmesh
