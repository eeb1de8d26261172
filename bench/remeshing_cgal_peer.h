// The peer of the remeshing benchmark: CGAL's
// Polygon_mesh_processing::isotropic_remeshing on a Surface_mesh, behind a
// small interface so that CGAL's headers stay in one translation unit.
#pragma once

#include <cstdint>
#include <vector>

namespace vekmesh {
namespace bench {

// Builds a Surface_mesh from `positions` (x, y, z per vertex) and
// `triangles` (three indices each) outside the timer, remeshes every face at
// `target` edge length for `iterations` rounds inside it, and hands back the
// result as positions and triangles (garbage collected outside the timer).
// Returns the seconds of the remeshing call alone.
double cgalIsotropicRemesh(const std::vector<float>& positions,
                           const std::vector<uint32_t>& triangles, double target, int iterations,
                           std::vector<double>& out_positions,
                           std::vector<uint32_t>& out_triangles);

}  // namespace bench
}  // namespace vekmesh
