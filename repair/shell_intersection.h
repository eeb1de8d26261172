// Which shells of a mesh pass through one another: shell boxes first (strict
// overlap), then an R-tree of face boxes (or of runs of faces in large shells)
// to draw candidate face pairs for the exact triangle/triangle test.
#pragma once

#include <cstddef>
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

// Bounds on the work of one search, so that hostile input (thousands of
// slivers through one point, every pair intersecting) cannot stall the caller
// for long. Real models stay far below them: 100 nested spheres of 10000 faces
// each, 1 % apart, take 1.2e9 comparisons (about ten seconds). Past either
// bound, the pairs not yet examined count as not intersecting.
struct SearchLimits {
  size_t maxShellPairs = size_t{1} << 24;          // candidate pairs of shells
  uint64_t maxBoxComparisons = uint64_t{1} << 32;  // face-box comparisons
};

// Needs current `shells` (and the incidentCorners they came from). Two shells
// intersect when a face of one shares a point with a face of the other;
// shells whose boxes (doubles, minima from 1e6 and maxima from -1e6, as every
// shell box in the library) only touch are never tested, so shells resting
// face to face stay apart. Faces with a non-finite coordinate take no part.
// With `taken` (one flag per shell), shells flagged 0 take no part: they
// intersect nothing and cost nothing.
ShellIntersections findIntersectingShells(const SubMesh& mesh, const SearchLimits& limits = {},
                                          const std::vector<uint8_t>* taken = nullptr);

// Groups by breadth-first walk: the lowest shell not yet grouped starts a
// group that takes in every shell reached through `intersecting`. Each group
// is in ascending order; groups come in the order of their lowest shell.
std::vector<std::vector<int32_t>> groupShells(
    const std::vector<std::vector<int32_t>>& intersecting);

}  // namespace vekmesh
