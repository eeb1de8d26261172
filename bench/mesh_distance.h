// The measure for comparing reduced meshes in the benchmarks: the sampled
// symmetric Hausdorff distance between two indexed meshes (point-to-triangle
// distances found through a Boost.Geometry R-tree over the triangles' boxes).
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "mesh_builders.h"

namespace vekmesh {
namespace bench {

using test::IndexedMesh;

// Largest distance from the sample points of `from` to the surface of `to`.
// Samples: every vertex of `from` plus, per triangle, the points of a
// barycentric grid with `level` steps per edge (level 1: corners only)
// and the centroid.
double directedHausdorff(const IndexedMesh& from, const IndexedMesh& to, int level);

// The distance from each point to the surface of `to`.
std::vector<double> distancesToMesh(const std::vector<std::array<double, 3>>& points,
                                    const IndexedMesh& to);

// max(directed(a -> b), directed(b -> a)), each direction sampled at its own
// level: the coarser mesh needs more points per triangle to be seen whole.
double symmetricHausdorff(const IndexedMesh& a, int a_level, const IndexedMesh& b, int b_level);

}  // namespace bench
}  // namespace vekmesh
