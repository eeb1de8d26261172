// The plane section routine: one plane by a pass over the faces with every
// vertex classed once, or many planes by a sweep over faces bucketed by the
// first plane their z range reaches (an active list keeps each face for the
// planes up to the last one it reaches).
#include "mesh/plane_section.h"

#include <algorithm>
#include <cmath>

#include "mesh/plane_slicing.h"

namespace vekmesh {
namespace {

constexpr uint32_t kNoPlane = 0xFFFFFFFFu;

double planeDistance(const std::array<float, 3>& a, const std::array<float, 3>& b) {
  return std::hypot(double(a[0]) - b[0], double(a[1]) - b[1]);
}

bool gapClosable(const SectionPolygon& chain) {
  double length = 0.0;
  for (size_t i = 1; i < chain.size(); ++i) length += planeDistance(chain[i - 1], chain[i]);
  return planeDistance(chain.front(), chain.back()) <= kChainGapFraction * length;
}

// The polygons of one plane's chains: tidied, pairs of opposite loops
// dropped, closed loops kept, open chains closed across a short gap or
// dropped.
void appendPolygons(const SubMesh& mesh, double h, const std::vector<CrossingLoop>& loops,
                    std::vector<SectionPolygon>& out) {
  std::vector<std::vector<uint64_t>> points(loops.size());
  std::vector<uint8_t> closed(loops.size());
  for (size_t i = 0; i < loops.size(); ++i) {
    for (uint64_t c : loops[i].crossings) points[i].push_back(pointKey(mesh, c, h));
    closed[i] = loops[i].closed;
    tidyLoop(points[i], loops[i].closed);
    if (points[i].size() < 3) points[i].clear();
  }
  dropOppositeLoops(points, closed);
  for (size_t i = 0; i < loops.size(); ++i) {
    if (points[i].empty()) continue;
    SectionPolygon polygon;
    polygon.reserve(points[i].size());
    for (uint64_t p : points[i]) polygon.push_back(pointPosition(mesh, p, h));
    // Crossings next to a vertex just off the plane can round to one point.
    tidyLoop(polygon, closed[i]);
    if (polygon.size() < 3 || (!closed[i] && !gapClosable(polygon))) continue;
    out.push_back(std::move(polygon));
  }
}

bool finiteFace(const SubMesh& mesh, const Face& f) {
  for (int c = 0; c < 3; ++c)
    for (float x : mesh.vertices[size_t(f.v[c])].position)
      if (!std::isfinite(x)) return false;
  return true;
}

// The pieces of the faces `active` names at height h, vertices on the plane
// counted on the side the faces lying in it call for.
void activeSegments(const SubMesh& mesh, const std::vector<uint32_t>& active, double h,
                    std::vector<Segment>& segments) {
  double on_area2 = 0.0;
  bool any_on = false;
  const auto collect = [&](OnPlaneSide on) {
    segments.clear();
    for (uint32_t fi : active) {
      const Face& f = mesh.faces[fi];
      uint8_t cls[3], s[3];
      for (int c = 0; c < 3; ++c) {
        cls[c] = heightClass(mesh.vertices[size_t(f.v[c])].position[2], h);
        s[c] = sideOf(cls[c], on);
      }
      if ((cls[0] == kClassOn) | (cls[1] == kClassOn) | (cls[2] == kClassOn)) {
        any_on = true;
        if (cls[0] == kClassOn && cls[1] == kClassOn && cls[2] == kClassOn)
          on_area2 += projectedArea2(mesh, f);
      }
      Segment segment;
      if (faceSegment(f.v, s, segment)) segments.push_back(segment);
    }
  };
  collect(OnPlaneSide::kAbove);
  // Faces lying in the plane facing up: count its vertices as below instead.
  if (any_on && onPlaneSideFor(on_area2) == OnPlaneSide::kBelow) collect(OnPlaneSide::kBelow);
}

}  // namespace

SectionLoops planeSection(const SubMesh& mesh, double height) {
  SectionLoops section;
  section.height = height;
  if (std::isnan(height)) return section;
  std::vector<uint8_t> cls(mesh.vertices.size());
  bool any_on = false;
  for (size_t v = 0; v < cls.size(); ++v) {
    cls[v] = vertexClass(mesh.vertices[v].position, height);
    any_on |= cls[v] == kClassOn;
  }
  const auto anyClass = [&](const Face& f, uint8_t k) {
    return cls[size_t(f.v[0])] == k || cls[size_t(f.v[1])] == k || cls[size_t(f.v[2])] == k;
  };
  OnPlaneSide on = OnPlaneSide::kAbove;
  if (any_on) {
    double area2 = 0.0;
    for (const Face& f : mesh.faces)
      if (usableFace(mesh, f) && cls[size_t(f.v[0])] == kClassOn &&
          cls[size_t(f.v[1])] == kClassOn && cls[size_t(f.v[2])] == kClassOn)
        area2 += projectedArea2(mesh, f);
    on = onPlaneSideFor(area2);
  }
  std::vector<Segment> segments;
  for (const Face& f : mesh.faces) {
    if (!usableFace(mesh, f) || anyClass(f, kClassUnusable)) continue;
    const uint8_t s[3] = {sideOf(cls[size_t(f.v[0])], on), sideOf(cls[size_t(f.v[1])], on),
                          sideOf(cls[size_t(f.v[2])], on)};
    Segment segment;
    if (faceSegment(f.v, s, segment)) segments.push_back(segment);
  }
  std::vector<CrossingLoop> loops;
  chainSegments(segments, loops);
  appendPolygons(mesh, height, loops, section.loops);
  return section;
}

void sweepSections(const SubMesh& mesh, const std::vector<double>& heights,
                   const std::function<void(size_t index, SectionLoops&& section)>& take) {
  std::vector<uint32_t> order;
  std::vector<uint32_t> undefined;
  for (size_t i = 0; i < heights.size(); ++i)
    (std::isnan(heights[i]) ? undefined : order).push_back(static_cast<uint32_t>(i));
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return heights[a] < heights[b]; });
  const size_t planes = order.size();
  std::vector<double> h(planes);
  for (size_t k = 0; k < planes; ++k) h[k] = heights[order[k]];

  // Per face, the first and last planes its z range reaches (touching
  // included: a vertex on a plane decides the side rule there).
  const size_t nf = mesh.faces.size();
  std::vector<std::array<uint32_t, 2>> reach(nf, {kNoPlane, kNoPlane});
  std::vector<uint32_t> bucket_start(planes + 1, 0);
  for (size_t fi = 0; fi < nf; ++fi) {
    const Face& f = mesh.faces[fi];
    if (!usableFace(mesh, f) || !finiteFace(mesh, f)) continue;
    const float z0 = mesh.vertices[size_t(f.v[0])].position[2];
    const float z1 = mesh.vertices[size_t(f.v[1])].position[2];
    const float z2 = mesh.vertices[size_t(f.v[2])].position[2];
    const double lo = std::min({z0, z1, z2}), hi = std::max({z0, z1, z2});
    const size_t first = size_t(std::lower_bound(h.begin(), h.end(), lo) - h.begin());
    const size_t end = size_t(std::upper_bound(h.begin(), h.end(), hi) - h.begin());
    if (first >= end) continue;
    reach[fi] = {static_cast<uint32_t>(first), static_cast<uint32_t>(end - 1)};
    ++bucket_start[first + 1];
  }
  for (size_t k = 0; k < planes; ++k) bucket_start[k + 1] += bucket_start[k];
  std::vector<uint32_t> bucketed(bucket_start[planes]);
  {
    std::vector<uint32_t> fill(bucket_start.begin(), bucket_start.end() - 1);
    for (size_t fi = 0; fi < nf; ++fi)
      if (reach[fi][0] != kNoPlane) bucketed[fill[reach[fi][0]]++] = static_cast<uint32_t>(fi);
  }

  std::vector<uint32_t> active;
  std::vector<Segment> segments;
  std::vector<CrossingLoop> loops;
  for (size_t k = 0; k < planes; ++k) {
    size_t kept = 0;
    for (uint32_t fi : active)
      if (reach[fi][1] >= k) active[kept++] = fi;
    active.resize(kept);
    active.insert(active.end(), bucketed.begin() + bucket_start[k],
                  bucketed.begin() + bucket_start[k + 1]);
    activeSegments(mesh, active, h[k], segments);
    loops.clear();
    chainSegments(segments, loops);
    SectionLoops section;
    section.height = h[k];
    appendPolygons(mesh, h[k], loops, section.loops);
    take(order[k], std::move(section));
  }
  for (uint32_t i : undefined) {
    SectionLoops section;
    section.height = heights[i];
    take(i, std::move(section));
  }
}

}  // namespace vekmesh
