// Tests of the convex hulls: convexity and outward faces checked with the
// exact predicate on random, lattice, repeated, coplanar, collinear, tiny and
// huge point sets, closedness, every extreme point kept, and the planar hull.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "geometry/convex_hull_2d.h"
#include "geometry/convex_hull_3d.h"
#include "geometry/exact_predicates.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace {

using quickhull::computeHull;
using quickhull::Hull;

// Every point on or below every hull face (exact), and a non-degenerate face
// seen from outside counter-clockwise: the hull's centroid lies below it.
void expectConvexAndOutward(const Hull& hull, const std::vector<Vec3d>& points) {
  Vec3d centre = {0.0, 0.0, 0.0};
  for (const Vec3d& v : hull.vertices) centre = add(centre, v);
  centre = scaled(centre, 1.0 / double(hull.vertices.size()));
  for (const auto& t : hull.triangles) {
    const double* a = hull.vertices[size_t(t[0])].data();
    const double* b = hull.vertices[size_t(t[1])].data();
    const double* c = hull.vertices[size_t(t[2])].data();
    for (const Vec3d& p : points) {
      if (!std::isfinite(p[0])) continue;
      ASSERT_LE(exact::orient3d(a, b, c, p.data()), 0);
    }
    ASSERT_LT(exact::orient3dValue(a, b, c, centre.data()), 0.0);
  }
  for (size_t i = 0; i < hull.vertices.size(); ++i)
    EXPECT_EQ(hull.vertices[i], points[size_t(hull.source[i])]);
}

// Each directed edge once, with its reverse: a closed two-manifold.
void expectClosed(const Hull& hull) {
  std::map<std::pair<int32_t, int32_t>, int> edges;
  for (const auto& t : hull.triangles)
    for (int k = 0; k < 3; ++k) ++edges[{t[size_t(k)], t[size_t((k + 1) % 3)]}];
  for (const auto& [edge, count] : edges) {
    ASSERT_EQ(count, 1);
    ASSERT_EQ(edges.count({edge.second, edge.first}), 1u);
  }
  // Euler's formula for a sphere: V - E + F = 2.
  EXPECT_EQ(
      int64_t(hull.vertices.size()) - int64_t(edges.size() / 2) + int64_t(hull.triangles.size()),
      2);
}

std::vector<Vec3d> randomPoints(size_t n, unsigned seed, double scale = 1.0) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<Vec3d> points(n);
  for (Vec3d& p : points) p = {u(rng) * scale, u(rng) * scale, u(rng) * scale};
  return points;
}

TEST(ConvexHull, RandomPointsGiveAClosedConvexOutwardHull) {
  const std::vector<Vec3d> points = randomPoints(5000, 7);
  const Hull hull = computeHull(points);
  EXPECT_FALSE(hull.planar);
  EXPECT_GT(hull.vertices.size(), 20u);
  expectConvexAndOutward(hull, points);
  expectClosed(hull);
}

TEST(ConvexHull, EveryPointOfAStrictlyConvexSurfaceIsAVertex) {
  // Lattice points lifted onto a paraboloid are all extreme, and every four
  // on a circle are coplanar: flat quadrilaterals the hull must not lose
  // corners of.
  std::vector<Vec3d> points;
  for (int x = -20; x < 20; ++x)
    for (int y = -20; y < 20; ++y) points.push_back({double(x), double(y), double(x * x + y * y)});
  const Hull hull = computeHull(points);
  EXPECT_EQ(hull.vertices.size(), points.size());
  expectConvexAndOutward(hull, points);
  expectClosed(hull);
}

TEST(ConvexHull, SphereVerticesAreAllOnTheHull) {
  const test::IndexedMesh sphere = test::uvSphere(40, 80, 10.0f);
  std::vector<Vec3d> points;
  for (size_t i = 0; i < sphere.vertexCount(); ++i)
    points.push_back(
        {sphere.positions[3 * i], sphere.positions[3 * i + 1], sphere.positions[3 * i + 2]});
  const Hull hull = computeHull(points);
  expectConvexAndOutward(hull, points);
  expectClosed(hull);
  // Rounding to floats may sink a vertex just inside its neighbours' plane.
  EXPECT_GE(hull.vertices.size(), points.size() * 99 / 100);
}

