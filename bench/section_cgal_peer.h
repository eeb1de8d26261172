// The peer of the section benchmark: one CGAL surface mesh, sliced by
// Polygon_mesh_slicer and clipped by Polygon_mesh_processing::clip, behind a
// small interface so that CGAL's headers stay in one translation unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vekmesh {
namespace bench {

class CgalSurface;

struct CgalSurfaceDeleter {
  void operator()(CgalSurface* surface) const;
};
using CgalSurfacePtr = std::unique_ptr<CgalSurface, CgalSurfaceDeleter>;

// positions: x, y, z per vertex; triangles: three vertex indices each.
CgalSurfacePtr makeCgalSurface(const std::vector<float>& positions,
                               const std::vector<uint32_t>& triangles);
CgalSurfacePtr copyCgalSurface(const CgalSurface& surface);
size_t cgalFaceCount(const CgalSurface& surface);

struct CgalSliceTotals {
  size_t polylines = 0;
  size_t closed = 0;  // first point repeated at the end
  size_t points = 0;  // the repeated point not counted
};

// A Polygon_mesh_slicer (which builds its AABB tree of edges) and one call
// per height with the plane z = h; each plane's polylines are counted and
// dropped before the next.
CgalSliceTotals cgalSlice(const CgalSurface& surface, const std::vector<double>& heights);

// Polygon_mesh_processing::clip with the plane z = h and clip_volume(true):
// `surface` keeps the part below, closed. False when CGAL reports a
// non-manifold result.
bool cgalClipBelow(CgalSurface& surface, double h);

// Whether the surface is closed, and its volume.
bool cgalIsClosed(const CgalSurface& surface);
double cgalVolume(const CgalSurface& surface);

}  // namespace bench
}  // namespace vekmesh
