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
  Point corner(size_t i) const {  // corner i of the soup: corner i % 3 of triangle i / 3
    const Real* p = corners + 3 * i;
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
  Point corner(size_t i) const {
    const float* p = soup.corners.data() + 3 * i;
    return {p[0], p[1], p[2]};
  }
  static uint64_t key(const Point& p) { return bitPatternKey(p); }
  int16_t material(size_t t) const { return soup.materials[t]; }
  void attributes(size_t t, Face& f) const {
    f.material = soup.materials[t];
    std::memcpy(f.colors, soup.colors.data() + 9 * t, 9);
  }
  std::array<double, 2> uv(size_t t, int k) const {
    // A reader whose materials carry no texture (3MF base materials) leaves
    // the coordinates out: those faces take (0, 0).
    if (soup.uvs.size() < 6 * (t + 1)) return {0.0, 0.0};
    return {soup.uvs[6 * t + 2 * k], soup.uvs[6 * t + 2 * k + 1]};
  }
};

// Hole filling appends a few faces and vertices to a repaired mesh; room for
// them from the start spares a copy of the whole array (and its peak) then.
size_t withRoomForPatches(size_t faces) {
  return faces + faces / 64 + 64;
}

// Faces of the soup that stay textured (material 0 or more) at most.
template <class Soup>
size_t texturedAtMost(uint32_t count, const Soup& soup) {
  size_t textured = 0;
  for (size_t t = 0; t < count; ++t) textured += soup.material(t) >= 0;
  return textured;
}

// Arrays are reserved before their final size is known; one left more than
// twice too large is copied into an exact one (a small copy, then).
template <class T>
void trimExcess(std::vector<T>& items) {
  const size_t wanted = withRoomForPatches(items.size());
  if (items.capacity() <= 2 * wanted) return;
  std::vector<T> exact;
  exact.reserve(wanted);
  exact.assign(items.begin(), items.end());
  items.swap(exact);
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

  // Two corners of different bits weld when their keys and their cells agree.
  // Keys of different points seldom agree, so the box that cells need (a pass
  // over every corner) is only made when two of them first do.
  WeldGrid grid;
  bool grid_finished = false;
  auto same_class = [&](const Point& a, const Point& b) {
    if (Soup::key(a) != Soup::key(b)) return false;
    if (!grid_finished) {
      for (size_t i = 0; i < corner_count; ++i) grid.widen(soup.corner(i));
      grid.finish();
      grid_finished = true;
    }
    return grid.cell(a) == grid.cell(b);
  };

  // One pass welds the corners and makes the vertices and the faces: a vertex
  // when its first corner comes, a face once its three corners are welded.
  // Collapsed triangles are known only then, so faces are reserved for every
  // triangle; vertices for half as many, as a closed mesh has, and past that
  // for as many as the share of the soup seen so far promises.
  std::vector<Vertex>& vertices = mesh.vertices;
  vertices.reserve(withRoomForPatches(corner_count / 6));
  mesh.faces.reserve(withRoomForPatches(count));
  mesh.texCoords.reserve(3 * texturedAtMost(count, soup));
  {
    // The table starts at most half full for a closed mesh; soups that share
    // less make it grow.
    PointWelder<Soup::key> welder(corner_count / 6);
    auto stored = [&vertices](uint32_t v) -> const Point& { return vertices[v].position; };
    // Each corner is hashed, and its slot prefetched, kAhead corners before its
    // lookup, so that the table's cache misses overlap instead of queueing.
    constexpr size_t kAhead = 32;
    uint64_t pending[kAhead];
    auto prepare = [&](size_t i) {
      const uint64_t hash = welder.hash(soup.corner(i));
      welder.prefetch(hash);
      pending[i % kAhead] = hash;
    };
    for (size_t i = 0; i < kAhead && i < corner_count; ++i) prepare(i);
    for (size_t t = 0; t < count; ++t) {
      int32_t v[3];
      for (int c = 0; c < 3; ++c) {
        const size_t i = 3 * t + c;
        const uint64_t hash = pending[i % kAhead];
        if (i + kAhead < corner_count) prepare(i + kAhead);
        // Halfway there the slot has arrived; the vertex it names is the
        // second load a lookup waits for.
        if (i + kAhead / 2 < corner_count && !vertices.empty())
          welder.prefetchStored(pending[(i + kAhead / 2) % kAhead], 0,
                                [&vertices](uint32_t v) { prefetchRead(&vertices[v]); });
        const Point p = soup.corner(i);
        const uint32_t next = static_cast<uint32_t>(vertices.size());
        bool inserted = false;
        v[c] =
            static_cast<int32_t>(welder.findOrInsert(hash, p, next, inserted, stored, same_class));
        if (!inserted) continue;
        if (vertices.size() == vertices.capacity()) {
          const double share = double(corner_count) / double(i + 1);
          const size_t projected = static_cast<size_t>(double(next) * share);
          vertices.reserve(withRoomForPatches(projected + projected / 8));
        }
        Vertex& vertex = vertices.emplace_back();
        vertex.position = p;
        vertex.index = v[c];
      }
      if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) continue;
      // Vertices and faces are written in place: a record assembled on the
      // stack from narrow fields and then copied whole stalls on the copy's
      // wide load, which cannot be forwarded from the narrow stores.
      Face& f = mesh.faces.emplace_back();
      whiteFace(f);
      soup.attributes(t, f);
      for (int c = 0; c < 3; ++c) f.v[c] = v[c];
      if (f.material >= 0)
        for (int k = 0; k < 3; ++k) {
          const auto uv = soup.uv(t, k);
          const uint64_t index = mesh.texCoords.size();
          mesh.texCoords.push_back(TexCoord{uv[0], uv[1], index});
          f.uv[k] = static_cast<uint32_t>(index);
        }
    }
  }  // the table is released before the incidence lists are made
  trimExcess(vertices);
  trimExcess(mesh.faces);
  if (release_soup) release_soup();
  mesh.incidentCorners.rebuild(mesh.faces, vertices.size());
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