TEST(ConvexHull, RepeatedAndInteriorPointsLeaveTheCube) {
  std::vector<Vec3d> points;
  for (int copy = 0; copy < 5; ++copy)
    for (int i = 0; i < 8; ++i)
      points.push_back({double(i & 1), double(i >> 1 & 1), double(i >> 2)});
  for (const Vec3d& p : randomPoints(200, 3))
    points.push_back(add(scaled(p, 0.5), {0.5, 0.5, 0.5}));
  // Points on the cube's faces and edges are not vertices either.
  points.push_back({0.5, 0.5, 1.0});
  points.push_back({0.5, 0.0, 0.0});
  const Hull hull = computeHull(points);
  EXPECT_EQ(hull.vertices.size(), 8u);
  EXPECT_EQ(hull.triangles.size(), 12u);
  expectConvexAndOutward(hull, points);
  expectClosed(hull);
}

TEST(ConvexHull, ScaleDoesNotChangeTheHull) {
  // Powers of two scale exactly, so the exact decisions must not change.
  const std::vector<Vec3d> points = randomPoints(800, 11);
  const Hull unit = computeHull(points);
  for (const double scale : {std::ldexp(1.0, -120), std::ldexp(1.0, 120)}) {
    std::vector<Vec3d> scaled_points;
    for (const Vec3d& p : points) scaled_points.push_back(scaled(p, scale));
    const Hull hull = computeHull(scaled_points);
    EXPECT_EQ(hull.source, unit.source) << scale;
    EXPECT_EQ(hull.triangles, unit.triangles) << scale;
    expectConvexAndOutward(hull, scaled_points);
  }
}

TEST(ConvexHull, CoplanarPointsGiveATwoSidedPolygon) {
  // On the tilted plane z = x + 2y, exactly, with points inside and on edges.
  std::vector<Vec3d> points;
  for (int x = 0; x <= 6; ++x)
    for (int y = 0; y <= 3; ++y) points.push_back({double(x), double(y), double(x + 2 * y)});
  const Hull hull = computeHull(points);
  EXPECT_TRUE(hull.planar);
  ASSERT_EQ(hull.vertices.size(), 4u);  // the rectangle's corners only
  ASSERT_EQ(hull.triangles.size(), 4u);
  expectClosed(hull);
  // The two sides face opposite ways.
  const auto normal = [&](const std::array<int32_t, 3>& t) {
    const Vec3d& a = hull.vertices[size_t(t[0])];
    return cross(sub(hull.vertices[size_t(t[1])], a), sub(hull.vertices[size_t(t[2])], a));
  };
  EXPECT_LT(dot(normal(hull.triangles[0]), normal(hull.triangles[2])), 0.0);
  EXPECT_GT(dot(normal(hull.triangles[0]), normal(hull.triangles[1])), 0.0);
}

// A long build polls its caller every few thousand points and stops when
// the poll throws; polling changes nothing in the hull.
TEST(ConvexHull, PollsWhileItBuildsAndStopsWhenThePollThrows) {
  std::vector<Vec3d> points;
  for (int i = 0; i < 20000; ++i) {  // all on the hull: a Fibonacci sphere
    const double z = 1.0 - (2.0 * i + 1.0) / 20000.0, r = std::sqrt(1.0 - z * z);
    const double a = 2.399963229728653 * i;
    points.push_back({r * std::cos(a), r * std::sin(a), z});
  }
  int polls = 0;
  const Hull polled = computeHull(points, [&polls] { ++polls; });
  EXPECT_GE(polls, int(20000 / quickhull::kPollEvery) - 1);
  const Hull plain = computeHull(points);
  EXPECT_EQ(polled.source, plain.source);
  EXPECT_EQ(polled.triangles, plain.triangles);
  struct Stop {};
  EXPECT_THROW(computeHull(points, [] { throw Stop(); }), Stop);
}

