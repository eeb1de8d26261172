// Generated broken models for the repair test and benchmark: a UV sphere soup
// with shuffled triangles, flipped, duplicated and degenerate faces and 20
// small holes. Each kind of damage is a step of its own, so that the soup
// generator of the benchmarks can apply one at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh_builders.h"

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

// --- the steps makeBrokenSphere takes, in its order --------------------------

// splitmix64 (Steele, Lea and Flood 2014): the same stream on every platform
// and standard library, so that a seed names one model everywhere.
struct SplitMix {
  uint64_t state;
  size_t below(size_t n);  // n > 0
};

// The sphere being damaged: points and triangles over them.
struct SphereWork {
  std::vector<Point> points;
  std::vector<std::array<uint32_t, 3>> triangles;
  uint32_t stacks = 0, slices = 0;
  double intact_volume = 0.0;
};

// The intact sphere of makeBrokenSphere: stacks round(sqrt(target / 4)), at
// least 6, and twice as many slices, in uvSphere's triangle order.
SphereWork intactSphere(size_t target_triangles, float radius);

// Removes the faces of 20 holes from a sphere still in uvSphere's order and
// returns how many were taken (overlapping holes on small spheres count twice).
size_t punchHoles(SphereWork& sphere, SplitMix& rng);

// `count` faces drawn from the first `among`: reversed (corners 0 and 1
// swapped; a face may be drawn twice and so turn back), or copied to the end.
void flipFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng);
void duplicateFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng);

// `count` degenerate triangles at faces drawn from the first `among`: the even
// ones repeat a corner bit for bit; the odd ones are slivers whose corners lie
// a hundred-thousandth apart within one 1/5000 grid cell, so that only the
// grid snap makes them zero-area.
void addDegenerateFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng);

// The soup, 9 floats per triangle: in order, or with the triangles shuffled
// and each one's corners rotated (winding kept) by `rng`.
std::vector<float> orderedSoup(const SphereWork& sphere);
std::vector<float> shuffledSoup(const SphereWork& sphere, SplitMix& rng);

}  // namespace vekmesh::test
