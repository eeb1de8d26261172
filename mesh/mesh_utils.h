// Topology and geometry helpers used by nearly every operation: unit normals,
// vertex differences, enclosed volume, shells (edge-connected components), a
// sampled bounding box, appending one mesh to another and compaction.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "geometry/vectors.h"
#include "mesh/face_bits.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "mesh/tri_mesh.h"
#include "mesh/weld_key.h"

namespace vekmesh {

// Unit normal of the triangle a, b, c (single-precision cross product of b - a
// and c - b, widened); (0, 0, 0) for a degenerate triangle, never NaN.
Vec3d faceUnitNormal(const Vertex& a, const Vertex& b, const Vertex& c);

// b - a, each component in single precision, widened to double.
Vec3d vertexDifference(const Vertex& a, const Vertex& b);

// Starts loading the positions of face f's corners, for a pass over the faces
// that reads them: on a shuffled mesh each corner names a vertex far from the
// last one, and loads issued this many faces ahead overlap instead of queueing.
constexpr size_t kCornerPrefetchAhead = 16;
inline void prefetchCornerPositions(const SubMesh& mesh, size_t f) {
  if (f >= mesh.faces.size()) return;
  const Face& face = mesh.faces[f];
  for (int c = 0; c < 3; ++c)
    if (static_cast<size_t>(face.v[c]) < mesh.vertices.size())
      prefetchRead(&mesh.vertices[static_cast<size_t>(face.v[c])]);
}

// Volume enclosed by the live faces, measured from (0, 0, lowest z). Never
// negative: a mesh wound inwards has volume 0.
double enclosedVolume(const SubMesh& mesh);

// enclosedVolume face by face, for a pass that reads every live face anyway:
// adding the live faces in order gives exactly enclosedVolume.
class VolumeSum {
 public:
  explicit VolumeSum(const SubMesh& mesh);
  void add(const SubMesh& mesh, const Face& f) { sum_ += sixfoldTerm(mesh, f); }
  double volume() const;
  // What add() adds for `f`: six times the signed volume of the tetrahedron
  // from the reference point to the face, for callers that sum by shell.
  double sixfoldTerm(const SubMesh& mesh, const Face& f) const;

 private:
  Vertex reference_{};
  double sum_ = 0.0;
};

// Replaces `shells` with the edge-connected components of the live faces,
// numbered by their lowest face, faces in breadth-first order. Needs current
// incidentCorners.
void buildShells(SubMesh& mesh);

// Lower and upper corner of at most about `maxSamples` evenly strided vertices.
// A value that raises the maximum is never compared with the minimum.
std::pair<Vertex, Vertex> sampledBoundingBox(const SubMesh& mesh, uint32_t maxSamples);

// Appends all of `b` to `a`, rebasing b's vertex, face and texture indices and
// shifting its materials above a's largest. `b` is consumed.
void appendMesh(SubMesh& a, SubMesh&& b);

// Faces not flagged removed.
inline size_t liveFaceCount(const SubMesh& mesh) {
  const int64_t n = static_cast<int64_t>(mesh.faces.size());
  int64_t live = 0;
#pragma omp parallel for schedule(static) reduction(+ : live) if (n >= kParallelMinimum)
  for (int64_t f = 0; f < n; ++f) live += mesh.faces[size_t(f)].removed == 0;
  return static_cast<size_t>(live);
}

// One bit per face: set for the faces flagged removed.
FaceBits removedFaceBits(const SubMesh& mesh);

// Rebuilds the mesh from its live faces (welding again, refreshing
// incidentCorners); nothing happens when no face is live. Returns true when
// it kept the faces and vertices as they were (nothing removed, merged,
// collapsed, renumbered or textured), so that what was known about them
// still holds; false otherwise, even when the numbers came out the same.
bool compactMesh(SubMesh& mesh);

// compactMesh for a caller that vouches for the incidence lists: they hold
// every face's corners in face order, as the library's steps keep them. A
// compaction that keeps every face then leaves them as they are. The record
// also keeps what a compaction leaves known about the vertices it makes: no
// two of them weld in `grid`, the grid it welded in. Handed back to compact
// the same mesh again after steps that only removed, turned or appended faces
// and appended vertices (moving none), it lets the compaction weld only the
// appended vertices against the rest when nothing else would change. The
// result is the same either way.
struct CompactionRecord {
  WeldGrid grid;
  size_t vertices = 0;  // those the compaction made: 0 .. vertices - 1
  bool known = false;
  // Whether the last compaction welded every vertex, or only the appended ones.
  bool welded_all = true;
};
bool compactMesh(SubMesh& mesh, CompactionRecord& record);

// compactMesh followed by buildShells.
void rebuildTopology(SubMesh& mesh);

}  // namespace vekmesh
