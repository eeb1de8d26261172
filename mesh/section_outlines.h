// Section loops grouped into outlines with their holes through ClipperLib's
// union and PolyTree (non-zero fill, so overlapping shells merge and an
// inside-out shell still counts as material), and the measures of outlines
// the sectional analysis reads.
#pragma once

#include <array>
#include <vector>

#include "mesh/plane_section.h"

namespace vekmesh {

// One outer outline (counter-clockwise seen from above) followed by the holes
// directly inside it (clockwise). An island inside a hole is a group of its own.
using OutlineGroup = std::vector<SectionPolygon>;

// The union of `loops`, grouped. The clipper works in integers: points are
// rounded to a grid of 2^-29 of the loops' half extent about the centre of
// their box (about two billionths of the section's size), which also merges
// points closer than that and drops collinear ones. Every point gets
// z = height. Empty when the loops have no finite extent or the clipper fails.
std::vector<OutlineGroup> groupOutlines(const std::vector<SectionPolygon>& loops, double height);

// Signed area seen from above (counter-clockwise positive), in double.
double polygonArea(const SectionPolygon& polygon);

// Area centroid (x, y, z); the mean of the points for a polygon of no area.
std::array<double, 3> polygonCentroid(const SectionPolygon& polygon);

// The material of the groups: outlines less holes.
double outlineArea(const std::vector<OutlineGroup>& groups);

}  // namespace vekmesh
