// Subdivision on shapes built in code: Loop rounds with creases on an
// icosahedron, a cube, an open sheet and a two-material sphere; colour
// refinement on a two-colour sphere; the two exports' chains and bad input.
#include "remesh/subdivision.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;

Soup icosahedronSoup() {
  const float t = (1.0f + std::sqrt(5.0f)) / 2.0f;
  std::vector<Point> p = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0},
                          {0, -1, t}, {0, 1, t}, {0, -1, -t}, {0, 1, -t},
                          {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
  for (Point& q : p) {
    const float r = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
    for (float& c : q) c /= r;
  }
  return test::soupFromIndexed(
      p, {{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
          {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
          {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}});
}

double radius(const Vertex& v) {
  const auto& p = v.position;
  return std::sqrt(double(p[0]) * p[0] + double(p[1]) * p[1] + double(p[2]) * p[2]);
}

double signedVolume(const SubMesh& m) {
  double six = 0.0;
  for (const Face& f : m.faces) {
    const auto& a = m.vertices[f.v[0]].position;
    const auto& b = m.vertices[f.v[1]].position;
    const auto& c = m.vertices[f.v[2]].position;
    six += double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) -
           double(a[1]) * (double(b[0]) * c[2] - double(b[2]) * c[0]) +
           double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0]);
  }
  return six / 6.0;
}

void expectSound(const SubMesh& m) {
  EXPECT_EQ(test::invariantViolation(m), "");
  EXPECT_TRUE(test::edgeCensus(m).closedManifoldOriented());
}

// The icosahedron's face normals differ by 41.8 degrees across every edge:
// all its edges are creases and its vertices corners, so it keeps its shape.
TEST(LoopSubdivision, IcosahedronKeepsItsSharpEdges) {
  TriMesh mesh = test::buildMesh(icosahedronSoup());
  ASSERT_EQ(mesh.faces.size(), 20u);
  const double volume = signedVolume(mesh);
  subdivideMesh(mesh, 1, 1);
  ASSERT_EQ(mesh.faces.size(), 80u);
  expectSound(mesh);
  EXPECT_NEAR(signedVolume(mesh), volume, 1e-6);
  ASSERT_EQ(mesh.vertices.size(), 12u + 30u);
  for (size_t v = 0; v < 12; ++v) EXPECT_NEAR(radius(mesh.vertices[v]), 1.0, 1e-6);
  for (size_t v = 12; v < mesh.vertices.size(); ++v)
    EXPECT_NEAR(radius(mesh.vertices[v]), 0.850651, 1e-6);  // edge midpoints
}

