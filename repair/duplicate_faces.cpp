// Duplicate faces: every copy of a face shares its vertex v[0], so one walk of
// that vertex's incidentCorners per live face finds all later copies.
#include "repair/duplicate_faces.h"

#include <algorithm>
#include <vector>

#include "repair/shell_orientation.h"

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
    for (const CornerRef& r : mesh.vertices[face.v[0]].incidentCorners) {
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

namespace {

// Uses of face f's edges by other live faces: in f's direction minus against it.
int sameDirectionBalance(const SubMesh& mesh, uint32_t f) {
  const Face& face = mesh.faces[f];
  int balance = 0;
  for (uint32_t c = 0; c < 3; ++c) {
    const int32_t x = face.v[c], y = face.v[nextCorner(c)];
    for (const CornerRef& r : mesh.vertices[x].incidentCorners) {
      if (r.face == f || mesh.faces[r.face].removed) continue;
      const Face& g = mesh.faces[r.face];
      if (g.v[nextCorner(r.corner)] == y) ++balance;
      if (g.v[prevCorner(r.corner)] == y) --balance;
    }
  }
  return balance;
}

// A copy shares all three edges, so a face with a copy has an edge with
// several partners, or the copy alone across all three.
bool mayHaveCopies(const CornerAdjacency& adjacency, size_t f) {
  const int32_t* across = adjacency.across.data() + 3 * f;
  for (int c = 0; c < 3; ++c)
    if (across[c] == CornerAdjacency::kSeveral) return true;
  return across[0] >= 0 && across[0] == across[1] && across[1] == across[2];
}

}  // namespace

size_t resolveRepeatedFaces(SubMesh& mesh, CornerAdjacency& adjacency) {
  size_t removed = 0;
  std::vector<uint32_t> survivors;
  const size_t face_count = mesh.faces.size();
  // In index order: the first live face of each set meets the others while
  // they are still live, and removes them.
  for (size_t f = 0; f < face_count; ++f) {
    const Face& face = mesh.faces[f];
    if (face.removed || !mayHaveCopies(adjacency, f)) continue;
    bool had_copies = false;
    for (const CornerRef& r : mesh.vertices[face.v[0]].incidentCorners) {
      if (r.face == f) continue;
      Face& other = mesh.faces[r.face];
      if (other.removed || !sameVertexSet(face, other)) continue;
      other.removed = 1;
      ++removed;
      had_copies = true;
    }
    if (had_copies) survivors.push_back(static_cast<uint32_t>(f));
  }
  for (const uint32_t f : survivors) {
    if (sameDirectionBalance(mesh, f) <= 0) continue;
    turnFaceOver(mesh, f);
    // Edges 1 and 2 of the face trade places.
    std::swap(adjacency.across[3 * size_t(f) + 1], adjacency.across[3 * size_t(f) + 2]);
  }
  return removed;
}

}  // namespace vekmesh
