// The working surface of remeshing: a patch of triangles as a half-edge
// corner table (half-edge 3 f + i runs from corner i of face f to the next;
// each knows its twin), with the three local operations isotropic remeshing
// is made of: splitting an edge, collapsing one, flipping one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh::remeshing {

constexpr uint32_t kNoHalfedge = 0xFFFFFFFFu;
constexpr uint32_t kNoVertex = 0xFFFFFFFFu;

// What the operations may do with a vertex; set when the patch is built and
// given to vertices that splits create on a feature line.
enum VertexRole : uint8_t {
  kFree,     // moves: smoothing, collapses to a midpoint
  kFeature,  // on exactly two constrained edges: stays where it is; removed
             // only by a collapse along its feature line
  kFixed,    // never moves and is never removed
};

// Per half-edge (both half-edges of an edge carry the same flags).
enum EdgeFlag : uint8_t {
  kConstrained = 1,  // sharp feature or open boundary: never flipped
  kLocked = 2,       // shared with faces outside the patch: never split or collapsed
};

struct PatchMesh {
  // Per vertex.
  std::vector<Vec3d> position;
  std::vector<uint32_t> out;      // an outgoing half-edge; kNoHalfedge once removed
  std::vector<uint32_t> valence;  // neighbouring vertices
  std::vector<uint8_t> role;
  std::vector<uint8_t> on_boundary;  // on a half-edge without twin
  std::vector<uint32_t> hint;        // a reference triangle near the vertex (projection start)
  std::vector<uint32_t> source;      // the mesh's vertex, kNoVertex for new ones
  // Per half-edge.
  std::vector<uint32_t> origin;
  std::vector<uint32_t> twin;  // kNoHalfedge on a boundary
  std::vector<uint8_t> flags;
  // Per face.
  std::vector<uint32_t> face_source;  // the input face (patch numbering) it came from
  std::vector<uint8_t> face_dead;

  static uint32_t next(uint32_t h) { return h % 3 == 2 ? h - 2 : h + 1; }
  static uint32_t prev(uint32_t h) { return h % 3 == 0 ? h + 2 : h - 1; }
  uint32_t target(uint32_t h) const { return origin[next(h)]; }
  size_t faceCount() const { return face_dead.size(); }
  size_t vertexCount() const { return position.size(); }
  size_t liveFaceCount() const;

  // Adds a vertex (no half-edges yet) and returns its number.
  uint32_t addVertex(const Vec3d& p, uint8_t vertex_role, uint32_t source_vertex);

  // Every outgoing half-edge of v, one per face around it (around a boundary
  // vertex from one side of the fan to the other); false, with `ring` cut
  // short, for a fan longer than `limit`.
  bool outgoing(uint32_t v, std::vector<uint32_t>& ring, size_t limit = 1u << 16) const;

  // The unnormalised normal (twice the area) of the face of half-edge h, with
  // the vertex `moved` placed at `p` (kNoVertex: as it is).
  Vec3d faceNormal(uint32_t h, uint32_t moved = kNoVertex, const Vec3d& p = {0, 0, 0}) const;

  // Splits the edge of h at p; the halves keep the edge's flags, the new
  // vertex takes `new_role`. Two faces are added (one on a boundary).
  // Returns the new vertex.
  uint32_t splitEdge(uint32_t h, const Vec3d& p, uint8_t new_role);

  // Collapses the edge of h: `removed` (one of its ends) merges into the
  // other, which moves to p. The faces on the edge die; the caller has
  // checked the link condition.
  void collapseEdge(uint32_t h, uint32_t removed, const Vec3d& p);

  // Replaces the interior edge of h by the other diagonal of its two faces.
  void flipEdge(uint32_t h);

  // The first broken link of the corner table ("" when sound): twins that do
  // not point back or run the same way, outgoing half-edges that do not leave
  // their vertex or lie in dead faces, valences that disagree with the rings.
  std::string inconsistency() const;

  // Adds face (a, b, c) with boundary half-edges, in the slot of a face a
  // collapse removed when there is one (so that the arrays hold at most as
  // many faces as were ever alive at once). Returns its number.
  uint32_t addFace(uint32_t a, uint32_t b, uint32_t c, uint32_t source_face);

 private:
  // Makes a and b twins; with one of them missing the other becomes a boundary.
  void link(uint32_t a, uint32_t b) {
    if (a != kNoHalfedge) twin[a] = b;
    if (b != kNoHalfedge) twin[b] = a;
  }
  std::vector<uint32_t> free_faces_;  // dead face slots, reused last in, first out
  std::vector<uint32_t> scratch_[2];  // the two rings of a collapse
};

}  // namespace vekmesh::remeshing
