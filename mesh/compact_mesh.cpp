// Compaction after two-phase deletion: the mesh is rebuilt from its live
// faces exactly as welding their soup again would rebuild it (vertices merged
// by cell and bit-pattern key, numbered in first-seen corner order, collapsed
// faces dropped, fresh texture coordinates, incidence lists in face order),
// but by welding the referenced vertices instead of every corner.
#include <algorithm>

#include "mesh/corner_adjacency.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "mesh/vertex_welder.h"
#include "mesh/weld_key.h"

namespace vekmesh {
namespace {

constexpr uint32_t kNone = 0xFFFFFFFFu;
constexpr uint64_t kNoCorner = ~uint64_t(0);

// value = min(value, candidate); atomically when parts run at once.
void lowerTo(uint64_t& value, uint64_t candidate, bool shared) {
  if (!shared) {
    if (candidate < value) value = candidate;
    return;
  }
  uint64_t seen = __atomic_load_n(&value, __ATOMIC_RELAXED);
  while (candidate < seen && !__atomic_compare_exchange_n(&value, &seen, candidate, true,
                                                          __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
  }
}

// A face naming a vertex that does not exist cannot be rebuilt; it is
// dropped like a removed one.
bool inRange(const Face& f, size_t vertex_count) {
  for (int c = 0; c < 3; ++c)
    if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= vertex_count) return false;
  return true;
}

}  // namespace

void compactMesh(SubMesh& mesh) {
  const size_t vertex_count = mesh.vertices.size();
  const size_t face_count = mesh.faces.size();
  size_t live = 0;
  for (Face& f : mesh.faces) {
    if (!f.removed && !inRange(f, vertex_count)) f.removed = 1;
    live += f.removed == 0;
  }
  if (live == 0) return;
  // The new lists come from the new faces alone; the old ones go first so
  // that the two sets never coexist.
  mesh.incidentCorners.clear();
  mesh.incidentCorners.shrinkToFit();

  // The box over every corner of a live face is the box over the vertices
  // they use.
  std::vector<uint8_t> used(vertex_count, 0);
  for (const Face& f : mesh.faces)
    if (!f.removed) used[f.v[0]] = used[f.v[1]] = used[f.v[2]] = 1;
  WeldGrid grid;
  for (size_t v = 0; v < vertex_count; ++v)
    if (used[v]) grid.widen(mesh.vertices[v].position);
  grid.finish();

  // Weld classes of the used vertices, each named by its lowest vertex. The
  // vertices are split into two halves by a bit of their hash and each half
  // is welded with its own table, so two threads can weld at once; which
  // half a vertex falls in does not depend on the thread count, nor do the
  // classes. Vertices are hashed by their key alone: equal bits decide at
  // once, and cells are worked out only when different points share a key.
  std::vector<uint32_t> weld_class(vertex_count, kNone);
  {
    using Welder = PointWelder<WeldGrid::bitPatternKey>;
    const int64_t n = static_cast<int64_t>(vertex_count);
    std::vector<uint64_t> hashes(vertex_count);
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
    for (int64_t v = 0; v < n; ++v)
      if (used[v]) hashes[v] = Welder::hash(mesh.vertices[v].position);
    auto stored = [&](uint32_t v) -> const std::array<float, 3>& {
      return mesh.vertices[v].position;
    };
    auto same_class = [&](const std::array<float, 3>& q, const std::array<float, 3>& p) {
      return WeldGrid::bitPatternKey(q) == WeldGrid::bitPatternKey(p) &&
             grid.cell(q) == grid.cell(p);
    };
    constexpr int kHalves = 2;
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
    for (int half = 0; half < kHalves; ++half) {
      Welder welder(vertex_count / kHalves);
      auto mine = [&](int64_t v) { return used[v] && int(hashes[v] >> 63) == half; };
      constexpr int64_t kAhead = 16;  // table slots are prefetched this far ahead
      for (int64_t v = 0; v < n; ++v) {
        if (v + kAhead < n && mine(v + kAhead)) welder.prefetch(hashes[v + kAhead]);
        if (!mine(v)) continue;
        bool inserted = false;
        weld_class[v] = welder.findOrInsert(hashes[v], mesh.vertices[v].position,
                                            static_cast<uint32_t>(v), inserted, stored, same_class);
      }
    }
  }

  // New vertex numbers in first-seen corner order over the live faces, the
  // collapsing ones included (their vertices stay, as welding leaves them);
  // each new vertex takes the position its first corner had. The faces are
  // cut into one part per thread, and the numbering is done in passes that
  // give the same numbers as one walk in order: each class's first corner is
  // the lowest any part meets; each part then counts the firsts it holds and
  // numbers them from where the parts before it end.
  const int parts = loopParts(static_cast<int64_t>(face_count));
  auto part_faces = [&](int t, auto&& visit) {
    const size_t last = partStart(face_count, t + 1, parts);
    for (size_t f = partStart(face_count, t, parts); f < last; ++f) {
      // The class tables are read at random; start loading a few faces ahead
      // (live faces only: they alone are known to name existing vertices).
      if (f + 16 < face_count && !mesh.faces[f + 16].removed)
        for (int c = 0; c < 3; ++c) prefetchRead(weld_class.data() + mesh.faces[f + 16].v[c]);
      if (!mesh.faces[f].removed) visit(f);
    }
  };
  std::vector<uint64_t> first_corner(vertex_count, kNoCorner);  // by class name
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t)
    part_faces(t, [&](size_t f) {
      for (int c = 0; c < 3; ++c)
        lowerTo(first_corner[weld_class[mesh.faces[f].v[c]]], 3 * uint64_t(f) + uint64_t(c),
                parts > 1);
    });

