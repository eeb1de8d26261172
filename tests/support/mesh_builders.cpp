// Shared meshes: every vertex position is computed once (angles in double)
// into an indexed mesh and copied into the soup, so the seam and the poles
// repeat the same bits and weld exactly; broken variants edit soups.
#include "mesh_builders.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vekmesh::test {
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

// Copies triangle t of `from` (corners and whatever attributes it has) to the
// end of `to`, optionally with corners 1 and 2 swapped.
void copyTriangle(const Soup& from, size_t t, bool flip, Soup& to) {
  const int order[3] = {0, flip ? 2 : 1, flip ? 1 : 2};
  for (int c : order) {
    for (int i = 0; i < 3; ++i) to.corners.push_back(from.corners[9 * t + 3 * c + i]);
    if (!from.colors.empty())
      for (int i = 0; i < 3; ++i) to.colors.push_back(from.colors[9 * t + 3 * c + i]);
    if (!from.uvs.empty())
      for (int i = 0; i < 2; ++i) to.uvs.push_back(from.uvs[6 * t + 2 * c + i]);
  }
  if (!from.materials.empty()) to.materials.push_back(from.materials[t]);
}

Soup withTriangleEdited(const Soup& soup, size_t t, int edit) {
  Soup out;
  for (size_t i = 0; i < soup.triangleCount(); ++i) {
    if (i == t && edit == 0) continue;
    copyTriangle(soup, i, i == t && edit == 1, out);
  }
  if (edit == 2) copyTriangle(soup, t, false, out);
  return out;
}

template <class T>
void appendAttribute(std::vector<T>& out, const std::vector<T>& mine, size_t triangles,
                     size_t per_triangle, T fill, bool wanted) {
  if (!wanted) return;
  if (mine.empty())
    out.insert(out.end(), triangles * per_triangle, fill);
  else
    out.insert(out.end(), mine.begin(), mine.end());
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

double signedVolume(const IndexedMesh& mesh) {
  double volume = 0.0;
  for (size_t t = 0; t < mesh.triangleCount(); ++t) {
    const float* a = &mesh.positions[3 * size_t(mesh.triangles[3 * t])];
    const float* b = &mesh.positions[3 * size_t(mesh.triangles[3 * t + 1])];
    const float* c = &mesh.positions[3 * size_t(mesh.triangles[3 * t + 2])];
    volume += a[0] * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
              a[1] * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
              a[2] * (double(b[0]) * c[1] - double(b[1]) * c[0]);
  }
  return volume / 6.0;
}

Point Soup::corner(size_t t, int c) const {
  const float* p = corners.data() + 9 * t + 3 * c;
  return {p[0], p[1], p[2]};
}

void Soup::addTriangle(const Point& a, const Point& b, const Point& c) {
  for (const Point* p : {&a, &b, &c}) corners.insert(corners.end(), p->begin(), p->end());
}

TriMesh buildMesh(const Soup& soup) {
  TriMesh mesh;
  buildTriMesh(mesh, soup.triangleCount(), soup.corners.data(),
               soup.colors.empty() ? nullptr : soup.colors.data(),
               soup.uvs.empty() ? nullptr : soup.uvs.data(),
               soup.materials.empty() ? nullptr : soup.materials.data());
  return mesh;
}

Soup soupFromIndexed(const std::vector<Point>& points,
                     const std::vector<std::array<int, 3>>& triangles) {
  Soup soup;
  for (const auto& t : triangles) soup.addTriangle(points[t[0]], points[t[1]], points[t[2]]);
  return soup;
}

namespace {
Soup oriented(const std::vector<Point>& points, std::vector<std::array<int, 3>> triangles,
              Winding winding) {
  if (winding == Winding::kInward)
    for (auto& t : triangles) std::swap(t[1], t[2]);
  return soupFromIndexed(points, triangles);
}
}  // namespace

Soup tetrahedronSoup(float edge, Winding winding) {
  const std::vector<Point> p = {{0, 0, 0}, {edge, 0, 0}, {0, edge, 0}, {0, 0, edge}};
  return oriented(p, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}, winding);
}

// Two triangles per side, sides in the order -z, +z, -y, +y, -x, +x.
const std::vector<std::array<int, 3>> kCubeTriangles = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6},
                                                        {0, 1, 4}, {1, 5, 4}, {2, 6, 3}, {3, 6, 7},
                                                        {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};

Soup cubeSoup(float edge, Winding winding, const Point& origin) {
  // Point i has x from bit 0, y from bit 1, z from bit 2. Adding 0 or `edge`
  // to the origin keeps corners of touching cubes bit-identical.
  std::vector<Point> p;
  for (int i = 0; i < 8; ++i)
    p.push_back({origin[0] + ((i & 1) ? edge : 0.0f), origin[1] + ((i & 2) ? edge : 0.0f),
                 origin[2] + ((i & 4) ? edge : 0.0f)});
  return oriented(p, kCubeTriangles, winding);
}

Soup twoCubesSharingVertexSoup(float edge) {
  return concatenate(cubeSoup(edge), cubeSoup(edge, Winding::kOutward, {edge, edge, edge}));
}

Soup twoCubesSharingEdgeSoup(float edge) {
  return concatenate(cubeSoup(edge), cubeSoup(edge, Winding::kOutward, {edge, edge, 0.0f}));
}

namespace {
Soup soupOf(const IndexedMesh& mesh) {
  Soup soup;
  soup.corners = toSoup(mesh);
  return soup;
}
}  // namespace

Soup uvSphereSoup(float radius, int slices, int stacks) {
  return soupOf(uvSphere(stacks, slices, radius));
}

Soup torusSoup(float major, float minor, int majorSegments, int minorSegments) {
  return soupOf(torus(majorSegments, minorSegments, major, minor));
}

Soup withoutTriangle(const Soup& soup, size_t t) {
  return withTriangleEdited(soup, t, 0);
}
Soup withTriangleFlipped(const Soup& soup, size_t t) {
  return withTriangleEdited(soup, t, 1);
}
Soup withTriangleDuplicated(const Soup& soup, size_t t) {
  return withTriangleEdited(soup, t, 2);
}

Soup concatenate(const Soup& a, const Soup& b) {
  Soup out;
  out.corners = a.corners;
  out.corners.insert(out.corners.end(), b.corners.begin(), b.corners.end());
  const bool colors = !a.colors.empty() || !b.colors.empty();
  const bool uvs = !a.uvs.empty() || !b.uvs.empty();
  const bool materials = !a.materials.empty() || !b.materials.empty();
  for (const Soup* s : {&a, &b}) {
    appendAttribute(out.colors, s->colors, s->triangleCount(), 9, 1.0f, colors);
    appendAttribute(out.uvs, s->uvs, s->triangleCount(), 6, 0.0f, uvs);
    appendAttribute(out.materials, s->materials, s->triangleCount(), 1, int32_t{-1}, materials);
  }
  return out;
}

void paint(Soup& soup, const Rgb& rgb) {
  soup.colors.clear();
  for (size_t i = 0; i < size_t(soup.triangleCount()) * 3; ++i)
    soup.colors.insert(soup.colors.end(), rgb.begin(), rgb.end());
}

void assignMaterial(Soup& soup, int32_t material) {
  soup.materials.assign(soup.triangleCount(), material);
  soup.uvs.clear();
  for (size_t i = 0; i < size_t(soup.triangleCount()) * 3; ++i) {
    const float* p = soup.corners.data() + 3 * i;
    soup.uvs.push_back(p[0] + 2.0f * p[1]);
    soup.uvs.push_back(p[2] - p[1]);
  }
}

}  // namespace vekmesh::test
