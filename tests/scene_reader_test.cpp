// Tests of the scene reader on scenes written here: transforms and per-face
// colours, DEF/USE, VRML 1.0 state, X3D XML with a texture, gzip by content,
// non-convex polygons, ccw FALSE, primitives, the export's names, and bounded
// answers to hostile text.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "geometry/vectors.h"
#include "include/vekmesh.h"
#include "io/scene_shapes.h"
#include "io/vrml.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

ByteSoup readText(const std::string& text, std::vector<std::string>* names = nullptr,
                  size_t max_triangles = kMaxSceneTriangles) {
  ByteSoup soup;
  std::vector<std::string> collected, notes;
  collectSceneTriangles(parseScene(text), soup, names ? *names : collected, notes, max_triangles);
  return soup;
}

// Signed volume of a soup, and whether every directed edge has its reverse
// (closed and consistently wound), after an exact weld of the corners.
double soupVolume(const ByteSoup& s) {
  double six = 0.0;
  for (size_t t = 0; t < s.triangleCount(); ++t) {
    const float* p = &s.corners[9 * t];
    six += double(p[0]) * (double(p[4]) * p[8] - double(p[5]) * p[7]) -
           double(p[1]) * (double(p[3]) * p[8] - double(p[5]) * p[6]) +
           double(p[2]) * (double(p[3]) * p[7] - double(p[4]) * p[6]);
  }
  return six / 6.0;
}

bool closedAndConsistent(const ByteSoup& s) {
  using Point = std::array<float, 3>;
  std::map<std::pair<Point, Point>, int> edges;
  for (size_t t = 0; t < s.triangleCount(); ++t)
    for (int c = 0; c < 3; ++c) {
      const float* a = &s.corners[9 * t + 3 * size_t(c)];
      const float* b = &s.corners[9 * t + 3 * size_t((c + 1) % 3)];
      ++edges[{{a[0], a[1], a[2]}, {b[0], b[1], b[2]}}];
    }
  for (const auto& [e, n] : edges)
    if (n != 1 || edges.count({e.second, e.first}) != 1) return false;
  return !edges.empty();
}

const char* kCubeFaces =
    "coord Coordinate { point [ 0 0 0, 1 0 0, 1 1 0, 0 1 0, 0 0 1, 1 0 1, 1 1 1, 0 1 1 ] }\n"
    "coordIndex [ 0 3 2 1 -1, 4 5 6 7 -1, 0 1 5 4 -1, 2 3 7 6 -1, 0 4 7 3 -1, 1 2 6 5 -1 ]\n";

TEST(SceneReader, TransformedCubeWithPerFaceColours) {
  // Scale x by 2, then turn 90 degrees about z, then move by (10, 0, 0).
  const std::string text = std::string("#VRML V2.0 utf8\n") +
                           "Transform { translation 10 0 0 rotation 0 0 1 1.5707963267948966\n"
                           "  scale 2 1 1 children [ Shape { geometry IndexedFaceSet {\n" +
                           kCubeFaces +
                           "  colorPerVertex FALSE color Color { color [ 1 0 0, 0 1 0, 0 0 1,"
                           " 1 1 0, 0 1 1, 1 0 1 ] } } } ] }";
  const ByteSoup s = readText(text);
  ASSERT_EQ(s.triangleCount(), 12u);
  EXPECT_TRUE(closedAndConsistent(s));
  EXPECT_NEAR(soupVolume(s), 2.0, 1e-5);
  // Corner (1, 1, 1) -> scaled (2, 1, 1) -> turned (-1, 2, 1) -> moved (9, 2, 1).
  bool found = false;
  for (size_t i = 0; i < s.corners.size(); i += 3)
    found = found || (std::fabs(s.corners[i] - 9.0f) < 1e-5f &&
                      std::fabs(s.corners[i + 1] - 2.0f) < 1e-5f && s.corners[i + 2] == 1.0f);
  EXPECT_TRUE(found);
  // The first face's two triangles are red, the second's green.
  EXPECT_EQ(std::vector<uint8_t>(s.colors.begin(), s.colors.begin() + 3),
            (std::vector<uint8_t>{255, 0, 0}));
  EXPECT_EQ(std::vector<uint8_t>(s.colors.begin() + 18, s.colors.begin() + 21),
            (std::vector<uint8_t>{0, 255, 0}));
  EXPECT_TRUE(s.uvs.empty());
  EXPECT_EQ(s.materials[0], kNoMaterial);
}

