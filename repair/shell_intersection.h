// Which shells of a mesh pass through one another: shell boxes first (strict
// overlap), then an R-tree of face boxes (or of runs of faces in large shells)
// to draw candidate face pairs for the exact triangle/triangle test.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

struct ShellIntersections {
  // Per shell, the other shells it intersects, in ascending order.
  std::vector<std::vector<int32_t>> intersecting;
  // Shells that belong together (groupShells of `intersecting`).
  std::vector<std::vector<int32_t>> groups;
};

// Needs current `shells` (and the incidentCorners they came from). Two shells
// intersect when a face of one shares a point with a face of the other;
// shells whose boxes (doubles, minima from 1e6 and maxima from -1e6, as every
// shell box in the library) only touch are never tested, so shells resting
// face to face stay apart. Faces with a non-finite coordinate take no part.
// The work is bounded so that hostile input cannot stall the caller: past
// 2^24 candidate shell pairs or 2^30 face-box comparisons, the pairs not yet
// examined count as not intersecting.
ShellIntersections findIntersectingShells(const SubMesh& mesh);

// Groups by breadth-first walk: the lowest shell not yet grouped starts a
// group that takes in every shell reached through `intersecting`. Each group
// is in ascending order; groups come in the order of their lowest shell.
std::vector<std::vector<int32_t>> groupShells(
    const std::vector<std::vector<int32_t>>& intersecting);

}  // namespace vekmesh
