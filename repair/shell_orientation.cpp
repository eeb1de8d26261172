// Topmost vertex of a shell, the upward normal sum around it, and turning a
// face over while keeping incidentCorners current.
#include "repair/shell_orientation.h"

#include <utility>

#include "mesh/mesh_utils.h"
#include "mesh/prefetch.h"

namespace vekmesh {

int32_t shellTopVertex(const SubMesh& mesh, const std::vector<int32_t>& shell_faces,
                       bool skip_removed) {
  double best_z = -1000000.0;
  int32_t best = -1;
  // Faces are prefetched 16 ahead in the list and their vertices 8 ahead.
  const size_t n = shell_faces.size();
  for (size_t i = 0; i < n; ++i) {
    if (i + 16 < n) prefetchRead(&mesh.faces[shell_faces[i + 16]]);
    if (i + 8 < n) {
      const Face& ahead = mesh.faces[shell_faces[i + 8]];
      for (int c = 0; c < 3; ++c) prefetchRead(&mesh.vertices[ahead.v[c]]);
    }
    const Face& face = mesh.faces[shell_faces[i]];
    if (skip_removed && face.removed) continue;
    for (int c = 0; c < 3; ++c) {
      const double z = mesh.vertices[face.v[c]].position[2];
      if (z > best_z) {
        best_z = z;
        best = face.v[c];
      }
    }
  }
  return best;
}

double upwardNormalSum(const SubMesh& mesh, int32_t vertex, bool skip_removed,
                       const FaceBits* turned) {
  Vec3d sum = {0.0, 0.0, 0.0};
  for (const CornerRef& r : mesh.incidentCorners[vertex]) {
    const Face& g = mesh.faces[r.face];
    if (skip_removed && g.removed) continue;
    const bool swap = turned && turned->test(r.face);
    const Vec3d n = faceUnitNormal(mesh.vertices[g.v[swap ? 1 : 0]],
                                   mesh.vertices[g.v[swap ? 0 : 1]], mesh.vertices[g.v[2]]);
    for (int a = 0; a < 3; ++a) sum[a] += n[a];
  }
  return sum[0] * 0.0 + sum[1] * 0.0 + sum[2];
}

void turnFaceOver(SubMesh& mesh, uint32_t f) {
  Face& face = mesh.faces[f];
  const int32_t a = face.v[0], b = face.v[1];
  // A face with a repeated index has both entries on one vertex: that list
  // is swapped once.
  mesh.incidentCorners.swapFirstCorners(static_cast<size_t>(a), f);
  if (b != a) mesh.incidentCorners.swapFirstCorners(static_cast<size_t>(b), f);
  std::swap(face.v[0], face.v[1]);
  for (int i = 0; i < 3; ++i) std::swap(face.colors[0][i], face.colors[1][i]);
  if (face.material >= 0) std::swap(face.uv[0], face.uv[1]);
}

void applyTurns(SubMesh& mesh, const FaceBits& turned) {
  bool any = false;
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    if (!turned.test(f)) continue;
    any = true;
    Face& face = mesh.faces[f];
    std::swap(face.v[0], face.v[1]);
    for (int i = 0; i < 3; ++i) std::swap(face.colors[0][i], face.colors[1][i]);
    if (face.material >= 0) std::swap(face.uv[0], face.uv[1]);
  }
  if (!any) return;
  // Corners 0 and 1 trade places; corner 2 stays.
  mesh.incidentCorners.swapFirstCorners([&](uint32_t face) { return turned.test(face); });
}

}  // namespace vekmesh