// The icosahedron split once with its new vertices pushed onto the unit
// sphere: 80 faces whose normals differ by about 21 degrees, a smooth model.
Soup icosphereSoup() {
  const Soup ico = icosahedronSoup();
  Soup soup;
  auto onSphere = [](Point p) {
    const float r = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    return Point{p[0] / r, p[1] / r, p[2] / r};
  };
  auto middle = [&](const Point& a, const Point& b) {
    return onSphere({(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2});
  };
  for (uint32_t t = 0; t < ico.triangleCount(); ++t) {
    const Point a = ico.corner(t, 0), b = ico.corner(t, 1), c = ico.corner(t, 2);
    const Point ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
    soup.addTriangle(a, ab, ca);
    soup.addTriangle(ab, b, bc);
    soup.addTriangle(ca, bc, c);
    soup.addTriangle(ab, bc, ca);
  }
  return soup;
}

// Loop's rules take every new point as a positive mix of old ones, so the
// result lies inside the control mesh (it shrinks); what the smooth rules
// promise is roundness: the radii of the vertices come closer together than
// splitting alone leaves them.
TEST(LoopSubdivision, IcosphereGetsFourTimesTheFacesClosedOutwardAndRounder) {
  const TriMesh before = test::buildMesh(icosphereSoup());
  ASSERT_EQ(before.faces.size(), 80u);
  TriMesh mesh = before;
  subdivideMesh(mesh, 1, 1);
  ASSERT_EQ(mesh.faces.size(), 320u);
  expectSound(mesh);
  EXPECT_GT(signedVolume(mesh), 0.0);
  auto spread = [](const SubMesh& m, size_t from) {
    double low = 1e9, high = 0;
    for (size_t v = from; v < m.vertices.size(); ++v) {
      low = std::min(low, radius(m.vertices[v]));
      high = std::max(high, radius(m.vertices[v]));
    }
    return high / low;
  };
  // Splitting alone puts the edge points at the edges' midpoints.
  double split_low = 1e9;
  for (const Face& f : before.faces)
    for (uint32_t c = 0; c < 3; ++c) {
      const auto& p = before.vertices[f.v[c]].position;
      const auto& q = before.vertices[f.v[nextCorner(c)]].position;
      split_low = std::min(
          split_low, std::sqrt(std::pow((p[0] + q[0]) / 2.0, 2) + std::pow((p[1] + q[1]) / 2.0, 2) +
                               std::pow((p[2] + q[2]) / 2.0, 2)));
    }
  EXPECT_LT(spread(mesh, 0), 1.0 / split_low);
  for (size_t v = 0; v < mesh.vertices.size(); ++v) {
    EXPECT_LT(radius(mesh.vertices[v]), 1.0);
    if (v < before.vertices.size()) {
      EXPECT_LT(radius(mesh.vertices[v]), 0.99);  // every one moved
    }
  }
  // Two more rounds: still sound and round (the limit surface is not quite
  // a sphere: valence-5 vertices leave shallow dimples).
  subdivideMesh(mesh, 2, 1);
  EXPECT_EQ(mesh.faces.size(), 80u * 64u);
  expectSound(mesh);
  EXPECT_LT(spread(mesh, 0), 1.02);
  // One and two threads give the same mesh.
  TriMesh one = before, two = before;
  omp_set_num_threads(1);
  subdivideMesh(one, 3, 1);
  omp_set_num_threads(2);
  subdivideMesh(two, 3, 1);
  ASSERT_EQ(one.vertices.size(), two.vertices.size());
  for (size_t v = 0; v < one.vertices.size(); ++v)
    EXPECT_EQ(one.vertices[v].position, two.vertices[v].position);
}

TEST(LoopSubdivision, LargeMeshIsThreadCountIndependent) {
  // Above the parallel threshold, so the parts and the edge renumbering run.
  const TriMesh sphere = test::buildMesh(test::uvSphereSoup(1.0f, 120, 80));
  TriMesh one = sphere, two = sphere;
  omp_set_num_threads(1);
  subdivideMesh(one, 1, 1);
  omp_set_num_threads(2);
  subdivideMesh(two, 1, 1);
  ASSERT_EQ(one.faces.size(), 4 * sphere.faces.size());
  ASSERT_EQ(one.vertices.size(), two.vertices.size());
  for (size_t v = 0; v < one.vertices.size(); ++v)
    ASSERT_EQ(one.vertices[v].position, two.vertices[v].position);
  for (size_t f = 0; f < one.faces.size(); ++f)
    for (int c = 0; c < 3; ++c) ASSERT_EQ(one.faces[f].v[c], two.faces[f].v[c]);
  expectSound(two);
}

TEST(LoopSubdivision, CubeStaysACube) {
  TriMesh mesh = test::buildMesh(test::cubeSoup(2.0f));
  const double volume = enclosedVolume(mesh);
  subdivideMesh(mesh, 3, 1);
  EXPECT_EQ(mesh.faces.size(), 12u * 64u);
  expectSound(mesh);
  EXPECT_NEAR(enclosedVolume(mesh), volume, 1e-6);
  // Every face lies in one side of the cube: flat sides stay flat, and edges
  // stay sharp (no face cuts across one).
  for (const Face& f : mesh.faces) {
    bool on_one_side = false;
    for (int axis = 0; axis < 3; ++axis)
      for (float side : {0.0f, 2.0f}) {
        bool all = true;
        for (int c = 0; c < 3; ++c) all = all && mesh.vertices[f.v[c]].position[axis] == side;
        on_one_side = on_one_side || all;
      }
    EXPECT_TRUE(on_one_side);
  }
}

TEST(LoopSubdivision, OpenSquareKeepsItsBorderStraight) {
  // A 4 x 4 grid on the unit square, its inner vertices raised.
  std::vector<Point> points;
  std::vector<std::array<int, 3>> triangles;
  for (int j = 0; j <= 4; ++j)
    for (int i = 0; i <= 4; ++i) {
      const bool inner = i > 0 && i < 4 && j > 0 && j < 4;
      points.push_back({i / 4.0f, j / 4.0f, inner ? 0.1f : 0.0f});
    }
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i) {
      const int a = 5 * j + i;
      triangles.push_back({a, a + 1, a + 6});
      triangles.push_back({a, a + 6, a + 5});
    }
  TriMesh mesh = test::buildMesh(test::soupFromIndexed(points, triangles));
  subdivideMesh(mesh, 2, 1);
  EXPECT_EQ(mesh.faces.size(), 32u * 16u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  const test::EdgeCensus census = test::edgeCensus(mesh);
  EXPECT_EQ(census.boundary, 16u * 4u);  // each border edge split twice
  EXPECT_EQ(census.nonManifold + census.misoriented, 0u);
  // Border vertices (those on a border edge) stay on the square's sides, flat.
  std::set<int32_t> border;
  for (const Face& f : mesh.faces)
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t a = f.v[c], b = f.v[nextCorner(c)];
      bool shared = false;
      for (const Face& g : mesh.faces)
        for (uint32_t k = 0; k < 3; ++k)
          shared = shared || (g.v[k] == b && g.v[nextCorner(k)] == a);
      if (!shared) border.insert({a, b});
    }
  EXPECT_EQ(border.size(), 64u);
  for (int32_t v : border) {
    const auto& p = mesh.vertices[v].position;
    EXPECT_EQ(p[2], 0.0f);
    EXPECT_TRUE(p[0] == 0.0f || p[0] == 1.0f || p[1] == 0.0f || p[1] == 1.0f);
  }
  // The square's corners stay where they are.
  std::set<std::array<float, 3>> positions;
  for (const Vertex& v : mesh.vertices) positions.insert(v.position);
  for (const Point& corner : std::vector<Point>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}})
    EXPECT_TRUE(positions.count(corner));
}

