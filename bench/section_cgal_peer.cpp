// CGAL side of the section benchmark: a Surface_mesh over the exact-predicates
// inexact-constructions kernel, sliced and clipped by CGAL's own routines.
#include "bench/section_cgal_peer.h"

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/clip.h>
#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Polygon_mesh_slicer.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/boost/graph/helpers.h>

#include <iterator>

namespace vekmesh {
namespace bench {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Surface = CGAL::Surface_mesh<Kernel::Point_3>;
namespace PMP = CGAL::Polygon_mesh_processing;

class CgalSurface {
 public:
  Surface mesh;
};

void CgalSurfaceDeleter::operator()(CgalSurface* surface) const {
  delete surface;
}

CgalSurfacePtr makeCgalSurface(const std::vector<float>& positions,
                               const std::vector<uint32_t>& triangles) {
  CgalSurfacePtr out(new CgalSurface);
  std::vector<Surface::Vertex_index> v(positions.size() / 3);
  for (size_t i = 0; i < v.size(); ++i)
    v[i] = out->mesh.add_vertex(
        Kernel::Point_3(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]));
  for (size_t t = 0; t + 2 < triangles.size(); t += 3)
    out->mesh.add_face(v[triangles[t]], v[triangles[t + 1]], v[triangles[t + 2]]);
  return out;
}

CgalSurfacePtr copyCgalSurface(const CgalSurface& surface) {
  return CgalSurfacePtr(new CgalSurface(surface));
}

size_t cgalFaceCount(const CgalSurface& surface) {
  return surface.mesh.number_of_faces();
}

CgalSliceTotals cgalSlice(const CgalSurface& surface, const std::vector<double>& heights) {
  CGAL::Polygon_mesh_slicer<Surface, Kernel> slicer(surface.mesh);
  CgalSliceTotals totals;
  std::vector<std::vector<Kernel::Point_3>> polylines;
  for (double h : heights) {
    polylines.clear();
    slicer(Kernel::Plane_3(0, 0, 1, -h), std::back_inserter(polylines));
    for (const auto& line : polylines) {
      ++totals.polylines;
      const bool closed = line.size() > 1 && line.front() == line.back();
      totals.closed += closed;
      totals.points += line.size() - (closed ? 1 : 0);
    }
  }
  return totals;
}

bool cgalClipBelow(CgalSurface& surface, double h) {
  return PMP::clip(surface.mesh, Kernel::Plane_3(0, 0, 1, -h), CGAL::parameters::clip_volume(true));
}

bool cgalIsClosed(const CgalSurface& surface) {
  return CGAL::is_closed(surface.mesh);
}

double cgalVolume(const CgalSurface& surface) {
  return CGAL::to_double(PMP::volume(surface.mesh));
}

}  // namespace bench
}  // namespace vekmesh
