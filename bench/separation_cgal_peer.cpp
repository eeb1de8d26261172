// CGAL side of the separation benchmark: Surface_mesh over the exact-predicates
// inexact-constructions kernel, filled face by face, and the Polygon Mesh
// Processing self-intersection functions run sequentially.
#include "bench/separation_cgal_peer.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/self_intersections.h>
#include <CGAL/Surface_mesh.h>

#include <iterator>
#include <utility>

namespace vekmesh {
namespace bench {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Surface = CGAL::Surface_mesh<Kernel::Point_3>;

class CgalMesh {
 public:
  Surface surface;
};

void CgalMeshDeleter::operator()(CgalMesh* mesh) const {
  delete mesh;
}

CgalMeshPtr makeCgalMesh(const std::vector<float>& positions,
                         const std::vector<uint32_t>& triangles) {
  CgalMeshPtr mesh(new CgalMesh);
  Surface& s = mesh->surface;
  s.reserve(positions.size() / 3, triangles.size(), triangles.size() / 3);
  std::vector<Surface::Vertex_index> v;
  v.reserve(positions.size() / 3);
  for (size_t i = 0; i + 2 < positions.size(); i += 3)
    v.push_back(s.add_vertex(Kernel::Point_3(positions[i], positions[i + 1], positions[i + 2])));
  for (size_t t = 0; t + 2 < triangles.size(); t += 3)
    s.add_face(v[triangles[t]], v[triangles[t + 1]], v[triangles[t + 2]]);
  return mesh;
}

size_t cgalFaceCount(const CgalMesh& mesh) {
  return mesh.surface.number_of_faces();
}

bool cgalDoesSelfIntersect(const CgalMesh& mesh) {
  return CGAL::Polygon_mesh_processing::does_self_intersect(mesh.surface);
}

size_t cgalSelfIntersectionCount(const CgalMesh& mesh) {
  std::vector<std::pair<Surface::Face_index, Surface::Face_index>> pairs;
  CGAL::Polygon_mesh_processing::self_intersections(mesh.surface, std::back_inserter(pairs));
  return pairs.size();
}

}  // namespace bench
}  // namespace vekmesh
