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
  size_t class_count = 0;
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
    size_t classes[kHalves] = {0, 0};
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
        classes[half] += inserted;
      }
    }
    class_count = classes[0] + classes[1];
  }

  // New vertex numbers in first-seen corner order over the live faces, the
  // collapsing ones included (their vertices stay, as welding leaves them);
  // each new vertex takes the position its first corner had.
  std::vector<uint32_t> class_vertex(vertex_count, kNone);  // by class name
  std::vector<Vertex> vertices;
  vertices.reserve(class_count + class_count / 64 + 64);  // room for hole patches
  // Faces are rewritten in place: a live face never moves up, so each write
  // lands on a face already read.
  size_t kept = 0;
  std::vector<TexCoord> tex_coords;
  for (size_t f = 0; f < face_count; ++f) {
    // The class tables are read at random; start two steps of loads ahead
    // (live faces only: they alone are known to name existing vertices).
    if (f + 16 < face_count && !mesh.faces[f + 16].removed)
      for (int c = 0; c < 3; ++c) prefetchRead(weld_class.data() + mesh.faces[f + 16].v[c]);
    if (f + 8 < face_count && !mesh.faces[f + 8].removed)
      for (int c = 0; c < 3; ++c)
        prefetchRead(class_vertex.data() + weld_class[mesh.faces[f + 8].v[c]]);
    const Face& old = mesh.faces[f];
    if (old.removed) continue;
    int32_t v[3];
    for (int c = 0; c < 3; ++c) {
      uint32_t& n = class_vertex[weld_class[old.v[c]]];
      if (n == kNone) {
        n = static_cast<uint32_t>(vertices.size());
        vertices.push_back(Vertex{mesh.vertices[old.v[c]].position, static_cast<int32_t>(n)});
      }
      v[c] = static_cast<int32_t>(n);
    }
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) continue;
    Face face = old;
    face.removed = 0;
    for (int c = 0; c < 3; ++c) {
      face.v[c] = v[c];
      face.uv[c] = kNoTexCoord;
    }
    if (face.material >= 0)
      for (int c = 0; c < 3; ++c) {
        const bool textured = old.uv[c] < mesh.texCoords.size();
        const uint64_t index = tex_coords.size();
        tex_coords.push_back(TexCoord{textured ? mesh.texCoords[old.uv[c]].u : 0.0,
                                      textured ? mesh.texCoords[old.uv[c]].v : 0.0, index});
        face.uv[c] = static_cast<uint32_t>(index);
      }
    mesh.faces[kept++] = face;
  }
  mesh.faces.resize(kept);
  // Hand back what many removed faces leave unused.
  if (kept < face_count / 2) mesh.faces.shrink_to_fit();

  // Incidence: every kept corner in face order, as welding the live faces'
  // soup again would list them.
  mesh.incidentCorners.rebuild(mesh.faces, vertices.size());

  mesh.vertices.swap(vertices);
  mesh.texCoords.swap(tex_coords);
}

size_t liveFaceCount(const SubMesh& mesh) {
  size_t live = 0;
  for (const Face& f : mesh.faces) live += f.removed == 0;
  return live;
}

void rebuildTopology(SubMesh& mesh) {
  rebuildTopologyWithAdjacency(mesh);
}

}  // namespace vekmesh
