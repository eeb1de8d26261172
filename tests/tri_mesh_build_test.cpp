// TriMesh construction from triangle soups: the weld, dropped triangles,
// attributes, extreme and empty input.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <map>
#include <random>

#include "mesh/color_byte.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;

std::array<uint32_t, 3> bitsOf(const Point& p) {
  std::array<uint32_t, 3> b;
  std::memcpy(b.data(), p.data(), sizeof b);
  return b;
}

// Checks the mesh of `soup` against a reference weld: first-seen order of
// distinct bit patterns, collapsed triangles dropped, each face with its own
// triangle's texture coordinates, or its colours when the soup has no texture.
void expectFirstSeenWeld(const Soup& soup) {
  std::map<std::array<uint32_t, 3>, int32_t> first_seen;
  std::vector<Point> expected_vertices;
  std::vector<std::array<int32_t, 3>> expected_faces;
  std::vector<uint32_t> source;  // each expected face's triangle
  for (uint32_t t = 0; t < soup.triangleCount(); ++t) {
    std::array<int32_t, 3> v;
    for (int c = 0; c < 3; ++c) {
      const Point p = soup.corner(t, c);
      auto [it, inserted] = first_seen.emplace(bitsOf(p), int32_t(expected_vertices.size()));
      if (inserted) expected_vertices.push_back(p);
      v[c] = it->second;
    }
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) continue;
    expected_faces.push_back(v);
    source.push_back(t);
  }
  ASSERT_LT(expected_vertices.size(), 3u * soup.triangleCount());  // some corners do weld

  const TriMesh mesh = test::buildMesh(soup);
  ASSERT_EQ(mesh.vertices.size(), expected_vertices.size());
  for (size_t i = 0; i < expected_vertices.size(); ++i)
    ASSERT_EQ(bitsOf(mesh.vertices[i].position), bitsOf(expected_vertices[i])) << "vertex " << i;
  std::vector<std::array<int32_t, 3>> faces;
  for (const Face& f : mesh.faces) faces.push_back({f.v[0], f.v[1], f.v[2]});
  EXPECT_EQ(faces, expected_faces);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  if (soup.uvs.empty()) {
    EXPECT_TRUE(mesh.texCoords.empty());
    for (size_t f = 0; f < source.size(); ++f)
      for (int i = 0; i < 9; ++i)
        ASSERT_EQ(mesh.faces[f].colors[i / 3][i % 3], colorByte(soup.colors[9 * source[f] + i]))
            << f;
    return;
  }
  ASSERT_EQ(mesh.texCoords.size(), 3 * source.size());
  for (size_t f = 0; f < source.size(); ++f)
    for (int c = 0; c < 3; ++c) {
      const TexCoord& uv = mesh.texCoords[mesh.faces[f].uv[c]];
      ASSERT_EQ(uv.u, soup.uvs[6 * source[f] + 2 * c]) << f;
      ASSERT_EQ(uv.v, soup.uvs[6 * source[f] + 2 * c + 1]) << f;
    }
}

// A soup of `triangles` on a pool of random points, one in 50 collapsed,
// textured with distinct coordinates, or else coloured corner by corner.
Soup randomSoup(int triangles, size_t points, uint32_t seed, bool textured = true) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> coordinate(-50.0f, 50.0f);
  std::vector<Point> pool(points);
  for (Point& p : pool) p = {coordinate(rng), coordinate(rng), coordinate(rng)};
  auto pick = [&] { return pool[rng() % pool.size()]; };
  Soup soup;
  for (int t = 0; t < triangles; ++t) {
    const Point a = pick();
    const bool collapsed = rng() % 50 == 0;
    soup.addTriangle(a, collapsed ? a : pick(), pick());
  }
  if (!textured) {
    for (size_t i = 0; i < soup.corners.size(); ++i) soup.colors.push_back(float(i % 253) / 252);
    return soup;
  }
  test::assignMaterial(soup, 0);
  for (size_t i = 0; i < soup.uvs.size(); ++i) soup.uvs[i] = float(i);
  return soup;
}