// A sphere whose corners above z = -0.001 are red and the others blue; with
// `material`, the red faces also carry material 0 and the blue ones 1, with
// texture coordinates from the position.
Soup twoColourSphere(bool material) {
  Soup soup = test::uvSphereSoup(1.0f, 16, 16);
  soup.colors.resize(soup.corners.size());
  for (size_t i = 0; i < soup.corners.size() / 3; ++i) {
    const bool red = soup.corners[3 * i + 2] > -0.001f;
    soup.colors[3 * i] = red ? 1.0f : 0.0f;
    soup.colors[3 * i + 1] = 0.0f;
    soup.colors[3 * i + 2] = red ? 0.0f : 1.0f;
  }
  if (material) {
    soup.uvs.resize(6 * soup.triangleCount());
    for (uint32_t t = 0; t < soup.triangleCount(); ++t) {
      bool red = true;
      for (int c = 0; c < 3; ++c) red = red && soup.corners[9 * t + 3 * c + 2] > -0.001f;
      soup.materials.push_back(red ? 0 : 1);
      for (int c = 0; c < 3; ++c) {
        soup.uvs[6 * t + 2 * c] = soup.corners[9 * t + 3 * c];
        soup.uvs[6 * t + 2 * c + 1] = soup.corners[9 * t + 3 * c + 1];
      }
    }
  }
  return soup;
}

bool mixed(const Face& f) {
  return f.colors[0][0] != f.colors[1][0] || f.colors[1][0] != f.colors[2][0];
}

TEST(ColourRefinement, SplitsOnlyTheColourBoundaryAndStaysConforming) {
  TriMesh mesh = test::buildMesh(twoColourSphere(false));
  const TriMesh before = mesh;
  size_t boundary = 0;
  for (const Face& f : mesh.faces) boundary += mixed(f);
  ASSERT_EQ(boundary, 32u);  // the band below the equator
  subdivideMesh(mesh, 1, 0);
  expectSound(mesh);
  // The boundary faces are bisected at their longest edge, a diagonal inside
  // the band, so nothing beyond the band splits; every other face keeps its
  // index and content, and no vertex moves.
  EXPECT_EQ(mesh.faces.size(), before.faces.size() + boundary);
  for (size_t f = 0; f < before.faces.size(); ++f) {
    if (mixed(before.faces[f])) continue;
    for (int c = 0; c < 3; ++c) EXPECT_EQ(mesh.faces[f].v[c], before.faces[f].v[c]);
  }
  for (size_t v = 0; v < before.vertices.size(); ++v)
    EXPECT_EQ(mesh.vertices[v].position, before.vertices[v].position);
  // New corners take the midpoint of their face's colours.
  for (size_t f = before.faces.size(); f < mesh.faces.size(); ++f)
    for (int c = 0; c < 3; ++c) {
      if (mesh.faces[f].v[c] >= int32_t(before.vertices.size())) {
        EXPECT_EQ(mesh.faces[f].colors[c][0], 128);
      }
    }
  // More rounds keep refining the band and stay closed: no T-junction
  // (it would leave an edge used once), every edge used by two faces.
  subdivideMesh(mesh, 4, 0);
  expectSound(mesh);
  EXPECT_GT(mesh.faces.size(), before.faces.size() + 8 * boundary);
  EXPECT_NEAR(enclosedVolume(mesh), enclosedVolume(before), 1e-6);
  // A sphere of one colour has nothing to refine.
  TriMesh plain = test::buildMesh(test::uvSphereSoup(1.0f, 16, 16));
  subdivideMesh(plain, 5, 0);
  EXPECT_EQ(plain.faces.size(), before.faces.size());
}

