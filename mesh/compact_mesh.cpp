// Compaction after two-phase deletion: the mesh is rebuilt from its live
// faces exactly as welding their soup again would rebuild it (vertices merged
// by cell and bit-pattern key, numbered in first-seen corner order, collapsed
// faces dropped, fresh texture coordinates, incidence lists in face order),
// but by welding the referenced vertices instead of every corner. A mesh that
// would come out with the same faces and vertices (nothing removed, merged or
// collapsed, vertices already in first-seen order, no textures) is
// recognised by passes on the team and keeps them, skipping the serial walk
// that renumbers. Told what the last compaction welded, it also skips the
// weld and the new lists when only appended points could weld.
#include <algorithm>
#include <cstring>

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

// What the first pass finds in one part of the faces.
struct PartScan {
  size_t live = 0, textured = 0;
  int32_t highest = -1;  // the highest vertex of a live face
  // The part's corners come in number order (each corner's vertex at most
  // one past every vertex met before it) when the parts before it met this
  // vertex or a higher one: the highest vertex, less one, of the corners
  // that come more than one past every vertex met before them in the part.
  int32_t needs_before = -1;
  bool collapsed = false;
  bool texture_references = false;  // a live face refers to a texture coordinate
};

// One pass over the faces on the team: faces out of range are marked
// removed, and the live ones mark the vertices they use.
std::vector<PartScan> scanFaces(std::vector<Face>& faces, size_t vertex_count,
                                std::vector<uint8_t>& used) {
  const size_t n = faces.size();
  const int parts = loopParts(static_cast<int64_t>(n));
  std::vector<PartScan> scans(static_cast<size_t>(parts));
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    size_t live = 0, textured = 0;
    int32_t highest = -1, needs_before = -1;
    bool any_collapsed = false, references = false;
    for (size_t f = partStart(n, t, parts), end = partStart(n, t + 1, parts); f < end; ++f) {
      Face& face = faces[f];
      if (!face.removed && !inRange(face, vertex_count)) face.removed = 1;
      if (face.removed) continue;
      ++live;
      textured += face.material >= 0;
      any_collapsed = any_collapsed || repeatsVertex(face);
      references = references || (face.uv[0] & face.uv[1] & face.uv[2]) != kNoTexCoord;
      for (int c = 0; c < 3; ++c) {
        // Threads may mark the same vertex: the same byte, the same value,
        // stored without ordering (a plain store).
        const int32_t v = face.v[c];
        __atomic_store_n(&used[size_t(v)], uint8_t(1), __ATOMIC_RELAXED);
        if (v > highest + 1) needs_before = std::max(needs_before, v - 1);
        highest = std::max(highest, v);
      }
    }
    scans[size_t(t)] = {live, textured, highest, needs_before, any_collapsed, references};
  }
  return scans;
}

// Whether the live corners meet the vertices in number order, from the
// parts' scans. Welding numbers vertices so; a mesh made otherwise (vertices
// in a file's order) may not be.
bool firstSeenInNumberOrder(const std::vector<PartScan>& scans) {
  int32_t met = -1;  // the highest vertex of the parts so far
  for (const PartScan& scan : scans) {
    if (scan.needs_before > met) return false;
    met = std::max(met, scan.highest);
  }
  return true;
}

// The end of a compaction that changes no face or vertex: what the walk
// would still rewrite (vertex indices, texture references of untextured
// faces, when the scan met any) is set on the team, and the incidence lists
// are made again unless they are known to be current.
void keepFacesAndVertices(SubMesh& mesh, size_t room_for_vertices, bool texture_references,
                          bool lists_current) {
  const int64_t vertex_count = static_cast<int64_t>(mesh.vertices.size());
#pragma omp parallel for schedule(static) if (vertex_count >= kParallelMinimum)
  for (int64_t v = 0; v < vertex_count; ++v)
    if (mesh.vertices[size_t(v)].index != v) mesh.vertices[size_t(v)].index = int32_t(v);
  if (texture_references) {
    const int64_t face_count = static_cast<int64_t>(mesh.faces.size());
#pragma omp parallel for schedule(static) if (face_count >= kParallelMinimum)
    for (int64_t f = 0; f < face_count; ++f)
      for (uint32_t& uv : mesh.faces[size_t(f)].uv)
        if (uv != kNoTexCoord) uv = kNoTexCoord;
  }
  std::vector<TexCoord>().swap(mesh.texCoords);
  if (mesh.vertices.capacity() < room_for_vertices) mesh.vertices.reserve(room_for_vertices);
  if (!lists_current) mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
}

