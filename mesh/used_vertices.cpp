// Marking the used vertices on the team: each thread takes a part of the
// faces.
#include "mesh/used_vertices.h"

#include "mesh/parallel_loops.h"

namespace vekmesh {

std::vector<uint8_t> usedVertexMarks(const SubMesh& mesh, size_t* live_faces) {
  const size_t face_count = mesh.faces.size();
  std::vector<uint8_t> used(mesh.vertices.size());
  uint8_t* marks = used.data();
  size_t live = 0;
  const int parts = loopParts(int64_t(face_count));
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1) reduction(+ : live)
  for (int t = 0; t < parts; ++t)
    for (size_t i = partStart(face_count, t, parts), end = partStart(face_count, t + 1, parts);
         i < end; ++i) {
      const Face& f = mesh.faces[i];
      if (f.removed) continue;
      ++live;
      markVerticesOf(f, marks);
    }
  if (live_faces) *live_faces = live;
  return used;
}

}  // namespace vekmesh
