// Generated broken models for the repair test and benchmark: a UV sphere soup
// with shuffled triangles, flipped, duplicated and degenerate faces and 20
// small holes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh::test {

struct BrokenSphere {
  std::vector<float> corners;  // 9 floats per triangle, as a host passes them
  float radius = 0.0f;
  size_t intact_triangles = 0;  // of the sphere before breaking
  double intact_volume = 0.0;   // enclosed by the intact sphere (signed tetrahedra, double)
  size_t holes = 0;             // hole count; each removes 1 to 6 faces around one vertex
  size_t hole_faces = 0, flipped = 0, duplicated = 0;
  size_t degenerate = 0;  // half with two bit-identical corners, half collapsing only when snapped

  uint32_t triangleCount() const { return static_cast<uint32_t>(corners.size() / 9); }
};

// A sphere of about `target_triangles` triangles (twice as many slices as
// stacks) about the origin, then broken: 20 holes of 1 to 6 faces around
// vertices spread between the polar caps, 1% of the remaining faces flipped,
// 1% duplicated (appended copies), 0.5% degenerate triangles added, and the
// triangles shuffled with their corners rotated. Deterministic for a seed.
// The default radius of 50 keeps neighbouring vertices of a million-triangle
// sphere several 1/5000 grid steps apart, so snapping merges none of them.
BrokenSphere makeBrokenSphere(size_t target_triangles, uint64_t seed = 1, float radius = 50.0f);

}  // namespace vekmesh::test
