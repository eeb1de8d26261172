// The vertices that live faces use, marked a bit each. Passes whose answer
// depends only on which vertices are used (bounds, the topmost vertex) read
// the marked positions in vertex order instead of three corners per face:
// on a mesh whose faces come in no spatial order, the corners are met at
// random, while the marks stay in the cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/face_bits.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Vertex marks made by the threads of a team, a bit per vertex in a set of
// each thread's own. Marks shared by the team would have two threads write
// the same cache lines whenever their faces name vertices of nearby numbers
// (all the time on faces in no spatial order), and pass the lines back and
// forth; a bit set of its own also keeps a thread's marks in its cache.
class VertexMarksByThread {
 public:
  // Sets for `threads` threads over `vertex_count` vertices, all unmarked.
  VertexMarksByThread(size_t vertex_count, int threads);

  // Marks the vertices of `face` (named in range) in the set of thread t.
  void mark(int t, const Face& face) {
    FaceBits& set = sets_[size_t(t)];
    for (int c = 0; c < 3; ++c) set.set(size_t(face.v[c]));
  }

  // Folds the other threads' sets into the first, on the team; after it,
  // marked(v) tells whether any thread marked v.
  void merge();
  bool marked(size_t v) const { return sets_[0].test(v); }
  size_t vertexCount() const { return vertex_count_; }

 private:
  size_t vertex_count_;
  std::vector<FaceBits> sets_;  // one per thread, each its own block
};

// The vertices every live face names, merged; the faces must name vertices
// in range. `live_faces`, when given, gets the number of live faces.
VertexMarksByThread usedVertexMarks(const SubMesh& mesh, size_t* live_faces = nullptr);

}  // namespace vekmesh