// On a soup large enough to spread over many cells and to grow the weld table.
TEST(TriMeshBuild, VerticesAreNumberedInFirstSeenOrder) {
  expectFirstSeenWeld(randomSoup(3000, 20000, 12345));
}

// Large soups are welded in two parts at once; the mesh is the one weld of
// the whole makes, on any number of threads: vertices of the second part met
// in the first, new ones, and triangles collapsing there. Without texture
// coordinates the second part's faces are placed by two threads.
TEST(TriMeshBuild, LargeSoupsWeldAsOneWhateverTheThreads) {
  const int threads = omp_get_max_threads();
  for (const bool textured : {true, false}) {
    const Soup soup = randomSoup(150000, 120000, 777, textured);
    for (const int team : {1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << team << (textured ? " textured" : " coloured"));
      omp_set_num_threads(team);
      expectFirstSeenWeld(soup);
    }
  }
  omp_set_num_threads(threads);
}

// The weld compares keys, not coordinates: two different points whose keys
// coincide become one vertex when they share a cell, two when they do not.
// Cells come from the box over the whole soup, corners after the pair included.
TEST(TriMeshBuild, EqualKeysWeldOnlyWithinOneCell) {
  const Point p{1.5f, 1.5f, 0.0f};
  // 108881 * 110881 - 110881 * 108881 = 0: the key does not change.
  const std::array<uint32_t, 3> bits = {bitsOf(p)[0] + 110881, bitsOf(p)[1] - 108881, 0};
  Point q;
  std::memcpy(q.data(), bits.data(), sizeof q);

  for (const bool box_last : {false, true})
    for (const float size : {100.0f, 3.0f}) {
      SCOPED_TRACE(testing::Message() << size << (box_last ? " box last" : " box first"));
      Soup soup;
      auto box = [&] { soup.addTriangle({0, 0, 0}, {size, 0, 0}, {0, size, size}); };
      if (!box_last) box();  // sets the cell size
      soup.addTriangle(p, {2, 2, 2}, {2, 1, 2});
      soup.addTriangle(q, {2.5f, 2, 2}, {2.5f, 1, 2});
      soup.addTriangle(q, {3, 2, 2}, {3, 1, 2});  // finds the vertex q got again
      if (box_last) box();
      const TriMesh mesh = test::buildMesh(soup);
      ASSERT_EQ(mesh.faces.size(), 4u);
      // Cells of 1: both points in cell (1, 1, 0), welded to the first. Cells of
      // 0.03: y 1.5 and 1.487 fall in cells 50 and 49.
      EXPECT_EQ(mesh.vertices.size(), size == 100.0f ? 10u : 11u);
      const Face* f = &mesh.faces[box_last ? 0 : 1];
      EXPECT_EQ(f[1].v[0] == f[0].v[0], size == 100.0f);
      EXPECT_EQ(f[2].v[0], f[1].v[0]);
      EXPECT_EQ(test::invariantViolation(mesh), "");
    }
}

