// Shared meshes: every vertex position is computed once (angles in double)
// into an indexed mesh and copied into the soup, so the seam and the poles
// repeat the same bits and weld exactly; broken variants edit soups.
#include "mesh_builders.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "geometry/vectors.h"

namespace vekmesh::test {
namespace {

void pushVertex(IndexedMesh& m, double x, double y, double z) {
  m.positions.insert(m.positions.end(), {float(x), float(y), float(z)});
}
void pushTriangle(IndexedMesh& m, uint32_t a, uint32_t b, uint32_t c) {
  m.triangles.insert(m.triangles.end(), {a, b, c});
}

// Rounds `target` to the nearest integer of at least `floor`.
uint32_t nearestCount(double target, uint32_t floor) {
  return std::max(static_cast<uint32_t>(std::lround(target)), floor);
}

// Copies triangle t of `from` (corners and whatever attributes it has) to the
// end of `to`, optionally with corners 1 and 2 swapped.
void copyTriangle(const Soup& from, size_t t, bool flip, Soup& to) {
  for (int c : {0, flip ? 2 : 1, flip ? 1 : 2}) {
    auto copy = [&](const auto& in, auto& out, size_t n) {
      if (!in.empty()) out.insert(out.end(), &in[n * (3 * t + c)], &in[n * (3 * t + c)] + n);
    };
    copy(from.corners, to.corners, 3);
    copy(from.colors, to.colors, 3);
    copy(from.uvs, to.uvs, 2);
  }
  if (!from.materials.empty()) to.materials.push_back(from.materials[t]);
}

// edit: 0 removes triangle t, 1 reverses it, 2 appends a copy of it.
Soup withTriangleEdited(const Soup& soup, size_t t, int edit) {
  Soup out;
  for (size_t i = 0; i < soup.triangleCount(); ++i)
    if (i != t || edit != 0) copyTriangle(soup, i, i == t && edit == 1, out);
  if (edit == 2) copyTriangle(soup, t, false, out);
  return out;
}

Soup soupOf(const IndexedMesh& mesh) {
  return Soup{toSoup(mesh), {}, {}, {}};
}

}  // namespace

IndexedMesh uvSphere(uint32_t stacks, uint32_t slices, float radius) {
  stacks = std::max(stacks, 2u);
  slices = std::max(slices, 3u);
  IndexedMesh mesh;
  const size_t rings = stacks - 1;  // rings of vertices between the poles
  // North pole (+z), the rings from north to south, the south pole.
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
  const uint32_t na = std::max(major_segments, 3u), nb = std::max(minor_segments, 3u);
  IndexedMesh mesh;
  for (uint32_t i = 0; i < na; ++i) {
    const double u = 2.0 * kPi * double(i) / double(na);
    for (uint32_t j = 0; j < nb; ++j) {
      const double v = 2.0 * kPi * double(j) / double(nb);
      const double r = major_radius + minor_radius * std::cos(v);
      pushVertex(mesh, r * std::cos(u), r * std::sin(u), minor_radius * std::sin(v));
    }
  }
  auto at = [na, nb](uint32_t i, uint32_t j) { return (i % na) * nb + (j % nb); };
  // Around the axis, then around the tube: the cross product points away from
  // the tube's centre line.
  for (uint32_t i = 0; i < na; ++i)
    for (uint32_t j = 0; j < nb; ++j) {
      pushTriangle(mesh, at(i, j), at(i + 1, j), at(i + 1, j + 1));
      pushTriangle(mesh, at(i, j), at(i + 1, j + 1), at(i, j + 1));
    }
  return mesh;
}

IndexedMesh vase(uint32_t around, uint32_t rings, float height) {
  const uint32_t na = std::max(around, 3u), nr = std::max(rings, 1u);
  IndexedMesh mesh;
  auto radius = [height](double t) {
    return height * (0.2 + 0.08 * std::sin(kPi * 1.6 * t) - 0.05 * t + 0.06 * t * t * t);
  };
  for (uint32_t j = 0; j <= nr; ++j) {
    const double t = double(j) / double(nr);
    const double r = radius(t);
    for (uint32_t i = 0; i < na; ++i) {
      const double u = 2.0 * kPi * double(i) / double(na);
      pushVertex(mesh, r * std::cos(u), r * std::sin(u), t * height);
    }
  }
  const uint32_t bottom = static_cast<uint32_t>(mesh.vertexCount());
  pushVertex(mesh, 0.0, 0.0, 0.0);
  pushVertex(mesh, 0.0, 0.0, height);
  auto at = [na](uint32_t j, uint32_t i) { return j * na + (i % na); };
  for (uint32_t j = 0; j < nr; ++j)
    for (uint32_t i = 0; i < na; ++i) {
      pushTriangle(mesh, at(j, i), at(j, i + 1), at(j + 1, i + 1));
      pushTriangle(mesh, at(j, i), at(j + 1, i + 1), at(j + 1, i));
    }
  for (uint32_t i = 0; i < na; ++i) {
    pushTriangle(mesh, bottom, at(0, i + 1), at(0, i));
    pushTriangle(mesh, bottom + 1, at(nr, i), at(nr, i + 1));
  }
  return mesh;
}

IndexedMesh vaseNear(size_t target_triangles, float height) {
  // The girth is about 1.4 times the height: around ~ 1.4 rings, and the
  // T = 2 * around * (rings + 1) triangles give rings ~ sqrt(T / 2.8).
  const double target = static_cast<double>(std::max<size_t>(target_triangles, 12));
  const uint32_t rings = nearestCount(std::sqrt(target / 2.8), 1);
  return vase(nearestCount(target / (2.0 * (rings + 1)), 3), rings, height);
}

IndexedMesh uvSphereNear(size_t target_triangles, float radius) {
  // T = 2 * slices * (stacks - 1) with slices ~ 2 * stacks gives T ~ 4 * stacks^2;
  // the slice count then absorbs the rounding of the stack count.
  const double target = static_cast<double>(std::max<size_t>(target_triangles, 12));
  const uint32_t stacks = nearestCount(std::sqrt(target / 4.0), 2);
  return uvSphere(stacks, nearestCount(target / (2.0 * (stacks - 1)), 3), radius);
}

IndexedMesh torusNear(size_t target_triangles, float major_radius, float minor_radius) {
  // T = 2 * major * minor with major ~ 3 * minor gives T ~ 6 * minor^2.
  const double target = static_cast<double>(std::max<size_t>(target_triangles, 18));
  const uint32_t minor = nearestCount(std::sqrt(target / 6.0), 3);
  return torus(nearestCount(target / (2.0 * minor), 3), minor, major_radius, minor_radius);
}

IndexedMesh noisyTorusNear(size_t target_triangles, float major_radius, float minor_radius) {
  IndexedMesh mesh = torusNear(target_triangles, major_radius, minor_radius);
  const double edge =
      std::sqrt(4.0 * kPi * kPi * major_radius * minor_radius / double(mesh.triangleCount()) * 2.0);
  std::mt19937 random(12345);
  std::uniform_real_distribution<double> noise(-0.3 * edge, 0.3 * edge);
  for (size_t v = 0; v < mesh.vertexCount(); ++v) {
    float* p = &mesh.positions[3 * v];
    const double r = std::hypot(p[0], p[1]);
    const double c[3] = {p[0] / r * major_radius, p[1] / r * major_radius, 0.0};  // tube centre
    const double n[3] = {p[0] - c[0], p[1] - c[1], p[2] - c[2]};
    const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    const double d = noise(random);
    for (int k = 0; k < 3; ++k) p[k] = static_cast<float>(p[k] + d * n[k] / len);
  }
  return mesh;
}

std::vector<float> toSoup(const IndexedMesh& mesh) {
  std::vector<float> soup;
  soup.reserve(mesh.triangles.size() * 3);
  for (uint32_t index : mesh.triangles)
    soup.insert(soup.end(), &mesh.positions[3 * size_t(index)],
                &mesh.positions[3 * size_t(index) + 3]);
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
  auto data = [](const auto& v) { return v.empty() ? nullptr : v.data(); };
  buildTriMesh(mesh, soup.triangleCount(), soup.corners.data(), data(soup.colors), data(soup.uvs),
               data(soup.materials));
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

Soup cubeSoup(float edge, Winding winding, const Point& origin) {
  // Point i has x from bit 0, y from bit 1, z from bit 2. Adding 0 or `edge`
  // to the origin keeps corners of touching cubes bit-identical.
  std::vector<Point> p;
  for (int i = 0; i < 8; ++i)
    p.push_back({origin[0] + ((i & 1) ? edge : 0.0f), origin[1] + ((i & 2) ? edge : 0.0f),
                 origin[2] + ((i & 4) ? edge : 0.0f)});
  // Two triangles per side, sides in the order -z, +z, -y, +y, -x, +x.
  const std::vector<std::array<int, 3>> triangles = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6},
                                                     {0, 1, 4}, {1, 5, 4}, {2, 6, 3}, {3, 6, 7},
                                                     {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
  return oriented(p, triangles, winding);
}

Soup twoCubesSharingVertexSoup(float edge) {
  return concatenate(cubeSoup(edge), cubeSoup(edge, Winding::kOutward, {edge, edge, edge}));
}

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
  // An attribute present in either soup is filled in for the other.
  auto join = [&](auto member, size_t per_triangle, auto fill) {
    auto& to = out.*member;
    if ((a.*member).empty() && (b.*member).empty()) return;
    for (const Soup* s : {&a, &b}) {
      const auto& from = s->*member;
      from.empty() ? to.insert(to.end(), s->triangleCount() * per_triangle, fill)
                   : to.insert(to.end(), from.begin(), from.end());
    }
  };
  join(&Soup::corners, 9, 0.0f);
  join(&Soup::colors, 9, 1.0f);
  join(&Soup::uvs, 6, 0.0f);
  join(&Soup::materials, 1, int32_t{-1});
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
    soup.uvs.insert(soup.uvs.end(), {p[0] + 2.0f * p[1], p[2] - p[1]});
  }
}

}  // namespace vekmesh::test
