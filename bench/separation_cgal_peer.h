// The peer of the separation benchmark: one CGAL surface mesh per shell and
// CGAL's search for intersecting meshes among them, behind a small interface
// so that CGAL's headers stay in one translation unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace vekmesh {
namespace bench {

class CgalShells;

struct CgalShellsDeleter {
  void operator()(CgalShells* shells) const;
};
using CgalShellsPtr = std::unique_ptr<CgalShells, CgalShellsDeleter>;

// positions: x, y, z per vertex; triangles: three vertex indices each;
// shells: the triangles of each shell. Each shell becomes a mesh of its own
// holding only the vertices its triangles use.
CgalShellsPtr makeCgalShells(const std::vector<float>& positions,
                             const std::vector<uint32_t>& triangles,
                             const std::vector<std::vector<int32_t>>& shells);
size_t cgalFaceCount(const CgalShells& shells);

// Polygon_mesh_processing::intersecting_meshes over the shells (sequential):
// the shells' boxes, pairs of them by box intersection, then do_intersect on
// each pair whose boxes meet, surfaces only (no test of one shell enclosing
// another), stopping at the first intersecting face pair. The shell pairs
// found, lower index first, sorted.
std::vector<std::pair<int32_t, int32_t>> cgalIntersectingShells(const CgalShells& shells);

}  // namespace bench
}  // namespace vekmesh
