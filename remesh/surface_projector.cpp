// The grid of the surface projector: every triangle is listed in each cell
// its box overlaps (keys sorted, then hashed by open addressing), and a query
// visits the cells within the distance of its starting triangle, falling
// back to a scan of all triangles when that box would cover more cells than
// there are triangles.
#include "remesh/surface_projector.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vekmesh::remeshing {
namespace {

// Per axis, so that a key (the three cell numbers in one integer) fits 60 bits.
constexpr int64_t kMaxCellsPerAxis = int64_t(1) << 20;

double distanceSquared(const Vec3d& a, const Vec3d& b) {
  const Vec3d d = sub(a, b);
  return dot(d, d);
}

}  // namespace

Vec3d closestPointOnTriangle(const Vec3d& p, const Vec3d& a, const Vec3d& b, const Vec3d& c) {
  const Vec3d ab = sub(b, a), ac = sub(c, a), ap = sub(p, a);
  const double d1 = dot(ab, ap), d2 = dot(ac, ap);
  if (d1 <= 0.0 && d2 <= 0.0) return a;
  const Vec3d bp = sub(p, b);
  const double d3 = dot(ab, bp), d4 = dot(ac, bp);
  if (d3 >= 0.0 && d4 <= d3) return b;
  const double vc = d1 * d4 - d3 * d2;
  if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0) return add(a, scaled(ab, d1 / (d1 - d3)));
  const Vec3d cp = sub(p, c);
  const double d5 = dot(ab, cp), d6 = dot(ac, cp);
  if (d6 >= 0.0 && d5 <= d6) return c;
  const double vb = d5 * d2 - d1 * d6;
  if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0) return add(a, scaled(ac, d2 / (d2 - d6)));
  const double va = d3 * d6 - d5 * d4;
  if (va <= 0.0 && (d4 - d3) >= 0.0 && (d5 - d6) >= 0.0)
    return add(b, scaled(sub(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6))));
  const double sum = va + vb + vc;
  // A degenerate triangle whose regions all failed: its first corner.
  if (!(sum > 0.0)) return a;
  const double v = vb / sum, w = vc / sum;
  return add(a, add(scaled(ab, v), scaled(ac, w)));
}

SurfaceProjector::SurfaceProjector(std::vector<Vec3d> corners, double cell_hint)
    : corners_(std::move(corners)) {
  const size_t n = triangleCount();
  if (n == 0) return;
  Vec3d high = corners_[0];
  low_ = corners_[0];
  for (const Vec3d& c : corners_)
    for (int k = 0; k < 3; ++k)
      low_[k] = std::min(low_[k], c[k]), high[k] = std::max(high[k], c[k]);
  double extent = 0.0;
  for (int k = 0; k < 3; ++k) extent = std::max(extent, high[k] - low_[k]);
  double cell = cell_hint;
  if (!(cell > 0.0) || !std::isfinite(cell)) cell = extent / 64.0;
  cell = std::max(cell, extent / double(kMaxCellsPerAxis - 1));
  if (!(cell > 0.0) || !std::isfinite(cell)) cell = 1.0;

  // Coarsen until the lists stay small: a few long triangles among short
  // ones would otherwise fill many cells each.
  const size_t budget = 8 * n + 1024;
  auto range = [&](size_t t, int axis, int64_t& from, int64_t& to) {
    double lo = corners_[3 * t][axis], hi = lo;
    for (size_t i = 1; i < 3; ++i)
      lo = std::min(lo, corners_[3 * t + i][axis]), hi = std::max(hi, corners_[3 * t + i][axis]);
    from = cellOf(lo, axis);
    to = cellOf(hi, axis);
  };
  size_t total = 0;
  for (;;) {
    inverse_cell_ = 1.0 / cell;
    for (int k = 0; k < 3; ++k)
      cells_[k] = std::min<int64_t>(kMaxCellsPerAxis,
                                    static_cast<int64_t>((high[k] - low_[k]) * inverse_cell_) + 1);
    total = 0;
    for (size_t t = 0; t < n && total <= budget; ++t) {
      size_t cells = 1;
      for (int k = 0; k < 3; ++k) {
        int64_t from, to;
        range(t, k, from, to);
        cells *= static_cast<size_t>(to - from + 1);
      }
      total += cells;
    }
    if (total <= budget) break;
    cell *= 2.0;
  }

  std::vector<std::pair<uint64_t, uint32_t>> listed;
  listed.reserve(total);
  for (size_t t = 0; t < n; ++t) {
    int64_t from[3], to[3];
    for (int k = 0; k < 3; ++k) range(t, k, from[k], to[k]);
    for (int64_t i = from[0]; i <= to[0]; ++i)
      for (int64_t j = from[1]; j <= to[1]; ++j)
        for (int64_t k = from[2]; k <= to[2]; ++k)
          listed.emplace_back(key(i, j, k), static_cast<uint32_t>(t));
  }
  std::sort(listed.begin(), listed.end());
  size_t distinct = 0;
  for (size_t i = 0; i < listed.size(); ++i)
    distinct += i == 0 || listed[i].first != listed[i - 1].first;
  size_t size = 16;
  while (size < 2 * distinct) size *= 2;
  buckets_.assign(size, Bucket{});
  entries_.resize(listed.size());
  for (size_t i = 0; i < listed.size();) {
    size_t j = i;
    while (j < listed.size() && listed[j].first == listed[i].first) {
      entries_[j] = listed[j].second;
      ++j;
    }
    size_t slot = (listed[i].first * 0x9E3779B97F4A7C15ull) & (size - 1);
    while (buckets_[slot].key != ~uint64_t(0)) slot = (slot + 1) & (size - 1);
    buckets_[slot] = {listed[i].first, static_cast<uint32_t>(i), static_cast<uint32_t>(j - i)};
    i = j;
  }
}

