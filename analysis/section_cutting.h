// Section cutting along the vertical axis, shared by the sectional analysis
// and the decomposition into printable parts: planes spaced by a spacing
// chosen from the model's height, each section grouped into outlines with
// holes, and a probe a little above each plane that finds the planes lying
// just under a step of the model.
#pragma once

#include <cstddef>
#include <vector>

#include "mesh/section_outlines.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// One plane's outlines and their material area (outlines less holes).
struct Section {
  double height = 0.0;
  std::vector<OutlineGroup> groups;
  double area = 0.0;
};

// Models lower than this give no sections.
constexpr double kMinimumSectionRange = 5.0;

// The automatic spacing for a height range: floor((range - 120) x 0.01) + 5
// above 120, 3 above 40, else 1. Any range gives at most about 120 planes.
double automaticSpacing(double range);

// A cut never has more planes than this: a spacing that would give more is
// widened to fit, so that even a million-unit model cut every unit stays
// within bounded time and memory.
constexpr size_t kMaxSectionPlanes = 100000;

// The plane heights for a model from zmin to zmax: the first at
// zmin + 0.1 x spacing, then one every spacing; a plane that would pass zmax
// is placed at zmax - 0.1 x spacing and ends the run (it may then lie below
// the plane before it). A spacing not above 0 (or NaN) is automatic. Empty
// when the range is below kMinimumSectionRange or not finite.
std::vector<double> sectionHeights(double zmin, double zmax, double spacing);

// The probe: a second section this far above each plane...
constexpr double kProbeOffset = 0.02;
// ... taken only when the change ratio is below this. Changes are measured as
// |probe area - area| / the larger of the two, which lies in [0, 1], so a
// ratio this close to 1 could never be exceeded anyway.
constexpr float kProbeRatioLimit = 0.99f;

// The sections of the live faces of `mesh` along z, empty ones left out.
// When the change between a section and its probe exceeds `change_ratio`,
// the plane lies just under a step of the model (a ledge, the root of a pin),
// and the smaller of the two (by area) stands for it: the material that
// carries a load across the step is the narrower part. A probe with no
// material (the plane is just under a top) leaves the plane without a section.
std::vector<Section> cutSections(const SubMesh& mesh, float change_ratio, double spacing);

}  // namespace vekmesh
