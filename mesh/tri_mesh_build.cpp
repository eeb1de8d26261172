// Building a TriMesh from a triangle soup: exact welding of corners through a
// 101^3 cell grid and a 64-bit key per point, dropping triangles that collapse,
// and carrying colours, materials and per-corner texture coordinates along.
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "mesh/color_byte.h"
#include "mesh/prefetch.h"
#include "mesh/tri_mesh.h"
#include "mesh/vertex_welder.h"
#include "mesh/weld_key.h"

namespace vekmesh {
namespace {

using Point = std::array<float, 3>;

int16_t lowMaterialBits(int32_t m) {
  return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(m)));
}

uint64_t bitPatternKey(const Point& p) {
  return WeldGrid::bitPatternKey(p);
}

// Key of the double-precision weld: coordinates scaled by 1000003 and truncated,
// so points about a millionth apart share a key.
uint64_t scaledKey(const Point& p) {
  auto scaled = [](float f) {
    return static_cast<uint64_t>(truncateToInt64(static_cast<double>(f) * 1000003.0));
  };
  return 118081ull * scaled(p[2]) + 110881ull * scaled(p[1]) + 108881ull * scaled(p[0]);
}

void whiteFace(Face& f) {
  std::memset(f.colors, 255, sizeof f.colors);
  f.removed = 0;
  f.material = kNoMaterial;
  for (int k = 0; k < 3; ++k) f.uv[k] = kNoTexCoord;
}

// Soup sources: one input layout each, in single or double precision, with
// the weld key that precision uses (double input is rounded to floats first).
template <class Real, uint64_t (*Key)(const Point&)>
struct SoupView {
  const Real *corners, *colors, *uvs;
  const int32_t* materials;
  Point corner(size_t t, int c) const {
    const Real* p = corners + 9 * t + 3 * c;
    return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
  }
  static uint64_t key(const Point& p) { return Key(p); }
  int16_t material(size_t t) const {
    return materials ? lowMaterialBits(materials[t]) : kNoMaterial;
  }
  void attributes(size_t t, Face& f) const {
    f.material = material(t);
    if (colors)
      for (int i = 0; i < 9; ++i) f.colors[i / 3][i % 3] = colorByte(colors[9 * t + i]);
  }
  std::array<double, 2> uv(size_t t, int k) const {
    if (!uvs) return {0.0, 0.0};  // contract breach: keep going rather than read null
    return {uvs[6 * t + 2 * k], uvs[6 * t + 2 * k + 1]};
  }
};
using FloatSoup = SoupView<float, bitPatternKey>;
using DoubleSoup = SoupView<double, scaledKey>;

struct BytesSoup {
  const ByteSoup& soup;
  Point corner(size_t t, int c) const {
    const float* p = soup.corners.data() + 9 * t + 3 * c;
    return {p[0], p[1], p[2]};
  }
  static uint64_t key(const Point& p) { return bitPatternKey(p); }
  int16_t material(size_t t) const { return soup.materials[t]; }
  void attributes(size_t t, Face& f) const {
    f.material = soup.materials[t];
    std::memcpy(f.colors, soup.colors.data() + 9 * t, 9);
  }
  std::array<double, 2> uv(size_t t, int k) const {
    return {soup.uvs[6 * t + 2 * k], soup.uvs[6 * t + 2 * k + 1]};
  }
};

// Hole filling appends a few faces and vertices to a repaired mesh; room for
// them from the start spares a copy of the whole array (and its peak) then.
size_t withRoomForPatches(size_t faces) {
  return faces + faces / 64 + 64;
}

