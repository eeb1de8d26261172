// CGAL side of the separation benchmark: a Surface_mesh per shell over the
// exact-predicates inexact-constructions kernel, filled face by face, searched
// with Polygon Mesh Processing's intersecting_meshes.
#include "bench/separation_cgal_peer.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/intersection.h>
#include <CGAL/Surface_mesh.h>

#include <algorithm>
#include <iterator>

namespace vekmesh {
namespace bench {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Surface = CGAL::Surface_mesh<Kernel::Point_3>;

class CgalShells {
 public:
  std::vector<Surface> meshes;
};

void CgalShellsDeleter::operator()(CgalShells* shells) const {
  delete shells;
}

CgalShellsPtr makeCgalShells(const std::vector<float>& positions,
                             const std::vector<uint32_t>& triangles,
                             const std::vector<std::vector<int32_t>>& shells) {
  CgalShellsPtr out(new CgalShells);
  out->meshes.resize(shells.size());
  // Per vertex, its index in the mesh of the shell being filled; shells share
  // no vertex, so one table serves them all.
  std::vector<Surface::Vertex_index> local(positions.size() / 3);
  std::vector<uint8_t> added(positions.size() / 3, 0);
  for (size_t s = 0; s < shells.size(); ++s) {
    Surface& mesh = out->meshes[s];
    for (int32_t f : shells[s]) {
      Surface::Vertex_index v[3];
      for (int c = 0; c < 3; ++c) {
        const uint32_t i = triangles[3 * size_t(f) + c];
        if (!added[i]) {
          added[i] = 1;
          local[i] = mesh.add_vertex(Kernel::Point_3(positions[3 * size_t(i)],
                                                     positions[3 * size_t(i) + 1],
                                                     positions[3 * size_t(i) + 2]));
        }
        v[c] = local[i];
      }
      mesh.add_face(v[0], v[1], v[2]);
    }
  }
  return out;
}

size_t cgalFaceCount(const CgalShells& shells) {
  size_t faces = 0;
  for (const Surface& mesh : shells.meshes) faces += mesh.number_of_faces();
  return faces;
}

std::vector<std::pair<int32_t, int32_t>> cgalIntersectingShells(const CgalShells& shells) {
  std::vector<std::pair<std::size_t, std::size_t>> found;
  CGAL::Polygon_mesh_processing::intersecting_meshes(shells.meshes, std::back_inserter(found));
  std::vector<std::pair<int32_t, int32_t>> pairs;
  for (const auto& p : found)
    pairs.emplace_back(static_cast<int32_t>(std::min(p.first, p.second)),
                       static_cast<int32_t>(std::max(p.first, p.second)));
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

}  // namespace bench
}  // namespace vekmesh
