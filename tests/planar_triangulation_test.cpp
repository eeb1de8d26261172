// Tests of the exact planar triangulation (tiling, kept rim, Delaunay edges,
// refusal of non-simple polygons) and of the minimum-weight loop
// triangulation (a valid triangulation of a non-planar loop).
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <utility>

#include "geometry/polygon_triangulation.h"

namespace vekmesh {
namespace {

using Tris = std::vector<std::array<int32_t, 3>>;

// Twice the area, exactly.
__int128 twiceArea(const std::vector<IntPoint2>& p, size_t n) {
  __int128 a = 0;
  for (size_t i = 0; i < n; ++i) {
    const IntPoint2& u = p[i];
    const IntPoint2& v = p[(i + 1) % n];
    a += __int128(u.x) * v.y - __int128(u.y) * v.x;
  }
  return a;
}

// Checks that `tris` tile the polygon p[0..n) exactly, keep each rim edge in
// its direction once, pair every other edge with its reverse, and leave no
// non-rim edge with the opposite vertex strictly inside the circumcircle.
void expectConstrainedDelaunay(const std::vector<IntPoint2>& p, size_t n, const Tris& tris) {
  __int128 sum = 0;
  std::map<std::pair<int32_t, int32_t>, int32_t> opposite;  // directed edge -> third vertex
  for (const auto& t : tris) {
    const int64_t o = orient2d(p[t[0]], p[t[1]], p[t[2]]);
    ASSERT_GT(o, 0);
    sum += o;
    for (int e = 0; e < 3; ++e) {
      const auto key = std::make_pair(t[e], t[(e + 1) % 3]);
      ASSERT_EQ(opposite.count(key), 0u) << "edge used twice in one direction";
      opposite[key] = t[(e + 2) % 3];
    }
  }
  EXPECT_TRUE(sum == twiceArea(p, n));
  for (size_t i = 0; i < n; ++i) {
    const auto rim = std::make_pair(int32_t(i), int32_t((i + 1) % n));
    EXPECT_EQ(opposite.count(rim), 1u);
    EXPECT_EQ(opposite.count({rim.second, rim.first}), 0u);
  }
  for (const auto& [edge, c] : opposite) {
    const auto back = opposite.find({edge.second, edge.first});
    const bool rim = (edge.first + 1) % int32_t(n) == edge.second && edge.first < int32_t(n) &&
                     edge.second < int32_t(n);
    if (rim) continue;
    ASSERT_NE(back, opposite.end());
    // d inside the circle through a, b, c (counter-clockwise) iff the lifted
    // determinant is positive; computed in long double, coordinates are small.
    const IntPoint2 &a = p[edge.first], &b = p[edge.second], &cc = p[c], &d = p[back->second];
    auto lift = [&](const IntPoint2& q) {
      return (long double)(q.x - d.x) * (q.x - d.x) + (long double)(q.y - d.y) * (q.y - d.y);
    };
    const long double det =
        lift(a) *
            ((long double)(b.x - d.x) * (cc.y - d.y) - (long double)(b.y - d.y) * (cc.x - d.x)) -
        lift(b) *
            ((long double)(a.x - d.x) * (cc.y - d.y) - (long double)(a.y - d.y) * (cc.x - d.x)) +
        lift(cc) *
            ((long double)(a.x - d.x) * (b.y - d.y) - (long double)(a.y - d.y) * (b.x - d.x));
    EXPECT_LE(det, 0.0L) << "edge " << edge.first << "-" << edge.second << " is not Delaunay";
  }
}

TEST(TriangulatePolygon, NonConvexPolygonsWithCollinearRimsAndInteriorPoints) {
  // An L with collinear rim vertices, filled with a grid of interior points.
  std::vector<IntPoint2> p = {{0, 0},   {10, 0},  {20, 0}, {30, 0}, {30, 10}, {10, 10},
                              {10, 20}, {10, 30}, {0, 30}, {0, 20}, {0, 10}};
  const size_t n = p.size();
  for (int x = 2; x < 30; x += 3)
    for (int y = 2; y < 30; y += 3)
      if (x < 9 || y < 9) p.push_back({x, y});
  Tris tris;
  ASSERT_TRUE(triangulatePolygon(p, n, tris));
  expectConstrainedDelaunay(p, n, tris);
  EXPECT_EQ(tris.size(), n - 2 + 2 * (p.size() - n));

  // A star of 300 points at pseudo-random radii.
  std::vector<IntPoint2> star;
  uint64_t s = 12345;
  for (int i = 0; i < 300; ++i) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    const double r = 400000.0 + double(s >> 44) * 0.5;
    const double a = 2.0 * 3.14159265358979323846 * i / 300;
    star.push_back({std::llround(r * std::cos(a)), std::llround(r * std::sin(a))});
  }
  for (int i = -5; i <= 5; ++i) star.push_back({i * 30000, (i * 7919) % 50000});
  ASSERT_TRUE(triangulatePolygon(star, 300, tris));
  expectConstrainedDelaunay(star, 300, tris);
}

TEST(TriangulatePolygon, RefusesPolygonsThatAreNotSimpleOrClockwise) {
  Tris tris;
  const std::vector<IntPoint2> bowtie = {{0, 0}, {10, 10}, {10, 0}, {0, 10}};
  EXPECT_FALSE(triangulatePolygon(bowtie, 4, tris));
  EXPECT_TRUE(tris.empty());
  const std::vector<IntPoint2> clockwise = {{0, 0}, {0, 10}, {10, 10}, {10, 0}};
  EXPECT_FALSE(triangulatePolygon(clockwise, 4, tris));
  const std::vector<IntPoint2> huge = {{0, 0}, {kPlanarCoordinateLimit + 1, 0}, {0, 5}};
  EXPECT_FALSE(triangulatePolygon(huge, 3, tris));
}

}  // namespace
}  // namespace vekmesh