// Whether no vertex from `first_new` on welds with any other vertex in
// `grid`, when the vertices before it are known not to weld with each other:
// the new ones' keys are looked up for every vertex, and a shared key decides
// by the cells. Gives up (false) past a share of the vertices, where welding
// them all costs about as much.
bool newVerticesStandApart(const SubMesh& mesh, const WeldGrid& grid, size_t first_new) {
  const size_t vertex_count = mesh.vertices.size();
  if (first_new >= vertex_count) return true;
  if (vertex_count - first_new > vertex_count / 16) return false;
  std::vector<std::pair<uint64_t, uint32_t>> fresh;
  for (size_t v = first_new; v < vertex_count; ++v)
    fresh.emplace_back(WeldGrid::bitPatternKey(mesh.vertices[v].position), uint32_t(v));
  std::sort(fresh.begin(), fresh.end());
  const int64_t n = static_cast<int64_t>(vertex_count);
  int welds = 0;
#pragma omp parallel for schedule(static) reduction(+ : welds) if (n >= kParallelMinimum)
  for (int64_t u = 0; u < n; ++u) {
    const auto& p = mesh.vertices[size_t(u)].position;
    const uint64_t key = WeldGrid::bitPatternKey(p);
    auto it = std::lower_bound(fresh.begin(), fresh.end(), std::make_pair(key, uint32_t(0)));
    for (; it != fresh.end() && it->first == key; ++it)
      welds += it->second != uint32_t(u) &&
               grid.cell(mesh.vertices[it->second].position) == grid.cell(p);
  }
  return welds == 0;
}

// Room for the vertices hole patches add to a mesh of `vertices`.
size_t roomForVertices(size_t vertices) {
  return vertices + vertices / 64 + 64;
}

