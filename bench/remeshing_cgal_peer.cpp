// CGAL side of the remeshing benchmark: a Surface_mesh over the
// exact-predicates inexact-constructions kernel, remeshed by CGAL's own
// isotropic remeshing with its default options (no feature protection).
#include "bench/remeshing_cgal_peer.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/remesh.h>
#include <CGAL/Surface_mesh.h>

#include <chrono>

namespace vekmesh {
namespace bench {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Surface = CGAL::Surface_mesh<Kernel::Point_3>;
namespace PMP = CGAL::Polygon_mesh_processing;

double cgalIsotropicRemesh(const std::vector<float>& positions,
                           const std::vector<uint32_t>& triangles, double target, int iterations,
                           std::vector<double>& out_positions,
                           std::vector<uint32_t>& out_triangles) {
  Surface mesh;
  std::vector<Surface::Vertex_index> v(positions.size() / 3);
  for (size_t i = 0; i < v.size(); ++i)
    v[i] = mesh.add_vertex(
        Kernel::Point_3(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]));
  for (size_t t = 0; t + 2 < triangles.size(); t += 3)
    mesh.add_face(v[triangles[t]], v[triangles[t + 1]], v[triangles[t + 2]]);

  const auto start = std::chrono::steady_clock::now();
  PMP::isotropic_remeshing(faces(mesh), target, mesh,
                           CGAL::parameters::number_of_iterations(iterations));
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  mesh.collect_garbage();
  out_positions.clear();
  out_triangles.clear();
  for (Surface::Vertex_index x : mesh.vertices()) {
    const Kernel::Point_3& p = mesh.point(x);
    out_positions.insert(out_positions.end(), {p.x(), p.y(), p.z()});
  }
  for (Surface::Face_index f : mesh.faces())
    for (Surface::Vertex_index x : vertices_around_face(mesh.halfedge(f), mesh))
      out_triangles.push_back(static_cast<uint32_t>(x.idx()));
  return seconds;
}

}  // namespace bench
}  // namespace vekmesh
