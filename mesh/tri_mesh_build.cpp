// Building a TriMesh from a triangle soup: exact welding of corners through a
// 101^3 cell grid and a 64-bit key per point, dropping triangles that collapse,
// and carrying colours, materials and per-corner texture coordinates along.
// Large soups are welded in two halves at once and joined, with the numbering
// a single pass gives.
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>

#include "mesh/color_byte.h"
#include "mesh/huge_pages.h"
#include "mesh/parallel_loops.h"
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

// Makes `vertices[v]` for a vertex first met at point p.
void addVertex(std::vector<Vertex>& vertices, const Point& p, uint32_t v, size_t seen,
               size_t total) {
  if (vertices.size() == vertices.capacity()) {
    // Past the reserve, as many as the share of the corners seen so far promises.
    const double share = double(total) / double(seen);
    const size_t projected = static_cast<size_t>(double(v) * share);
    vertices.reserve(withRoomForPatches(projected + projected / 8));
  }
  Vertex& vertex = vertices.emplace_back();
  vertex.position = p;
  vertex.index = static_cast<int32_t>(v);
}

// Welds the corners of triangles [first, last) with `welder`: a vertex in
// `vertices` when a class is first met, then on_triangle(t, v) with the three
// vertex numbers. Each corner is hashed, and its slot prefetched, kAhead
// corners before its lookup, so that the table's cache misses overlap
// instead of queueing.
template <class Soup, class SameClass, class OnTriangle>
void weldTriangles(const Soup& soup, size_t first, size_t last, PointWelder<Soup::key>& welder,
                   std::vector<Vertex>& vertices, SameClass&& same_class,
                   OnTriangle&& on_triangle) {
  auto stored = [&vertices](uint32_t v) -> const Point& { return vertices[v].position; };
  constexpr size_t kAhead = 32;
  uint64_t pending[kAhead];
  const size_t begin = 3 * first, end = 3 * last;
  auto prepare = [&](size_t i) {
    const uint64_t hash = welder.hash(soup.corner(i));
    welder.prefetch(hash);
    pending[i % kAhead] = hash;
  };
  for (size_t i = begin; i < begin + kAhead && i < end; ++i) prepare(i);
  for (size_t t = first; t < last; ++t) {
    int32_t v[3];
    for (int c = 0; c < 3; ++c) {
      const size_t i = 3 * t + c;
      const uint64_t hash = pending[i % kAhead];
      if (i + kAhead < end) prepare(i + kAhead);
      // Halfway there the slot has arrived; the vertex it names is the
      // second load a lookup waits for.
      if (i + kAhead / 2 < end && !vertices.empty())
        welder.prefetchStored(pending[(i + kAhead / 2) % kAhead], 0,
                              [&vertices](uint32_t v) { prefetchRead(&vertices[v]); });
      const Point p = soup.corner(i);
      const uint32_t next = static_cast<uint32_t>(vertices.size());
      bool inserted = false;
      v[c] = static_cast<int32_t>(welder.findOrInsert(hash, p, next, inserted, stored, same_class));
      if (inserted) addVertex(vertices, p, next, i - begin + 1, end - begin);
    }
    on_triangle(t, v);
  }
}

// Writes the record of triangle t on vertices v into f, all but its texture
// coordinates.
template <class Soup>
void fillFace(Face& f, const Soup& soup, size_t t, const int32_t v[3]) {
  whiteFace(f);
  soup.attributes(t, f);
  for (int c = 0; c < 3; ++c) f.v[c] = v[c];
}

// Appends the face of triangle t on vertices v, unless it collapsed.
template <class Soup>
void addFace(SubMesh& mesh, const Soup& soup, size_t t, const int32_t v[3]) {
  if (repeatsVertex(v)) return;
  // Vertices and faces are written in place: a record assembled on the stack
  // from narrow fields and then copied whole stalls on the copy's wide load,
  // which cannot be forwarded from the narrow stores.
  Face& f = mesh.faces.emplace_back();
  fillFace(f, soup, t, v);
  if (f.material >= 0)
    for (int k = 0; k < 3; ++k) {
      const auto uv = soup.uv(t, k);
      const uint64_t index = mesh.texCoords.size();
      mesh.texCoords.push_back(TexCoord{uv[0], uv[1], index});
      f.uv[k] = static_cast<uint32_t>(index);
    }
}

// Soups of this many triangles or more are welded in two parts at once when
// a second thread is there: a part's table then serves half the corners and
// stays in its own core's cache.
constexpr uint32_t kTwoPartWeld = 131072;

