// Marking the used vertices on the team: each thread takes a part of the
// faces and marks its own bit set; the sets are merged into the first.
#include "mesh/used_vertices.h"

#include "mesh/parallel_loops.h"

namespace vekmesh {

VertexMarksByThread::VertexMarksByThread(size_t vertex_count, int threads)
    : vertex_count_(vertex_count),
      stride_((vertex_count + 511) / 512 * 8),
      words_(stride_ * size_t(threads < 1 ? 1 : threads), 0) {}

void VertexMarksByThread::merge() {
  const size_t sets = stride_ == 0 ? 0 : words_.size() / stride_;
  if (sets < 2) return;
  const int64_t words = static_cast<int64_t>(stride_);
#pragma omp parallel for schedule(static) if (int64_t(vertex_count_) >= kParallelMinimum)
  for (int64_t w = 0; w < words; ++w) {
    uint64_t any = words_[size_t(w)];
    for (size_t s = 1; s < sets; ++s) any |= words_[s * stride_ + size_t(w)];
    words_[size_t(w)] = any;
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
