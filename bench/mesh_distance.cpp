// Sampled Hausdorff distance through a bulk-loaded Boost.Geometry R-tree of
// triangle boxes: per sample, the nearest few boxes bound the distance and
// every box within the bound is then measured exactly. Samples are measured
// in parallel (OpenMP, static schedule, max reduction).
#include "bench/mesh_distance.h"

#include <algorithm>
#include <array>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

namespace vekmesh {
namespace bench {
namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

using Point = bg::model::point<double, 3, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using Item = std::pair<Box, uint32_t>;
using Tree = bgi::rtree<Item, bgi::quadratic<16>>;
using V3 = std::array<double, 3>;

V3 vertex(const IndexedMesh& m, uint32_t i) {
  return {m.positions[3 * size_t(i)], m.positions[3 * size_t(i) + 1],
          m.positions[3 * size_t(i) + 2]};
}
V3 sub(const V3& a, const V3& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
double dot(const V3& a, const V3& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Squared distance from p to triangle abc: the closest point by Voronoi
// regions of the triangle (vertices, edges, face).
double pointTriangleDistance2(const V3& p, const V3& a, const V3& b, const V3& c) {
  const V3 ab = sub(b, a), ac = sub(c, a), ap = sub(p, a);
  const double d1 = dot(ab, ap), d2 = dot(ac, ap);
  auto at = [&](double s, double t) {
    const V3 q = {a[0] + s * ab[0] + t * ac[0], a[1] + s * ab[1] + t * ac[1],
                  a[2] + s * ab[2] + t * ac[2]};
    const V3 d = sub(p, q);
    return dot(d, d);
  };
  if (d1 <= 0.0 && d2 <= 0.0) return dot(ap, ap);
  const V3 bp = sub(p, b);
  const double d3 = dot(ab, bp), d4 = dot(ac, bp);
  if (d3 >= 0.0 && d4 <= d3) return dot(bp, bp);
  const double vc = d1 * d4 - d3 * d2;
  if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0) return at(d1 / (d1 - d3), 0.0);
  const V3 cp = sub(p, c);
  const double d5 = dot(ab, cp), d6 = dot(ac, cp);
  if (d6 >= 0.0 && d5 <= d6) return dot(cp, cp);
  const double vb = d5 * d2 - d1 * d6;
  if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0) return at(0.0, d2 / (d2 - d6));
  const double va = d3 * d6 - d5 * d4;
  if (va <= 0.0 && (d4 - d3) >= 0.0 && (d5 - d6) >= 0.0) {
    const double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
    const V3 bc = sub(c, b);
    const V3 q = {b[0] + w * bc[0], b[1] + w * bc[1], b[2] + w * bc[2]};
    const V3 d = sub(p, q);
    return dot(d, d);
  }
  const double denom = 1.0 / (va + vb + vc);
  return at(vb * denom, vc * denom);
}

Tree triangleTree(const IndexedMesh& m) {
  std::vector<Item> items;
  items.reserve(m.triangleCount());
  for (size_t t = 0; t < m.triangleCount(); ++t) {
    V3 lo = vertex(m, m.triangles[3 * t]), hi = lo;
    for (int c = 1; c < 3; ++c) {
      const V3 p = vertex(m, m.triangles[3 * t + c]);
      for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], p[k]), hi[k] = std::max(hi[k], p[k]);
    }
    items.emplace_back(Box(Point(lo[0], lo[1], lo[2]), Point(hi[0], hi[1], hi[2])),
                       static_cast<uint32_t>(t));
  }
  return Tree(items.begin(), items.end());  // packed (bulk) construction
}

double triangleDistance2(const IndexedMesh& m, uint32_t t, const V3& p) {
  return pointTriangleDistance2(p, vertex(m, m.triangles[3 * size_t(t)]),
                                vertex(m, m.triangles[3 * size_t(t) + 1]),
                                vertex(m, m.triangles[3 * size_t(t) + 2]));
}

// Two queries: the few nearest boxes give an upper bound on the distance,
// then every box within that bound is checked exactly (a triangle nearer than
// the bound has its box nearer still).
double distanceToMesh(const Tree& tree, const IndexedMesh& m, const V3& p,
                      std::vector<Item>& found) {
  const Point q(p[0], p[1], p[2]);
  double best = std::numeric_limits<double>::infinity();
  found.clear();
  tree.query(bgi::nearest(q, 4), std::back_inserter(found));
  for (const Item& item : found) best = std::min(best, triangleDistance2(m, item.second, p));
  const double r = std::sqrt(best);
  found.clear();
  tree.query(bgi::intersects(
                 Box(Point(p[0] - r, p[1] - r, p[2] - r), Point(p[0] + r, p[1] + r, p[2] + r))),
             std::back_inserter(found));
  for (const Item& item : found) best = std::min(best, triangleDistance2(m, item.second, p));
  return std::sqrt(best);
}

}  // namespace

std::vector<double> distancesToMesh(const std::vector<std::array<double, 3>>& points,
                                    const IndexedMesh& to) {
  std::vector<double> out(points.size(), std::numeric_limits<double>::infinity());
  if (to.triangleCount() == 0) return out;
  const Tree tree = triangleTree(to);
  std::vector<Item> found;
  for (size_t i = 0; i < points.size(); ++i) out[i] = distanceToMesh(tree, to, points[i], found);
  return out;
}

double directedHausdorff(const IndexedMesh& from, const IndexedMesh& to, int level) {
  if (to.triangleCount() == 0 || from.vertexCount() == 0) return 0.0;
  const Tree tree = triangleTree(to);
  level = std::max(level, 1);
  // Barycentric weights of the grid points strictly inside the triangle or
  // on its edges (its corners are the vertices, sampled once each), plus the
  // centroid.
  std::vector<V3> weights;
  for (int i = 0; i <= level; ++i)
    for (int j = 0; i + j <= level; ++j) {
      const int k = level - i - j;
      if (i == level || j == level || k == level) continue;
      weights.push_back({double(i) / level, double(j) / level, double(k) / level});
    }
  weights.push_back({1.0 / 3, 1.0 / 3, 1.0 / 3});

  double worst = 0.0;
  const int64_t nv = static_cast<int64_t>(from.vertexCount());
  const int64_t nt = static_cast<int64_t>(from.triangleCount());
#pragma omp parallel reduction(max : worst)
  {
    std::vector<Item> found;
#pragma omp for schedule(static)
    for (int64_t v = 0; v < nv; ++v)
      worst =
          std::max(worst, distanceToMesh(tree, to, vertex(from, static_cast<uint32_t>(v)), found));
#pragma omp for schedule(static)
    for (int64_t t = 0; t < nt; ++t) {
      const V3 a = vertex(from, from.triangles[3 * t]), b = vertex(from, from.triangles[3 * t + 1]),
               c = vertex(from, from.triangles[3 * t + 2]);
      for (const V3& w : weights) {
        const V3 p = {w[0] * a[0] + w[1] * b[0] + w[2] * c[0],
                      w[0] * a[1] + w[1] * b[1] + w[2] * c[1],
                      w[0] * a[2] + w[1] * b[2] + w[2] * c[2]};
        worst = std::max(worst, distanceToMesh(tree, to, p, found));
      }
    }
  }
  return worst;
}

double symmetricHausdorff(const IndexedMesh& a, int a_level, const IndexedMesh& b, int b_level) {
  return std::max(directedHausdorff(a, b, a_level), directedHausdorff(b, a, b_level));
}

}  // namespace bench
}  // namespace vekmesh
