// The peer of the separation benchmark: a CGAL surface mesh of the same
// triangles and its self-intersection tests, behind a small interface so that
// CGAL's headers stay in one translation unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vekmesh {
namespace bench {

class CgalMesh;

struct CgalMeshDeleter {
  void operator()(CgalMesh* mesh) const;
};
using CgalMeshPtr = std::unique_ptr<CgalMesh, CgalMeshDeleter>;

// positions: x, y, z per vertex; triangles: three vertex indices each.
CgalMeshPtr makeCgalMesh(const std::vector<float>& positions,
                         const std::vector<uint32_t>& triangles);
size_t cgalFaceCount(const CgalMesh& mesh);

// Polygon_mesh_processing::does_self_intersect (sequential).
bool cgalDoesSelfIntersect(const CgalMesh& mesh);
// Polygon_mesh_processing::self_intersections: the number of face pairs.
size_t cgalSelfIntersectionCount(const CgalMesh& mesh);

}  // namespace bench
}  // namespace vekmesh
