// Duplicate faces: every copy of a face shares its vertex v[0], so one walk of
// that vertex's incidentCorners per live face finds all later copies; or,
// cheaper, the list the adjacency sweep made while it met each face at its
// lowest vertex.
#include "repair/duplicate_faces.h"

namespace vekmesh {

bool sameVertexSet(const Face& a, const Face& b) {
  for (int c = 0; c < 3; ++c) {
    const int32_t x = a.v[c];
    if (b.v[0] != x && b.v[1] != x && b.v[2] != x) return false;
  }
  for (int c = 0; c < 3; ++c) {
    const int32_t x = b.v[c];
    if (a.v[0] != x && a.v[1] != x && a.v[2] != x) return false;
  }
  return true;
}

size_t removeDuplicateFaces(SubMesh& mesh) {
  size_t removed = 0;
  const size_t face_count = mesh.faces.size();
  for (size_t f = 0; f < face_count; ++f) {
    const Face& face = mesh.faces[f];
    if (face.removed) continue;
    // Faces are taken in index order, so an earlier copy has already removed
    // this one: the survivor of each set is its first face.
    for (const CornerRef& r : mesh.incidentCorners[face.v[0]]) {
      if (r.face == f) continue;
      Face& other = mesh.faces[r.face];
      if (other.removed) continue;
      // Besides v[0], the same two vertices in either order.
      const int32_t p = other.v[nextCorner(r.corner)];
      const int32_t q = other.v[prevCorner(r.corner)];
      if ((p == face.v[1] && q == face.v[2]) || (p == face.v[2] && q == face.v[1])) {
        other.removed = 1;
        ++removed;
      }
    }
  }
  return removed;
}

size_t removeDuplicateFaces(SubMesh& mesh, const CornerAdjacency& adjacency) {
  if (!adjacency.duplicates_listed || adjacency.repeated_vertex_face)
    return removeDuplicateFaces(mesh);
  // Sets of faces with three distinct vertices are equivalence classes, so
  // removing all but the lowest face of each is what the walk in index order
  // does.
  size_t removed = 0;
  for (const uint32_t f : adjacency.duplicate_faces) {
    if (f >= mesh.faces.size() || mesh.faces[f].removed) continue;
    mesh.faces[f].removed = 1;
    ++removed;
  }
  return removed;
}

}  // namespace vekmesh
