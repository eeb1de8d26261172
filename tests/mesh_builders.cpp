// Shared test meshes: indexed shapes expanded into soups so that shared
// corners are bit-identical, broken variants, and invariant and edge checks.
#include "mesh_builders.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <utility>

namespace vekmesh::test {
namespace {

constexpr double kPi = 3.14159265358979323846;

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

Soup uvSphereSoup(float radius, int slices, int stacks) {
  std::vector<Point> p = {{0.0f, 0.0f, radius}};
  for (int i = 1; i < stacks; ++i) {
    const double theta = kPi * i / stacks;
    for (int j = 0; j < slices; ++j) {
      const double phi = 2.0 * kPi * j / slices;
      p.push_back({static_cast<float>(radius * std::sin(theta) * std::cos(phi)),
                   static_cast<float>(radius * std::sin(theta) * std::sin(phi)),
                   static_cast<float>(radius * std::cos(theta))});
    }
  }
  p.push_back({0.0f, 0.0f, -radius});
  const int south = static_cast<int>(p.size()) - 1;
  auto ring = [&](int i, int j) { return 1 + (i - 1) * slices + (j % slices); };
  std::vector<std::array<int, 3>> t;
  for (int j = 0; j < slices; ++j) t.push_back({0, ring(1, j), ring(1, j + 1)});
  for (int i = 1; i + 1 < stacks; ++i)
    for (int j = 0; j < slices; ++j) {
      const int a = ring(i, j), b = ring(i, j + 1), c = ring(i + 1, j), d = ring(i + 1, j + 1);
      t.push_back({a, c, d});
      t.push_back({a, d, b});
    }
  for (int j = 0; j < slices; ++j)
    t.push_back({ring(stacks - 1, j), south, ring(stacks - 1, j + 1)});
  return soupFromIndexed(p, t);
}

Soup torusSoup(float major, float minor, int majorSegments, int minorSegments) {
  std::vector<Point> p;
  for (int i = 0; i < majorSegments; ++i) {
    const double u = 2.0 * kPi * i / majorSegments;
    for (int j = 0; j < minorSegments; ++j) {
      const double v = 2.0 * kPi * j / minorSegments;
      const double ring = major + minor * std::cos(v);
      p.push_back({static_cast<float>(ring * std::cos(u)), static_cast<float>(ring * std::sin(u)),
                   static_cast<float>(minor * std::sin(v))});
    }
  }
  auto at = [&](int i, int j) { return (i % majorSegments) * minorSegments + (j % minorSegments); };
  std::vector<std::array<int, 3>> t;
  for (int i = 0; i < majorSegments; ++i)
    for (int j = 0; j < minorSegments; ++j) {
      const int a = at(i, j), b = at(i + 1, j), c = at(i, j + 1), d = at(i + 1, j + 1);
      t.push_back({a, b, d});
      t.push_back({a, d, c});
    }
  return soupFromIndexed(p, t);
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

std::string invariantViolation(const SubMesh& mesh) {
  std::ostringstream why;
  const size_t nv = mesh.vertices.size(), nf = mesh.faces.size(), nt = mesh.texCoords.size();
  for (size_t i = 0; i < nv; ++i)
    if (mesh.vertices[i].index != static_cast<int32_t>(i)) {
      why << "vertex " << i << " has index " << mesh.vertices[i].index;
      return why.str();
    }
  for (size_t i = 0; i < nt; ++i)
    if (mesh.texCoords[i].index != i) {
      why << "texture coordinate " << i << " has index " << mesh.texCoords[i].index;
      return why.str();
    }

  std::vector<int> texture_uses(nt, 0);
  for (size_t f = 0; f < nf; ++f) {
    const Face& face = mesh.faces[f];
    for (int c = 0; c < 3; ++c)
      if (face.v[c] < 0 || size_t(face.v[c]) >= nv) {
        why << "face " << f << " corner " << c << " names vertex " << face.v[c];
        return why.str();
      }
    if (face.v[0] == face.v[1] || face.v[1] == face.v[2] || face.v[0] == face.v[2]) {
      why << "face " << f << " repeats a vertex";
      return why.str();
    }
    for (int c = 0; c < 3; ++c) {
      if (face.material < 0 && face.uv[c] != kNoTexCoord) {
        why << "untextured face " << f << " has uv " << face.uv[c];
        return why.str();
      }
      if (face.material >= 0) {
        if (face.uv[c] >= nt) {
          why << "textured face " << f << " corner " << c << " has uv " << face.uv[c];
          return why.str();
        }
        if (++texture_uses[face.uv[c]] > 1) {
          why << "texture coordinate " << face.uv[c] << " is shared";
          return why.str();
        }
      }
    }
  }

  std::vector<int> listed(3 * nf, 0);
  for (size_t i = 0; i < nv; ++i)
    for (const CornerRef& r : mesh.vertices[i].incidentCorners) {
      if (r.face >= nf || r.corner > 2 || mesh.faces[r.face].v[r.corner] != int32_t(i)) {
        why << "vertex " << i << " lists (" << r.face << ", " << r.corner
            << ") which does not use it";
        return why.str();
      }
      ++listed[3 * r.face + r.corner];
    }
  for (size_t f = 0; f < nf; ++f)
    for (int c = 0; c < 3; ++c) {
      const int n = listed[3 * f + c];
      if (n > 1 || (n == 0 && !mesh.faces[f].removed)) {
        why << "corner (" << f << ", " << c << ") is listed " << n << " times";
        return why.str();
      }
    }
  return "";
}

EdgeCensus edgeCensus(const SubMesh& mesh) {
  // Per undirected edge (low, high): uses running low -> high, uses running high -> low.
  std::map<std::pair<int32_t, int32_t>, std::pair<int, int>> uses;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t a = f.v[c], b = f.v[nextCorner(c)];
      auto& u = uses[{std::min(a, b), std::max(a, b)}];
      (a < b ? u.first : u.second)++;
    }
  }
  EdgeCensus census;
  census.edges = uses.size();
  for (const auto& [edge, u] : uses) {
    const int total = u.first + u.second;
    if (total == 1) ++census.boundary;
    if (total > 2) ++census.nonManifold;
    if (total == 2 && (u.first == 2 || u.second == 2)) ++census.misoriented;
  }
  return census;
}

size_t liveFaceCount(const SubMesh& mesh) {
  size_t n = 0;
  for (const Face& f : mesh.faces) n += f.removed == 0;
  return n;
}

RunContext RunRecorder::context() {
  return RunContext(ProgressSink{[](int32_t percent, void* self) {
                                   static_cast<RunRecorder*>(self)->percents.push_back(percent);
                                 },
                                 this},
                    LogSink{[](std::string_view text, void* self) {
                              static_cast<RunRecorder*>(self)->log += text;
                            },
                            this});
}

}  // namespace vekmesh::test
