// Builders of the benchmark shapes: every vertex position is computed once into
// an indexed mesh and copied into the soup, so the seam and the poles repeat the
// same bits and weld exactly; no randomness, no shuffling.
#include "bench/mesh_generators.h"

#include <algorithm>
#include <cmath>

namespace vekmesh {
namespace bench {
namespace {

constexpr double kPi = 3.14159265358979323846;

void pushVertex(IndexedMesh& mesh, double x, double y, double z) {
  mesh.positions.push_back(static_cast<float>(x));
  mesh.positions.push_back(static_cast<float>(y));
  mesh.positions.push_back(static_cast<float>(z));
}

void pushTriangle(IndexedMesh& mesh, uint32_t a, uint32_t b, uint32_t c) {
  mesh.triangles.push_back(a);
  mesh.triangles.push_back(b);
  mesh.triangles.push_back(c);
}

uint32_t atLeast(uint32_t value, uint32_t floor) {
  return std::max(value, floor);
}

// Rounds `target / divisor` to the nearest integer of at least `floor`.
uint32_t nearestCount(double target, double divisor, uint32_t floor) {
  return atLeast(static_cast<uint32_t>(std::lround(target / divisor)), floor);
}

}  // namespace

IndexedMesh uvSphere(uint32_t stacks, uint32_t slices, float radius) {
  stacks = atLeast(stacks, 2);
  slices = atLeast(slices, 3);
  IndexedMesh mesh;
  const size_t rings = stacks - 1;  // rings of vertices between the poles
  mesh.positions.reserve(3 * (rings * slices + 2));
  mesh.triangles.reserve(3 * 2 * size_t(slices) * rings);

  // Vertex 0 is the north pole (+z), then ring by ring from north to south, then
  // the south pole. Angles in double so the float positions do not depend on the
  // order of accumulation.
  pushVertex(mesh, 0.0, 0.0, radius);
  for (size_t i = 1; i <= rings; ++i) {
    const double theta = kPi * double(i) / double(stacks);
    for (uint32_t j = 0; j < slices; ++j) {
      const double phi = 2.0 * kPi * double(j) / double(slices);
      pushVertex(mesh, radius * std::sin(theta) * std::cos(phi),
                 radius * std::sin(theta) * std::sin(phi), radius * std::cos(theta));
    }
  }
  pushVertex(mesh, 0.0, 0.0, -radius);
  const uint32_t south = static_cast<uint32_t>(rings * slices + 1);

  // Ring i (1-based), slice j wraps around so the seam shares its vertices.
  auto ring = [slices](size_t i, uint32_t j) {
    return static_cast<uint32_t>(1 + (i - 1) * slices + (j % slices));
  };
  // Going south then east turns counter-clockwise seen from outside.
  for (uint32_t j = 0; j < slices; ++j) pushTriangle(mesh, 0, ring(1, j), ring(1, j + 1));
  for (size_t i = 1; i < rings; ++i)
    for (uint32_t j = 0; j < slices; ++j) {
      pushTriangle(mesh, ring(i, j), ring(i + 1, j), ring(i + 1, j + 1));
      pushTriangle(mesh, ring(i, j), ring(i + 1, j + 1), ring(i, j + 1));
    }
  for (uint32_t j = 0; j < slices; ++j)
    pushTriangle(mesh, ring(rings, j), south, ring(rings, j + 1));
  return mesh;
}

IndexedMesh torus(uint32_t major_segments, uint32_t minor_segments, float major_radius,
                  float minor_radius) {
  major_segments = atLeast(major_segments, 3);
  minor_segments = atLeast(minor_segments, 3);
  IndexedMesh mesh;
  const size_t cells = size_t(major_segments) * minor_segments;
  mesh.positions.reserve(3 * cells);
  mesh.triangles.reserve(3 * 2 * cells);

  for (uint32_t i = 0; i < major_segments; ++i) {
    const double u = 2.0 * kPi * double(i) / double(major_segments);
    for (uint32_t j = 0; j < minor_segments; ++j) {
      const double v = 2.0 * kPi * double(j) / double(minor_segments);
      const double r = major_radius + minor_radius * std::cos(v);
      pushVertex(mesh, r * std::cos(u), r * std::sin(u), minor_radius * std::sin(v));
    }
  }
  auto at = [major_segments, minor_segments](uint32_t i, uint32_t j) {
    return (i % major_segments) * minor_segments + (j % minor_segments);
  };
  // Around the axis, then around the tube: the cross product points away from
  // the tube's centre line.
  for (uint32_t i = 0; i < major_segments; ++i)
    for (uint32_t j = 0; j < minor_segments; ++j) {
      pushTriangle(mesh, at(i, j), at(i + 1, j), at(i + 1, j + 1));
      pushTriangle(mesh, at(i, j), at(i + 1, j + 1), at(i, j + 1));
    }
  return mesh;
}

IndexedMesh uvSphereNear(size_t target_triangles, float radius) {
  // T = 2 * slices * (stacks - 1) with slices ~ 2 * stacks gives T ~ 4 * stacks^2;
  // the slice count then absorbs the rounding of the stack count.
  const double target = static_cast<double>(std::max<size_t>(target_triangles, 12));
  const uint32_t stacks = nearestCount(std::sqrt(target / 4.0), 1.0, 2);
  const uint32_t slices = nearestCount(target, 2.0 * (stacks - 1), 3);
  return uvSphere(stacks, slices, radius);
}

IndexedMesh torusNear(size_t target_triangles, float major_radius, float minor_radius) {
  // T = 2 * major * minor with major ~ 3 * minor gives T ~ 6 * minor^2.
  const double target = static_cast<double>(std::max<size_t>(target_triangles, 18));
  const uint32_t minor = nearestCount(std::sqrt(target / 6.0), 1.0, 3);
  const uint32_t major = nearestCount(target, 2.0 * minor, 3);
  return torus(major, minor, major_radius, minor_radius);
}

std::vector<float> toSoup(const IndexedMesh& mesh) {
  std::vector<float> soup(mesh.triangles.size() * 3);
  float* out = soup.data();
  for (uint32_t index : mesh.triangles) {
    const float* p = &mesh.positions[3 * size_t(index)];
    *out++ = p[0];
    *out++ = p[1];
    *out++ = p[2];
  }
  return soup;
}

std::vector<float> sphereSoup(size_t target_triangles, float radius) {
  return toSoup(uvSphereNear(target_triangles, radius));
}

std::vector<float> torusSoup(size_t target_triangles, float major_radius, float minor_radius) {
  return toSoup(torusNear(target_triangles, major_radius, minor_radius));
}

}  // namespace bench
}  // namespace vekmesh
