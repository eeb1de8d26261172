// Grouping of section loops through the ClipperLib wrapper, and polygon
// areas and centroids taken about the first point for accuracy far from the
// origin.
#include "mesh/section_outlines.h"

#include <algorithm>
#include <cmath>

#include "geometry/polygon_clipping.h"

namespace vekmesh {
namespace {

// Half the clipper's exact range, as the planar kernels use.
constexpr double kIntegerReach = double(int64_t(1) << 29);

SectionPolygon fromRing(const IntRing& ring, double cx, double cy, double scale, float z) {
  SectionPolygon polygon;
  polygon.reserve(ring.size());
  for (const IntPoint2& p : ring)
    polygon.push_back({static_cast<float>(cx + double(p.x) / scale),
                       static_cast<float>(cy + double(p.y) / scale), z});
  return polygon;
}

}  // namespace

std::vector<OutlineGroup> groupOutlines(const std::vector<SectionPolygon>& loops, double height) {
  double lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
  for (const SectionPolygon& loop : loops)
    for (const auto& p : loop)
      for (int a = 0; a < 2; ++a) {
        lo[a] = std::min(lo[a], double(p[a]));
        hi[a] = std::max(hi[a], double(p[a]));
      }
  const double cx = 0.5 * lo[0] + 0.5 * hi[0], cy = 0.5 * lo[1] + 0.5 * hi[1];
  const double half = std::max(0.5 * hi[0] - 0.5 * lo[0], 0.5 * hi[1] - 0.5 * lo[1]);
  if (!(half > 0.0) || !std::isfinite(half) || !std::isfinite(cx) || !std::isfinite(cy)) return {};
  const double scale = kIntegerReach / half;

  std::vector<IntRing> rings;
  rings.reserve(loops.size());
  for (const SectionPolygon& loop : loops) {
    IntRing ring;
    ring.reserve(loop.size());
    bool finite = true;
    for (const auto& p : loop) {
      const double x = (double(p[0]) - cx) * scale, y = (double(p[1]) - cy) * scale;
      if (!std::isfinite(x) || !std::isfinite(y)) finite = false;
      if (finite) ring.push_back({std::llround(x), std::llround(y)});
    }
    if (finite && ring.size() >= 3) rings.push_back(std::move(ring));
  }
  const float z = static_cast<float>(height);
  std::vector<OutlineGroup> groups;
  for (const OutlineWithHoles& o : outlinesWithHoles(rings, FillRule::kNonZero)) {
    OutlineGroup group;
    group.reserve(1 + o.holes.size());
    group.push_back(fromRing(o.outer, cx, cy, scale, z));
    for (const IntRing& hole : o.holes) group.push_back(fromRing(hole, cx, cy, scale, z));
    groups.push_back(std::move(group));
  }
  return groups;
}

double polygonArea(const SectionPolygon& polygon) {
  if (polygon.size() < 3) return 0.0;
  const double x0 = polygon[0][0], y0 = polygon[0][1];
  double sum = 0.0;
  for (size_t i = 1; i + 1 < polygon.size(); ++i) {
    const double ax = polygon[i][0] - x0, ay = polygon[i][1] - y0;
    const double bx = polygon[i + 1][0] - x0, by = polygon[i + 1][1] - y0;
    sum += ax * by - ay * bx;
  }
  return 0.5 * sum;
}

std::array<double, 3> polygonCentroid(const SectionPolygon& polygon) {
  if (polygon.empty()) return {0.0, 0.0, 0.0};
  const double x0 = polygon[0][0], y0 = polygon[0][1];
  double sum = 0.0, cx = 0.0, cy = 0.0, mx = 0.0, my = 0.0, mz = 0.0;
  for (size_t i = 0; i < polygon.size(); ++i) {
    mx += polygon[i][0] - x0;
    my += polygon[i][1] - y0;
    mz += polygon[i][2];
  }
  const double n = double(polygon.size());
  for (size_t i = 1; i + 1 < polygon.size(); ++i) {
    const double ax = polygon[i][0] - x0, ay = polygon[i][1] - y0;
    const double bx = polygon[i + 1][0] - x0, by = polygon[i + 1][1] - y0;
    const double cross = ax * by - ay * bx;
    sum += cross;
    cx += cross * (ax + bx);
    cy += cross * (ay + by);
  }
  // A polygon of no area (or of an area lost in rounding) has no area
  // centroid; its points' mean is the natural stand-in.
  if (sum == 0.0 || !std::isfinite(cx / (3.0 * sum)) || !std::isfinite(cy / (3.0 * sum)))
    return {x0 + mx / n, y0 + my / n, mz / n};
  return {x0 + cx / (3.0 * sum), y0 + cy / (3.0 * sum), mz / n};
}

double outlineArea(const std::vector<OutlineGroup>& groups) {
  double area = 0.0;
  for (const OutlineGroup& group : groups)
    for (const SectionPolygon& polygon : group) area += polygonArea(polygon);
  return area;
}

}  // namespace vekmesh
