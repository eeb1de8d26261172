// Tests of the plane sections (loops, planes through vertices and edges, open
// chains, the sweep against single planes, grouping with holes) and of the
// ear clipping with holes that caps the plane cut.
#include "mesh/plane_section.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>

#include "geometry/polygon_holes_triangulation.h"
#include "mesh/section_outlines.h"
#include "mesh_builders.h"
#include "section_shapes.h"

namespace vekmesh {
namespace {

using test::Soup;

// No point repeats within a loop (so no edge has zero length and none is
// walked twice), and every loop has at least three points.
void expectCleanLoops(const SectionLoops& s) {
  for (const SectionPolygon& loop : s.loops) {
    ASSERT_GE(loop.size(), 3u);
    std::set<std::array<float, 3>> seen(loop.begin(), loop.end());
    EXPECT_EQ(seen.size(), loop.size());
  }
}

TEST(PlaneSection, PlaneThroughVerticesAndAlongEdgesGivesNoRepeatedOrEmptySegment) {
  // A tetrahedron with edge A-B lying in z = 0 and edge C-D crossing it.
  const std::vector<test::Point> p = {{0, 0, 0}, {1, 0, 0}, {0, 1, 1}, {0, 1, -1}};
  const TriMesh tetra =
      test::buildMesh(test::soupFromIndexed(p, {{0, 1, 2}, {0, 3, 1}, {0, 2, 3}, {1, 3, 2}}));
  const SectionLoops s = planeSection(tetra, 0.0);
  ASSERT_EQ(s.loops.size(), 1u);
  expectCleanLoops(s);
  EXPECT_EQ(s.loops[0].size(), 3u);  // A, B and the middle of C-D
  EXPECT_NEAR(std::fabs(polygonArea(s.loops[0])), 0.5, 1e-6);

  // An octahedron cut through its four equator vertices: a square of four.
  const std::vector<test::Point> q = {{1, 0, 0},  {0, 1, 0}, {-1, 0, 0},
                                      {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
  std::vector<std::array<int, 3>> t;
  for (int k = 0; k < 4; ++k) {
    t.push_back({k, (k + 1) % 4, 4});
    t.push_back({(k + 1) % 4, k, 5});
  }
  const TriMesh octa = test::buildMesh(test::soupFromIndexed(q, t));
  for (double h : {0.0, 1.0, -1.0, 0.5}) {
    const SectionLoops o = planeSection(octa, h);
    expectCleanLoops(o);
    if (h == 0.0 || h == 0.5) {
      ASSERT_EQ(o.loops.size(), 1u) << h;
      EXPECT_EQ(o.loops[0].size(), 4u);
      EXPECT_GT(polygonArea(o.loops[0]), 0.0);  // counter-clockwise around the material
    } else {
      EXPECT_TRUE(o.loops.empty()) << h;  // the apexes
    }
  }

  // One triangle lying along the plane on an edge: an open chain of two
  // points, dropped.
  Soup one;
  one.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 0, -1});
  EXPECT_TRUE(planeSection(test::buildMesh(one), 0.0).loops.empty());
}

TEST(PlaneSection, PlaneAtAFaceTakesTheMaterialThatContinuesThroughIt) {
  // A 4 x 4 block under a 2 x 2 block: at the step the plane holds the upward
  // ring of the lower block; the section is the upper block's square.
  const TriMesh stepped = test::buildMesh(test::steppedBarSoup(2, 0.0f, {{1, 2}, {1, 1}}));
  const SectionLoops at_step = planeSection(stepped, 1.0);
  ASSERT_EQ(at_step.loops.size(), 1u);
  EXPECT_NEAR(polygonArea(at_step.loops[0]), 4.0, 1e-6);
  EXPECT_TRUE(planeSection(stepped, 0.0).loops.empty());  // the bottom face
  EXPECT_TRUE(planeSection(stepped, 2.0).loops.empty());  // the top face
  // A torus touched along its top ring: a band of no width, so no loop.
  const TriMesh torus = test::buildMesh(test::torusSoup(3.0f, 1.0f, 24, 8));
  EXPECT_TRUE(planeSection(torus, 1.0).loops.empty());
  const TriMesh widening = test::buildMesh(test::steppedBarSoup(2, 0.0f, {{1, 1}, {1, 2}}));
  ASSERT_EQ(planeSection(widening, 1.0).loops.size(), 1u);
  EXPECT_NEAR(polygonArea(planeSection(widening, 1.0).loops[0]), 4.0, 1e-6);
}

TEST(PlaneSection, OpenChainsCloseAcrossShortGapsOnly) {
  // A sphere missing one face: the plane through that face closes the gap.
  const Soup sphere = test::uvSphereSoup(1.0f, 48, 24);
  const TriMesh whole = test::buildMesh(sphere);
  const double h = 0.03;
  size_t crossing = 0;  // a face of the band the plane crosses
  for (size_t t = 0; t < sphere.triangleCount(); ++t) {
    const float z0 = sphere.corner(t, 0)[2], z1 = sphere.corner(t, 1)[2],
                z2 = sphere.corner(t, 2)[2];
    if (std::min({z0, z1, z2}) < h && std::max({z0, z1, z2}) > h) crossing = t;
  }
  const SectionLoops open =
      planeSection(test::buildMesh(test::withoutTriangle(sphere, crossing)), h);
  ASSERT_EQ(open.loops.size(), 1u);
  EXPECT_NEAR(polygonArea(open.loops[0]), polygonArea(planeSection(whole, h).loops[0]), 0.01);
  // Half a sphere cut across its open side: the gap is its diameter, dropped.
  Soup half;
  for (size_t t = 0; t < sphere.triangleCount(); ++t)
    if (sphere.corner(t, 0)[0] >= 0 && sphere.corner(t, 1)[0] >= 0 && sphere.corner(t, 2)[0] >= 0)
      half.addTriangle(sphere.corner(t, 0), sphere.corner(t, 1), sphere.corner(t, 2));
  EXPECT_TRUE(planeSection(test::buildMesh(half), h).loops.empty());
}

TEST(PlaneSection, SweepGivesTheSectionsOfSinglePlanes) {
  const TriMesh torus = test::buildMesh(test::torusSoup(3.0f, 1.0f, 40, 16));
  std::vector<double> heights;
  for (int i = 0; i <= 40; ++i) heights.push_back(1.1 - 0.055 * i);  // descending, past both ends
  heights.push_back(0.0);
  heights.push_back(std::nan(""));
  std::vector<int> seen(heights.size(), 0);
  double last = -INFINITY;
  sweepSections(torus, heights, [&](size_t i, SectionLoops&& s) {
    ++seen[i];
    if (std::isnan(heights[i])) {
      EXPECT_TRUE(s.loops.empty());
      return;
    }
    EXPECT_GE(s.height, last);  // ascending
    last = s.height;
    const SectionLoops single = planeSection(torus, heights[i]);
    EXPECT_EQ(s.loops, single.loops) << heights[i];
  });
  for (int n : seen) EXPECT_EQ(n, 1);
  // Two cubes meeting at a vertex, cut through it: the faces in the plane
  // face both ways and cancel, so on-plane vertices count as above.
  const TriMesh cubes = test::buildMesh(test::twoCubesSharingVertexSoup(1.0f));
  sweepSections(cubes, {1.0, 0.5, 1.5}, [&](size_t, SectionLoops&& s) {
    EXPECT_EQ(s.loops, planeSection(cubes, s.height).loops);
    ASSERT_EQ(s.loops.size(), 1u);
    EXPECT_NEAR(polygonArea(s.loops[0]), 1.0, 1e-6);
  });
}

TEST(PlaneSection, HoledBlockGivesOneOutlineWithOneHole) {
  const TriMesh block = test::buildMesh(test::holedBlockSoup(3.0f, 1.0f, 0.0f, 2.0f));
  const SectionLoops s = planeSection(block, 0.7);
  ASSERT_EQ(s.loops.size(), 2u);
  const std::vector<OutlineGroup> groups = groupOutlines(s.loops, s.height);
  ASSERT_EQ(groups.size(), 1u);
  ASSERT_EQ(groups[0].size(), 2u);
  EXPECT_NEAR(polygonArea(groups[0][0]), 36.0, 1e-5);
  EXPECT_NEAR(polygonArea(groups[0][1]), -4.0, 1e-5);
  EXPECT_NEAR(outlineArea(groups), 32.0, 1e-5);
  for (const auto& p : groups[0][0]) EXPECT_FLOAT_EQ(p[2], 0.7f);
}

TEST(PlaneSection, BadCoordinatesAreLeftOutAndBadHeightsGiveNothing) {
  Soup cube = test::cubeSoup(2.0f);
  const Soup sane = cube;
  cube.corners[0] = std::nanf("");
  cube.corners[10] = INFINITY;
  const TriMesh broken = test::buildMesh(cube);
  EXPECT_NO_FATAL_FAILURE(planeSection(broken, 1.0));
  EXPECT_TRUE(planeSection(broken, std::nan("")).loops.empty());
  EXPECT_TRUE(planeSection(test::buildMesh(sane), INFINITY).loops.empty());
  sweepSections(broken, {0.5, 1.0, INFINITY}, [](size_t, SectionLoops&&) {});
}

// Triangles over rings: every ring edge used once in its direction, every
// other edge once each way, all counter-clockwise, areas adding up.
void expectCover(const std::vector<PlanePoint>& pts,
                 const std::vector<std::vector<uint32_t>>& rings,
                 const std::vector<std::array<uint32_t, 3>>& tris, double area) {
  std::map<std::pair<uint32_t, uint32_t>, int> uses;
  double sum = 0.0;
  for (const auto& t : tris) {
    const auto &a = pts[t[0]], &b = pts[t[1]], &c = pts[t[2]];
    const double twice = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
    EXPECT_GT(twice, 0.0);
    sum += 0.5 * twice;
    for (int e = 0; e < 3; ++e) ++uses[{t[e], t[(e + 1) % 3]}];
  }
  EXPECT_NEAR(sum, area, 1e-9);
  std::set<std::pair<uint32_t, uint32_t>> rim;
  for (const auto& r : rings)
    for (size_t i = 0; i < r.size(); ++i) rim.insert({r[i], r[(i + 1) % r.size()]});
  for (const auto& [edge, n] : uses) {
    EXPECT_EQ(n, 1);
    const bool on_rim = rim.count(edge) > 0;
    EXPECT_EQ(uses.count({edge.second, edge.first}) == 0, on_rim);
  }
  for (const auto& e : rim) EXPECT_EQ(uses.count(e), 1u);
}

TEST(HoleTriangulation, CoversSquaresWithHolesAndTouchingHoles) {
  // A 10 x 10 square with two 2 x 2 holes; then with the holes touching at a corner.
  std::vector<PlanePoint> pts = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
  const auto hole = [&](double x, double y) {
    const uint32_t b = static_cast<uint32_t>(pts.size());
    pts.insert(pts.end(), {{x, y}, {x, y + 2}, {x + 2, y + 2}, {x + 2, y}});  // clockwise
    return std::vector<uint32_t>{b, b + 1, b + 2, b + 3};
  };
  const std::vector<std::vector<uint32_t>> rings = {{0, 1, 2, 3}, hole(2, 2), hole(6, 5)};
  std::vector<std::array<uint32_t, 3>> tris;
  EXPECT_TRUE(triangulatePolygonWithHoles(pts, rings, tris));
  EXPECT_EQ(tris.size(), 12u - 2 + 2 * 2);  // n - 2 + 2 h
  expectCover(pts, rings, tris, 100.0 - 8.0);

  // Holes sharing the point (4, 4): the second reuses index 6 of the first.
  std::vector<std::vector<uint32_t>> touching = {{0, 1, 2, 3}, rings[1]};
  pts.insert(pts.end(), {{4, 6}, {6, 6}, {6, 4}});
  const uint32_t b = static_cast<uint32_t>(pts.size()) - 3;
  touching.push_back({6, b, b + 1, b + 2});
  tris.clear();
  EXPECT_TRUE(triangulatePolygonWithHoles(pts, touching, tris));
  expectCover(pts, touching, tris, 100.0 - 8.0);
}

TEST(HoleTriangulation, CrossingRingsStillGetEveryEdgeOnce) {
  // A bow tie: no true ear covers it, but the border must still be closed.
  const std::vector<PlanePoint> pts = {{0, 0}, {2, 2}, {2, 0}, {0, 2}};
  std::vector<std::array<uint32_t, 3>> tris;
  EXPECT_FALSE(triangulatePolygonWithHoles(pts, {{0, 1, 2, 3}}, tris));
  std::map<std::pair<uint32_t, uint32_t>, int> uses;
  for (const auto& t : tris)
    for (int e = 0; e < 3; ++e) ++uses[{t[e], t[(e + 1) % 3]}];
  for (auto [a, b] : {std::pair<uint32_t, uint32_t>{0, 1}, {1, 2}, {2, 3}, {3, 0}})
    EXPECT_EQ(uses[std::make_pair(a, b)], 1);
  // NaN points and out-of-range indices are skipped rather than read.
  tris.clear();
  const std::vector<PlanePoint> bad = {{0, 0}, {1, 0}, {NAN, 1}, {1, 1}, {0, 1}};
  EXPECT_TRUE(triangulatePolygonWithHoles(bad, {{0, 1, 2, 3, 4, 99}}, tris));
  EXPECT_EQ(tris.size(), 2u);
}

}  // namespace
}  // namespace vekmesh
