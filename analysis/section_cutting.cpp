// Plane heights from the model's z range and the spacing rule, one sweep for
// the planes and their probes together, then each plane's section chosen
// between the two.
#include "analysis/section_cutting.h"

#include <algorithm>
#include <cmath>

#include "mesh/plane_section.h"

namespace vekmesh {
namespace {

// The z range of the vertices of live faces with finite coordinates.
bool zRange(const SubMesh& mesh, double& zmin, double& zmax) {
  zmin = INFINITY;
  zmax = -INFINITY;
  const size_t nv = mesh.vertices.size();
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    bool finite = true;
    for (int c = 0; c < 3; ++c) {
      if (size_t(f.v[c]) >= nv) finite = false;
      if (!finite) break;
      for (float x : mesh.vertices[size_t(f.v[c])].position) finite = finite && std::isfinite(x);
    }
    if (!finite) continue;
    for (int c = 0; c < 3; ++c) {
      const double z = mesh.vertices[size_t(f.v[c])].position[2];
      zmin = std::min(zmin, z);
      zmax = std::max(zmax, z);
    }
  }
  return zmin <= zmax;
}

double relativeChange(double a, double b) {
  const double larger = std::max(std::fabs(a), std::fabs(b));
  return larger > 0.0 ? std::fabs(b - a) / larger : 0.0;
}

}  // namespace

double automaticSpacing(double range) {
  if (range > 120.0) return std::floor((range - 120.0) * 0.01) + 5.0;
  if (range > 40.0) return 3.0;
  return 1.0;
}

std::vector<double> sectionHeights(double zmin, double zmax, double spacing) {
  const double range = zmax - zmin;
  if (!std::isfinite(range) || !(range >= kMinimumSectionRange)) return {};
  double s = spacing > 0.0 && std::isfinite(spacing) ? spacing : automaticSpacing(range);
  if (range / s > double(kMaxSectionPlanes) - 2.0) s = range / (double(kMaxSectionPlanes) - 2.0);
  std::vector<double> heights;
  // Each plane from its index rather than by repeated addition, so that a
  // spacing small beside the coordinates cannot stall the run.
  for (size_t i = 0; heights.size() < kMaxSectionPlanes; ++i) {
    const double z = zmin + 0.1 * s + double(i) * s;
    if (z > zmax) {
      heights.push_back(zmax - 0.1 * s);
      break;
    }
    heights.push_back(z);
  }
  return heights;
}

std::vector<Section> cutSections(const SubMesh& mesh, float change_ratio, double spacing) {
  double zmin, zmax;
  if (!zRange(mesh, zmin, zmax)) return {};
  const std::vector<double> planes = sectionHeights(zmin, zmax, spacing);
  const bool probing = change_ratio < kProbeRatioLimit;
  std::vector<double> heights = planes;
  if (probing)
    for (double h : planes) heights.push_back(h + kProbeOffset);

  std::vector<Section> cut(heights.size());
  sweepSections(mesh, heights, [&](size_t i, SectionLoops&& loops) {
    Section& s = cut[i];
    s.height = loops.height;
    s.groups = groupOutlines(loops.loops, loops.height);
    s.area = outlineArea(s.groups);
  });

  std::vector<Section> sections;
  for (size_t i = 0; i < planes.size(); ++i) {
    Section* chosen = &cut[i];
    if (probing) {
      Section& probe = cut[planes.size() + i];
      if (relativeChange(chosen->area, probe.area) > change_ratio &&
          std::fabs(probe.area) < std::fabs(chosen->area))
        chosen = &probe;
    }
    if (!chosen->groups.empty()) sections.push_back(std::move(*chosen));
  }
  return sections;
}

}  // namespace vekmesh