// One colour, two materials meeting at the equator: the faces on that seam
// are refined, each side interpolating its own texture coordinates.
TEST(ColourRefinement, RefinesAlongTextureSeams) {
  Soup soup = twoColourSphere(true);
  test::paint(soup, {0.5f, 0.5f, 0.5f});
  soup.uvs.clear();
  for (uint32_t t = 0; t < soup.triangleCount(); ++t)
    for (int c = 0; c < 3; ++c) {
      // Each side of the seam maps the sphere to its own half of the image.
      soup.uvs.push_back(soup.corners[9 * t + 3 * c] + 2.0f * soup.materials[t]);
      soup.uvs.push_back(soup.corners[9 * t + 3 * c + 1]);
    }
  TriMesh mesh = test::buildMesh(soup);
  const TriMesh before = mesh;
  subdivideMesh(mesh, 1, 0);
  expectSound(mesh);
  ASSERT_GT(mesh.faces.size(), before.faces.size());
  // Only faces near the equator change; every corner keeps a texture
  // coordinate on its own side's half.
  for (size_t f = 0; f < before.faces.size(); ++f) {
    bool far_away = true;
    for (int c = 0; c < 3; ++c)
      far_away = far_away && std::abs(before.vertices[before.faces[f].v[c]].position[2]) > 0.5f;
    if (far_away) {
      EXPECT_EQ(mesh.faces[f].v[0], before.faces[f].v[0]);
    }
  }
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(mesh.texCoords[f.uv[c]].u, 2.0 * f.material, 1.0);
}

TEST(Subdivision, SeamsStaySharpAndKeepTheirAttributes) {
  TriMesh mesh = test::buildMesh(twoColourSphere(true));
  subdivideMesh(mesh, 2, 1);
  expectSound(mesh);
  // The material boundary, the equator, is a crease in its plane: its
  // vertices stay on z = 0. Each side's corners keep their own colours.
  std::set<int32_t> red, blue;
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3; ++c) (f.material == 0 ? red : blue).insert(f.v[c]);
  size_t on_seam = 0;
  for (int32_t v : red)
    if (blue.count(v)) {
      ++on_seam;
      EXPECT_NEAR(mesh.vertices[v].position[2], 0.0f, 1e-7);
    }
  EXPECT_EQ(on_seam, 16u * 4u);
  for (const Face& f : mesh.faces) {
    for (int c = 0; c < 3; ++c) {
      const TexCoord& t = mesh.texCoords[f.uv[c]];
      // Texture coordinates interpolate along the face, so they stay close
      // to the plane projection of where the corner started.
      EXPECT_LE(std::abs(t.u), 1.0);
      EXPECT_LE(std::abs(t.v), 1.0);
    }
  }
}

TEST(Subdivision, BadInputGivesADefinedResult) {
  const TriMesh ico = test::buildMesh(icosahedronSoup());
  for (int32_t level : {0, -1, INT32_MIN}) {
    TriMesh m = ico;
    subdivideMesh(m, level, 1);
    EXPECT_EQ(m.faces.size(), 20u);
  }
  for (int32_t mode : {2, -1}) {
    TriMesh m = ico;
    subdivideMesh(m, 3, mode);
    EXPECT_EQ(m.faces.size(), 20u);
  }
  TriMesh empty;
  subdivideMesh(empty, INT32_MAX, 1);
  subdivideMesh(empty, INT32_MAX, 0);
  EXPECT_TRUE(empty.faces.empty());
  // Removed faces and faces naming a vertex twice are dropped; an open,
  // non-manifold model (three sheets on one edge) subdivides with that edge
  // a crease.
  TriMesh broken = ico;
  broken.faces[3].removed = 1;
  broken.faces[5].v[1] = broken.faces[5].v[0];
  subdivideMesh(broken, 1, 1);
  EXPECT_EQ(broken.faces.size(), 72u);
  EXPECT_EQ(test::invariantViolation(broken), "");
  Soup fin;
  fin.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  fin.addTriangle({1, 0, 0}, {0, 0, 0}, {0, -1, 0});
  fin.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 0, 1});
  TriMesh three = test::buildMesh(fin);
  subdivideMesh(three, 2, 1);
  EXPECT_EQ(three.faces.size(), 48u);
  EXPECT_EQ(test::invariantViolation(three), "");
  for (const Vertex& v : three.vertices)
    for (float c : v.position) EXPECT_TRUE(std::isfinite(c));
}