  // Per part: first corners (new vertices) and new texture coordinates.
  std::vector<size_t> firsts(parts + 1, 0), textured(parts + 1, 0);
  auto classes_of = [&](const Face& face, uint32_t(&cls)[3]) {
    for (int c = 0; c < 3; ++c) cls[c] = weld_class[face.v[c]];
    return cls[0] != cls[1] && cls[1] != cls[2] && cls[0] != cls[2];
  };
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    size_t own_firsts = 0, own_textured = 0;
    part_faces(t, [&](size_t f) {
      const Face& face = mesh.faces[f];
      uint32_t cls[3];
      const bool keeps = classes_of(face, cls);
      for (int c = 0; c < 3; ++c) own_firsts += first_corner[cls[c]] == 3 * uint64_t(f) + c;
      own_textured += keeps && face.material >= 0 ? 3 : 0;
    });
    firsts[t + 1] = own_firsts;
    textured[t + 1] = own_textured;
  }
  for (int t = 0; t < parts; ++t) {
    firsts[t + 1] += firsts[t];
    textured[t + 1] += textured[t];
  }
  std::vector<Vertex> vertices;
  vertices.reserve(firsts[parts] + firsts[parts] / 64 + 64);  // room for hole patches
  vertices.resize(firsts[parts]);
  std::vector<uint32_t> class_vertex(vertex_count, kNone);  // by class name
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    size_t next = firsts[t];
    part_faces(t, [&](size_t f) {
      const Face& face = mesh.faces[f];
      for (int c = 0; c < 3; ++c) {
        const uint32_t cls = weld_class[face.v[c]];
        if (first_corner[cls] != 3 * uint64_t(f) + c) continue;
        class_vertex[cls] = static_cast<uint32_t>(next);
        vertices[next] = Vertex{mesh.vertices[face.v[c]].position, static_cast<int32_t>(next)};
        ++next;
      }
    });
  }
  std::vector<uint64_t>().swap(first_corner);

  // Faces are rewritten where they are (a collapsing one is marked removed),
  // with fresh texture coordinates in kept-face order; the kept ones then
  // move up, which one walk does.
  std::vector<TexCoord> tex_coords(textured[parts]);
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    uint64_t index = textured[t];
    part_faces(t, [&](size_t f) {
      Face& face = mesh.faces[f];
      uint32_t cls[3];
      if (!classes_of(face, cls)) {
        face.removed = 1;
        return;
      }
      const uint32_t old_uv[3] = {face.uv[0], face.uv[1], face.uv[2]};
      for (int c = 0; c < 3; ++c) {
        face.v[c] = static_cast<int32_t>(class_vertex[cls[c]]);
        face.uv[c] = kNoTexCoord;
      }
      if (face.material < 0) return;
      for (int c = 0; c < 3; ++c) {
        const bool textured_corner = old_uv[c] < mesh.texCoords.size();
        tex_coords[index] = TexCoord{textured_corner ? mesh.texCoords[old_uv[c]].u : 0.0,
                                     textured_corner ? mesh.texCoords[old_uv[c]].v : 0.0, index};
        face.uv[c] = static_cast<uint32_t>(index++);
      }
    });
  }
  size_t kept_count = 0;
  for (size_t f = 0; f < face_count; ++f) {
    if (mesh.faces[f].removed) continue;
    if (kept_count != f) mesh.faces[kept_count] = mesh.faces[f];
    ++kept_count;
  }
  mesh.faces.resize(kept_count);
  // Hand back what many removed faces leave unused.
  if (kept_count < face_count / 2) mesh.faces.shrink_to_fit();

  // Incidence: every kept corner in face order, as welding the live faces'
  // soup again would list them.
  mesh.incidentCorners.rebuild(mesh.faces, vertices.size());

  mesh.vertices.swap(vertices);
  mesh.texCoords.swap(tex_coords);
}

FaceBits removedFaceBits(const SubMesh& mesh) {
  return faceBitsWhere(mesh.faces.size(), [&](size_t f) { return mesh.faces[f].removed != 0; });
}

void rebuildTopology(SubMesh& mesh) {
  rebuildTopologyWithAdjacency(mesh);
}

}  // namespace vekmesh