int64_t SurfaceProjector::cellOf(double x, int axis) const {
  const double c = std::floor((x - low_[axis]) * inverse_cell_);
  if (!(c > 0.0)) return 0;  // NaN too
  return c >= double(cells_[axis] - 1) ? cells_[axis] - 1 : static_cast<int64_t>(c);
}

const SurfaceProjector::Bucket* SurfaceProjector::find(uint64_t k) const {
  const size_t mask = buckets_.size() - 1;
  for (size_t slot = (k * 0x9E3779B97F4A7C15ull) & mask;; slot = (slot + 1) & mask) {
    if (buckets_[slot].key == k) return &buckets_[slot];
    if (buckets_[slot].key == ~uint64_t(0)) return nullptr;
  }
}

Vec3d SurfaceProjector::project(const Vec3d& p, uint32_t& hint) const {
  const size_t n = triangleCount();
  if (n == 0 || !std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return p;
  if (hint >= n) hint = 0;
  auto closest = [&](uint32_t t) {
    return closestPointOnTriangle(p, corners_[3 * t], corners_[3 * t + 1], corners_[3 * t + 2]);
  };
  Vec3d best = closest(hint);
  double best_d2 = distanceSquared(p, best);
  const double r = std::sqrt(best_d2);
  int64_t from[3], to[3];
  double cells = 1.0;
  for (int k = 0; k < 3; ++k) {
    from[k] = cellOf(p[k] - r, k);
    to[k] = cellOf(p[k] + r, k);
    cells *= double(to[k] - from[k] + 1);
  }
  auto consider = [&](uint32_t t) {
    if (t == hint) return;
    const Vec3d q = closest(t);
    const double d2 = distanceSquared(p, q);
    if (d2 < best_d2) best_d2 = d2, best = q, hint = t;
  };
  if (cells > double(n)) {
    for (uint32_t t = 0; t < n; ++t) consider(t);
    return best;
  }
  const uint32_t start = hint;
  for (int64_t i = from[0]; i <= to[0]; ++i)
    for (int64_t j = from[1]; j <= to[1]; ++j)
      for (int64_t k = from[2]; k <= to[2]; ++k)
        if (const Bucket* b = find(key(i, j, k)))
          for (uint32_t e = b->first; e < b->first + b->count; ++e)
            if (entries_[e] != start) consider(entries_[e]);
  return best;
}

}  // namespace vekmesh::remeshing