TEST(ConvexHull, DegenerateSetsGiveDefinedAnswers) {
  EXPECT_TRUE(computeHull({}).vertices.empty());
  const double nan = std::nan("");
  EXPECT_TRUE(computeHull({{nan, 0, 0}, {1, nan, 2}}).vertices.empty());

  const Hull one = computeHull({{1, 2, 3}, {1, 2, 3}, {1, 2, 3}});
  EXPECT_EQ(one.vertices.size(), 1u);
  EXPECT_TRUE(one.triangles.empty());

  // Collinear: the two ends.
  std::vector<Vec3d> line;
  for (int t = 0; t < 10; ++t) line.push_back({double(3 * t % 10), double(2 * (3 * t % 10)), 0.5});
  const Hull segment = computeHull(line);
  ASSERT_EQ(segment.vertices.size(), 2u);
  EXPECT_TRUE(segment.triangles.empty());
  EXPECT_EQ(std::min(segment.vertices[0][0], segment.vertices[1][0]), 0.0);
  EXPECT_EQ(std::max(segment.vertices[0][0], segment.vertices[1][0]), 9.0);

  const Hull triangle = computeHull({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  EXPECT_TRUE(triangle.planar);
  EXPECT_EQ(triangle.triangles.size(), 2u);

  const Hull tetrahedron = computeHull({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {nan, 1, 1}});
  EXPECT_EQ(tetrahedron.triangles.size(), 4u);
  expectClosed(tetrahedron);
}

TEST(PlanarHull, CounterClockwiseFromTheLeftmostWithoutCollinearPoints) {
  const std::vector<Point2d> points = {{1, 1}, {0, 0}, {2, 0}, {2, 2}, {1, 0},
                                       {0, 2}, {0, 0}, {0, 1}, {1, 2}, {std::nan(""), 5}};
  const std::vector<int32_t> ring = convexHull2d(points);
  EXPECT_EQ(ring, (std::vector<int32_t>{1, 2, 3, 5}));
  EXPECT_EQ(convexHull2d({{3, 3}, {3, 3}}), (std::vector<int32_t>{0}));
  EXPECT_EQ(convexHull2d({{0, 0}, {2, 2}, {1, 1}}), (std::vector<int32_t>{0, 1}));
}

// Many points, so that the interior filter runs: every point inside or on
// the ring, every ring corner a strict left turn, and collinear boundary
// points (a lattice's sides) left out.
TEST(PlanarHull, ManyPointsGiveTheStrictlyConvexRing) {
  std::vector<Point2d> lattice;
  for (int i = 0; i < 40; ++i)
    for (int j = 0; j < 40; ++j) lattice.push_back({double(i), double(j)});
  const std::vector<int32_t> square = convexHull2d(lattice);
  EXPECT_EQ(square, (std::vector<int32_t>{0, 39 * 40, 39 * 40 + 39, 39}));

  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::vector<Point2d> points;
  for (int i = 0; i < 5000; ++i) points.push_back({unit(random), unit(random)});
  for (int i = 0; i < 300; ++i)  // a circle, every point a corner
    points.push_back({3.0 * std::cos(0.02 * i), 3.0 * std::sin(0.02 * i)});
  const std::vector<int32_t> ring = convexHull2d(points);
  ASSERT_GE(ring.size(), 300u);
  const size_t m = ring.size();
  for (size_t e = 0; e < m; ++e) {
    const double* a = points[size_t(ring[e])].data();
    const double* b = points[size_t(ring[(e + 1) % m])].data();
    EXPECT_GT(exact::orient2d(a, b, points[size_t(ring[(e + 2) % m])].data()), 0) << e;
    for (const Point2d& p : points) ASSERT_GE(exact::orient2d(a, b, p.data()), 0) << e;
  }
}

}  // namespace
}  // namespace vekmesh
