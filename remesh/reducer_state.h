// The mesh reducer's working copy of a mesh, block by block: per vertex its
// quadric, position and a circular doubly linked ring of its live corners, per
// corner its vertex and ring links; a collapse merges two rings in O(1).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "mesh/cancel_watch.h"
#include "mesh/huge_pages.h"
#include "mesh/tri_mesh.h"
#include "remesh/quadric.h"

namespace vekmesh::reducer {

constexpr uint32_t kNone = 0xFFFFFFFFu;

// A dead vertex's version (live versions, one bump per collapse, stay far
// below it).
constexpr uint32_t kDeadVersion = 0x80000000u;

// The model's box is cut into n x n x n blocks at quantiles of the vertices'
// coordinates on each axis; vertices and faces are stored block by block (see
// load), and large meshes are reduced block by block in parallel. Blocks are
// small enough for a worker's records to stay in cache while it collapses in
// one, and few enough that their borders stay a small share. The count is
// fixed per routine, so that results never depend on the thread count; block
// numbers fit a byte with one value to spare.
constexpr int kMaxBlocksPerAxis = 6;
constexpr int kMaxBlockCount = kMaxBlocksPerAxis * kMaxBlocksPerAxis * kMaxBlocksPerAxis;

// Region of a vertex next to another block, or without faces or position.
constexpr uint8_t kBorderRegion = 0xFF;

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

// Corner k of the mesh is corner k % 3 of face k / 3. Per corner, its vertex
// and the next corner in that vertex's ring side by side: walking a ring reads
// one array with no division, and the vertices of the corners met, which the
// tests read next, come in the same lines. The backward links, used only when
// rings change, and the faces' death marks are kept apart.
struct CornerRecord {
  int32_t vertex;
  uint32_t next;
};

// An array of records left uninitialised when allocated: the loader fills
// every record in parallel, so that the pages are first touched (faulted in
// and cleared by the system) by both threads rather than by a constructor
// loop on one.
template <class T>
class RecordArray {
  static_assert(std::is_trivially_destructible_v<T>);

 public:
  void allocate(size_t n) {
    const size_t bytes = (std::max<size_t>(n, 1) * sizeof(T) + kAlign - 1) / kAlign * kAlign;
    data_.reset(static_cast<T*>(allocateWorkingArray(bytes, kAlign)));
    data_.get_deleter().bytes = bytes;
    size_ = n;
  }
  size_t size() const { return size_; }
  T& operator[](size_t i) { return data_.get()[i]; }
  const T& operator[](size_t i) const { return data_.get()[i]; }
  T* data() { return data_.get(); }

 private:
  static constexpr size_t kAlign = alignof(T) > 64 ? alignof(T) : 64;
  struct Free {
    size_t bytes = 0;
    void operator()(T* p) const { releaseWorkingArray(p, bytes, kAlign); }
  };
  std::unique_ptr<T, Free> data_;
  size_t size_ = 0;
};

struct ReducerState;
inline void prefetchRecord(const ReducerState& s, uint32_t v);

struct ReducerState {
  SubMesh* mesh = nullptr;
  double origin[3] = {0, 0, 0};  // subtracted from every position
  RecordArray<VertexRecord> vertex;
  RecordArray<CornerRecord> corner;  // 3 per face
  RecordArray<uint32_t> ring_prev;   // 3 per face
  RecordArray<uint8_t> face_dead;    // 1 per face
  // Per vertex: bumped when it absorbs a neighbour, kDeadVersion once it has
  // been absorbed itself. Kept apart from the records: the queue tests it for
  // every entry it pops, most of them stale, and a compact array stays cached.
  RecordArray<uint32_t> version;
  RecordArray<uint32_t> mark;  // scratch for neighbourhood tests
  // Working order to the mesh's: vertex and face numbers in `mesh`.
  std::vector<uint32_t> source_vertex, source_face;
  int block_count = 1;
  std::vector<uint8_t> block;  // per working vertex, 0 .. block_count - 1
  // Per working vertex, set by classifyVertices (which walks every ring
  // anyway): its block when it has faces, a finite position and every
  // neighbour in the same block, else kBorderRegion.
  std::vector<uint8_t> region;
  // Faces whose first vertex lies in block r: block_faces[r] .. block_faces[r + 1] - 1.
  size_t block_faces[kMaxBlockCount + 1] = {};
  bool uniform_attributes = false;  // one material, colour and no texture: nothing to blend
  size_t live_faces = 0;
  size_t collapses = 0;

  // Copies `m` in, block by block: the vertices of each block together in
  // their order, the faces grouped by the block of their first vertex, so
  // that the workers of different blocks write to different memory. False (and nothing
  // to do) when a face names a vertex out of range; faces already removed are
  // left out. A watch, when given, is asked between the passes (and throws).
  bool load(SubMesh& m, int blocks_per_axis, CancelWatch* watch = nullptr);

  // Writes the result back: live faces in the mesh's order, the vertices they
  // use in theirs, fresh texture coordinates and incidentCorners. Unmoved vertices
  // keep their exact single-precision positions.
  void store() const;

  void assignBlocks(const SubMesh& m, int blocks_per_axis, double lo[3], double hi[3]);

  uint32_t vertexCount() const { return static_cast<uint32_t>(vertex.size()); }
  bool dead(uint32_t v) const { return version[v] >= kDeadVersion; }
  const double* pos(uint32_t v) const { return vertex[v].position; }

  // Corner k: its vertex and its neighbours in that vertex's ring.
  size_t faceCount() const { return face_dead.size(); }
  int32_t& cornerVertex(uint32_t k) { return corner[k].vertex; }
  int32_t cornerVertex(uint32_t k) const { return corner[k].vertex; }
  uint32_t& ringNext(uint32_t k) { return corner[k].next; }
  uint32_t ringNext(uint32_t k) const { return corner[k].next; }
  uint32_t& ringPrev(uint32_t k) { return ring_prev[k]; }
  bool faceDead(uint32_t f) const { return face_dead[f] != 0; }
  // The mesh's face behind working face f (its colours, material, uv).
  Face& sourceFace(uint32_t f) const { return mesh->faces[source_face[f]]; }

  // The corner of face f that holds vertex v, or kNone.
  uint32_t cornerOf(uint32_t f, int32_t v) const {
    for (uint32_t k = 3 * f; k < 3 * f + 3; ++k)
      if (corner[k].vertex == v) return k;
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
