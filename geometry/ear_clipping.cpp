// Ear clipping (Meisters' two-ears theorem) on the polygon projected along the
// dominant axis of its Newell normal. A corner is an ear when it is convex and
// no other remaining corner lies in the triangle it cuts off; when a full lap
// finds none (a self-crossing or degenerate polygon), the current corner is cut
// anyway so that the loop always ends with n - 2 triangles.
#include <cmath>

#include "geometry/polygon_triangulation.h"

namespace vekmesh {
namespace {

struct Point2 {
  double x, y;
};

double cross(const Point2& a, const Point2& b, const Point2& c) {
  return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool samePoint(const Point2& a, const Point2& b) {
  return a.x == b.x && a.y == b.y;
}

void fan(size_t n, std::vector<std::array<uint32_t, 3>>& triangles) {
  for (uint32_t i = 1; i + 1 < n; ++i) triangles.push_back({0, i, i + 1});
}

// Projects to 2-D so that the polygon runs counter-clockwise when its Newell
// normal is taken as up; false when the normal is zero or not finite.
bool project(const std::vector<std::array<float, 3>>& points, std::vector<Point2>& flat) {
  double normal[3] = {0.0, 0.0, 0.0};
  const size_t n = points.size();
  for (size_t i = 0, j = n - 1; i < n; j = i++) {
    const auto& a = points[j];
    const auto& b = points[i];
    normal[0] += (double(a[1]) - b[1]) * (double(a[2]) + b[2]);
    normal[1] += (double(a[2]) - b[2]) * (double(a[0]) + b[0]);
    normal[2] += (double(a[0]) - b[0]) * (double(a[1]) + b[1]);
  }
  int axis = 0;
  for (int a = 1; a < 3; ++a)
    if (std::fabs(normal[a]) > std::fabs(normal[axis])) axis = a;
  if (!(std::fabs(normal[axis]) > 0.0) || !std::isfinite(normal[axis])) return false;
  // Dropping `axis` and keeping the next two in cyclic order preserves the
  // turning direction when the normal's component along `axis` is positive.
  const int u = (axis + 1) % 3, v = (axis + 2) % 3;
  const double flip = normal[axis] > 0.0 ? 1.0 : -1.0;
  flat.resize(n);
  for (size_t i = 0; i < n; ++i) flat[i] = {points[i][u], flip * points[i][v]};
  return true;
}

}  // namespace

void triangulateFace(const std::vector<std::array<float, 3>>& points,
                     std::vector<std::array<uint32_t, 3>>& triangles) {
  const size_t n = points.size();
  if (n < 3) return;
  std::vector<Point2> flat;
  if (n == 3 || n > kMaxEarClipCorners || !project(points, flat)) {
    fan(n, triangles);
    return;
  }
  std::vector<uint32_t> prev(n), next(n);
  for (uint32_t i = 0; i < n; ++i) {
    prev[i] = static_cast<uint32_t>(i == 0 ? n - 1 : i - 1);
    next[i] = static_cast<uint32_t>(i + 1 == n ? 0 : i + 1);
  }
  auto isEar = [&](uint32_t a, uint32_t b, uint32_t c) {
    const Point2 &pa = flat[a], &pb = flat[b], &pc = flat[c];
    if (!(cross(pa, pb, pc) > 0.0)) return false;
    for (uint32_t q = next[c]; q != a; q = next[q]) {
      const Point2& p = flat[q];
      // A corner repeated further round (a polygon that touches itself) may
      // sit on the ear's tip without blocking it.
      if (samePoint(p, pa) || samePoint(p, pb) || samePoint(p, pc)) continue;
      if (cross(pa, pb, p) >= 0.0 && cross(pb, pc, p) >= 0.0 && cross(pc, pa, p) >= 0.0)
        return false;
    }
    return true;
  };
  size_t remaining = n;
  uint32_t corner = 0;
  size_t misses = 0;
  while (remaining > 3) {
    const uint32_t a = prev[corner], c = next[corner];
    if (isEar(a, corner, c) || misses >= remaining) {
      triangles.push_back({a, corner, c});
      next[a] = c;
      prev[c] = a;
      --remaining;
      misses = 0;
      corner = a;  // the corner before the cut may have become an ear
    } else {
      corner = c;
      ++misses;
    }
  }
  triangles.push_back({prev[corner], corner, next[corner]});
}

}  // namespace vekmesh