bool compact(SubMesh& mesh, CompactionRecord* record) {
  const size_t vertex_count = mesh.vertices.size();
  const size_t face_count = mesh.faces.size();
  // One pass over the faces: those out of range are dropped, and the live
  // ones mark the vertices they use.
  std::vector<uint8_t> used(vertex_count, 0);
  const std::vector<PartScan> scans = scanFaces(mesh.faces, vertex_count, used);
  size_t live = 0, textured_faces = 0;
  bool any_collapsed = false, texture_references = false;
  for (const PartScan& scan : scans) {
    live += scan.live;
    textured_faces += scan.textured;
    any_collapsed = any_collapsed || scan.collapsed;
    texture_references = texture_references || scan.texture_references;
  }
  if (live == 0) {
    if (record) record->known = false;
    return false;
  }
  // The box over every corner of a live face is the box over the vertices
  // they use.
  WeldGrid grid;
  size_t used_count = 0;
  for (size_t v = 0; v < vertex_count; ++v)
    if (used[v]) grid.widen(mesh.vertices[v].position), ++used_count;
  grid.finish();

  // The vertices the last compaction made do not weld with each other while
  // the grid spans the same box: when the appended ones weld with none,
  // every vertex is a class of its own, and a mesh that would keep its faces
  // and vertices needs no weld (nor new lists, which its steps kept current).
  // A caller's word on the lists is taken when their sizes agree with it.
  const bool lists_current = record && mesh.incidentCorners.vertexCount() == vertex_count &&
                             mesh.incidentCorners.entryCount() == 3 * face_count;
  if (lists_current && record->known && record->vertices <= vertex_count &&
      used_count == vertex_count && live == face_count && textured_faces == 0 && !any_collapsed &&
      grid.sameBox(record->grid) && firstSeenInNumberOrder(scans) &&
      newVerticesStandApart(mesh, grid, record->vertices)) {
    std::vector<uint8_t>().swap(used);
    keepFacesAndVertices(mesh, roomForVertices(vertex_count), texture_references,
                         /*lists_current=*/true);
    record->vertices = vertex_count;
    record->welded_all = false;
    return true;
  }
  if (record) {
    record->grid = grid;
    record->known = true;
    record->welded_all = true;
  }

  // The new lists come from the new faces alone; the old ones go first so
  // that the two sets never coexist. Lists that a compaction keeping every
  // face would leave as they are wait until that is ruled out.
  auto releaseLists = [&] {
    mesh.incidentCorners.clear();
    mesh.incidentCorners.shrinkToFit();
  };
  if (!lists_current) releaseLists();

  // Weld classes of the used vertices, each named by its lowest vertex. With
  // a second thread the vertices are split into two halves by a bit of their
  // hash and each half is welded with its own table at once; a class lies in
  // one half, and each table meets its vertices in increasing order, so the
  // classes and their names are those of one table. Vertices are hashed by
  // their key alone: equal bits decide at once, and cells are worked out only
  // when different points share a key.
  std::vector<uint32_t> weld_class(vertex_count, kNone);
  size_t classes = 0;
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
    const int tables = loopParts(n) > 1 ? 2 : 1;
#pragma omp parallel for schedule(static) reduction(+ : classes) if (tables > 1)
    for (int table = 0; table < tables; ++table) {
      Welder welder(vertex_count / size_t(tables));
      // A block's vertices for this table are listed first, without a
      // branch: which half a vertex falls in is a coin toss.
      constexpr int64_t kBlock = 256;
      constexpr size_t kAhead = 16;  // table slots are prefetched this far ahead
      uint32_t mine[kBlock];
      for (int64_t begin = 0; begin < n; begin += kBlock) {
        const int64_t end = std::min(n, begin + kBlock);
        size_t count = 0;
        for (int64_t v = begin; v < end; ++v) {
          mine[count] = static_cast<uint32_t>(v);
          count += used[v] && (tables == 1 || int(hashes[v] >> 63) == table);
        }
        for (size_t i = 0; i < count && i < kAhead; ++i) welder.prefetch(hashes[mine[i]]);
        for (size_t i = 0; i < count; ++i) {
          if (i + kAhead < count) welder.prefetch(hashes[mine[i + kAhead]]);
          const uint32_t v = mine[i];
          bool inserted = false;
          weld_class[v] = welder.findOrInsert(hashes[v], mesh.vertices[v].position, v, inserted,
                                              stored, same_class);
          classes += inserted;
        }
      }
    }
  }

  const size_t room_for_vertices = roomForVertices(classes);
  // Every vertex used and a class of its own, every face kept: when the
  // corners also meet the vertices in number order, the walk below would
  // number each vertex as it is.
  if (classes == vertex_count && live == face_count && textured_faces == 0 && !any_collapsed &&
      firstSeenInNumberOrder(scans)) {
    std::vector<uint32_t>().swap(weld_class);
    std::vector<uint8_t>().swap(used);
    keepFacesAndVertices(mesh, room_for_vertices, texture_references, lists_current);
    if (record) record->vertices = vertex_count;
    return true;
  }
  if (lists_current) releaseLists();

  // One walk over the live faces in order does the rest: a class is given the
  // next vertex number at its first corner (the collapsing faces count, as
  // their vertices stay when welding drops them), taking that corner's
  // position; each face is rewritten onto the new numbers, with fresh
  // texture coordinates in kept-face order, and moved up over the faces
  // dropped before it. The numbering is a chain through the whole walk, so
  // it stays on one thread: cutting it into parts took three passes over the
  // faces to give the same numbers, which cost more than the second thread
  // saved.
  std::vector<Vertex> vertices;
  vertices.reserve(room_for_vertices);
  std::vector<uint32_t> class_vertex(vertex_count, kNone);  // by class name
  std::vector<TexCoord> tex_coords;
  tex_coords.reserve(3 * textured_faces);
  constexpr size_t kAhead = 16;  // the class table is read at random: load ahead
  size_t kept_count = 0;
  for (size_t f = 0; f < face_count; ++f) {
    if (f + kAhead < face_count && !mesh.faces[f + kAhead].removed)
      for (int c = 0; c < 3; ++c) prefetchRead(weld_class.data() + mesh.faces[f + kAhead].v[c]);
    Face face = mesh.faces[f];
    if (face.removed) continue;
    int32_t v[3];
    for (int c = 0; c < 3; ++c) {
      uint32_t& number = class_vertex[weld_class[face.v[c]]];
      if (number == kNone) {
        number = static_cast<uint32_t>(vertices.size());
        vertices.push_back(Vertex{mesh.vertices[face.v[c]].position, static_cast<int32_t>(number)});
      }
      v[c] = static_cast<int32_t>(number);
    }
    if (repeatsVertex(v)) continue;
    for (int c = 0; c < 3; ++c) {
      const uint32_t old_uv = face.uv[c];
      face.v[c] = v[c];
      face.uv[c] = kNoTexCoord;
      if (face.material < 0) continue;
      const bool textured_corner = old_uv < mesh.texCoords.size();
      const uint64_t index = tex_coords.size();
      tex_coords.push_back(TexCoord{textured_corner ? mesh.texCoords[old_uv].u : 0.0,
                                    textured_corner ? mesh.texCoords[old_uv].v : 0.0, index});
      face.uv[c] = static_cast<uint32_t>(index);
    }
    // A face that keeps its place and its numbers is left as it is: after a
    // step that only moved vertices, most are.
    Face& slot = mesh.faces[kept_count++];
    if (kept_count - 1 != f || std::memcmp(&slot, &face, sizeof face) != 0) slot = face;
  }
  mesh.faces.resize(kept_count);
  // Hand back what many removed faces leave unused.
  if (kept_count < face_count / 2) mesh.faces.shrink_to_fit();

  // Incidence: every kept corner in face order, as welding the live faces'
  // soup again would list them.
  mesh.incidentCorners.rebuild(mesh.faces, vertices.size());

  mesh.vertices.swap(vertices);
  mesh.texCoords.swap(tex_coords);
  if (record) record->vertices = mesh.vertices.size();
  return false;
}

}  // namespace

bool compactMesh(SubMesh& mesh) {
  return compact(mesh, nullptr);
}

bool compactMesh(SubMesh& mesh, CompactionRecord& record) {
  return compact(mesh, &record);
}

FaceBits removedFaceBits(const SubMesh& mesh) {
  return faceBitsWhere(mesh.faces.size(), [&](size_t f) { return mesh.faces[f].removed != 0; });
}

void rebuildTopology(SubMesh& mesh) {
  rebuildTopologyWithAdjacency(mesh);
}

}  // namespace vekmesh
