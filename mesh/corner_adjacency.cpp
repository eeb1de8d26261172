// Corner adjacency by a sweep over vertices: for vertex x, each listed corner
// (G, k) contributes the edge leaving x (to G.v[k + 1]) and the edge arriving
// (from G.v[k - 1]); the corner's edge partners are the other entries with the
// same far vertex. Faces of the next vertices are prefetched, since a shuffled
// mesh puts every incident face in a different cache line.
#include "mesh/corner_adjacency.h"

#include <algorithm>
#include <atomic>
#include <climits>

#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"

namespace vekmesh {
namespace {

// A refresh that would build more than this share of the faces (one in so
// many) builds the whole adjacency instead.
constexpr size_t kRefreshShare = 16;
// Lists up to this size are compared pairwise; longer ones are sorted.
constexpr size_t kPairwiseLimit = 32;
// How many vertices ahead the incident faces are prefetched.
constexpr size_t kPrefetchAhead = 12;
// Vertices a thread sweeps before taking more.
constexpr int64_t kSweepChunk = 4096;

struct Entry {
  uint32_t face;
  uint32_t corner;
  int32_t next;  // far vertex of the edge leaving x
  int32_t prev;  // far vertex of the edge arriving at x
};

void storeCorner(const Entry& e, uint32_t count, uint32_t partner, bool same,
                 CornerAdjacency& adjacency) {
  const size_t slot = size_t(e.face) * 3 + e.corner;
  if (count == 0) {
    adjacency.across[slot] = CornerAdjacency::kOpen;
  } else if (count == 1) {
    adjacency.across[slot] = static_cast<int32_t>(partner);
    adjacency.same_direction[slot] = same ? 1 : 0;
  } else {
    adjacency.across[slot] = CornerAdjacency::kSeveral;
  }
}

// Records the partners of entry i among `entries` (the whole list of x).
// Opposite winding is tested first, as a walk of the list does.
template <class Partners>
void recordCorner(const std::vector<Entry>& entries, size_t i, Partners&& partners,
                  CornerAdjacency& adjacency) {
  const Entry& e = entries[i];
  const int32_t y = e.next;
  uint32_t count = 0;
  uint32_t partner = 0;
  bool same = false;
  partners(y, [&](const Entry& o) {
    if (o.face == e.face) return;
    if (o.prev == y) {
      same = false;
    } else if (o.next == y) {
      same = true;
    } else {
      return;
    }
    ++count;
    partner = o.face;
  });
  storeCorner(e, count, partner, same, adjacency);
}

// recordCorner for every entry of a short list, without branches in the
// inner loop: a vertex of a closed mesh lists about six corners, so this loop
// is most of the sweep.
void recordShortList(const std::vector<Entry>& entries, CornerAdjacency& adjacency) {
  const size_t n = entries.size();
  for (size_t i = 0; i < n; ++i) {
    const Entry& e = entries[i];
    const int32_t y = e.next;
    uint32_t count = 0;
    uint32_t partner = 0;
    bool same = false;
    for (size_t j = 0; j < n; ++j) {
      const Entry& o = entries[j];
      const bool opposite = o.prev == y;
      const bool match = o.face != e.face && (opposite || o.next == y);
      count += match;
      partner = match ? o.face : partner;
      same = match ? !opposite : same;
    }
    storeCorner(e, count, partner, same, adjacency);
  }
}

// Marks, in the first vertex of a face's copy, a face that shares no edges.
constexpr int32_t kSkippedFace = INT32_MIN;

// Records the partners of every listed corner of vertex x. `face_vertices`
// holds the three vertices of every face (kSkippedFace first for a face to
// skip); `entries` and `keyed` are the caller's scratch space.
void sweepVertex(const SubMesh& mesh, const int32_t* face_vertices, size_t x,
                 std::vector<Entry>& entries, std::vector<std::pair<int32_t, uint32_t>>& keyed,
                 CornerAdjacency& adjacency) {
  entries.clear();
  for (const CornerRef& r : mesh.incidentCorners[x]) {
    const int32_t* v = face_vertices + 3 * size_t(r.face);
    if (v[0] == kSkippedFace) continue;
    entries.push_back({r.face, r.corner, v[nextCorner(r.corner)], v[prevCorner(r.corner)]});
  }
  const size_t n = entries.size();
  if (n <= kPairwiseLimit) {
    recordShortList(entries, adjacency);
    return;
  }
  // A long list: index entries by their far vertices, so each corner only
  // looks at the entries that touch its edge. An entry with both far
  // vertices equal is indexed once, as the pairwise walk would meet it once.
  keyed.clear();
  for (uint32_t j = 0; j < n; ++j) {
    keyed.push_back({entries[j].next, j});
    if (entries[j].prev != entries[j].next) keyed.push_back({entries[j].prev, j});
  }
  std::sort(keyed.begin(), keyed.end());
  for (size_t i = 0; i < n; ++i)
    recordCorner(
        entries, i,
        [&](int32_t y, auto&& visit) {
          auto it = std::lower_bound(keyed.begin(), keyed.end(), std::make_pair(y, uint32_t(0)));
          for (; it != keyed.end() && it->first == y; ++it) visit(entries[it->second]);
        },
        adjacency);
}

// Whether live face f (vertices v, the lowest x, all three different) has
// the vertices of a lower-numbered live face, from x's list: such a face
// lists x with the other two as its neighbours there.
bool repeatsLowerFace(const SubMesh& mesh, const int32_t* face_vertices, uint32_t f,
                      const int32_t* v, int32_t x) {
  int32_t others[2];
  int k = 0;
  for (int c = 0; c < 3; ++c)
    if (v[c] != x) others[k++] = v[c];
  for (const CornerRef& r : mesh.incidentCorners[size_t(x)]) {
    if (r.face >= f) continue;
    const int32_t* g = face_vertices + 3 * size_t(r.face);
    if (g[0] == kSkippedFace) continue;
    const int32_t next = g[nextCorner(r.corner)], prev = g[prevCorner(r.corner)];
    if ((next == others[0] && prev == others[1]) || (next == others[1] && prev == others[0]))
      return true;
  }
  return false;
}

// The duplicate list and the repeated-vertex flag, from the finished
// adjacency in one pass over the faces. A live face with the vertices of a
// lower-numbered one shares its three edges with it: when each edge has a
// single other face, that is the same face on all three and the answer is
// whether it is lower; when the three differ or one is open, no face
// repeats it; only faces with an edge of several faces (duplicates among
// them) look in a list. Faces the lists leave out (out of range, past what
// an entry names) are left out here too.
void listDuplicates(const SubMesh& mesh, const int32_t* face_vertices, size_t vertex_count,
                    CornerAdjacency& adjacency) {
  const size_t listed_vertices = mesh.incidentCorners.vertexCount();
  const size_t n = std::min(mesh.faces.size(), IncidentCorners::kMaxFaces);
  std::atomic<bool> repeated{false};
  const std::vector<size_t> duplicates = elementsWhere(n, [&](size_t f) {
    const int32_t* v = face_vertices + 3 * f;
    if (v[0] == kSkippedFace) return false;
    bool listed = true;
    for (int c = 0; c < 3; ++c) listed = listed && v[c] >= 0 && size_t(v[c]) < listed_vertices;
    const int32_t x = std::min({v[0], v[1], v[2]});
    // A face is met in the sweep at its vertices below vertex_count.
    if (!listed || size_t(x) >= vertex_count) return false;
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) {
      repeated.store(true, std::memory_order_relaxed);
      return false;
    }
    const int32_t* across = adjacency.across.data() + 3 * f;
    if (across[0] == CornerAdjacency::kSeveral || across[1] == CornerAdjacency::kSeveral ||
        across[2] == CornerAdjacency::kSeveral)
      return repeatsLowerFace(mesh, face_vertices, uint32_t(f), v, x);
    return across[0] >= 0 && across[0] == across[1] && across[1] == across[2] &&
           size_t(across[0]) < f;
  });
  adjacency.duplicate_faces.assign(duplicates.begin(), duplicates.end());
  adjacency.repeated_vertex_face = repeated.load(std::memory_order_relaxed);
  adjacency.duplicates_listed = true;
}

}  // namespace

