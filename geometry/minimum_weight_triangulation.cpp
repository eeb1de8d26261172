// Dynamic programming over the chains (i, k) of a closed polygon: the best
// triangulation of chain (i, k) closes it with a triangle (i, m, k) on the best
// triangulations of (i, m) and (m, k). Weights compare the worst dihedral
// angle first (as 1 - cosine) and the area second.
#include <cmath>
#include <limits>

#include "geometry/polygon_triangulation.h"
#include "geometry/vectors.h"

namespace vekmesh {
namespace {

struct Weight {
  double bend = 0.0;  // worst 1 - cos(dihedral) so far
  double area = 0.0;
  bool operator<(const Weight& o) const {
    // Bends within a small tolerance count as equal so that area decides
    // between shapes that are equally flat.
    if (bend < o.bend - 1e-9) return true;
    if (bend > o.bend + 1e-9) return false;
    return area < o.area;
  }
};

// A degenerate triangle bends worse than any real one (1 - cos is at most 2).
constexpr double kDegenerateBend = 3.0;

double bend(const Vec3d& n, const Vec3d& other) {
  if (dot(other, other) == 0.0) return 0.0;  // nothing to compare with
  if (dot(n, n) == 0.0) return kDegenerateBend;
  return 1.0 - dot(n, other);
}

}  // namespace

bool triangulateLoopMinimumWeight(const std::vector<Vec3d>& points,
                                  const std::vector<Vec3d>& rim_normals,
                                  std::vector<std::array<int32_t, 3>>& triangles) {
  triangles.clear();
  const size_t n = points.size();
  if (n < 3 || n > kMinimumWeightLoopLimit || rim_normals.size() != n) return false;

  auto at = [n](size_t i, size_t k) { return i * n + k; };
  std::vector<Weight> best(n * n);
  std::vector<int32_t> split(n * n, -1);
  auto normal = [&](size_t i, size_t m, size_t k, double& area) {
    Vec3d c = cross(sub(points[m], points[i]), sub(points[k], points[i]));
    const double len = std::sqrt(dot(c, c));
    area = 0.5 * len;
    if (!(len > 0.0)) return Vec3d{0.0, 0.0, 0.0};
    return Vec3d{c[0] / len, c[1] / len, c[2] / len};
  };
  // Normal of whatever lies across chain edge (a, b): the rim face when the
  // chain is a polygon edge, else the triangle chosen for chain (a, b).
  auto across = [&](size_t a, size_t b) {
    if (b == a + 1) return rim_normals[a];
    double unused;
    return normal(a, static_cast<size_t>(split[at(a, b)]), b, unused);
  };

  for (size_t len = 2; len < n; ++len)
    for (size_t i = 0; i + len < n; ++i) {
      const size_t k = i + len;
      Weight chosen{std::numeric_limits<double>::infinity(), 0.0};
      int32_t chosen_m = -1;
      for (size_t m = i + 1; m < k; ++m) {
        double area;
        const Vec3d t = normal(i, m, k, area);
        Weight w;
        w.bend = std::fmax(best[at(i, m)].bend, best[at(m, k)].bend);
        w.bend = std::fmax(w.bend, bend(t, across(i, m)));
        w.bend = std::fmax(w.bend, bend(t, across(m, k)));
        if (i == 0 && k == n - 1) w.bend = std::fmax(w.bend, bend(t, rim_normals[n - 1]));
        w.area = best[at(i, m)].area + best[at(m, k)].area + area;
        if (chosen_m < 0 || w < chosen) {
          chosen = w;
          chosen_m = static_cast<int32_t>(m);
        }
      }
      best[at(i, k)] = chosen;
      split[at(i, k)] = chosen_m;
    }

  // Unwind the choices from the whole chain.
  std::vector<std::pair<size_t, size_t>> chains = {{0, n - 1}};
  while (!chains.empty()) {
    const auto [i, k] = chains.back();
    chains.pop_back();
    if (k < i + 2) continue;
    const size_t m = static_cast<size_t>(split[at(i, k)]);
    triangles.push_back(
        {static_cast<int32_t>(i), static_cast<int32_t>(m), static_cast<int32_t>(k)});
    chains.push_back({i, m});
    chains.push_back({m, k});
  }
  return true;
}

}  // namespace vekmesh
