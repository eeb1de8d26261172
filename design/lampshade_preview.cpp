// The lampshade preview: the model's section just above its base, grouped into
// outlines with their holes, and per group the inset by the wall (and by the
// wall plus 2.0, as the test that the base is wide enough), offset by
// ClipperLib in integer coordinates at a scale of 100000. Base outlines and
// the inner outlines of sufficient area are handed back at the base height.
// Choices (also in lampshade.h): a thickness that is NaN or so large that the
// clipper cannot offset by it gives no inset, so its groups give nothing.
#include <cmath>
#include <string>
#include <vector>

#include "design/lampshade.h"
#include "geometry/polygon_clipping.h"
#include "mesh/operation_log.h"
#include "mesh/plane_section.h"
#include "mesh/section_outlines.h"

namespace vekmesh {
namespace {

constexpr double kLeastHeight = 15.0;
constexpr double kBaseBand = 1.0;
constexpr double kCutAboveBase = 0.1;
constexpr double kClipperScale = 100000.0;
constexpr double kBaseMargin = 2.0;
constexpr double kLeastInnerArea = 25.0;

// Offsets beyond this (scaled) would leave the clipper's coordinate range.
constexpr double kLargestOffset = static_cast<double>(kClipperCoordinateLimit);

std::vector<IntRing> scaledRings(const OutlineGroup& group) {
  std::vector<IntRing> rings;
  for (const SectionPolygon& polygon : group) {
    std::vector<std::array<double, 2>> points;
    points.reserve(polygon.size());
    for (const auto& p : polygon) points.push_back({p[0], p[1]});
    rings.push_back(toIntegerRing(points, kClipperScale));
  }
  return rings;
}

// The rings moved inward by `distance` model units; empty when the distance
// cannot be offset.
std::vector<IntRing> inset(const std::vector<IntRing>& rings, double distance) {
  const double delta = -distance * kClipperScale;
  if (!(std::fabs(delta) < kLargestOffset)) return {};
  return offsetRings(rings, delta);
}

void addPolygon(PolygonOutlines& out, const std::vector<std::array<double, 2>>& points, float base,
                int32_t label) {
  for (const auto& p : points) {
    out.points.push_back(static_cast<float>(p[0]));
    out.points.push_back(static_cast<float>(p[1]));
    out.points.push_back(base);
  }
  out.pointCounts.push_back(static_cast<int32_t>(points.size()));
  out.labels.push_back(label);
}

}  // namespace

int32_t previewLampshade(const SubMesh& mesh, float wall_thickness, PolygonOutlines& outlines,
                         const RunContext& run) {
  outlines = PolygonOutlines{};
  run.log(startLine("lampshade preview"));
  const int32_t start = logClock();

  // The height range is read from the first corner of every face only.
  float zmin = 1e6f, zmax = -1e6f;
  for (const Face& f : mesh.faces) {
    if (f.v[0] < 0 || static_cast<size_t>(f.v[0]) >= mesh.vertices.size()) continue;
    const float z = mesh.vertices[static_cast<size_t>(f.v[0])].position[2];
    if (z < zmin) zmin = z;
    if (z > zmax) zmax = z;
  }
  if (!(double{zmax} - zmin >= kLeastHeight)) {
    run.log(failureLine("lampshade preview: thin object caution \n"));
    return 0;
  }

  float lowest = 1e6f;
  for (const Vertex& v : mesh.vertices)
    if (v.position[2] < lowest) lowest = v.position[2];
  float base = zmin;
  for (const Vertex& v : mesh.vertices)
    if (v.position[2] < double{lowest} + kBaseBand && v.position[2] > base) base = v.position[2];

  const double cut = double{base} + kCutAboveBase;
  const std::vector<OutlineGroup> groups = groupOutlines(planeSection(mesh, cut).loops, cut);
  if (groups.empty()) return 0;

  int32_t status = 0;
  PolygonOutlines inner;
  for (const OutlineGroup& group : groups) {
    const std::vector<IntRing> rings = scaledRings(group);
    const std::vector<IntRing> a = inset(rings, wall_thickness);
    const std::vector<IntRing> b = inset(rings, double{wall_thickness} + kBaseMargin);
    if (a.empty() || b.empty()) continue;
    status = 1;
    for (const SectionPolygon& polygon : group) {
      std::vector<std::array<double, 2>> points;
      for (const auto& p : polygon) points.push_back({p[0], p[1]});
      addPolygon(outlines, points, base, kBaseOutline);
    }
    for (const OutlineWithHoles& set : outlinesWithHoles(a, FillRule::kNonZero)) {
      double area = ringArea(set.outer);
      for (const IntRing& hole : set.holes) area += ringArea(hole);
      if (area / (kClipperScale * kClipperScale) < kLeastInnerArea) continue;
      addPolygon(inner, fromIntegerRing(set.outer, kClipperScale), base, kInnerOutline);
      for (const IntRing& hole : set.holes)
        addPolygon(inner, fromIntegerRing(hole, kClipperScale), base, kInnerOutline);
    }
  }
  outlines.points.insert(outlines.points.end(), inner.points.begin(), inner.points.end());
  outlines.pointCounts.insert(outlines.pointCounts.end(), inner.pointCounts.begin(),
                              inner.pointCounts.end());
  outlines.labels.insert(outlines.labels.end(), inner.labels.begin(), inner.labels.end());
  outlines.produced = true;
  run.log(successLine("lampshade preview", elapsedSeconds(start, logClock()), ": "));
  return status;
}

}  // namespace vekmesh