TEST(SceneReader, DefUseInstancesTheGeometryAgain) {
  const std::string text = std::string("#VRML V2.0 utf8\n") +
                           "DEF Cube Shape { geometry IndexedFaceSet {\n" + kCubeFaces +
                           "} }\nTransform { translation 5 0 0 children USE Cube }\n"
                           "Transform { translation 0 5 0 children [ USE Cube ] }";
  const ByteSoup s = readText(text);
  EXPECT_EQ(s.triangleCount(), 36u);
  EXPECT_NEAR(soupVolume(s), 3.0, 1e-5);
}

TEST(SceneReader, Vrml1StateFollowsSeparators) {
  const std::string text =
      "#VRML V1.0 ascii\n"
      "Separator {\n"
      "  Material { diffuseColor [ 1 0 0, 0 0 1 ] }\n"
      "  MaterialBinding { value PER_FACE }\n"
      "  Coordinate3 { point [ 0 0 0, 1 0 0, 1 1 0, 0 1 0 ] }\n"
      "  Separator { Translation { translation 0 0 5 } IndexedFaceSet { coordIndex [ 0 1 2 -1, 0 2 "
      "3 -1 ] } }\n"
      "  IndexedFaceSet { coordIndex [ 0, 1, 2, -1 ] }\n"
      "  Cube { width 2 height 2 depth 2 }\n"
      "}";
  const ByteSoup s = readText(text);
  ASSERT_EQ(s.triangleCount(), 3u + 12u);
  EXPECT_EQ(s.corners[2], 5.0f);   // inside the inner separator, moved up
  EXPECT_EQ(s.corners[20], 0.0f);  // the translation ended with it
  EXPECT_EQ(s.colors[0], 255);     // first face red
  EXPECT_EQ(s.colors[11], 255);    // second face blue
  // The cube is closed, outward, of volume 8.
  ByteSoup cube = s;
  cube.corners.erase(cube.corners.begin(), cube.corners.begin() + 27);
  cube.materials.erase(cube.materials.begin(), cube.materials.begin() + 3);
  EXPECT_TRUE(closedAndConsistent(cube));
  EXPECT_NEAR(soupVolume(cube), 8.0, 1e-5);
}

TEST(SceneReader, XmlTriangleSetWithATextureGetsMaterialAndName) {
  const std::string text =
      "<?xml version='1.0'?>\n<X3D><Scene><Shape>"
      "<Appearance><ImageTexture url='\"wood.png\" \"http://x/wood.png\"'/></Appearance>"
      "<IndexedTriangleSet index='0 1 2 0 2 3'><Coordinate point='0 0 0 1 0 0 1 1 0 0 1 0'/>"
      "<TextureCoordinate point='0 0, 1 0, 1 1, 0 1'/></IndexedTriangleSet></Shape>"
      "<Shape><Appearance><ImageTexture url='\"wood.png\"'/></Appearance>"
      "<TriangleSet><Coordinate point='0 0 1 1 0 1 1 1 1'/></TriangleSet></Shape></Scene></X3D>";
  std::vector<std::string> names;
  const ByteSoup s = readText(text, &names);
  ASSERT_EQ(s.triangleCount(), 3u);
  EXPECT_EQ(names, std::vector<std::string>{"wood.png"});
  EXPECT_EQ(s.materials, (std::vector<int16_t>{0, 0, 0}));
  ASSERT_EQ(s.uvs.size(), 18u);
  EXPECT_EQ(std::vector<double>(s.uvs.begin(), s.uvs.begin() + 6),
            (std::vector<double>{0, 0, 1, 0, 1, 1}));
}

