// Coincident faces: each set is gathered from the incidence list of a vertex
// of one of its faces, then split by winding relative to its lowest face.
#include "repair/coincident_faces.h"

#include <algorithm>
#include <array>
#include <vector>

#include "repair/duplicate_faces.h"

namespace vekmesh {
namespace {

// +1 when b runs its vertices in the cyclic order of a, -1 when reversed
// (the faces use the same three distinct vertices).
int windingAgainst(const Face& a, const Face& b) {
  for (int k = 0; k < 3; ++k)
    if (b.v[k] == a.v[0]) return b.v[nextCorner(k)] == a.v[1] ? 1 : -1;
  return 1;
}

// The live faces on the vertex set of face f (f included), ascending.
std::vector<uint32_t> setOf(const SubMesh& mesh, uint32_t f) {
  std::vector<uint32_t> set;
  for (const CornerRef& r : mesh.incidentCorners[size_t(mesh.faces[f].v[0])]) {
    const Face& other = mesh.faces[r.face];
    if (!other.removed && !repeatsVertex(other) && sameVertexSet(mesh.faces[f], other))
      set.push_back(r.face);
  }
  std::sort(set.begin(), set.end());
  set.erase(std::unique(set.begin(), set.end()), set.end());
  return set;
}

}  // namespace

CoincidentFacesReport removeCoincidentFaces(SubMesh& mesh, const CornerAdjacency& adjacency) {
  CoincidentFacesReport report;
  // Faces that repeat a lower face's set; without the sweep's list, every
  // live face is looked at.
  std::vector<uint32_t> later;
  if (adjacency.duplicates_listed && !adjacency.repeated_vertex_face) {
    later = adjacency.duplicate_faces;
  } else {
    for (uint32_t f = 0; f < mesh.faces.size(); ++f)
      if (!mesh.faces[f].removed && !repeatsVertex(mesh.faces[f])) later.push_back(f);
  }
  for (const uint32_t f : later) {
    if (f >= mesh.faces.size() || mesh.faces[f].removed) continue;
    const std::vector<uint32_t> set = setOf(mesh, f);
    if (set.size() < 2) continue;
    const Face& first = mesh.faces[set[0]];
    std::vector<uint32_t> with, against;
    for (const uint32_t g : set)
      (windingAgainst(first, mesh.faces[g]) > 0 ? with : against).push_back(g);
    const size_t pairs = std::min(with.size(), against.size());
    std::vector<uint32_t>& majority = with.size() >= against.size() ? with : against;
    // The kept face is the lowest of the majority; every other face goes.
    for (const uint32_t g : set)
      if (majority.size() == pairs || g != majority.front()) mesh.faces[g].removed = 1;
    report.opposite_pairs_removed += pairs;
    report.duplicates_removed += majority.size() > pairs ? majority.size() - pairs - 1 : 0;
  }
  return report;
}

}  // namespace vekmesh
