// Minimum-weight triangulation of a closed 3-D polygon by dynamic programming
// over its sub-chains (Barequet and Sharir 1995), with the weight of Liepa 2003:
// first the largest dihedral angle between neighbouring triangles (rim faces
// included), then the total area.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mesh/mesh_utils.h"

namespace vekmesh {

// Loops longer than this are not triangulated this way: the cost is cubic.
constexpr size_t kMinimumWeightLoopLimit = 200;

// `points`: the polygon in patch order. `rim_normals[i]`: unit normal of the
// existing face across edge (i, i + 1) (the last one across (n - 1, 0)), or
// zero when there is none. Writes triangles (i, m, k) with i < m < k, wound
// along the polygon. False for fewer than 3 or more than
// kMinimumWeightLoopLimit points.
bool triangulateLoopMinimumWeight(const std::vector<Vec3d>& points,
                                  const std::vector<Vec3d>& rim_normals,
                                  std::vector<std::array<int32_t, 3>>& triangles);

}  // namespace vekmesh
