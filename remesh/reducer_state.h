// The mesh reducer's working copy of a mesh: per vertex a record with its
// quadric, double position about the model's centre and the head of a
// circular doubly linked ring of its live corners; per face its corners'
// vertices and ring links. A collapse merges two rings in constant time and
// nothing is allocated per collapse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"
#include "remesh/quadric.h"

namespace vekmesh::reducer {

constexpr uint32_t kNone = 0xFFFFFFFFu;

// A dead vertex's version. Live versions stay far below 2^31 (one bump per
// collapse), so a sum of two versions that involves a dead one never equals
// a sum of two live ones.
constexpr uint32_t kDeadVersion = 0x80000000u;

// The model is cut into this many slabs of equal vertex count across its
// longest axis; vertices and faces are stored slab by slab (see load), and
// large meshes are reduced slab by slab in parallel (region_phases.cpp). A
// fixed number, so that results never depend on the thread count.
constexpr int kSlabCount = 8;

// More live faces than this around one vertex and collapses leave it alone:
// every check walks the rings of both ends, and hostile fans must not make the
// reduction quadratic.
constexpr uint32_t kMaxValence = 96;

// What a collapse may do with a vertex (set once, before the first collapse;
// the allowed collapses never change a survivor's class).
enum VertexClass : uint8_t {
  kFree,           // smooth and attribute-continuous around it: may move anywhere
  kBoundarySlide,  // two open-boundary edges: moves only along the boundary
  kSeamSlide,      // two attribute-seam edges: merges only along the seam, onto a neighbour
  kFixed,          // end or junction of boundaries and seams: stays in place
  kLocked,         // non-manifold, pinched, non-finite or crowded: no collapse touches it
};

// Everything a collapse reads about one vertex, in two cache lines: the
// reducer is bound by memory latency, and neighbours are visited at random.
struct alignas(64) VertexRecord {
  Quadric quadric;
  double position[3] = {0, 0, 0};  // relative to ReducerState::origin
  uint32_t head = kNone;           // a live corner of the vertex, kNone when none
  uint32_t valence = 0;            // live faces around the vertex
  uint8_t vertex_class = kFree;
  uint8_t on_boundary = 0;
};

// A face's corners: their vertices and their links in the rings of those
// vertices. Corner k of the mesh is corner k % 3 of face k / 3.
struct FaceRecord {
  int32_t v[3];
  uint32_t next[3], prev[3];
  uint32_t dead;
};

struct ReducerState;
inline void prefetchRecord(const ReducerState& s, uint32_t v);

struct ReducerState {
  SubMesh* mesh = nullptr;
  double origin[3] = {0, 0, 0};  // subtracted from every position
  std::vector<VertexRecord> vertex;
  std::vector<FaceRecord> face;
  // Per vertex: bumped when it absorbs a neighbour, kDeadVersion once it has
  // been absorbed itself. Kept apart from the records: the queue tests it for
  // every entry it pops, most of them stale, and a compact array stays cached.
  std::vector<uint32_t> version;
  std::vector<uint32_t> mark;  // scratch for neighbourhood tests
  // Working order to the mesh's: vertex and face numbers in `mesh`.
  std::vector<uint32_t> source_vertex, source_face;
  std::vector<uint8_t> slab;  // per working vertex, 0 .. kSlabCount - 1
  // Faces whose first vertex lies in slab r: slab_faces[r] .. slab_faces[r + 1] - 1.
  size_t slab_faces[kSlabCount + 1] = {};
  bool uniform_attributes = false;  // one material, colour and no texture: nothing to blend
  size_t live_faces = 0;
  size_t collapses = 0;

  // Copies `m` in, slab by slab: the vertices of each slab together in their
  // order, the faces grouped by the slab of their first vertex, so that the
  // workers of different slabs write to different memory. False (and nothing
  // to do) when a face names a vertex out of range; faces already removed are
  // left out.
  bool load(SubMesh& m);

  // Writes the result back: live faces in the mesh's order, the vertices they
  // use in theirs, fresh texture coordinates and incidentCorners. Unmoved vertices
  // keep their exact single-precision positions.
  void store() const;

  void assignSlabs(const SubMesh& m, const double lo[3], const double hi[3]);

  uint32_t vertexCount() const { return static_cast<uint32_t>(vertex.size()); }
  bool dead(uint32_t v) const { return version[v] >= kDeadVersion; }
  const double* pos(uint32_t v) const { return vertex[v].position; }

  // Corner k: its vertex and its neighbours in that vertex's ring.
  int32_t& cornerVertex(uint32_t k) { return face[k / 3].v[k % 3]; }
  int32_t cornerVertex(uint32_t k) const { return face[k / 3].v[k % 3]; }
  uint32_t& ringNext(uint32_t k) { return face[k / 3].next[k % 3]; }
  uint32_t ringNext(uint32_t k) const { return face[k / 3].next[k % 3]; }
  uint32_t& ringPrev(uint32_t k) { return face[k / 3].prev[k % 3]; }
  bool faceDead(uint32_t f) const { return face[f].dead != 0; }
  // The mesh's face behind working face f (its colours, material, uv).
  Face& sourceFace(uint32_t f) const { return mesh->faces[source_face[f]]; }

  // The corner of face f that holds vertex v, or kNone.
  uint32_t cornerOf(uint32_t f, int32_t v) const {
    const FaceRecord& r = face[f];
    for (uint32_t c = 0; c < 3; ++c)
      if (r.v[c] == v) return 3 * f + c;
    return kNone;
  }
  static uint32_t faceOf(uint32_t corner) { return corner / 3; }
  static uint32_t nextInFace(uint32_t corner) { return corner % 3 == 2 ? corner - 2 : corner + 1; }
  static uint32_t prevInFace(uint32_t corner) { return corner % 3 == 0 ? corner + 2 : corner - 1; }

  // Removes one corner from its vertex's ring.
  void unlink(uint32_t k) {
    VertexRecord& vr = vertex[static_cast<uint32_t>(cornerVertex(k))];
    const uint32_t n = ringNext(k), p = ringPrev(k);
    if (n == k) {
      vr.head = kNone;
    } else {
      ringNext(p) = n;
      ringPrev(n) = p;
      if (vr.head == k) vr.head = n;
    }
    --vr.valence;
  }

  // Joins the ring of `from` to that of `to`; the corners keep their vertex
  // numbers (the caller renames them).
  void splice(uint32_t to, uint32_t from) {
    VertexRecord& t = vertex[to];
    VertexRecord& f = vertex[from];
    const uint32_t b = f.head;
    if (b == kNone) return;
    const uint32_t a = t.head;
    if (a == kNone) {
      t.head = b;
    } else {
      const uint32_t an = ringNext(a), bp = ringPrev(b);
      ringNext(a) = b, ringPrev(b) = a;
      ringNext(bp) = an, ringPrev(an) = bp;
    }
    f.head = kNone;
    t.valence += f.valence;
    f.valence = 0;
  }
};

// Asks for both cache lines of a vertex record ahead of use.
inline void prefetchRecord(const ReducerState& s, uint32_t v) {
  const char* p = reinterpret_cast<const char*>(&s.vertex[v]);
  __builtin_prefetch(p);
  __builtin_prefetch(p + 64);
}

}  // namespace vekmesh::reducer
