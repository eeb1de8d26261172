// Measures for comparing reduced meshes in the benchmarks: the sampled
// symmetric Hausdorff distance between two indexed meshes (point-to-triangle
// distances found through a Boost.Geometry R-tree over the triangles' boxes),
// and an edge census that says whether a mesh is closed, two-manifold and
// consistently oriented.
#pragma once

#include <cstddef>

#include "bench/mesh_generators.h"

namespace vekmesh {
namespace bench {

// Largest distance from the sample points of `from` to the surface of `to`.
// Samples: every vertex of `from` plus, per triangle, the points of a
// barycentric grid with `level` steps per edge (level 1: corners only)
// and the centroid.
double directedHausdorff(const IndexedMesh& from, const IndexedMesh& to, int level);

// max(directed(a -> b), directed(b -> a)), each direction sampled at its own
// level: the coarser mesh needs more points per triangle to be seen whole.
double symmetricHausdorff(const IndexedMesh& a, int a_level, const IndexedMesh& b, int b_level);

struct EdgeCensus {
  size_t boundary = 0;     // edges used by one triangle
  size_t nonManifold = 0;  // edges used by more than two
  size_t misoriented = 0;  // edges used twice in the same direction
  double signedVolume = 0.0;
  bool closedManifoldOriented() const {
    return boundary == 0 && nonManifold == 0 && misoriented == 0 && signedVolume > 0.0;
  }
};
EdgeCensus edgeCensus(const IndexedMesh& mesh);

}  // namespace bench
}  // namespace vekmesh
