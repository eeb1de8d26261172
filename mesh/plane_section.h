// Horizontal plane sections of a mesh: the live faces cut by z = h, their
// pieces chained into closed loops. One pass over the faces for one plane; a
// sweep for many heights, with the faces bucketed by the first height their
// z range reaches, so that each face is looked at only for the planes that
// can meet it. How vertices and edges lying in the plane are treated is said
// in mesh/plane_slicing.h: each vertex gets one class per plane, no piece has
// zero length, and no piece comes twice.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// A closed polygon: the last point joins the first, which is not repeated.
using SectionPolygon = std::vector<std::array<float, 3>>;

// The loops of one plane, every point at z = height (as a float). For an
// outward mesh, outlines run counter-clockwise seen from above and holes
// clockwise.
struct SectionLoops {
  double height = 0.0;
  std::vector<SectionPolygon> loops;
};

// An open chain (the plane crosses a border of the mesh) is closed when the
// gap between its ends is at most this fraction of its length, as across a
// missing face or a crack; longer gaps are dropped, since closing them would
// invent material. Loops of fewer than three points are dropped.
constexpr double kChainGapFraction = 0.1;

// The section at `height`. Faces with a NaN or infinite coordinate are left
// out; a NaN height gives no loops.
SectionLoops planeSection(const SubMesh& mesh, double height);

// The sections at every height of `heights` (any order; repeats and NaN
// allowed), handed to `take` one at a time in ascending order of height with
// their index in `heights`, so that a caller keeps only what it needs. The
// same loops as planeSection at each height.
void sweepSections(const SubMesh& mesh, const std::vector<double>& heights,
                   const std::function<void(size_t index, SectionLoops&& section)>& take);

}  // namespace vekmesh
