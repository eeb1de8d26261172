// Visibility votes: voters sampled evenly from each asked component's faces
// in index order, rays tested against every live face with the
// Moeller-Trumbore test in double precision.
#include "repair/visibility_votes.h"

#include <algorithm>
#include <cmath>

#include "geometry/vectors.h"

namespace vekmesh {
namespace {

Vec3d at(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[size_t(v)].position;
  return {p[0], p[1], p[2]};
}

// Whether the ray from `origin` along `direction` meets live face g (other
// than `self`) at a positive distance.
bool hits(const SubMesh& mesh, size_t g, const Vec3d& origin, const Vec3d& direction) {
  const Face& face = mesh.faces[g];
  const Vec3d a = at(mesh, face.v[0]), b = at(mesh, face.v[1]), c = at(mesh, face.v[2]);
  const Vec3d e1 = sub(b, a), e2 = sub(c, a);
  const Vec3d p = cross(direction, e2);
  const double det = dot(e1, p);
  if (!(std::fabs(det) > 0.0)) return false;  // parallel, degenerate or NaN
  const double inverse = 1.0 / det;
  const Vec3d s = sub(origin, a);
  const double u = dot(s, p) * inverse;
  if (!(u >= 0.0 && u <= 1.0)) return false;
  const Vec3d q = cross(s, e1);
  const double v = dot(direction, q) * inverse;
  if (!(v >= 0.0 && u + v <= 1.0)) return false;
  return dot(e2, q) * inverse > 0.0;
}

// Whether a ray from `origin` along `direction` leaves the mesh unblocked.
bool seesOut(const SubMesh& mesh, size_t self, const Vec3d& origin, const Vec3d& direction) {
  for (size_t g = 0; g < mesh.faces.size(); ++g)
    if (g != self && !mesh.faces[g].removed && hits(mesh, g, origin, direction)) return false;
  return true;
}

}  // namespace

std::vector<int64_t> visibilityVotes(const SubMesh& mesh, const std::vector<int32_t>& component_of,
                                     const std::vector<uint8_t>& asked) {
  const size_t count = asked.size();
  std::vector<int64_t> votes(count, 0);
  std::vector<std::vector<uint32_t>> faces(count);
  for (size_t f = 0; f < component_of.size(); ++f) {
    const int32_t k = component_of[f];
    if (k >= 0 && asked[size_t(k)]) faces[size_t(k)].push_back(uint32_t(f));
  }
  size_t live = 0;
  for (const Face& f : mesh.faces) live += f.removed == 0;
  uint64_t tests = 0;
  for (size_t k = 0; k < count; ++k) {
    if (faces[k].empty()) continue;
    const size_t voters = std::min(kMaxVoters, faces[k].size());
    if (tests + 2 * uint64_t(voters) * live > kMaxRayTests) break;
    tests += 2 * uint64_t(voters) * live;
    for (size_t i = 0; i < voters; ++i) {
      const uint32_t f = faces[k][i * faces[k].size() / voters];
      const Face& face = mesh.faces[f];
      const Vec3d a = at(mesh, face.v[0]), b = at(mesh, face.v[1]), c = at(mesh, face.v[2]);
      const Vec3d normal = normalized(cross(sub(b, a), sub(c, a)));
      if (dot(normal, normal) == 0.0) continue;
      const Vec3d centre = scaled(add(add(a, b), c), 1.0 / 3.0);
      const bool front = seesOut(mesh, f, centre, normal);
      const bool back = seesOut(mesh, f, centre, scaled(normal, -1.0));
      votes[k] += int64_t(front && !back) - int64_t(back && !front);
    }
  }
  return votes;
}

}  // namespace vekmesh