CornerAdjacency buildCornerAdjacency(const SubMesh& mesh, RemovedFaces removed,
                                     bool list_duplicates) {
  const size_t face_count = mesh.faces.size();
  CornerAdjacency adjacency;
  adjacency.across.resize(face_count * 3);
  adjacency.same_direction.resize(face_count * 3);
  // Every slot is written by the vertex that lists its corner; slots of
  // corners no list holds (faces out of range) start open.
  const int64_t slot_count = static_cast<int64_t>(face_count * 3);
#pragma omp parallel for schedule(static) if (slot_count >= kParallelMinimum)
  for (int64_t i = 0; i < slot_count; ++i) {
    adjacency.across[i] = CornerAdjacency::kOpen;
    adjacency.same_direction[i] = 0;
  }

  // Each corner's slots are written only while sweeping the vertex that lists
  // it, so vertices can be swept in parallel; the result does not depend on
  // the number of threads.
  const int64_t vertex_count =
      static_cast<int64_t>(std::min(mesh.vertices.size(), mesh.incidentCorners.vertexCount()));
  // The sweep reads the vertices of faces met in the lists; a dense copy of
  // them (12 bytes a face instead of a 36-byte record) keeps three times as
  // many faces in the cache, which is what a shuffled mesh needs.
  std::vector<int32_t> face_vertices(3 * face_count);
  const int64_t faces_n = static_cast<int64_t>(face_count);
#pragma omp parallel for schedule(static) if (faces_n >= kParallelMinimum)
  for (int64_t f = 0; f < faces_n; ++f) {
    const Face& face = mesh.faces[size_t(f)];
    int32_t* v = face_vertices.data() + 3 * f;
    v[0] = removed == RemovedFaces::kSkip && face.removed ? kSkippedFace : face.v[0];
    v[1] = face.v[1];
    v[2] = face.v[2];
  }
  const int32_t* vertices_of = face_vertices.data();
#pragma omp parallel if (vertex_count >= kParallelMinimum)
  {
    std::vector<Entry> entries;
    std::vector<std::pair<int32_t, uint32_t>> keyed;  // (far vertex, entry) for long lists
    // Taken in chunks as threads come free: the lists of some vertices cost
    // more than others' (long lists, faces out of the cache), and a thread
    // that waits at the end for another's half is time lost.
#pragma omp for schedule(dynamic, kSweepChunk)
    for (int64_t x = 0; x < vertex_count; ++x) {
      if (x + int64_t(kPrefetchAhead) < vertex_count)
        for (const CornerRef& r : mesh.incidentCorners[x + kPrefetchAhead]) {
          prefetchRead(vertices_of + 3 * size_t(r.face));
          prefetchWrite(adjacency.across.data() + size_t(r.face) * 3);
          prefetchWrite(adjacency.same_direction.data() + size_t(r.face) * 3);
        }
      sweepVertex(mesh, vertices_of, static_cast<size_t>(x), entries, keyed, adjacency);
    }
  }
  if (list_duplicates && removed == RemovedFaces::kSkip)
    listDuplicates(mesh, vertices_of, size_t(vertex_count), adjacency);
  return adjacency;
}

