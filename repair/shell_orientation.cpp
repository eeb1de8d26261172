// Topmost vertex of a shell, the upward normal sum around it, and turning a
// face over while keeping incidentCorners current.
#include "repair/shell_orientation.h"

#include <algorithm>
#include <utility>

#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"

namespace vekmesh {

namespace {

struct Top {
  double z = -1000000.0;
  int32_t vertex = -1;
};

// The first vertex of greatest z over faces[0 .. n).
Top topOfRun(const SubMesh& mesh, const int32_t* faces, size_t n, bool skip_removed) {
  Top best;
  // Faces are prefetched 16 ahead in the list and their vertices 8 ahead.
  for (size_t i = 0; i < n; ++i) {
    if (i + 16 < n) prefetchRead(&mesh.faces[faces[i + 16]]);
    if (i + 8 < n) {
      const Face& ahead = mesh.faces[faces[i + 8]];
      for (int c = 0; c < 3; ++c) prefetchRead(&mesh.vertices[ahead.v[c]]);
    }
    const Face& face = mesh.faces[faces[i]];
    if (skip_removed && face.removed) continue;
    for (int c = 0; c < 3; ++c) {
      const double z = mesh.vertices[face.v[c]].position[2];
      if (z > best.z) {
        best.z = z;
        best.vertex = face.v[c];
      }
    }
  }
  return best;
}

// Large shells are searched in fixed runs, two threads at a time, and the
// runs' answers taken in order with the same strict comparison: the first
// top found is the one a single pass finds, whatever the thread count.
constexpr size_t kRun = 8192;

}  // namespace

int32_t shellTopVertex(const SubMesh& mesh, const std::vector<int32_t>& shell_faces,
                       bool skip_removed) {
  const size_t n = shell_faces.size();
  const int64_t runs = static_cast<int64_t>((n + kRun - 1) / kRun);
  if (runs <= 1) return topOfRun(mesh, shell_faces.data(), n, skip_removed).vertex;
  std::vector<Top> tops(static_cast<size_t>(runs));
#pragma omp parallel for schedule(static) if (int64_t(n) >= kParallelMinimum)
  for (int64_t r = 0; r < runs; ++r) {
    const size_t first = size_t(r) * kRun;
    tops[size_t(r)] =
        topOfRun(mesh, shell_faces.data() + first, std::min(kRun, n - first), skip_removed);
  }
  Top best = tops[0];
  for (const Top& t : tops)
    if (t.vertex >= 0 && t.z > best.z) best = t;
  return best.vertex;
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
  // Each face and each list entry changes alone, so the team shares both
  // passes.
  const int64_t face_count = static_cast<int64_t>(mesh.faces.size());
  bool any = false;
#pragma omp parallel for schedule(static) reduction(|| : any) if (face_count >= kParallelMinimum)
  for (int64_t f = 0; f < face_count; ++f) {
    if (!turned.test(size_t(f))) continue;
    any = true;
    Face& face = mesh.faces[size_t(f)];
    std::swap(face.v[0], face.v[1]);
    for (int i = 0; i < 3; ++i) std::swap(face.colors[0][i], face.colors[1][i]);
    if (face.material >= 0) std::swap(face.uv[0], face.uv[1]);
  }
  if (!any) return;
  // Corners 0 and 1 trade places; corner 2 stays.
  mesh.incidentCorners.swapFirstCorners([&](uint32_t face) { return turned.test(face); });
}

}  // namespace vekmesh