// The same across the parts of a large soup: a point of the second part
// whose key is that of a point of the first welds to it only within a cell.
TEST(TriMeshBuild, EqualKeysWeldAcrossThePartsOfALargeSoup) {
  const Point p{1.5f, 1.5f, 0.0f};
  const std::array<uint32_t, 3> bits = {bitsOf(p)[0] + 110881, bitsOf(p)[1] - 108881, 0};
  Point q;
  std::memcpy(q.data(), bits.data(), sizeof q);
  const int threads = omp_get_max_threads();
  for (const float size : {100.0f, 3.0f}) {
    Soup soup;
    soup.addTriangle({0, 0, 0}, {size, 0, 0}, {0, size, size});
    soup.addTriangle(p, {2, 2, 2}, {2, 1, 2});
    for (int t = 0; t < 150000; ++t)
      soup.addTriangle({0.5f, 0.5f, 0.5f}, {0.6f, 0.5f, 0.5f}, {0.5f, 0.6f, 0.5f});
    soup.addTriangle(q, {2.5f, 2, 2}, {2.5f, 1, 2});
    soup.addTriangle(q, {3, 2, 2}, {3, 1, 2});
    for (const int team : {1, 3}) {
      SCOPED_TRACE(testing::Message() << size << " on " << team);
      omp_set_num_threads(team);
      const TriMesh mesh = test::buildMesh(soup);
      ASSERT_EQ(mesh.faces.size(), soup.triangleCount());
      const Face& last = mesh.faces.back();
      EXPECT_EQ(mesh.faces[1].v[0] == last.v[0], size == 100.0f);
      EXPECT_EQ(mesh.faces[mesh.faces.size() - 2].v[0], last.v[0]);
      EXPECT_EQ(mesh.vertices.size(), size == 100.0f ? 13u : 14u);
    }
  }
  omp_set_num_threads(threads);
}

// Far from the origin, flat, huge and overflowing extents all still weld
// bit-identical corners into a closed cube; signed zeros stay apart.
TEST(TriMeshBuild, ExtremeModelPlacementsStillWeld) {
  const std::pair<float, Point> cases[] = {{1.0f, {2.0e6f, 3.0e6f, 4.0e6f}},
                                           {1.0e30f, {-1.0e30f, 0.0f, 1.0e30f}},
                                           {3.0e38f, {-3.0e38f, -3.0e38f, -3.0e38f}}};
  for (const auto& [edge, origin] : cases) {
    SCOPED_TRACE(edge);
    const TriMesh mesh = test::buildMesh(test::cubeSoup(edge, test::Winding::kOutward, origin));
    EXPECT_EQ(mesh.vertices.size(), 8u);
    EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
    EXPECT_EQ(test::invariantViolation(mesh), "");
  }

  // A single point repeated: every axis has cell size 0 and all triangles collapse.
  Soup point, zeros;
  point.addTriangle({7, 7, 7}, {7, 7, 7}, {7, 7, 7});
  EXPECT_TRUE(test::buildMesh(point).faces.empty());
  zeros.addTriangle({0.0f, 0.0f, 0.0f}, {-0.0f, 0.0f, 0.0f}, {0.0f, -0.0f, 0.0f});
  EXPECT_EQ(test::buildMesh(zeros).faces.size(), 1u);
}

TEST(TriMeshBuild, EmptyOrNullInputGivesEmptyMeshAndKeepsOtherMembers) {
  TriMesh mesh = test::buildMesh(test::cubeSoup());
  mesh.shells = {{0, 1}};
  mesh.tag = &mesh;
  const float corners[9] = {};
  buildTriMesh(mesh, 0, corners, nullptr, nullptr, nullptr);
  EXPECT_TRUE(mesh.faces.empty() && mesh.vertices.empty() && mesh.texCoords.empty());
  // Only faces, vertices and texCoords are the constructor's.
  EXPECT_TRUE(mesh.shells.size() == 1 && mesh.tag == &mesh);

  buildTriMesh(mesh, 5, nullptr, nullptr, nullptr, nullptr);
  buildTriMeshDouble(mesh, 5, nullptr, nullptr, nullptr, nullptr);
  EXPECT_TRUE(mesh.faces.empty() && mesh.vertices.empty());
}

