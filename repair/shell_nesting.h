// Whether a point lies inside a closed shell: the shell's winding number about
// the point, counted as signed crossings of a vertical ray with exact
// orientation predicates. The point is perturbed symbolically (simulation of
// simplicity, Edelsbrunner and Muecke 1990), so a ray through an edge or a
// vertex crosses each sheet of the surface exactly once.
#pragma once

#include <cstdint>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The winding number of the faces `shell` of `mesh` about `point`: the faces
// above the point whose projection onto the x-y plane covers it, each counted
// +1 when it faces upwards and -1 when it faces downwards. For a closed shell
// wound outwards it is 1 inside and 0 outside; wound inwards, -1 inside. The
// point stands for point + (e, e^2, e^3) for an infinitely small e > 0, so the
// answer is always an integer: a point on the surface itself lies just beside
// it, on a side the perturbation picks. Faces upright in the x-y plane and
// faces with a non-finite coordinate are skipped.
int64_t windingNumber(const SubMesh& mesh, const std::vector<int32_t>& shell, const Vec3d& point);

}  // namespace vekmesh