template <class Soup>
void weldSoup(SubMesh& mesh, uint32_t count, const Soup& soup,
              const std::function<void()>& release_soup = nullptr) {
  mesh.faces.clear();
  mesh.vertices.clear();
  mesh.texCoords.clear();
  mesh.incidentCorners.clear();
  if (count == 0) return;
  const size_t corner_count = size_t(count) * 3;

  // Pass 1: the box over every corner.
  WeldGrid grid;
  for (size_t t = 0; t < count; ++t)
    for (int c = 0; c < 3; ++c) grid.widen(soup.corner(t, c));
  grid.finish();

  // Pass 2: one vertex per distinct (cell, key), numbered in first-seen order.
  // Only the number of vertices is kept here; they are made in pass 3, so that
  // their array is sized exactly instead of doubling (and moving every vertex).
  std::vector<int32_t> corner_vertex(corner_count);
  uint32_t vertex_count = 0;
  {
    // A closed mesh has about half as many vertices as triangles, so the table
    // starts at most half full for one; soups that share less make it grow.
    VertexWelder welder(corner_count / 6);
    // Each corner is hashed, and its slot prefetched, kAhead corners before its
    // lookup, so that the table's cache misses overlap instead of queueing.
    constexpr size_t kAhead = 16;
    struct Pending {
      uint64_t key;
      uint64_t hash;
      uint32_t cell;
    };
    Pending pending[kAhead];
    auto prepare = [&](size_t corner) {
      const Point p = soup.corner(corner / 3, static_cast<int>(corner % 3));
      const uint32_t cell = grid.cell(p);
      const uint64_t key = Soup::key(p);
      const uint64_t hash = VertexWelder::hash(cell, key);
      welder.prefetch(hash);
      pending[corner % kAhead] = Pending{key, hash, cell};
    };
    for (size_t i = 0; i < kAhead && i < corner_count; ++i) prepare(i);
    for (size_t i = 0; i < corner_count; ++i) {
      const Pending q = pending[i % kAhead];
      if (i + kAhead < corner_count) prepare(i + kAhead);
      bool inserted = false;
      const uint32_t id = welder.findOrInsert(q.hash, q.cell, q.key, vertex_count, inserted);
      if (inserted) ++vertex_count;
      corner_vertex[i] = static_cast<int32_t>(id);
    }
  }  // the table is released before the mesh grows

  // Pass 3: make the vertices and count the faces, so that the face and
  // texture arrays are allocated once at their final size. Numbering is
  // first-seen, so a corner creates a vertex exactly when it names the next
  // number not made yet.
  mesh.vertices.reserve(withRoomForPatches(vertex_count));
  {
    size_t faces = 0, textured = 0;
    for (size_t t = 0; t < count; ++t) {
      const int32_t* v = &corner_vertex[3 * t];
      for (int c = 0; c < 3; ++c)
        if (static_cast<size_t>(v[c]) == mesh.vertices.size())
          mesh.vertices.push_back(Vertex{soup.corner(t, c), v[c]});
      if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) continue;
      ++faces;
      if (soup.material(t) >= 0) ++textured;
    }
    mesh.faces.reserve(withRoomForPatches(faces));
    mesh.texCoords.reserve(textured * 3);
  }

  // Pass 4: the faces, in input order less the collapsed triangles.
  for (size_t t = 0; t < count; ++t) {
    const int32_t* v = &corner_vertex[3 * t];
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) continue;
    Face f;
    whiteFace(f);
    soup.attributes(t, f);
    for (uint32_t c = 0; c < 3; ++c) f.v[c] = v[c];
    if (f.material >= 0)
      for (int k = 0; k < 3; ++k) {
        const auto uv = soup.uv(t, k);
        const uint64_t index = mesh.texCoords.size();
        mesh.texCoords.push_back(TexCoord{uv[0], uv[1], index});
        f.uv[k] = static_cast<uint32_t>(index);
      }
    mesh.faces.push_back(f);
  }
  std::vector<int32_t>().swap(corner_vertex);
  if (release_soup) release_soup();
  // Pass 5: the incidence lists, from the faces.
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
}

}  // namespace

void buildTriMesh(SubMesh& mesh, uint32_t count, const float* corners, const float* colors,
                  const float* uvs, const int32_t* materials) {
  if (!corners) count = 0;
  weldSoup(mesh, count, FloatSoup{corners, colors, uvs, materials});
}

void buildTriMeshDouble(SubMesh& mesh, uint32_t count, const double* corners, const double* colors,
                        const double* uvs, const int32_t* materials) {
  if (!corners) count = 0;
  weldSoup(mesh, count, DoubleSoup{corners, colors, uvs, materials});
}

void buildTriMesh(SubMesh& mesh, uint32_t count, std::unique_ptr<float[]> corners) {
  if (!corners) count = 0;
  weldSoup(mesh, count, FloatSoup{corners.get(), nullptr, nullptr, nullptr},
           [&corners] { corners.reset(); });
}

void buildTriMesh(SubMesh& mesh, const ByteSoup& soup) {
  weldSoup(mesh, soup.triangleCount(), BytesSoup{soup});
}

}  // namespace vekmesh