void turnFacesInAdjacency(CornerAdjacency& adjacency, const FaceBits& turned) {
  const int64_t face_count = static_cast<int64_t>(adjacency.across.size() / 3);
  // Each face writes only its own slots, and reads only the turn marks.
#pragma omp parallel for schedule(static) if (face_count >= kParallelMinimum)
  for (int64_t f = 0; f < face_count; ++f) {
    const bool f_turned = turned.test(size_t(f));
    const size_t slot = 3 * size_t(f);
    if (f_turned) {
      std::swap(adjacency.across[slot + 1], adjacency.across[slot + 2]);
      std::swap(adjacency.same_direction[slot + 1], adjacency.same_direction[slot + 2]);
    }
    for (size_t c = 0; c < 3; ++c) {
      const int32_t g = adjacency.across[slot + c];
      if (g >= 0 && f_turned != turned.test(size_t(g))) adjacency.same_direction[slot + c] ^= 1;
    }
  }
}

void refreshCornerAdjacency(const SubMesh& mesh, CornerAdjacency& adjacency,
                            const std::vector<size_t>& removed, size_t first_new_face) {
  const size_t face_count = mesh.faces.size();
  adjacency.across.resize(3 * face_count, CornerAdjacency::kOpen);
  adjacency.same_direction.resize(3 * face_count, 0);
  adjacency.duplicates_listed = false;
  adjacency.repeated_vertex_face = false;
  adjacency.duplicate_faces.clear();
  // A corner's slot reads the list of its vertex, and only the lists of the
  // changed faces' vertices have changed: their corners' slots are all that
  // a build of the whole mesh would write differently. The removed faces'
  // own slots are opened first, as a build leaves them.
  const size_t vertex_count = std::min(mesh.vertices.size(), mesh.incidentCorners.vertexCount());
  std::vector<int32_t> touched;
  auto touch = [&](size_t f) {
    for (const int32_t v : mesh.faces[f].v)
      if (v >= 0 && size_t(v) < vertex_count) touched.push_back(v);
  };
  for (const size_t f : removed) {
    if (f >= face_count) continue;
    for (size_t k = 3 * f; k < 3 * f + 3; ++k) {
      adjacency.across[k] = CornerAdjacency::kOpen;
      adjacency.same_direction[k] = 0;
    }
    touch(f);
  }
  for (size_t f = first_new_face; f < face_count; ++f) touch(f);
  std::sort(touched.begin(), touched.end());
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  if (touched.empty()) return;

  // Those slots come from a build of the faces around the touched vertices
  // alone, in face order: each touched vertex lists there what it lists in
  // the mesh, under new numbers for faces and vertices.
  std::vector<uint32_t> faces_around;
  for (const int32_t x : touched)
    for (const CornerRef& r : mesh.incidentCorners[size_t(x)]) faces_around.push_back(r.face);
  // Past a share of the mesh, building it whole costs less.
  if (faces_around.size() > face_count / kRefreshShare) {
    std::vector<uint32_t>().swap(faces_around);
    adjacency = CornerAdjacency{};
    adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
    return;
  }
  std::sort(faces_around.begin(), faces_around.end());
  faces_around.erase(std::unique(faces_around.begin(), faces_around.end()), faces_around.end());
  std::vector<int32_t> vertices_around;
  for (const uint32_t f : faces_around)
    for (const int32_t v : mesh.faces[f].v) vertices_around.push_back(v);
  std::sort(vertices_around.begin(), vertices_around.end());
  vertices_around.erase(std::unique(vertices_around.begin(), vertices_around.end()),
                        vertices_around.end());
  auto local_vertex = [&](int32_t v) {
    return int32_t(std::lower_bound(vertices_around.begin(), vertices_around.end(), v) -
                   vertices_around.begin());
  };
  SubMesh around;
  around.vertices.resize(vertices_around.size());
  around.faces.reserve(faces_around.size());
  for (const uint32_t f : faces_around) {
    Face face = mesh.faces[f];
    for (int32_t& v : face.v) v = local_vertex(v);
    around.faces.push_back(face);
  }
  around.incidentCorners.rebuild(around.faces, around.vertices.size());
  const CornerAdjacency local = buildCornerAdjacency(around, RemovedFaces::kSkip);
  for (const int32_t x : touched)
    for (const CornerRef& r : around.incidentCorners[size_t(local_vertex(x))]) {
      const size_t from = 3 * size_t(r.face) + r.corner;
      const size_t to = 3 * size_t(faces_around[r.face]) + r.corner;
      const int32_t g = local.across[from];
      adjacency.across[to] = g >= 0 ? int32_t(faces_around[size_t(g)]) : g;
      adjacency.same_direction[to] = local.same_direction[from];
    }
}

}  // namespace vekmesh
