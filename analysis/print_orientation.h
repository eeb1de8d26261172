// Orientation optimisation: choose the print attitude from the faces of the
// convex hull by an estimate of support volume, turn the mesh into it and set
// it on z = 0. The rules beyond the cost itself are at the top of
// print_orientation.cpp.
#pragma once

#include <array>
#include <cstdint>

#include "geometry/rotation.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The overhang angle the export passes: this value, not 0.4 pi, in radians.
constexpr double kOverhangAngle = 1.256637;

// Rotates and translates `mesh` in place and writes Rx, Ry, Rz in degrees,
// each in [0, 360), values within 0.001 of 0 or 360 as 0. `mode` 1 adds an
// area term, 2 a weak-section term (below 500000 triangles, on a mesh of one
// shell; the weak sections are left on the mesh), any other value neither.
// The whole rotation is Rz(Rz) Ry(Ry) Rx(Rx) about the origin, followed by a
// shift along z that sets the lowest vertex on z = 0. Logs the three angles
// through `run`. A mesh with a coordinate that is not finite is left as it is
// with the angles (0, 0, 0).
void optimizeOrientation(SubMesh& mesh, std::array<double, 3>& angles, int32_t mode,
                         double overhang_angle, const RunContext& run = {});

// ---- pieces, for tests ----------------------------------------------------------

// The rotation that turns the unit normal `n` straight down: about n x (0, 0,
// -1) (about (1, 0, 0) when that is not longer than 0.001) by acos(-n.z).
Rotation baseRotation(const Vec3d& n);

// Radians to degrees in [0, 360), with values within 0.001 of 0 or 360 as 0.
double reportedDegrees(double radians);

}  // namespace vekmesh