TEST(SceneReader, NonConvexPolygonsAndCcwFalse) {
  // An 8-cornered U shape: its 6 triangles lie inside the outline (area 7).
  const std::string polygon =
      "geometry IndexedFaceSet { coord Coordinate { point [ 0 0 0, 3 0 0, 3 3 0, 2 3 0, 2 1 0,"
      " 1 1 0, 1 3 0, 0 3 0 ] } coordIndex [ 0 1 2 3 4 5 6 7 ] ";
  for (const bool ccw : {true, false}) {
    const ByteSoup s =
        readText("#VRML V2.0 utf8\nShape { " + polygon + (ccw ? "" : "ccw FALSE") + " } }");
    ASSERT_EQ(s.triangleCount(), 6u);
    double area = 0.0;
    for (size_t t = 0; t < 6; ++t) {
      const float* p = &s.corners[9 * t];
      const double z = (p[3] - p[0]) * (p[7] - p[1]) - (p[4] - p[1]) * (p[6] - p[0]);
      EXPECT_EQ(z > 0.0, ccw) << t;  // every triangle wound the same way
      area += 0.5 * z;
      // The centroid is not in the notch between x 1..2, y 1..3.
      const double cx = (p[0] + p[3] + p[6]) / 3.0, cy = (p[1] + p[4] + p[7]) / 3.0;
      EXPECT_FALSE(cx > 1.0 && cx < 2.0 && cy > 1.0) << t;
    }
    EXPECT_NEAR(std::fabs(area), 7.0, 1e-6);
  }
}

TEST(SceneReader, PrimitivesAreClosedAndOutward) {
  struct Case {
    const char* node;
    double volume, tolerance;
  };
  for (const Case& c : {Case{"Box { size 2 3 4 }", 24.0, 1e-5},
                        Case{"Sphere { radius 2 }", 4.0 / 3.0 * kPi * 8.0, 0.1},
                        Case{"Cylinder { radius 1 height 2 }", 2.0 * kPi, 0.02},
                        Case{"Cone { bottomRadius 1 height 3 }", kPi, 0.01}}) {
    const ByteSoup s = readText(std::string("#VRML V2.0 utf8\nShape { geometry ") + c.node + " }");
    EXPECT_TRUE(closedAndConsistent(s)) << c.node;
    EXPECT_NEAR(soupVolume(s), c.volume, c.tolerance * c.volume) << c.node;
  }
  // A mirroring transform keeps them outward.
  const ByteSoup mirrored =
      readText("#VRML V2.0 utf8\nTransform { scale -1 1 1 children Shape { geometry Box {} } }");
  EXPECT_NEAR(soupVolume(mirrored), 8.0, 1e-5);
}

std::string scratchPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("vekmesh-scene-" + name)).string();
}

TEST(SceneReader, GzipIsFoundByContentAndTheExportReturnsNames) {
  const std::string text =
      std::string("#X3D V3.2 utf8\nPROFILE Interchange\n") +
      "Shape { appearance Appearance { texture ImageTexture { url \"a.jpg\" } }\n"
      "geometry IndexedFaceSet {\n" +
      kCubeFaces + "} }";
  const std::string path = scratchPath("packed.wrl");
  gzFile gz = gzopen(path.c_str(), "wb");
  ASSERT_NE(gz, nullptr);
  gzwrite(gz, text.data(), unsigned(text.size()));
  gzclose(gz);

  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 0, name_count = 0;
  char** names = nullptr;
  importFileVRML(path.c_str(), &corners, &colors, &uvs, &materials, &count, &names, &name_count);
  EXPECT_EQ(count, 12u);
  ASSERT_EQ(name_count, 1u);
  EXPECT_STREQ(names[0], "a.jpg");
  EXPECT_EQ(materials[0], 0);
  freeAllArray();

  // Cut short: whatever inflates is read, nothing crashes.
  std::ifstream in(path, std::ios::binary);
  std::string packed((std::istreambuf_iterator<char>(in)), {});
  std::ofstream(path, std::ios::binary).write(packed.data(), std::streamsize(packed.size() / 2));
  importFile(path.c_str(), &corners, &colors, &uvs, &materials, &count);
  EXPECT_LE(count, 12u);
  freeAllArray();
  std::filesystem::remove(path);
}

