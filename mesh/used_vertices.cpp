// Marking the used vertices on the team: each thread takes a part of the
// faces and marks its own bit set; the sets are merged into the first.
#include "mesh/used_vertices.h"

#include "mesh/parallel_loops.h"

namespace vekmesh {

VertexMarksByThread::VertexMarksByThread(size_t vertex_count, int threads)
    : vertex_count_(vertex_count),
      sets_(size_t(threads < 1 ? 1 : threads), FaceBits(vertex_count)) {}

void VertexMarksByThread::merge() {
  if (sets_.size() < 2) return;
  const int64_t words = static_cast<int64_t>(sets_[0].wordCount());
#pragma omp parallel for schedule(static) if (int64_t(vertex_count_) >= kParallelMinimum)
  for (int64_t w = 0; w < words; ++w) {
    uint32_t any = 0;
    for (const FaceBits& set : sets_) any |= set.word(size_t(w));
    sets_[0].setWord(size_t(w), any);
  }
}

VertexMarksByThread usedVertexMarks(const SubMesh& mesh, size_t* live_faces) {
  const size_t face_count = mesh.faces.size();
  size_t live = 0;
  const int parts = loopParts(int64_t(face_count));
  VertexMarksByThread marks(mesh.vertices.size(), parts);
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1) reduction(+ : live)
  for (int t = 0; t < parts; ++t)
    for (size_t i = partStart(face_count, t, parts), end = partStart(face_count, t + 1, parts);
         i < end; ++i) {
      const Face& f = mesh.faces[i];
      if (f.removed) continue;
      ++live;
      marks.mark(t, f);
    }
  if (live_faces) *live_faces = live;
  marks.merge();
  return marks;
}

}  // namespace vekmesh
