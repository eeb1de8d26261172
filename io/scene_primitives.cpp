// Tessellation of the scene primitives: rings of points about the y axis,
// joined by quads split into two triangles, and fans for the poles and caps.
#include "io/scene_primitives.h"

#include <cmath>

#include "geometry/vectors.h"

namespace vekmesh {
namespace {

constexpr uint32_t kAround = 32;
constexpr uint32_t kSphereAround = 24;
constexpr uint32_t kSphereStacks = 12;

// A ring of `n` points at height y, radius r, starting on +z and turning
// from +z towards +x (counter-clockwise seen from +y).
uint32_t addRing(PrimitiveMesh& m, uint32_t n, double r, double y) {
  const uint32_t first = uint32_t(m.points.size());
  for (uint32_t i = 0; i < n; ++i) {
    const double a = 2.0 * kPi * double(i) / double(n);
    m.points.push_back({r * std::sin(a), y, r * std::cos(a)});
  }
  return first;
}

// The band between ring `low` (below) and ring `high`, facing outwards.
void joinRings(PrimitiveMesh& m, uint32_t low, uint32_t high, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t j = (i + 1) % n;
    m.triangles.push_back({low + i, low + j, high + j});
    m.triangles.push_back({low + i, high + j, high + i});
  }
}

// A fan from `apex` to the ring, facing up (+y) or down.
void fan(PrimitiveMesh& m, uint32_t apex, uint32_t ring, uint32_t n, bool up) {
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t j = (i + 1) % n;
    if (up)
      m.triangles.push_back({apex, ring + i, ring + j});
    else
      m.triangles.push_back({apex, ring + j, ring + i});
  }
}

}  // namespace

PrimitiveMesh boxPrimitive(double sx, double sy, double sz) {
  PrimitiveMesh m;
  for (int i = 0; i < 8; ++i)
    m.points.push_back(
        {(i & 1 ? 0.5 : -0.5) * sx, (i & 2 ? 0.5 : -0.5) * sy, (i & 4 ? 0.5 : -0.5) * sz});
  m.triangles = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                 {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
  return m;
}

PrimitiveMesh spherePrimitive(double radius) {
  PrimitiveMesh m;
  m.points.push_back({0.0, -radius, 0.0});
  uint32_t previous = 0;
  for (uint32_t s = 1; s < kSphereStacks; ++s) {
    const double polar = kPi * double(s) / double(kSphereStacks);
    const uint32_t ring =
        addRing(m, kSphereAround, radius * std::sin(polar), -radius * std::cos(polar));
    if (s == 1)
      fan(m, 0, ring, kSphereAround, false);
    else
      joinRings(m, previous, ring, kSphereAround);
    previous = ring;
  }
  m.points.push_back({0.0, radius, 0.0});
  fan(m, uint32_t(m.points.size() - 1), previous, kSphereAround, true);
  return m;
}

PrimitiveMesh cylinderPrimitive(double radius, double height, bool side, bool top, bool bottom) {
  PrimitiveMesh m;
  const uint32_t low = addRing(m, kAround, radius, -0.5 * height);
  const uint32_t high = addRing(m, kAround, radius, 0.5 * height);
  if (side) joinRings(m, low, high, kAround);
  if (bottom) {
    m.points.push_back({0.0, -0.5 * height, 0.0});
    fan(m, uint32_t(m.points.size() - 1), low, kAround, false);
  }
  if (top) {
    m.points.push_back({0.0, 0.5 * height, 0.0});
    fan(m, uint32_t(m.points.size() - 1), high, kAround, true);
  }
  return m;
}

PrimitiveMesh conePrimitive(double bottom_radius, double height, bool side, bool bottom) {
  PrimitiveMesh m;
  const uint32_t ring = addRing(m, kAround, bottom_radius, -0.5 * height);
  if (side) {
    m.points.push_back({0.0, 0.5 * height, 0.0});
    fan(m, uint32_t(m.points.size() - 1), ring, kAround, true);
  }
  if (bottom) {
    m.points.push_back({0.0, -0.5 * height, 0.0});
    fan(m, uint32_t(m.points.size() - 1), ring, kAround, false);
  }
  return m;
}

}  // namespace vekmesh