// The exports as a host calls them.
std::vector<float> corners(const float* out, uint32_t count) {
  return std::vector<float>(out, out + 9 * size_t(count));
}

TEST(SubdivisionExports, LevelsFaceCapAndNotANumber) {
  const Soup soup = icosahedronSoup();
  float* in = const_cast<float*>(soup.corners.data());
  const uint32_t count = soup.triangleCount();
  float* out = nullptr;
  uint32_t out_count = 0;
  subdivisionFromData(2, &in, &count, &out, &out_count);
  EXPECT_EQ(out_count, 320u);
  {
    TriMesh back;
    buildTriMesh(back, out_count, out, nullptr, nullptr, nullptr);
    expectSound(back);
  }
  freeAllArray();
  for (int32_t level : {0, -5}) {
    subdivisionFromData(level, &in, &count, &out, &out_count);
    EXPECT_EQ(out_count, 20u);
    EXPECT_EQ(corners(out, out_count), soup.corners);
    freeAllArray();
  }
  // The face cap: rounds stop at 20 x 4^9 faces, the next would pass 20M.
  subdivisionFromData(INT32_MAX, &in, &count, &out, &out_count);
  EXPECT_EQ(out_count, 20u * 262144u);
  freeAllArray();
  // A vertex that is not a number stays in the faces around it only.
  Soup broken = soup;
  for (size_t i = 0; i < broken.corners.size(); i += 3)
    if (broken.corners[i] == soup.corners[0] && broken.corners[i + 1] == soup.corners[1] &&
        broken.corners[i + 2] == soup.corners[2])
      broken.corners[i] = std::numeric_limits<float>::quiet_NaN();
  TriMesh held = test::buildMesh(broken);
  subdivideMesh(held, 1, 1);
  ASSERT_EQ(held.faces.size(), 80u);
  size_t finite = 0;
  for (const Face& f : held.faces) {
    bool all = true;
    for (int c = 0; c < 3; ++c)
      for (float x : held.vertices[f.v[c]].position) all = all && std::isfinite(x);
    finite += all;
  }
  EXPECT_EQ(finite, 60u);  // the five faces of that vertex make 20 children
  // Through the export the rebuild that follows is the weld's to judge.
  in = broken.corners.data();
  subdivisionFromData(1, &in, &count, &out, &out_count);
  EXPECT_LE(out_count, 80u);
  EXPECT_GE(out_count, 60u);
  freeAllArray();
}

TEST(SubdivisionExports, ColourChainSmoothsThenRefinesTheBoundary) {
  const Soup soup = twoColourSphere(false);
  const uint32_t count = soup.triangleCount();
  float *corners_out = nullptr, *colors_out = nullptr, *uvs_out = nullptr;
  int32_t* materials_out = nullptr;
  uint32_t out_count = 0;
  subdivisionFromColorData(1, soup.corners.data(), soup.colors.data(), nullptr, nullptr, count,
                           &corners_out, &colors_out, &uvs_out, &materials_out, &out_count);
  // Mode 1 gives four times the faces; mode 0 then splits the faces whose
  // corners still differ, along the boundary only.
  EXPECT_GT(out_count, 4 * count);
  EXPECT_LT(out_count, 4 * count + 4 * 32 * 4);
  TriMesh back;
  buildTriMesh(back, out_count, corners_out, colors_out, nullptr, nullptr);
  expectSound(back);
  freeAllArray();
  subdivisionFromColorData(0, soup.corners.data(), soup.colors.data(), nullptr, nullptr, count,
                           &corners_out, &colors_out, &uvs_out, &materials_out, &out_count);
  EXPECT_EQ(out_count, count);
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
