// The PLY reader and writer: a coloured model round-trips bit-exact with
// shared vertices, the three encodings of one file read alike (polygons
// fanned, unknown elements skipped, float colours scaled), and hostile files
// give an empty mesh.
#include "io/ply.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "face_list.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"

namespace {

namespace test = vekmesh::test;
using test::ScratchDir;
using vekmesh::TriMesh;

using test::faceList;

TEST(Ply, ColouredModelRoundTripsWithSharedVertices) {
  ScratchDir dir;
  test::Soup s = test::uvSphereSoup(1.3f, 16, 9);
  test::paint(s, {1.0f, 1.0f, 1.0f});
  for (uint32_t t = 0; t < s.triangleCount(); t += 5) s.colors[9 * t + 1] = 0.5f;
  const TriMesh in = test::buildMesh(s);
  ASSERT_TRUE(vekmesh::writePly(dir.file("s.ply").c_str(), in));
  TriMesh back;
  EXPECT_EQ(vekmesh::readPly(dir.file("s.ply").c_str(), back), s.triangleCount());
  EXPECT_EQ(faceList(back), faceList(in));

  // Plain: no colour properties, one written vertex per welded vertex.
  const TriMesh plain = test::buildMesh(test::uvSphereSoup(1.3f, 16, 9));
  ASSERT_TRUE(vekmesh::writePly(dir.file("p.ply").c_str(), plain));
  const std::string text = test::readFileBytes(dir.file("p.ply"));
  EXPECT_EQ(text.find("red"), std::string::npos);
  EXPECT_NE(text.find("element vertex " + std::to_string(plain.vertices.size()) + "\n"),
            std::string::npos);
}

// One model (a quad and a triangle, four coloured vertices, an edge element
// to skip) in ASCII and both binary byte orders.
std::string header(const char* format, const char* colour_type) {
  return std::string("ply\r\nformat ") + format +
         " 1.0\ncomment made here\nelement vertex 4\nproperty float x\nproperty double y\n"
         "property int z\nproperty " +
         colour_type + " red\nproperty " + colour_type + " green\nproperty " + colour_type +
         " blue\nelement face 2\nproperty list uchar int vertex_indices\n"
         "element edge 1\nproperty list uchar short ends\nend_header\n";
}

template <typename T>
void put(std::string& out, T value, bool big) {
  char b[sizeof(T)];
  std::memcpy(b, &value, sizeof(T));
  if (big) std::reverse(b, b + sizeof(T));
  out.append(b, sizeof(T));
}

std::string binaryModel(bool big) {
  std::string out = header(big ? "binary_big_endian" : "binary_little_endian", "uchar");
  const int xyz[4][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 1}};
  for (int v = 0; v < 4; ++v) {
    put<float>(out, float(xyz[v][0]), big);
    put<double>(out, double(xyz[v][1]), big);
    put<int32_t>(out, xyz[v][2], big);
    for (int k = 0; k < 3; ++k) put<uint8_t>(out, uint8_t(v == k ? 255 : 51), big);
  }
  put<uint8_t>(out, 4, big);
  for (int32_t i : {0, 1, 2, 3}) put<int32_t>(out, i, big);
  put<uint8_t>(out, 3, big);
  for (int32_t i : {0, 1, 3}) put<int32_t>(out, i, big);
  put<uint8_t>(out, 2, big);
  put<int16_t>(out, 0, big);
  put<int16_t>(out, 1, big);
  return out;
}

TEST(Ply, EncodingsReadAlike) {
  ScratchDir dir;
  const std::string ascii = header("ascii", "float") +
                            "0 0 0 1 0.2 0.2\n1 0 0 0.2 1 0.2\n1 1 0 0.2 0.2 1\n"
                            "0 0 1 0.2 0.2 0.2\n4 0 1 2 3\n3 0 1 3\n2 0 1\n";
  TriMesh a, little, big;
  EXPECT_EQ(vekmesh::readPly(dir.write("a.ply", ascii).c_str(), a), 3u);
  EXPECT_EQ(vekmesh::readPly(dir.write("l.ply", binaryModel(false)).c_str(), little), 3u);
  EXPECT_EQ(vekmesh::readPly(dir.write("b.ply", binaryModel(true)).c_str(), big), 3u);
  EXPECT_EQ(faceList(a), faceList(little));
  EXPECT_EQ(faceList(big), faceList(little));
  EXPECT_EQ(a.vertices.size(), 4u);
  EXPECT_EQ(a.faces[0].colors[0][0], 255);
  EXPECT_EQ(a.faces[0].colors[0][1], 51);
}

TEST(Ply, HostileFilesGiveEmptyMeshes) {
  ScratchDir dir;
  const std::string good = binaryModel(false);
  const std::string cut_header = header("ascii", "uchar").substr(0, 60);
  std::string huge_faces = good;
  huge_faces.replace(huge_faces.find("face 2"), 6, "face 4000000000");
  std::string huge_vertices = good;
  huge_vertices.replace(huge_vertices.find("vertex 4"), 8, "vertex 99999999999999999999999");
  std::string past = header("ascii", "uchar") +
                     "0 0 0 1 1 1\n1 0 0 1 1 1\n1 1 0 1 1 1\n"
                     "0 0 1 1 1 1\n3 0 1 9\n3 0 1 3\n2 0 1\n";
  std::string long_list = header("ascii", "uchar") +
                          "0 0 0 1 1 1\n1 0 0 1 1 1\n1 1 0 1 1 1\n"
                          "0 0 1 1 1 1\n255 0 1 2\n";
  const std::vector<std::string> files = {
      "",
      "ply\n",
      cut_header,
      "ply\nformat ascii 1.0\nelement vertex 3\nproperty quad x\nend_header\n",
      "ply\nformat ascii 1.0\nproperty float x\nend_header\n",
      "ply\nformat ascii 1.0\nelement vertex 3\nproperty list float int x\nend_header\n",
      good.substr(0, good.size() - 20),  // cut inside the faces
      huge_faces,
      huge_vertices,
      past,
      long_list,
      header("ascii", "uchar") + "0 0 0 1 1 1\n1 0 nan? 1 1 1\n"};
  for (size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    TriMesh m;
    EXPECT_EQ(vekmesh::readPly(dir.write("h.ply", files[i]).c_str(), m), 0u);
    EXPECT_TRUE(m.faces.empty());
  }
  TriMesh m;
  EXPECT_EQ(vekmesh::readPly(dir.path().c_str(), m), 0u) << "a folder";
  EXPECT_EQ(vekmesh::readPly(nullptr, m), 0u);
}

}  // namespace