TEST(SceneReader, OutsideFilesAreNeverFollowedAndSaySo) {
  for (const std::string& text :
       {std::string("#VRML V2.0 utf8\nInline { url \"/etc/other.wrl\" }\n"
                    "PROTO Tree [ field SFFloat h 1 ] { Shape { geometry Box {} } }\nTree { h 2 }\n"
                    "EXTERNPROTO Far [ ] \"http://x/far.wrl\"\nShape { geometry Box {} }"),
        std::string("<X3D><Scene><Inline url='\"other.x3d\"'/><ProtoDeclare name='P'/>"
                    "<Shape><Box/></Shape></Scene></X3D>")}) {
    ByteSoup soup;
    std::vector<std::string> names, notes;
    const SceneDocument scene = parseScene(text);
    notes = scene.notes;
    collectSceneTriangles(scene, soup, names, notes);
    EXPECT_EQ(soup.triangleCount(), 12u);  // the box, and nothing of the others
    EXPECT_NE(std::find(notes.begin(), notes.end(), "Inline skipped"), notes.end()) << text;
    EXPECT_GE(notes.size(), 2u) << text;
  }
}

TEST(SceneReader, HostileTextGivesBoundedAnswers) {
  // Indices past the coordinates, NaN numbers, unbalanced brackets.
  EXPECT_EQ(readText("#VRML V2.0 utf8\nShape { geometry IndexedFaceSet { coord Coordinate"
                     " { point [ 0 0 0 ] } coordIndex [ 0 23 24 -1 ] } }")
                .triangleCount(),
            0u);
  EXPECT_EQ(readText("#VRML V2.0 utf8\nShape { geometry IndexedFaceSet { coord Coordinate"
                     " { point [ nan 0 0, 1 0 0, 0 1 0 ] } coordIndex [ 0 1 2 ] } }")
                .triangleCount(),
            0u);  // "nan" is no number: two points are left
  readText("#VRML V2.0 utf8\nShape { geometry IndexedFaceSet { coord Coordinate { point [ 0 0 0 ]");
  readText("#VRML V2.0 utf8\n}}}]]] Group { children [ ] ] } } { [");
  // A node that uses itself: the name is bound only once the node is complete.
  EXPECT_EQ(
      readText("#VRML V2.0 utf8\nDEF A Group { children [ USE A Shape { geometry Box {} } ] }")
          .triangleCount(),
      12u);
  // Doubling by DEF/USE forty times: the triangle bound ends it.
  std::string doubling = "#VRML V2.0 utf8\nDEF G0 Group { children Shape { geometry Box {} } }\n";
  for (int i = 1; i <= 40; ++i)
    doubling += "DEF G" + std::to_string(i) + " Group { children [ USE G" + std::to_string(i - 1) +
                " USE G" + std::to_string(i - 1) + " ] }\n";
  EXPECT_EQ(readText(doubling, nullptr, 120000).triangleCount(), 120000u);
  EXPECT_EQ(sceneTriangleLimit(doubling.size()), size_t(4) << 20);
  // Nesting far deeper than any scene: parsed up to the bound, no overflow.
  std::string deep = "#VRML V2.0 utf8\n";
  for (int i = 0; i < 100000; ++i) deep += "Group { children [ ";
  readText(deep);
  std::string xml_deep = "<X3D>";
  for (int i = 0; i < 100000; ++i) xml_deep += "<Group>";
  readText(xml_deep);
  // An entity bomb is not expanded.
  const std::string bomb =
      "<?xml version='1.0'?><!DOCTYPE X3D [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;&a;"
      "&a;&a;&a;&a;&a;'><!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;'>]><X3D><Scene><Shape>"
      "<Box size='&c;'/></Shape></Scene></X3D>";
  EXPECT_LE(readText(bomb).triangleCount(), 12u);
}

}  // namespace
}  // namespace vekmesh
