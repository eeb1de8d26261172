// Orientation optimisation: choose the print attitude from the faces of the
// convex hull by an estimate of support volume, turn the mesh into it and set
// it on z = 0.
#pragma once

#include <array>
#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// The overhang angle the export passes: this value, not 0.4 pi, in radians.
constexpr double kOverhangAngle = 1.256637;

// Rotates and translates `mesh` in place and writes Rx, Ry, Rz in degrees,
// each in [0, 360). `mode` 1 adds an area term, 2 a weak-section term.
void optimizeOrientation(SubMesh& mesh, std::array<double, 3>& angles, int32_t mode,
                         double overhang_angle);

}  // namespace vekmesh