TEST(TriMeshBuild, MaterialsKeepLowSixteenBitsAndDecideTexturing) {
  const int32_t materials[] = {65536, -1, 65539, 32768, 7};
  Soup soup;
  for (size_t t = 0; t < std::size(materials); ++t) {
    const float x = static_cast<float>(t);
    soup.addTriangle({x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0});
  }
  test::assignMaterial(soup, 0);  // fills a uv for every corner
  soup.materials.assign(std::begin(materials), std::end(materials));
  const TriMesh mesh = test::buildMesh(soup);

  ASSERT_EQ(mesh.faces.size(), 5u);
  const int16_t stored[] = {0, -1, 3, -32768, 7};
  for (size_t t = 0; t < 5; ++t) EXPECT_EQ(mesh.faces[t].material, stored[t]) << t;

  // Textured faces (0, 3, 7) get their triangles' coordinates; negative ones
  // (-1 and 32768 read as -32768) get none despite the array.
  ASSERT_EQ(mesh.texCoords.size(), 9u);
  for (const size_t t : {0, 2, 4})
    for (int c = 0; c < 3; ++c) {
      const TexCoord& uv = mesh.texCoords.at(mesh.faces[t].uv[c]);
      EXPECT_TRUE(uv.u == soup.uvs[6 * t + 2 * c] && uv.v == soup.uvs[6 * t + 2 * c + 1]) << t;
    }
  EXPECT_EQ(test::invariantViolation(mesh), "");  // faces 1 and 3: no uv
}

// Double-precision input is rounded to floats, then welded on coordinates
// scaled by about a million: nearby corners and signed zeros merge.
TEST(TriMeshBuildDouble, WeldsCornersAboutAMillionthApartAndReadsDoubleAttributes) {
  const double d = 1e-8;
  // The first triangle widens the box so that the pairs share a cell.
  const double corners[] = {0,     0,     0,     1,         1,         1,         1,
                            0,     1,     0.001, 0.002,     0.003,     0.004,     0.002,
                            0.003, 0.001, 0.005, 0.003,     0.004 + d, 0.002 + d, 0.003 + d,
                            0.004, 0.005, 0.003, 0.001 + d, 0.005 + d, 0.003 + d};
  TriMesh mesh;
  buildTriMeshDouble(mesh, 3, corners, nullptr, nullptr, nullptr);
  EXPECT_EQ(mesh.vertices.size(), 7u);
  EXPECT_EQ(mesh.faces.size(), 3u);
  EXPECT_EQ(test::invariantViolation(mesh), "");

  const double zeros[] = {0.0, 0.0, 0.0, -0.0, 0.0, 0.0, 0.0, -0.0, 1.0};
  buildTriMeshDouble(mesh, 1, zeros, nullptr, nullptr, nullptr);
  EXPECT_TRUE(mesh.faces.empty());
  EXPECT_EQ(mesh.vertices.size(), 2u);

  // Attributes are read as doubles.
  const double square[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  const double colors[] = {1.0, 0.5, 0.0, 0.2, 0.4, 0.6, 1.5, 0.0, 1.0,
                           0.0, 0.0, 0.0, 1.0, 1.0, 1.0, 0.5, 0.5, 0.5};
  const double uvs[] = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0, 1.1, 1.2};
  const int32_t materials[] = {-1, 65537};
  buildTriMeshDouble(mesh, 2, square, colors, uvs, materials);
  ASSERT_EQ(mesh.faces.size(), 2u);
  EXPECT_EQ(mesh.vertices.size(), 4u);
  EXPECT_EQ(mesh.faces[0].colors[0][1], 127);
  EXPECT_EQ(mesh.faces[0].colors[1][0], 51);  // 0.2 x 255 = 51.000000000000007
  EXPECT_EQ(mesh.faces[0].colors[2][0], 126);
  EXPECT_TRUE(mesh.faces[0].material == -1 && mesh.faces[1].material == 1);
  ASSERT_EQ(mesh.texCoords.size(), 3u);
  EXPECT_TRUE(mesh.texCoords[0].u == 0.7 && mesh.texCoords[2].v == 1.2);  // full precision
  EXPECT_EQ(test::invariantViolation(mesh), "");
}

}  // namespace
}  // namespace vekmesh
