// Tests of the exact planar triangulation (tiling, kept rim, Delaunay edges,
// refusal of non-simple polygons) and of the minimum-weight loop
// triangulation (the flatter of two diagonals).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include "geometry/polygon_triangulation.h"

namespace vekmesh {
namespace {

using Tris = std::vector<std::array<int32_t, 3>>;

// Checks that `tris` tile the polygon p[0..n) exactly, pair every edge but the
// rim edges (so those are all there) with its reverse, and leave no non-rim
// edge with the opposite vertex strictly inside the circumcircle.
void expectConstrainedDelaunay(const std::vector<IntPoint2>& p, size_t n, const Tris& tris) {
  __int128 sum = 0, area = 0;
  for (size_t i = 0; i < n; ++i)
    area += __int128(p[i].x) * p[(i + 1) % n].y - __int128(p[i].y) * p[(i + 1) % n].x;
  std::map<std::pair<int32_t, int32_t>, int32_t> opposite;  // directed edge -> third vertex
  for (const auto& t : tris) {
    ASSERT_GT(orient2d(p[t[0]], p[t[1]], p[t[2]]), 0);
    sum += orient2d(p[t[0]], p[t[1]], p[t[2]]);
    for (int e = 0; e < 3; ++e)
      ASSERT_TRUE(opposite.emplace(std::pair{t[e], t[(e + 1) % 3]}, t[(e + 2) % 3]).second);
  }
  EXPECT_TRUE(sum == area);
  for (const auto& [edge, c] : opposite) {
    const auto [a, b] = edge;
    const bool rim = a < int32_t(n) && b == (a + 1) % int32_t(n);
    const auto back = opposite.find({b, a});
    EXPECT_EQ(back == opposite.end(), rim) << a << "-" << b;
    if (rim || back == opposite.end()) continue;
    // d inside the circle through a, b, c (counter-clockwise) iff the lifted
    // determinant is positive; exact in 128 bits for these coordinates.
    const IntPoint2 d = p[back->second];
    __int128 m[3][3];
    for (int i = 0; i < 3; ++i) {
      const IntPoint2 q = p[i == 0 ? a : (i == 1 ? b : c)];
      m[i][0] = q.x - d.x, m[i][1] = q.y - d.y, m[i][2] = m[i][0] * m[i][0] + m[i][1] * m[i][1];
    }
    const __int128 det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    EXPECT_LE(det, 0) << "edge " << a << "-" << b << " is not Delaunay";
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
  std::mt19937 rng(12345);
  for (int i = 0; i < 300; ++i) {
    const double r = 400000.0 + rng() % 500000, a = 2.0 * 3.14159265358979323846 * i / 300;
    star.push_back({std::llround(r * std::cos(a)), std::llround(r * std::sin(a))});
  }
  for (int i = -5; i <= 5; ++i) star.push_back({i * 30000, (i * 7919) % 50000});
  ASSERT_TRUE(triangulatePolygon(star, 300, tris));
  expectConstrainedDelaunay(star, 300, tris);
}

TEST(TriangulatePolygon, RefusesPolygonsThatAreNotSimpleOrClockwise) {
  // A bow tie, a clockwise square, a corner beyond the coordinate limit.
  for (const std::vector<IntPoint2>& p :
       {std::vector<IntPoint2>{{0, 0}, {10, 10}, {10, 0}, {0, 10}},
        {{0, 0}, {0, 10}, {10, 10}, {10, 0}},
        {{0, 0}, {kPlanarCoordinateLimit + 1, 0}, {0, 5}}}) {
    Tris tris = {{0, 1, 2}};
    EXPECT_FALSE(triangulatePolygon(p, p.size(), tris));
    EXPECT_TRUE(tris.empty());
  }
}

TEST(TriangulateLoopMinimumWeight, TakesTheDiagonalWithTheSmallerBend) {
  // A skew quad: across diagonal 1-3 the two triangles bend less than across
  // 0-2, whichever corner the loop starts from. No rim faces to compare with.
  const Vec3d quad[4] = {{0, 0, 0}, {2, 0, 0}, {4, 2, 2}, {0, 2, 0}};
  for (int start = 0; start < 4; ++start) {
    std::vector<Vec3d> loop;
    for (int i = 0; i < 4; ++i) loop.push_back(quad[(start + i) % 4]);
    Tris tris;
    ASSERT_TRUE(triangulateLoopMinimumWeight(loop, std::vector<Vec3d>(4), tris));
    ASSERT_EQ(tris.size(), 2u);
    const int32_t one = (5 - start) % 4, three = (7 - start) % 4;  // where 1 and 3 are now
    for (const auto& t : tris)
      EXPECT_TRUE(std::count(t.begin(), t.end(), one) && std::count(t.begin(), t.end(), three));
  }
}

}  // namespace
}  // namespace vekmesh
