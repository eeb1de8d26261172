// Square-section solids built in code for the section, cut and analysis tests:
// bars of square cross-section whose width steps along an axis (a neck, a
// stepped block, a pin on a block) and a block with a square through-hole.
// Closed, outward, and welded exactly (every corner computed once).
#pragma once

#include <utility>
#include <vector>

#include "mesh_builders.h"

namespace vekmesh::test {

// Consecutive boxes along `axis` (0 x, 1 y, 2 z) from `start`, each given as
// (length, half width) and centred on the axis; neighbouring widths must
// differ. The steps between them are flat rings.
Soup steppedBarSoup(int axis, float start, const std::vector<std::pair<float, float>>& boxes);

// The block [-half, half]^2 x [z0, z1] with the square hole
// [-hole, hole]^2 running through it along z.
Soup holedBlockSoup(float half, float hole, float z0, float z1);

}  // namespace vekmesh::test