// Two parts, welded at once: the first as a whole weld would, straight into
// the mesh; the second into vertices and vertex numbers of its own. Then each
// vertex the second part met is looked up in the first part's table: found,
// it is that vertex; not, it is the next new one, in the order the second
// part met them, which is the order a single pass would have made them in.
// Returns false, having made nothing, when no second thread came.
//
// The join is shared too. Both threads look vertices up; only the numbering
// of the new ones is serial. The second part's faces are written by both
// threads at places known in advance, unless texture coordinates (numbered in
// face order) come with them: a face of the second part collapses exactly
// when two of its own vertex numbers agree, since the join maps distinct ones
// to distinct vertices, so the second thread counts the faces each half of
// its part keeps as it goes. That thread has the lighter part (it writes no
// face records), and then backs the pages those records will take.
template <class Soup, class SameClass>
bool weldInTwoParts(SubMesh& mesh, uint32_t count, const Soup& soup, bool textured,
                    SameClass&& same_class) {
  const size_t half = count / 2;
  const size_t middle = half + (count - half) / 2;
  const size_t corner_count = size_t(count) * 3;
  PointWelder<Soup::key> first_table(3 * half / 6);
  std::vector<Vertex> second_vertices;
  second_vertices.reserve(withRoomForPatches(3 * (count - half) / 6));
  std::unique_ptr<std::array<int32_t, 3>[]> second_faces(new std::array<int32_t, 3>[count - half]);
  size_t kept[2] = {0, 0};                   // faces kept in [half, middle) and [middle, count)
  const Face* reserved = mesh.faces.data();  // room for every triangle
  bool team = false, failed = false;
#pragma omp parallel num_threads(2)
  {
    const bool two = currentTeamSize() == 2;
    try {
      if (two && threadIndex() == 0) {
        team = true;
        weldTriangles(soup, 0, half, first_table, mesh.vertices, same_class,
                      [&](size_t t, const int32_t v[3]) { addFace(mesh, soup, t, v); });
      } else if (two) {
        {
          PointWelder<Soup::key> second_table(3 * (count - half) / 6);
          weldTriangles(soup, half, count, second_table, second_vertices, same_class,
                        [&](size_t t, const int32_t v[3]) {
                          second_faces[t - half] = {v[0], v[1], v[2]};
                          kept[t >= middle] += !repeatsVertex(v);
                        });
        }  // the table goes first: the two are never held at once
        if (!textured) prefaultForWriting(reserved + half, (count - half) * sizeof(Face));
      }
    } catch (...) {
#pragma omp atomic write
      failed = true;
    }
  }
  if (failed) throw std::bad_alloc();
  if (!team) return false;

  const int64_t second_count = static_cast<int64_t>(second_vertices.size());
  std::vector<int32_t> merged(second_vertices.size());
  auto stored = [&mesh](uint32_t v) -> const Point& { return mesh.vertices[v].position; };
  constexpr int64_t kAhead = 16;  // slots are fetched this many lookups early
#pragma omp parallel for schedule(static) num_threads(2)
  for (int64_t u = 0; u < second_count; ++u) {
    if (u + kAhead < second_count)
      first_table.prefetch(first_table.hash(second_vertices[size_t(u + kAhead)].position));
    const Point& p = second_vertices[size_t(u)].position;
    const uint32_t found = first_table.find(first_table.hash(p), p, stored, same_class);
    merged[size_t(u)] = found == first_table.kEmpty ? -1 : static_cast<int32_t>(found);
  }
  for (size_t u = 0; u < second_vertices.size(); ++u) {
    if (merged[u] >= 0) continue;
    const uint32_t next = static_cast<uint32_t>(mesh.vertices.size());
    addVertex(mesh.vertices, second_vertices[u].position, next, 3 * half + u + 1, corner_count);
    merged[u] = static_cast<int32_t>(next);
  }

  auto joined = [&](size_t t) {
    const std::array<int32_t, 3>& local = second_faces[t - half];
    return std::array<int32_t, 3>{merged[size_t(local[0])], merged[size_t(local[1])],
                                  merged[size_t(local[2])]};
  };
  if (textured) {
    for (size_t t = half; t < count; ++t) addFace(mesh, soup, t, joined(t).data());
    return true;
  }
  const size_t base = mesh.faces.size();
  mesh.faces.resize(base + kept[0] + kept[1]);  // within the reserve: no copy
#pragma omp parallel for schedule(static, 1) num_threads(2)
  for (int h = 0; h < 2; ++h) {
    size_t at = base + (h == 0 ? 0 : kept[0]);
    for (size_t t = h == 0 ? half : middle, end = h == 0 ? middle : count; t < end; ++t) {
      if (repeatsVertex(second_faces[t - half].data())) continue;
      fillFace(mesh.faces[at++], soup, t, joined(t).data());
    }
  }
  return true;
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
  // over every corner) is only made when two of them first do, by whichever
  // thread meets them first.
  WeldGrid grid;
  std::atomic<bool> grid_finished{false};
  auto same_class = [&](const Point& a, const Point& b) {
    if (Soup::key(a) != Soup::key(b)) return false;
    if (!grid_finished.load(std::memory_order_acquire)) {
#pragma omp critical(vekmesh_weld_grid)
      if (!grid_finished.load(std::memory_order_relaxed)) {
        for (size_t i = 0; i < corner_count; ++i) grid.widen(soup.corner(i));
        grid.finish();
        grid_finished.store(true, std::memory_order_release);
      }
    }
    return grid.cell(a) == grid.cell(b);
  };

  // Vertices and faces are made as their corners are welded: a vertex when
  // its first corner comes, a face once its three corners are welded.
  // Collapsed triangles are known only then, so faces are reserved for every
  // triangle; vertices for half as many, as a closed mesh has.
  mesh.vertices.reserve(withRoomForPatches(corner_count / 6));
  mesh.faces.reserve(withRoomForPatches(count));
  const size_t textured = texturedAtMost(count, soup);
  mesh.texCoords.reserve(3 * textured);
  const bool two_parts = count >= kTwoPartWeld && teamSize() > 1;
  if (!two_parts || !weldInTwoParts(mesh, count, soup, textured > 0, same_class)) {
    // The table starts at most half full for a closed mesh; soups that share
    // less make it grow.
    PointWelder<Soup::key> welder(corner_count / 6);
    weldTriangles(soup, 0, count, welder, mesh.vertices, same_class,
                  [&](size_t t, const int32_t v[3]) { addFace(mesh, soup, t, v); });
  }  // the tables are released before the incidence lists are made
  trimExcess(mesh.vertices);
  trimExcess(mesh.faces);
  if (release_soup) release_soup();
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
